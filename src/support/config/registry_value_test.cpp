#include "registry_value.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/error_codes.h"
#include "support/import_hook.h"
#include "tessel/config/error.h"
#include "tessel/config/storage.h"

namespace tessel::config {
namespace {

using testing_support::ErrorOf;
using testing_support::ImportHook;
using Bytes = std::vector<std::uint8_t>;
using List = std::vector<StorageValue>;

// The data as the registry has it, in memory of exactly its size.
expected<StorageValue, std::error_code> Decode(DWORD type, const Bytes& data) {
  return FromRegistry(type, data, nullptr);
}

Bytes Characters(const std::wstring& text) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  return {bytes, bytes + text.size() * sizeof(wchar_t)};
}

std::vector<std::wstring> TextsOf(const StorageValue& list) {
  std::vector<std::wstring> texts;
  for (const StorageValue& element : list.Get<List>()) {
    texts.push_back(element.Get<std::wstring>());
  }
  return texts;
}

TEST(FromRegistryTest, NoneIsEmpty) {
  EXPECT_EQ(Decode(REG_NONE, {}).value().Index(), 0U);
  EXPECT_EQ(Decode(REG_NONE, {1, 2}).value().Index(), 0U);
}

TEST(FromRegistryTest, TextEndsAtTheFirstZeroOrWithTheData) {
  const auto decode = [](const Bytes& data) {
    return Decode(REG_SZ, data).value().Get<std::wstring>();
  };
  using namespace std::string_literals;
  EXPECT_EQ(decode(Characters(L"text\0"s)), L"text");
  EXPECT_EQ(decode(Characters(L"text"s)), L"text");
  EXPECT_EQ(decode(Characters(L"te\0xt\0"s)), L"te");
  EXPECT_EQ(decode(Characters(L"\0"s)), L"");
  EXPECT_EQ(decode({}), L"");
  EXPECT_EQ(decode({'x'}), L"");
  EXPECT_EQ(decode({'x', 0, 'y'}), L"x");
}

TEST(FromRegistryTest, NumbersAreLoadedFromWhatIsThere) {
  const auto decode = [](const Bytes& data) {
    return Decode(REG_DWORD, data).value().Get<std::uint32_t>();
  };
  EXPECT_EQ(decode({4, 3, 2, 1}), 0x01020304U);
  EXPECT_EQ(decode({4, 3}), 0x0304U);
  EXPECT_EQ(decode({}), 0U);
  EXPECT_EQ(decode({4, 3, 2, 1, 9, 9}), 0x01020304U);
}

TEST(FromRegistryTest, BigEndianNumbersAreReversed) {
  const auto decode = [](const Bytes& data) {
    return Decode(REG_DWORD_BIG_ENDIAN, data).value().Get<std::uint32_t>();
  };
  EXPECT_EQ(decode({4, 3, 2, 1}), 0x04030201U);
  // Zero-extended as they stand, then reversed.
  EXPECT_EQ(decode({4, 3}), 0x04030000U);
  EXPECT_EQ(decode({}), 0U);
}

TEST(FromRegistryTest, WideNumbersAreLoadedFromWhatIsThere) {
  const auto decode = [](const Bytes& data) {
    return Decode(REG_QWORD, data).value().Get<std::uint64_t>();
  };
  EXPECT_EQ(decode({8, 7, 6, 5, 4, 3, 2, 1}), 0x0102030405060708U);
  EXPECT_EQ(decode({8, 7, 6, 5, 4, 3, 2, 1, 9}), 0x0102030405060708U);
  EXPECT_EQ(decode({8}), 8U);
  EXPECT_EQ(decode({}), 0U);
}

TEST(FromRegistryTest, BinaryIsBytes) {
  EXPECT_EQ(Decode(REG_BINARY, {1, 2, 3}).value().Get<Bytes>(), (Bytes{1, 2, 3}));
  EXPECT_EQ(Decode(REG_BINARY, {}).value().Get<Bytes>(), Bytes());
}

TEST(FromRegistryTest, LinkIsANormalisedPath) {
  using namespace std::string_literals;
  EXPECT_EQ(Decode(REG_LINK, Characters(L"\\Registry\\\\Machine\\"s)).value().Get<StoragePath>(),
            StoragePath(L"Registry\\Machine", L'\\'));
  EXPECT_EQ(Decode(REG_LINK, Characters(L"A/B\0C"s)).value().Get<StoragePath>(),
            StoragePath(L"A/B", L'\\'));
}

TEST(FromRegistryTest, ListEndsAtItsFirstEmptyTextOrWithTheData) {
  const auto decode = [](const std::wstring& data) {
    return TextsOf(Decode(REG_MULTI_SZ, Characters(data)).value());
  };
  using namespace std::string_literals;
  using Expected = std::vector<std::wstring>;
  EXPECT_EQ(decode(L"a\0bc\0\0"s), (Expected{L"a", L"bc"}));
  EXPECT_EQ(decode(L"a\0bc\0"s), (Expected{L"a", L"bc"}));
  EXPECT_EQ(decode(L"a\0bc"s), (Expected{L"a", L"bc"}));
  EXPECT_EQ(decode(L"a\0\0bc\0\0"s), Expected{L"a"});
  EXPECT_EQ(decode(L"\0a\0\0"s), Expected());
  EXPECT_EQ(decode(L"\0"s), Expected());
  EXPECT_EQ(decode(L""s), Expected());
  EXPECT_EQ(TextsOf(Decode(REG_MULTI_SZ, {'a', 0, 'b'}).value()), Expected{L"a"});
}

TEST(FromRegistryTest, OtherTypesAreUnsupported) {
  for (const DWORD type : {DWORD{REG_RESOURCE_LIST}, DWORD{REG_FULL_RESOURCE_DESCRIPTOR},
                           DWORD{REG_RESOURCE_REQUIREMENTS_LIST}, DWORD{12}, DWORD{0xFFFFFFFF}}) {
    EXPECT_EQ(ErrorOf(Decode(type, {1, 2, 3, 4})), Error::unsupported_storage_value);
  }
}

TEST(FromRegistryTest, EachValueRefersToItsStorage) {
  const auto storage = std::make_shared<Storage>();
  using namespace std::string_literals;
  const Bytes data = Characters(L"a\0\0"s);
  for (const int type : {REG_NONE, REG_SZ, REG_EXPAND_SZ, REG_BINARY, REG_DWORD,
                         REG_DWORD_BIG_ENDIAN, REG_LINK, REG_MULTI_SZ, REG_QWORD}) {
    const auto value = FromRegistry(static_cast<DWORD>(type), data, storage);
    EXPECT_EQ(value->Owner(), storage) << type;
    if (type == REG_MULTI_SZ) {
      EXPECT_EQ(value->Get<List>().at(0).Owner(), storage);
    }
  }
}

class ExpandTest : public ::testing::Test {
 protected:
  ExpandTest() { ::SetEnvironmentVariableW(L"OSTREL_TEST", L"expanded"); }
  ~ExpandTest() override { ::SetEnvironmentVariableW(L"OSTREL_TEST", nullptr); }

  static std::wstring Decoded(const std::wstring& data) {
    return Decode(REG_EXPAND_SZ, Characters(data)).value().Get<std::wstring>();
  }
  // What the variable expands to when it becomes `text` between the platform's two calls.
  static std::wstring DecodedWhenItBecomes(const wchar_t* text) {
    ImportHook<"ExpandEnvironmentStringsW", decltype(::ExpandEnvironmentStringsW)> hook(
        [&](LPCWSTR source, LPWSTR target, DWORD size) {
          const DWORD count = hook.Original()(source, target, size);
          if (target == nullptr) {
            ::SetEnvironmentVariableW(L"OSTREL_TEST", text);
          }
          return count;
        });
    return Decoded(L"%OSTREL_TEST%");
  }
};

using namespace std::string_literals;

TEST_F(ExpandTest, KeepsOneZeroBehindTheExpandedText) {
  EXPECT_EQ(Decoded(L"a %OSTREL_TEST% b\0"s), L"a expanded b\0"s);
  EXPECT_EQ(Decoded(L"plain\0"s), L"plain\0"s);
}

TEST_F(ExpandTest, ReadsNothingPastTheData) {
  EXPECT_EQ(Decoded(L"%OSTREL_TEST%"s), L"expanded\0"s);
  EXPECT_EQ(Decoded(L"a\0%OSTREL_TEST%"s), L"a\0"s);
  EXPECT_EQ(Decoded(L""s), L"\0"s);
}

TEST_F(ExpandTest, AsksForTheSizeThenExpands) {
  std::vector<std::pair<bool, DWORD>> calls;
  ImportHook<"ExpandEnvironmentStringsW", decltype(::ExpandEnvironmentStringsW)> hook(
      [&](LPCWSTR source, LPWSTR target, DWORD size) {
        calls.emplace_back(target != nullptr, size);
        return hook.Original()(source, target, size);
      });
  EXPECT_EQ(Decoded(L"%OSTREL_TEST%"s), L"expanded\0"s);
  EXPECT_EQ(calls, (std::vector<std::pair<bool, DWORD>>{{false, 0}, {true, 9}}));
}

TEST_F(ExpandTest, ExpandsAgainWhenAVariableGrewInBetween) {
  EXPECT_EQ(DecodedWhenItBecomes(L"much longer than before"), L"much longer than before\0"s);
}

TEST_F(ExpandTest, KeepsItsSizeWhenAVariableShrankInBetween) {
  EXPECT_EQ(DecodedWhenItBecomes(L"short"), L"short\0\0\0\0"s);
}

TEST_F(ExpandTest, AFailedExpansionIsTheLastError) {
  DWORD lastError = ERROR_NOT_ENOUGH_MEMORY;
  const ImportHook<"ExpandEnvironmentStringsW", decltype(::ExpandEnvironmentStringsW)> hook(
      [&](LPCWSTR /*source*/, LPWSTR target, DWORD /*size*/) -> DWORD {
        ::SetLastError(lastError);
        return target == nullptr ? 9 : 0;
      });
  EXPECT_EQ(ErrorOf(Decode(REG_EXPAND_SZ, {})),
            std::error_code(ERROR_NOT_ENOUGH_MEMORY, std::system_category()));
  lastError = ERROR_FILE_NOT_FOUND;
  EXPECT_EQ(ErrorOf(Decode(REG_EXPAND_SZ, {})), Error::not_found);
}

// The data that the registry would get for a value.
testing::AssertionResult Encodes(const StorageValue& value, DWORD type, const Bytes& bytes) {
  const auto data = ToRegistry(value);
  if (!data) {
    return testing::AssertionFailure() << data.error().message();
  }
  const auto* begin = static_cast<const std::uint8_t*>(data->bytes);
  if (data->type != type || Bytes(begin, begin + data->size) != bytes) {
    return testing::AssertionFailure() << "type " << data->type << ": "
                                       << testing::PrintToString(Bytes(begin, begin + data->size));
  }
  return testing::AssertionSuccess();
}

TEST(ToRegistryTest, WritesEachTypeThatTheRegistryHolds) {
  EXPECT_TRUE(Encodes(StorageValue(), REG_NONE, {}));
  EXPECT_TRUE(Encodes(StorageValue(std::int32_t{-2}), REG_DWORD, {0xFE, 0xFF, 0xFF, 0xFF}));
  EXPECT_TRUE(Encodes(StorageValue(std::uint32_t{0x01020304}), REG_DWORD, {4, 3, 2, 1}));
  EXPECT_TRUE(Encodes(StorageValue(std::int64_t{-2}), REG_QWORD,
                      {0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}));
  EXPECT_TRUE(Encodes(StorageValue(std::uint64_t{0x0102030405060708}), REG_QWORD,
                      {8, 7, 6, 5, 4, 3, 2, 1}));
  EXPECT_TRUE(Encodes(StorageValue(std::wstring(L"ab")), REG_SZ, {'a', 0, 'b', 0, 0, 0}));
  EXPECT_TRUE(Encodes(StorageValue(std::wstring()), REG_SZ, {0, 0}));
  EXPECT_TRUE(Encodes(StorageValue(L"a\0b"s), REG_SZ, {'a', 0, 0, 0, 'b', 0, 0, 0}));
  EXPECT_TRUE(Encodes(StorageValue(Bytes{1, 2, 3}), REG_BINARY, {1, 2, 3}));
  EXPECT_TRUE(Encodes(StorageValue(Bytes()), REG_BINARY, {}));
}

TEST(ToRegistryTest, EmptyHasNoData) {
  EXPECT_EQ(ToRegistry(StorageValue()).value().bytes, nullptr);
  EXPECT_EQ(ToRegistry(StorageValue()).value().size, 0U);
}

TEST(ToRegistryTest, ListsAreTextsWithAZeroEachAndOneMore) {
  const StorageValue a(L"a"s);
  const StorageValue bc(L"bc"s);
  EXPECT_TRUE(Encodes(StorageValue(List()), REG_MULTI_SZ, {0, 0}));
  EXPECT_TRUE(Encodes(StorageValue(List{a, bc}), REG_MULTI_SZ, Characters(L"a\0bc\0\0"s)));
  EXPECT_TRUE(Encodes(StorageValue(List{StorageValue(std::wstring())}), REG_MULTI_SZ,
                      Characters(L"\0\0"s)));
  EXPECT_TRUE(Encodes(StorageValue(List{StorageValue(L"a\0b"s), a}), REG_MULTI_SZ,
                      Characters(L"a\0b\0a\0\0"s)));
}

TEST(ToRegistryTest, OtherAlternativesAreUnsupported) {
  const StorageValue values[] = {
      StorageValue(true),
      StorageValue(1.0F),
      StorageValue(1.0),
      StorageValue(StoragePath(L"A")),
      StorageValue(List{StorageValue(L"a"s), StorageValue(std::uint32_t{1})}),
      StorageValue(List{StorageValue(List())}),
  };
  for (const StorageValue& value : values) {
    EXPECT_EQ(ErrorOf(ToRegistry(value)), Error::unsupported_storage_value) << value.Index();
  }
}

TEST(ToRegistryTest, RefusesMoreThanTheRegistryCanCount) {
  const std::uint8_t first = 0;
  EXPECT_EQ(MakeRegistryData(REG_BINARY, &first, 0xFFFFFFFF).value().size, 0xFFFFFFFF);
  EXPECT_EQ(ErrorOf(MakeRegistryData(REG_BINARY, &first, 0x1'0000'0000)),
            Error::unsupported_storage_value);
}

}  // namespace
}  // namespace tessel::config
