// Text between the command line (narrow) and the registry (UTF-16), and the comparison of stored
// names. Free functions without state, usable from any thread.
//
// A text of more than INT_MAX characters, which the platform functions cannot take, raises
// std::length_error.
#pragma once

#include <string>
#include <string_view>

namespace ostrel {

/// Code page of option values and of what the tool prints.
inline constexpr unsigned int kUtf8CodePage = 65001;

/// The code page in which the narrow file functions of this process take and give names
/// (AreFileApisANSI).
unsigned int fileCodePage();

/// Narrow text of `codePage` as UTF-16 (MultiByteToWideChar). Invalid bytes become replacement
/// characters; a conversion that fails all the same raises std::system_error with the thread's last
/// error. Empty text stays empty whatever the code page.
std::wstring toWide(std::string_view text, unsigned int codePage);

/// UTF-16 as narrow text of `codePage` (WideCharToMultiByte). What the code page does not know, and
/// surrogates without a partner, are replaced; failures as above.
std::string toNarrow(std::wstring_view text, unsigned int codePage);

/// Whether both texts have the same length and are equal to the system's locale when it ignores
/// case (CompareStringW).
bool equalsIgnoreCase(std::wstring_view left, std::wstring_view right);

}  // namespace ostrel
