#include "text.h"

#include <windows.h>

#include <cstddef>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace ostrel {
namespace {

static_assert(kUtf8CodePage == CP_UTF8);

/// The platform functions take lengths as int.
int platformLength(std::size_t length) {
  if (!std::in_range<int>(length)) {
    throw std::length_error("text too long to convert");
  }
  return static_cast<int>(length);
}

/// Checks the number of characters that a conversion reports. A text that is not empty always
/// converts to at least one character, so 0 is a failure.
std::size_t convertedLength(int length) {
  if (length <= 0) {
    throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(),
                            "text conversion");
  }
  return static_cast<std::size_t>(length);
}

}  // namespace

unsigned int fileCodePage() { return ::AreFileApisANSI() != FALSE ? CP_ACP : CP_OEMCP; }

std::wstring toWide(std::string_view text, unsigned int codePage) {
  if (text.empty()) {
    return {};
  }
  const int length = platformLength(text.size());
  const auto convert = [&](wchar_t* buffer, int size) {
    // Without the flag MB_ERR_INVALID_CHARS invalid bytes are replaced.
    return convertedLength(
        ::MultiByteToWideChar(codePage, /*dwFlags=*/0, text.data(), length, buffer, size));
  };
  std::wstring wide(convert(nullptr, 0), L'\0');
  wide.resize(convert(wide.data(), platformLength(wide.size())));
  return wide;
}

std::string toNarrow(std::wstring_view text, unsigned int codePage) {
  if (text.empty()) {
    return {};
  }
  const int length = platformLength(text.size());
  const auto convert = [&](char* buffer, int size) {
    // For UTF-8 the platform refuses a default character, and the flag that tells its use.
    return convertedLength(::WideCharToMultiByte(codePage, /*dwFlags=*/0, text.data(), length,
                                                 buffer, size, /*lpDefaultChar=*/nullptr,
                                                 /*lpUsedDefaultChar=*/nullptr));
  };
  std::string narrow(convert(nullptr, 0), '\0');
  narrow.resize(convert(narrow.data(), platformLength(narrow.size())));
  return narrow;
}

bool equalsIgnoreCase(std::wstring_view left, std::wstring_view right) {
  // The platform's comparison skips characters without weight, a soft hyphen or a zero, so that
  // texts of different lengths can be equal to it.
  if (left.size() != right.size()) {
    return false;
  }
  if (left.empty()) {
    return true;  // An empty view may have null data, which the platform would refuse.
  }
  const int length = platformLength(left.size());
  return ::CompareStringW(LOCALE_SYSTEM_DEFAULT, NORM_IGNORECASE, left.data(), length, right.data(),
                          length) == CSTR_EQUAL;
}

}  // namespace ostrel
