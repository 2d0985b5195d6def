#include "host_platform.h"

#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace fuzz {
namespace {

Expansion expansion;
unsigned int grown = 0;
DWORD lastError = 0;

/// A text as the platform's comparison weighs it: without case, soft hyphens left out.
std::wstring Weighed(std::wstring text) {
  std::erase(text, L'\u00AD');
  for (wchar_t& character : text) {
    if (character >= L'A' && character <= L'Z') {
      character = static_cast<wchar_t>(character + 32);
    }
  }
  return text;
}

/// How many bytes a character has that begins with this one; 0 when none does.
unsigned int SequenceLength(unsigned char lead) {
  if (lead < 0x80) {
    return 1;
  }
  return lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
}

/// Decodes UTF-8; each byte that belongs to no character becomes U+FFFD.
std::wstring Decode(std::string_view text) {
  std::wstring wide;
  while (!text.empty()) {
    const auto lead = static_cast<unsigned char>(text.front());
    const unsigned int length = SequenceLength(lead);
    std::uint32_t character = length < 2 ? lead : lead & (0x7FU >> length);
    unsigned int read = 1;
    for (; read < length && read < text.size() && (text[read] & 0xC0) == 0x80; ++read) {
      character = character << 6U | (static_cast<unsigned char>(text[read]) & 0x3FU);
    }
    if (read != length) {
      wide += L'\uFFFD';
      read = 1;
    } else if (character > 0xFFFF) {
      wide += static_cast<wchar_t>(0xD7C0U + (character >> 10U));
      wide += static_cast<wchar_t>(0xDC00U | (character & 0x3FFU));
    } else {
      wide += static_cast<wchar_t>(character);
    }
    text.remove_prefix(read);
  }
  return wide;
}

/// Hands a converted text over as the platform's conversions do.
template <class Character>
int Deliver(const std::basic_string<Character>& text, Character* buffer, int size) {
  const auto length = static_cast<int>(text.size());
  if (size == 0) {
    return length;
  }
  if (size < length) {
    lastError = ERROR_INSUFFICIENT_BUFFER;
    return 0;
  }
  std::copy(text.begin(), text.end(), buffer);
  return length;
}

}  // namespace

void SetExpansion(Expansion next) {
  expansion = next;
  grown = 0;
}

std::wstring Expanded(const std::wstring& text) {
  std::wstring expanded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::wstring_view rest = std::wstring_view(text).substr(i);
    if (rest.starts_with(L"%A%")) {
      i += 2;
    } else if (rest.starts_with(L"%NAME%")) {
      expanded += L"value";
      i += 5;
    } else if (rest.starts_with(L"%LONG%")) {
      expanded.append(300, L'x');
      i += 5;
    } else {
      expanded += text[i];
    }
  }
  return expanded;
}

}  // namespace fuzz

extern "C" {

DWORD WINAPI GetLastError() { return fuzz::lastError; }

BOOL WINAPI AreFileApisANSI() { return TRUE; }

DWORD WINAPI ExpandEnvironmentStringsW(LPCWSTR text, LPWSTR buffer, DWORD size) {
  if (fuzz::expansion.error != 0 && buffer != nullptr) {
    fuzz::lastError = fuzz::expansion.error;
    return 0;
  }
  const std::wstring expanded = fuzz::Expanded(text) + std::wstring(fuzz::grown, fuzz::kGrowth);
  if (fuzz::grown < fuzz::expansion.growths) {
    ++fuzz::grown;
  }
  if (expanded.size() < size) {
    std::copy_n(expanded.c_str(), expanded.size() + 1, buffer);
  } else if (size != 0) {
    std::copy_n(expanded.c_str(), size, buffer);  // what there is room for
  }
  const unsigned int gone = buffer == nullptr ? fuzz::expansion.shrinkage : 0;
  return static_cast<DWORD>(expanded.size() + 1 + gone);
}

int WINAPI MultiByteToWideChar(UINT /*codePage*/, DWORD /*flags*/, LPCSTR text, int length,
                               LPWSTR buffer, int size) {
  return fuzz::Deliver(fuzz::Decode({text, static_cast<std::size_t>(length)}), buffer, size);
}

int WINAPI WideCharToMultiByte(UINT /*codePage*/, DWORD /*flags*/, LPCWSTR text, int length,
                               LPSTR buffer, int size, LPCSTR /*defaultCharacter*/,
                               LPBOOL /*usedDefault*/) {
  // Only the texts of the ZOLT states come here.
  return fuzz::Deliver(std::string(text, text + length), buffer, size);
}

int WINAPI CompareStringW(LCID /*locale*/, DWORD /*flags*/, LPCWSTR left, int leftLength,
                          LPCWSTR right, int rightLength) {
  const bool equal =
      fuzz::Weighed({left, left + leftLength}) == fuzz::Weighed({right, right + rightLength});
  return equal ? CSTR_EQUAL : CSTR_LESS_THAN;
}

}  // extern "C"
