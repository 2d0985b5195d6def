// Conversion of text between the command line (narrow) and the registry (UTF-16), and the
// comparison of stored names. Free functions without state, usable from any thread.
//
// A text of more than INT_MAX characters throws std::length_error, because the platform functions
// take lengths as int.
#pragma once

#include <string>
#include <string_view>

namespace ostrel {

/// The code page of option values and of the tool's output.
inline constexpr unsigned int kUtf8CodePage = 65001;

/// The code page of file names in the narrow platform functions of this process (AreFileApisANSI).
unsigned int fileCodePage();

/// Converts narrow text of `codePage` to UTF-16 (MultiByteToWideChar). Invalid bytes become
/// replacement characters. A conversion that fails nevertheless throws std::system_error with the
/// thread's last error. Empty text stays empty for every code page.
std::wstring toWide(std::string_view text, unsigned int codePage);

/// Converts UTF-16 to narrow text of `codePage` (WideCharToMultiByte). Characters that the code
/// page does not have, and unpaired surrogates, are replaced. Failures are those of toWide.
std::string toNarrow(std::wstring_view text, unsigned int codePage);

/// Whether the texts have the same length and the system's locale takes them for equal when case is
/// ignored (CompareStringW).
bool equalsIgnoreCase(std::wstring_view left, std::wstring_view right);

}  // namespace ostrel
