#include "tessel/config/storage_value.h"

#include <windows.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include "support/error_codes.h"
#include "tessel/config/error.h"
#include "tessel/config/storage.h"

namespace tessel::config {
namespace {

using Bytes = std::vector<std::uint8_t>;
using List = std::vector<StorageValue>;
using testing_support::ErrorOf;

TEST(StorageValueTest, HoldsTwelveAlternativesInTheirOrder) {
  EXPECT_EQ(StorageValue().Index(), 0U);
  EXPECT_EQ(StorageValue(std::monostate()).Index(), 0U);
  EXPECT_EQ(StorageValue(true).Index(), 1U);
  EXPECT_EQ(StorageValue(std::int32_t{1}).Index(), 2U);
  EXPECT_EQ(StorageValue(std::int64_t{1}).Index(), 3U);
  EXPECT_EQ(StorageValue(std::uint32_t{1}).Index(), 4U);
  EXPECT_EQ(StorageValue(std::uint64_t{1}).Index(), 5U);
  EXPECT_EQ(StorageValue(1.0F).Index(), 6U);
  EXPECT_EQ(StorageValue(1.0).Index(), 7U);
  EXPECT_EQ(StorageValue(StoragePath(L"A")).Index(), 8U);
  EXPECT_EQ(StorageValue(std::wstring(L"A")).Index(), 9U);
  EXPECT_EQ(StorageValue(Bytes{1}).Index(), 10U);
  EXPECT_EQ(StorageValue(List()).Index(), 11U);
}

TEST(StorageValueTest, TakesTextsInEveryForm) {
  const auto textOf = [](const StorageValue& value) { return value.Get<std::wstring>(); };
  EXPECT_EQ(textOf(L"text"), L"text");
  EXPECT_EQ(textOf(std::wstring_view(L"a\0b", 3)), std::wstring(L"a\0b", 3));
  EXPECT_EQ(textOf(std::wstring(L"a\0b", 3)), std::wstring(L"a\0b", 3));
  const wchar_t* const pointer = L"pointer";
  EXPECT_EQ(textOf(pointer), L"pointer");
  EXPECT_EQ(textOf(L""), L"");
}

TEST(StorageValueTest, TakesThePlatformsIntegers) {
  EXPECT_EQ(StorageValue(LONG{-1}).Get<std::int32_t>(), -1);
  EXPECT_EQ(StorageValue(std::numeric_limits<LONG>::min()).Get<std::int32_t>(),
            std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(StorageValue(DWORD{0xFFFFFFFF}).Get<std::uint32_t>(), 0xFFFFFFFFU);
  EXPECT_EQ(StorageValue(DWORD{50}).Index(), 4U);
  EXPECT_EQ(StorageValue(LONG{50}).Index(), 2U);
}

TEST(StorageValueTest, KeepsTheOwnerOfWhateverItIsMadeFrom) {
  const auto owner = std::make_shared<Storage>();
  for (const StorageValue& value :
       {StorageValue(true, owner), StorageValue(L"text", owner),
        StorageValue(std::wstring_view(L"text"), owner), StorageValue(DWORD{1}, owner)}) {
    EXPECT_EQ(value.Owner(), owner);
  }
}

template <class T>
constexpr bool kMakesAValue = std::is_constructible_v<StorageValue, T>;

TEST(StorageValueTest, TakesNothingButItsAlternatives) {
  // Each would otherwise become a bool or a number of another width.
  static_assert(!kMakesAValue<const char*>);
  static_assert(!kMakesAValue<void*>);
  static_assert(!kMakesAValue<std::nullptr_t>);
  static_assert(!kMakesAValue<char>);
  static_assert(!kMakesAValue<wchar_t>);
  static_assert(!kMakesAValue<short>);
  static_assert(!kMakesAValue<unsigned char>);
  static_assert(!kMakesAValue<long double>);
  static_assert(!kMakesAValue<StorageEvent>);
  static_assert(!kMakesAValue<expected<StorageValue, std::error_code>>);
  // Where long has 64 bits, one of the two types of 64 bits is no alternative.
  using OtherLong = std::conditional_t<std::is_same_v<std::uint64_t, unsigned long>,
                                       unsigned long long, unsigned long>;
  static_assert(sizeof(long) == 4 || !kMakesAValue<OtherLong>);
}

TEST(StorageValueTest, GetGivesThePayload) {
  EXPECT_EQ(StorageValue(std::wstring(L"text")).Get<std::wstring>(), L"text");
  EXPECT_EQ(StorageValue(StoragePath(L"A/B")).Get<StoragePath>(), StoragePath(L"A/B"));
  const StorageValue list(List{StorageValue(true), StorageValue(List())});
  EXPECT_TRUE(list.Get<List>()[0].Get<bool>());
  EXPECT_EQ(std::get<List>(list.Payload()).size(), 2U);
}

TEST(StorageValueTest, AnRvalueGivesThePayloadItself) {
  static_assert(std::is_same_v<decltype(StorageValue().Get<std::wstring>()), std::wstring>);
  const auto& text = StorageValue(std::wstring(100, L'x')).Get<std::wstring>();
  EXPECT_EQ(text, std::wstring(100, L'x'));
}

TEST(StorageValueTest, GetOfAnotherAlternativeThrows) {
  try {
    static_cast<void>(StorageValue(std::uint32_t{1}).Get<std::wstring>());
    FAIL() << "Get returned";
  } catch (const std::bad_variant_access& exception) {
    EXPECT_STREQ(exception.what(), "bad variant access");
  }
}

TEST(StorageValueTest, KeepsItsStorage) {
  EXPECT_EQ(StorageValue(true).Owner(), nullptr);
  auto storage = std::make_shared<Storage>();
  const std::weak_ptr<Storage> observer = storage;
  {
    const StorageValue value(true, storage);
    EXPECT_EQ(value.Owner(), storage);
    storage.reset();
    EXPECT_FALSE(observer.expired());
  }
  EXPECT_TRUE(observer.expired());
}

void ExpectNumbers(const StorageValue& value, std::uint32_t narrow, std::uint64_t wide) {
  EXPECT_EQ(ToUInt32(value).value(), narrow);
  EXPECT_EQ(ToUInt64(value).value(), wide);
}

void ExpectErrors(const StorageValue& value, std::error_code error) {
  EXPECT_EQ(ErrorOf(ToUInt32(value)), error);
  EXPECT_EQ(ErrorOf(ToUInt64(value)), error);
}

TEST(ToNumberTest, EmptyAndBool) {
  ExpectNumbers(StorageValue(), 0, 0);
  ExpectNumbers(StorageValue(true), 1, 1);
  ExpectNumbers(StorageValue(false), 0, 0);
}

TEST(ToNumberTest, IntegersAreReducedToTheWidth) {
  ExpectNumbers(StorageValue(std::int32_t{-1}), 0xFFFFFFFF, 0xFFFFFFFFFFFFFFFF);
  ExpectNumbers(StorageValue(std::int64_t{-2}), 0xFFFFFFFE, 0xFFFFFFFFFFFFFFFE);
  ExpectNumbers(StorageValue(std::uint32_t{0xFFFFFFFF}), 0xFFFFFFFF, 0xFFFFFFFF);
  ExpectNumbers(StorageValue(std::uint64_t{0x100000001}), 1, 0x100000001);
}

TEST(ToNumberTest, FloatsAreTruncatedTowardZero) {
  ExpectNumbers(StorageValue(1.9F), 1, 1);
  ExpectNumbers(StorageValue(-1.9F), 0xFFFFFFFF, 0xFFFFFFFFFFFFFFFF);
  ExpectNumbers(StorageValue(-0.9), 0, 0);
  ExpectNumbers(StorageValue(4294967297.5), 1, 4294967297);
  ExpectNumbers(StorageValue(-9223372036854775808.0), 0, 0x8000000000000000);
  ExpectNumbers(StorageValue(9223372036854774784.0), 0xFFFFFC00, 0x7FFFFFFFFFFFFC00);
}

TEST(ToNumberTest, FloatsBeyondTheSignedRangeAreUnsigned) {
  ExpectNumbers(StorageValue(9223372036854775808.0), 0, 0x8000000000000000);
  ExpectNumbers(StorageValue(9223372036854775808.0F), 0, 0x8000000000000000);
  ExpectNumbers(StorageValue(1e19), 0x89E80000, 10000000000000000000U);
  ExpectNumbers(StorageValue(18446744073709549568.0), 0xFFFFF800, 0xFFFFFFFFFFFFF800);
}

TEST(ToNumberTest, FloatsThatDoNotFitAreZero) {
  ExpectNumbers(StorageValue(18446744073709551616.0), 0, 0);
  ExpectNumbers(StorageValue(-9223372036854777856.0), 0, 0);
  ExpectNumbers(StorageValue(1e19F * 1e19F), 0, 0);
  ExpectNumbers(StorageValue(std::numeric_limits<float>::infinity()), 0, 0);
  ExpectNumbers(StorageValue(-std::numeric_limits<double>::infinity()), 0, 0);
  ExpectNumbers(StorageValue(std::nan("")), 0, 0);
}

TEST(ToNumberTest, TextIsDecimalOrHexadecimal) {
  const auto expectText = [](const wchar_t* text, std::uint32_t number) {
    SCOPED_TRACE(text);
    ExpectNumbers(StorageValue(std::wstring(text)), number, number);
  };
  expectText(L"0", 0);
  expectText(L"12", 12);
  expectText(L"010", 10);
  expectText(L" \t\r\n\v\f7", 7);
  expectText(L"+7", 7);
  expectText(L" +0x1F", 31);
  expectText(L"0XfF", 255);
  expectText(L"0x", 0);
  expectText(L"1x2", 1);
  expectText(L"12abc", 12);
  expectText(L"12 13", 12);
  expectText(L"0x1G", 1);
  expectText(L"4294967295", 4294967295);
  expectText(L"0xFFFFFFFF", 4294967295);
  expectText(L"7\x00FF", 7);
}

TEST(ToNumberTest, TextWithoutANumberIsInvalid) {
  for (const wchar_t* text :
       {L"", L" ", L"+", L"++5", L"+ 5", L"-1", L"abc", L"xx5", L"0xZ", L"0x-1"}) {
    ExpectErrors(StorageValue(std::wstring(text)),
                 std::make_error_code(std::errc::invalid_argument));
  }
  EXPECT_EQ(ErrorOf(ToUInt32(StorageValue(std::wstring(L"-1")))),
            std::error_code(22, std::generic_category()));
}

TEST(ToNumberTest, TextBeyondTheWidthIsOutOfRange) {
  const auto outOfRange = std::make_error_code(std::errc::result_out_of_range);
  EXPECT_EQ(outOfRange.value(), 34);
  const StorageValue wide(std::wstring(L"99999999999"));
  EXPECT_EQ(ErrorOf(ToUInt32(wide)), outOfRange);
  EXPECT_EQ(ToUInt64(wide).value(), 99999999999U);
  EXPECT_EQ(ErrorOf(ToUInt32(StorageValue(std::wstring(L"4294967296")))), outOfRange);
  EXPECT_EQ(ToUInt64(StorageValue(std::wstring(L"18446744073709551615"))).value(),
            18446744073709551615U);
  ExpectErrors(StorageValue(std::wstring(L"18446744073709551616")), outOfRange);
}

TEST(ToNumberTest, TextIsLimitedInLengthAndCharacters) {
  ExpectNumbers(StorageValue(std::wstring(326, L'0') + L"7"), 7, 7);
  ExpectErrors(StorageValue(std::wstring(327, L'0') + L"7"), Error::invalid_value_conversion);
  // Wherever the character stands, also after the number.
  ExpectErrors(StorageValue(std::wstring(L"12\x20AC")), Error::invalid_value_conversion);
  ExpectErrors(StorageValue(std::wstring(L"\x0664")), Error::invalid_value_conversion);
  ExpectErrors(StorageValue(std::wstring(L"1\x0100")), Error::invalid_value_conversion);
}

TEST(ToNumberTest, OtherAlternativesDoNotConvert) {
  ExpectErrors(StorageValue(StoragePath(L"1")), Error::invalid_value_conversion);
  ExpectErrors(StorageValue(Bytes{1}), Error::invalid_value_conversion);
  ExpectErrors(StorageValue(List{StorageValue(true)}), Error::invalid_value_conversion);
}

// --- readers of one alternative ---------------------------------------------------------------

/// A value of each alternative.
std::vector<StorageValue> OneOfEach() {
  return {
      StorageValue(), true, std::int32_t{1},   std::int64_t{1}, std::uint32_t{1}, std::uint64_t{1},
      1.0F,           1.0,  StoragePath(L"A"), L"text",         Bytes{1, 2},      TextList({L"a"})};
}

template <class Read>
void ExpectOnly(std::size_t index, Read read) {
  const std::vector<StorageValue> values = OneOfEach();
  ASSERT_EQ(values.size(), std::variant_size_v<StorageValue::Alternatives>);
  for (std::size_t i = 0; i < values.size(); ++i) {
    ASSERT_EQ(values[i].Index(), i);
    const auto result = read(values[i]);
    EXPECT_EQ(result.has_value(), i == index) << i;
    if (!result) {
      EXPECT_EQ(result.error(), Error::invalid_value_conversion) << i;
    }
  }
}

TEST(TypedReaderTest, ReadsItsAlternativeAlone) {
  ExpectOnly(1, [](const StorageValue& value) { return ToBool(value); });
  ExpectOnly(9, [](const StorageValue& value) { return ToText(value); });
  ExpectOnly(10, [](const StorageValue& value) { return ToBytes(value); });
  ExpectOnly(11, [](const StorageValue& value) { return ToTextList(value); });
}

TEST(TypedReaderTest, GivesThePayload) {
  EXPECT_TRUE(ToBool(true).value());
  EXPECT_FALSE(ToBool(false).value());
  EXPECT_EQ(ToText(L"text").value(), L"text");
  EXPECT_EQ(ToBytes(Bytes{1, 2}).value(), (Bytes{1, 2}));
  EXPECT_EQ(ToBytes(Bytes()).value(), Bytes());
  EXPECT_EQ(ToTextList(TextList({L"a", L"b"})).value(), (std::vector<std::wstring>{L"a", L"b"}));
}

TEST(TypedReaderTest, ATextEndsAtItsFirstZero) {
  EXPECT_EQ(ToText(std::wstring(L"a\0b", 3)).value(), L"a");
  EXPECT_EQ(ToText(std::wstring(L"a\0", 2)).value(), L"a");
  EXPECT_EQ(ToText(std::wstring(1, L'\0')).value(), L"");
  EXPECT_EQ(ToText(L"").value(), L"");
  EXPECT_EQ(ToTextList(List{std::wstring(L"a\0b", 3)}).value(), std::vector<std::wstring>{L"a"});
}

TEST(TypedReaderTest, AListOfAnythingElseIsNoListOfTexts) {
  EXPECT_EQ(ToTextList(List()).value(), std::vector<std::wstring>());
  EXPECT_EQ(ErrorOf(ToTextList(List{L"a", std::int32_t{1}})), Error::invalid_value_conversion);
  EXPECT_EQ(ErrorOf(ToTextList(List{TextList({L"a"})})), Error::invalid_value_conversion);
}

template <class Read>
void ExpectPassesErrorsThrough(Read read) {
  using Result = expected<StorageValue, std::error_code>;
  for (const std::error_code error :
       {make_error_code(Error::not_found), std::error_code(5, std::system_category())}) {
    EXPECT_EQ(ErrorOf(read(Result(error))), error);
  }
}

TEST(TypedReaderTest, ReadsResultsAndPassesTheirErrorsThrough) {
  const expected<StorageValue, std::error_code> number = StorageValue(DWORD{50});
  EXPECT_EQ(ToUInt32(number).value_or(10), 50U);
  EXPECT_EQ(ToUInt64(number).value_or(10), 50U);
  EXPECT_EQ(ErrorOf(ToText(number)), Error::invalid_value_conversion);
  ExpectPassesErrorsThrough([](const auto& result) { return ToUInt32(result); });
  ExpectPassesErrorsThrough([](const auto& result) { return ToUInt64(result); });
  ExpectPassesErrorsThrough([](const auto& result) { return ToText(result); });
  ExpectPassesErrorsThrough([](const auto& result) { return ToBool(result); });
  ExpectPassesErrorsThrough([](const auto& result) { return ToBytes(result); });
  ExpectPassesErrorsThrough([](const auto& result) { return ToTextList(result); });
}

TEST(TextListTest, TakesTextsInEveryForm) {
  const std::wstring text = L"b";
  const StorageValue list = TextList({L"a", text, std::wstring_view(L"c")});
  EXPECT_EQ(list.Index(), 11U);
  EXPECT_EQ(ToTextList(list).value(), (std::vector<std::wstring>{L"a", L"b", L"c"}));
  EXPECT_EQ(ToTextList(TextList({})).value(), std::vector<std::wstring>());
  const std::vector<std::wstring> texts = {L"a", L""};
  EXPECT_EQ(ToTextList(TextList(texts)).value(), texts);
}

template <class... Arguments>
concept MakesATextList = requires(Arguments... arguments) { TextList({arguments...}); };
template <class Pointer>
concept MakesATextListOfAPair = requires(Pointer pointer) { TextList({{pointer, pointer}}); };

// Two pointers would make one text from the first to the second.
static_assert(MakesATextList<const wchar_t*, const wchar_t*>);
static_assert(!MakesATextListOfAPair<const wchar_t*>);
static_assert(!MakesATextList<int>);
static_assert(!MakesATextList<const char*>);
static_assert(!MakesATextList<std::nullptr_t>);

#ifdef OSTREL_TESTS_ASSERTIONS

TEST(StorageValueDeathTest, ANullPointerIsNoText) {
  const wchar_t* const null = nullptr;
  EXPECT_DEATH(StorageValue{null}, "text != nullptr");
  EXPECT_DEATH(static_cast<void>(TextList({L"a", null})), "text != nullptr");
}

#endif

}  // namespace
}  // namespace tessel::config
