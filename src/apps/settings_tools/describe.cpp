#include "settings_tools/describe.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <type_traits>
#include <variant>
#include <vector>

#include <fmt/format.h>

#include "text.h"

namespace settings_tools {
namespace {

using tessel::config::StoragePath;
using tessel::config::StorageValue;

constexpr std::size_t kTextIndex = 9;  // the index of the alternative

bool IsControl(wchar_t character) {
  return character < L' ' || (character >= L'\x7F' && character < L'\xA0');
}

// Begins another line, or changes the direction of what follows.
bool IsLayoutControl(wchar_t character) {
  return character == L'\x61C' || character == L'\x200E' || character == L'\x200F' ||
         (character >= L'\x2028' && character <= L'\x202E') ||
         (character >= L'\x2066' && character <= L'\x2069');
}

std::string Quote(std::wstring_view text) {
  std::wstring quoted;
  for (const wchar_t character : text) {
    if (character == L'"' || character == L'\\') {
      quoted += L'\\';
    }
    quoted += character;
  }
  return '"' + Printable(quoted) + '"';
}

std::string DescribeBytes(const std::vector<std::uint8_t>& bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    fmt::format_to(std::back_inserter(text), "{:02x}", byte);
  }
  return text;
}

std::string DescribeList(const std::vector<StorageValue>& values) {
  std::string text;
  for (const StorageValue& value : values) {
    text += (text.empty() ? "" : ", ") + Describe(value);
  }
  return '[' + text + ']';
}

}  // namespace

std::string Printable(std::wstring_view text) {
  std::wstring printable;
  for (const wchar_t character : text) {
    if (IsControl(character) || IsLayoutControl(character)) {
      const auto code = static_cast<unsigned int>(character);
      const std::string escape =
          code < 0x100 ? fmt::format("\\x{:02x}", code) : fmt::format("\\u{:04x}", code);
      printable.append(escape.begin(), escape.end());
    } else {
      printable += character;
    }
  }
  return ostrel::toNarrow(printable, ostrel::kUtf8CodePage);
}

std::string_view TypeName(const StorageValue& value) {
  // By the index of the alternative.
  constexpr std::array<std::string_view, 12> kNames = {
      "REG_NONE", "bool",   "REG_DWORD", "REG_QWORD", "REG_DWORD",  "REG_QWORD",
      "float",    "double", "REG_LINK",  "REG_SZ",    "REG_BINARY", "REG_MULTI_SZ"};
  // Of the texts that are read, an expanded one alone ends with a zero.
  if (value.Index() == kTextIndex && value.Get<std::wstring>().ends_with(L'\0')) {
    return "REG_EXPAND_SZ";
  }
  return kNames.at(value.Index());
}

std::string Describe(const StorageValue& value) {
  return std::visit(
      []([[maybe_unused]] const auto& payload) -> std::string {
        using Payload = std::remove_cvref_t<decltype(payload)>;
        if constexpr (std::is_same_v<Payload, std::monostate>) {
          return "";
        } else if constexpr (std::is_arithmetic_v<Payload>) {
          return std::to_string(payload);
        } else if constexpr (std::is_same_v<Payload, StoragePath>) {
          return Printable(payload.Text());
        } else if constexpr (std::is_same_v<Payload, std::wstring>) {
          return Quote(std::wstring_view(payload).substr(0, payload.find(L'\0')));
        } else if constexpr (std::is_same_v<Payload, std::vector<std::uint8_t>>) {
          return DescribeBytes(payload);
        } else {
          return DescribeList(payload);
        }
      },
      value.Payload());
}

}  // namespace settings_tools
