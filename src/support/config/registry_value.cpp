#include "registry_value.h"

#include <algorithm>
#include <array>
#include <bit>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "tessel/config/error.h"
#include "win32_error.h"

namespace tessel::config {
namespace {

using Result = expected<StorageValue, std::error_code>;
using Bytes = std::span<const std::uint8_t>;

template <class Number>
Number LoadNumber(Bytes data) {
  std::array<std::uint8_t, sizeof(Number)> bytes{};
  std::copy_n(data.begin(), std::min(data.size(), bytes.size()), bytes.begin());
  return std::bit_cast<Number>(bytes);
}

std::uint32_t ReverseBytes(std::uint32_t number) {
  return number << 24U | (number & 0xFF00U) << 8U | (number >> 8U & 0xFF00U) | number >> 24U;
}

// All characters of the data. An odd last byte is dropped.
std::wstring LoadCharacters(Bytes data) {
  std::wstring characters(data.size() / sizeof(wchar_t), L'\0');
  std::copy_n(data.begin(), characters.size() * sizeof(wchar_t),
              reinterpret_cast<std::uint8_t*>(characters.data()));
  return characters;
}

std::wstring LoadText(Bytes data) {
  std::wstring text = LoadCharacters(data);
  text.resize(std::min(text.find(L'\0'), text.size()));
  return text;
}

std::vector<StorageValue> LoadList(Bytes data, const std::shared_ptr<Storage>& owner) {
  const std::wstring characters = LoadCharacters(data);
  std::vector<StorageValue> list;
  for (std::wstring_view rest = characters; !rest.empty() && rest.front() != L'\0';) {
    const std::size_t length = std::min(rest.find(L'\0'), rest.size());
    list.emplace_back(std::wstring(rest.substr(0, length)), owner);
    rest.remove_prefix(std::min(length + 1, rest.size()));
  }
  return list;
}

// The count that the platform reports includes the terminating zero. The zero stays in the result,
// because the readers of such values expect it there.
expected<std::wstring, std::error_code> Expand(const std::wstring& text) {
  std::wstring expanded;
  DWORD count = ::ExpandEnvironmentStringsW(text.c_str(), nullptr, 0);
  // Runs a second time only if a variable grew between two calls.
  do {
    expanded.resize(count);
    count = ::ExpandEnvironmentStringsW(text.c_str(), expanded.data(), count);
    if (count == 0) {
      return MakeWin32Error(static_cast<LSTATUS>(::GetLastError()));
    }
  } while (count > expanded.size());
  return expanded;
}

}  // namespace

expected<StorageValue, std::error_code> FromRegistry(DWORD type, std::span<const std::uint8_t> data,
                                                     const std::shared_ptr<Storage>& owner) {
  switch (type) {
    case REG_NONE:
      return StorageValue(std::monostate(), owner);
    case REG_SZ:
      return StorageValue(LoadText(data), owner);
    case REG_EXPAND_SZ: {
      auto expanded = Expand(LoadText(data));
      return expanded ? Result(StorageValue(*std::move(expanded), owner)) : expanded.error();
    }
    case REG_BINARY:
      return StorageValue(std::vector<std::uint8_t>(data.begin(), data.end()), owner);
    case REG_DWORD:
      return StorageValue(LoadNumber<std::uint32_t>(data), owner);
    case REG_DWORD_BIG_ENDIAN:
      return StorageValue(ReverseBytes(LoadNumber<std::uint32_t>(data)), owner);
    case REG_LINK:
      return StorageValue(StoragePath(LoadText(data), L'\\'), owner);
    case REG_MULTI_SZ:
      return StorageValue(LoadList(data, owner), owner);
    case REG_QWORD:
      return StorageValue(LoadNumber<std::uint64_t>(data), owner);
    default:
      return Error::unsupported_storage_value;
  }
}

expected<RegistryData, std::error_code> MakeRegistryData(DWORD type, const void* bytes,
                                                         std::size_t size) {
  if (size > (std::numeric_limits<DWORD>::max)()) {
    return Error::unsupported_storage_value;
  }
  return RegistryData{type, bytes, static_cast<DWORD>(size), {}};
}

namespace {

using Encoded = expected<RegistryData, std::error_code>;

Encoded EncodeList(const std::vector<StorageValue>& values) {
  std::size_t size = 1;
  for (const StorageValue& value : values) {
    const auto* text = std::get_if<std::wstring>(&value.Payload());
    if (text == nullptr) {
      return Error::unsupported_storage_value;
    }
    size += text->size() + 1;
  }
  std::vector<wchar_t> list;
  list.reserve(size);
  for (const StorageValue& value : values) {
    const auto& text = std::get<std::wstring>(value.Payload());
    list.insert(list.end(), text.c_str(), text.c_str() + text.size() + 1);
  }
  list.push_back(L'\0');
  auto encoded = MakeRegistryData(REG_MULTI_SZ, list.data(), list.size() * sizeof(wchar_t));
  if (encoded) {
    encoded->list = std::move(list);  // bytes stays valid: moving a vector keeps its elements
  }
  return encoded;
}

}  // namespace

expected<RegistryData, std::error_code> ToRegistry(const StorageValue& value) {
  return std::visit(
      []([[maybe_unused]] const auto& payload) -> Encoded {
        using Payload = std::remove_cvref_t<decltype(payload)>;
        if constexpr (std::is_same_v<Payload, std::monostate>) {
          return MakeRegistryData(REG_NONE, nullptr, 0);
        } else if constexpr (std::is_integral_v<Payload> && sizeof(Payload) == sizeof(DWORD)) {
          return MakeRegistryData(REG_DWORD, &payload, sizeof payload);
        } else if constexpr (std::is_integral_v<Payload> && sizeof(Payload) == sizeof(DWORD64)) {
          return MakeRegistryData(REG_QWORD, &payload, sizeof payload);
        } else if constexpr (std::is_same_v<Payload, std::wstring>) {
          return MakeRegistryData(REG_SZ, payload.c_str(), (payload.size() + 1) * sizeof(wchar_t));
        } else if constexpr (std::is_same_v<Payload, std::vector<std::uint8_t>>) {
          return MakeRegistryData(REG_BINARY, payload.data(), payload.size());
        } else if constexpr (std::is_same_v<Payload, std::vector<StorageValue>>) {
          return EncodeList(payload);
        } else {
          return Error::unsupported_storage_value;
        }
      },
      value.Payload());
}

}  // namespace tessel::config
