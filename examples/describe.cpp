#include "describe.h"

#include <windows.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <type_traits>
#include <variant>
#include <vector>

namespace examples {
namespace {

using tessel::config::StoragePath;
using tessel::config::StorageValue;

std::string DescribeBytes(const std::vector<std::uint8_t>& bytes) {
  constexpr const char* kDigits = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += kDigits[byte >> 4U];
    text += kDigits[byte & 0xFU];
  }
  return text;
}

std::string DescribeList(const std::vector<StorageValue>& values) {
  std::string text;
  for (const StorageValue& value : values) {
    text += (text.empty() ? "" : ", ") + Describe(value);
  }
  return "[" + text + "]";
}

}  // namespace

std::string ToUtf8(const std::wstring& text) {
  const auto length = static_cast<int>(text.size());
  std::string result(static_cast<std::size_t>(::WideCharToMultiByte(CP_UTF8, 0, text.data(), length,
                                                                    nullptr, 0, nullptr, nullptr)),
                     '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, text.data(), length, result.data(),
                        static_cast<int>(result.size()), nullptr, nullptr);
  return result;
}

std::string TypeName(const StorageValue& value) {
  // By the index of the alternative. Reading tells neither REG_EXPAND_SZ from REG_SZ nor the byte
  // order of a REG_DWORD.
  constexpr std::array<const char*, 12> kNames = {
      "REG_NONE", "bool",   "REG_DWORD", "REG_QWORD", "REG_DWORD",  "REG_QWORD",
      "float",    "double", "key",       "REG_SZ",    "REG_BINARY", "REG_MULTI_SZ"};
  return kNames.at(value.Index());
}

std::string Describe(const StorageValue& value) {
  return std::visit(
      [](const auto& payload) -> std::string {
        using Payload = std::remove_cvref_t<decltype(payload)>;
        if constexpr (std::is_same_v<Payload, std::monostate>) {
          return "";
        } else if constexpr (std::is_arithmetic_v<Payload>) {
          return std::to_string(payload);
        } else if constexpr (std::is_same_v<Payload, StoragePath>) {
          return ToUtf8(payload.Text());
        } else if constexpr (std::is_same_v<Payload, std::wstring>) {
          return '"' + ToUtf8(payload.substr(0, payload.find(L'\0'))) + '"';
        } else if constexpr (std::is_same_v<Payload, std::vector<std::uint8_t>>) {
          return DescribeBytes(payload);
        } else {
          return DescribeList(payload);
        }
      },
      value.Payload());
}

std::optional<unsigned long> ReadCount(int argc, const char* const* argv) {
  if (argc < 2) {
    return (std::numeric_limits<unsigned long>::max)();
  }
  char* end = nullptr;
  const unsigned long count = std::strtoul(argv[1], &end, 10);
  return argc > 2 || end == argv[1] || *end != '\0' ? std::nullopt : std::optional(count);
}

}  // namespace examples
