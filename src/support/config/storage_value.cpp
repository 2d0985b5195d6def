#include "tessel/config/storage_value.h"

#include <array>
#include <cctype>
#include <charconv>
#include <limits>
#include <type_traits>

#include "tessel/config/error.h"

namespace tessel::config {
namespace {

// A text of this many characters or more is refused without being parsed.
constexpr std::size_t kTextLimit = 328;

template <class Number>
expected<Number, std::error_code> ParseNumber(const std::wstring& text) {
  if (text.size() >= kTextLimit) {
    return Error::invalid_value_conversion;
  }
  std::array<char, kTextLimit> narrow;
  char* end = narrow.data();
  for (const wchar_t character : text) {
    if (character > 255) {
      return Error::invalid_value_conversion;
    }
    *end++ = static_cast<char>(character);
  }

  const char* begin = narrow.data();
  while (begin != end && std::isspace(static_cast<unsigned char>(*begin)) != 0) {
    ++begin;
  }
  if (begin != end && *begin == '+') {
    ++begin;
  }
  int base = 10;
  if (end - begin >= 3 && begin[0] == '0' && (begin[1] == 'x' || begin[1] == 'X')) {
    base = 16;
    begin += 2;
  }
  Number number = 0;
  if (const auto result = std::from_chars(begin, end, number, base); result.ec != std::errc()) {
    return std::make_error_code(result.ec);
  }
  return number;
}

template <class Payload>
expected<Payload, std::error_code> Exactly(const StorageValue& value) {
  const auto* const payload = std::get_if<Payload>(&value.Payload());
  if (payload == nullptr) {
    return Error::invalid_value_conversion;
  }
  return *payload;
}

template <class Number>
Number TruncateFloat(double value) {
  // 2 to the power of 63, the first number above the signed 64-bit range. All comparisons below are
  // false for NaN.
  constexpr double kLimit = 9223372036854775808.0;
  if (value >= -kLimit && value < kLimit) {
    return static_cast<Number>(static_cast<std::int64_t>(value));
  }
  if (value >= kLimit && value < 2 * kLimit) {
    return static_cast<Number>(static_cast<std::uint64_t>(value));
  }
  return 0;
}

template <class Number>
expected<Number, std::error_code> ToNumber(const StorageValue& value) {
  return std::visit(
      []([[maybe_unused]] const auto& payload) -> expected<Number, std::error_code> {
        using Payload = std::remove_cvref_t<decltype(payload)>;
        if constexpr (std::is_same_v<Payload, std::monostate>) {
          return Number{0};
        } else if constexpr (std::is_integral_v<Payload>) {
          return static_cast<Number>(payload);
        } else if constexpr (std::is_floating_point_v<Payload>) {
          return TruncateFloat<Number>(payload);
        } else if constexpr (std::is_same_v<Payload, std::wstring>) {
          return ParseNumber<Number>(payload);
        } else {
          return Error::invalid_value_conversion;
        }
      },
      value.Payload());
}

}  // namespace

expected<std::uint32_t, std::error_code> ToUInt32(const StorageValue& value) {
  return ToNumber<std::uint32_t>(value);
}

expected<std::uint64_t, std::error_code> ToUInt64(const StorageValue& value) {
  return ToNumber<std::uint64_t>(value);
}

expected<std::wstring, std::error_code> ToText(const StorageValue& value) {
  const auto* const text = std::get_if<std::wstring>(&value.Payload());
  if (text == nullptr) {
    return Error::invalid_value_conversion;
  }
  return text->substr(0, text->find(L'\0'));
}

expected<bool, std::error_code> ToBool(const StorageValue& value) { return Exactly<bool>(value); }

expected<std::vector<std::uint8_t>, std::error_code> ToBytes(const StorageValue& value) {
  return Exactly<std::vector<std::uint8_t>>(value);
}

expected<std::vector<std::wstring>, std::error_code> ToTextList(const StorageValue& value) {
  const auto* const list = std::get_if<std::vector<StorageValue>>(&value.Payload());
  if (list == nullptr) {
    return Error::invalid_value_conversion;
  }
  std::vector<std::wstring> texts;
  texts.reserve(list->size());
  for (const StorageValue& element : *list) {
    auto text = ToText(element);
    if (!text) {
      return text.error();
    }
    texts.push_back(*std::move(text));
  }
  return texts;
}

StorageValue TextList(std::initializer_list<detail::ListedText> texts) {
  std::vector<StorageValue> list;
  list.reserve(texts.size());
  for (const detail::ListedText& text : texts) {
    list.emplace_back(text.Text());
  }
  return list;
}

}  // namespace tessel::config
