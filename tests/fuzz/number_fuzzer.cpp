// Values as unsigned numbers, against arithmetic that is wide enough to be exact.
//
// Input: a byte for the kind of value, then its content: eight bytes of a number, or a text.
#include <algorithm>
#include <bit>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "input.h"
#include "tessel/config/error.h"
#include "tessel/config/storage_value.h"

namespace {

using fuzz::Expect;
using tessel::config::Error;
using tessel::config::StorageValue;
using Wide = unsigned __int128;

/// A number before it is held against a width, or why there is none.
struct Expected {
  std::error_code error;
  Wide number = 0;
  /// Numbers of texts must fit, others are reduced.
  bool mustFit = false;
};

Expected Failure(std::error_code error) { return {.error = error}; }

/// The digit's value; 99 for a character that is none.
unsigned int Digit(wchar_t character) {
  constexpr std::wstring_view kDigits = L"0123456789abcdefABCDEF";
  const std::size_t place = kDigits.find(character);
  return place == kDigits.npos ? 99 : static_cast<unsigned int>(place < 16 ? place : place - 6);
}

Expected OfText(std::wstring text) {
  const auto isWide = [](wchar_t character) { return character > 0xFF; };
  if (text.size() > 327 || std::ranges::any_of(text, isWide)) {
    return Failure(Error::invalid_value_conversion);
  }
  while (!text.empty() && std::wstring_view(L" \t\n\v\f\r").find(text[0]) != text.npos) {
    text.erase(0, 1);
  }
  if (text.starts_with(L'+')) {
    text.erase(0, 1);
  }
  unsigned int base = 10;
  if ((text.starts_with(L"0x") || text.starts_with(L"0X")) && text.size() > 2) {
    text.erase(0, 2);
    base = 16;
  }
  if (text.empty() || Digit(text[0]) >= base) {
    return Failure(std::make_error_code(std::errc::invalid_argument));
  }
  constexpr Wide kTooLarge = Wide{1} << 100U;
  Wide number = 0;
  for (std::size_t i = 0; i != text.size() && Digit(text[i]) < base; ++i) {
    number = number < kTooLarge ? number * base + Digit(text[i]) : kTooLarge;
  }
  return {.error = {}, .number = number, .mustFit = true};
}

/// The number in two's complement, as wide as it gets.
Expected OfSigned(__int128 number) { return {.error = {}, .number = static_cast<Wide>(number)}; }

/// From the bits of a float of 64 bits.
Expected OfFloatBits(std::uint64_t bits) {
  const int exponent = static_cast<int>(bits >> 52U & 0x7FFU) - 1075;  // of the last bit
  const auto significand = static_cast<__int128>((bits & ((1ULL << 52U) - 1)) | 1ULL << 52U);
  if (exponent <= -1075 + 1022 || exponent > 11) {
    return OfSigned(0);  // below 1, or far beyond 64 bits, infinite or no number
  }
  __int128 number = exponent < 0 ? significand >> -exponent : significand << exponent;
  number = (bits >> 63U) != 0 ? -number : number;
  constexpr __int128 kLimit = __int128{1} << 63U;
  return OfSigned(number >= -kLimit && number < 2 * kLimit ? number : 0);
}

template <class Number>
void Check(const tessel::expected<Number, std::error_code>& result, const Expected& expected) {
  constexpr Wide kMaximum = static_cast<Number>(-1);
  if (expected.error) {
    Expect(!result && result.error() == expected.error, "the error of the conversion");
  } else if (expected.mustFit && expected.number > kMaximum) {
    Expect(!result && result.error() == std::make_error_code(std::errc::result_out_of_range),
           "a number that does not fit is out of range");
  } else {
    Expect(result && *result == static_cast<Number>(expected.number), "the number");
  }
}

std::pair<StorageValue, Expected> Take(fuzz::Input& input) {
  const std::uint8_t kind = input.TakeByte() % 12;
  if (kind == 9) {
    const std::wstring text = fuzz::ToText(input.TakeRest());
    return {StorageValue(text), OfText(text)};
  }
  const std::uint64_t bits = input.TakeNumber();
  const auto low = static_cast<std::uint32_t>(bits);
  const auto single = std::bit_cast<float>(low);
  switch (kind) {
    case 1:
      return {StorageValue(bits % 2 != 0), OfSigned(static_cast<__int128>(bits % 2))};
    case 2:
      return {StorageValue(std::bit_cast<std::int32_t>(low)),
              OfSigned(std::bit_cast<std::int32_t>(low))};
    case 3:
      return {StorageValue(std::bit_cast<std::int64_t>(bits)),
              OfSigned(std::bit_cast<std::int64_t>(bits))};
    case 4:
      return {StorageValue(low), OfSigned(low)};
    case 5:
      return {StorageValue(bits), OfSigned(static_cast<__int128>(bits))};
    case 6:
      return {StorageValue(single), OfFloatBits(std::bit_cast<std::uint64_t>(double{single}))};
    case 7:
      return {StorageValue(std::bit_cast<double>(bits)), OfFloatBits(bits)};
    case 8:
      return {StorageValue(tessel::config::StoragePath(fuzz::ToText(input.TakeRest()))),
              Failure(Error::invalid_value_conversion)};
    case 10:
      return {StorageValue(std::vector<std::uint8_t>(bits % 16)),
              Failure(Error::invalid_value_conversion)};
    case 11:
      return {StorageValue(std::vector<StorageValue>(bits % 16)),
              Failure(Error::invalid_value_conversion)};
    default:
      return {StorageValue(), OfSigned(0)};
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const auto [value, expected] = Take(input);
  Check(ToUInt32(value), expected);
  Check(ToUInt64(value), expected);
  return 0;
}
