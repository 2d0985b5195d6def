// Iteration over what real keys hold: every type, size and name, many entries, changes meanwhile.
#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <gmock/gmock-matchers.h>

#include "support/error_codes.h"
#include "support/import_hook.h"
#include "support/registry_sandbox.h"
#include "tessel/config/error.h"
#include "tessel/config/registry_storage.h"

namespace tessel::config {
namespace {

using ::testing::ElementsAre;
using testing_support::EndOfIteration;
using testing_support::ErrorOf;
using testing_support::RawDword;
using testing_support::RawText;
using testing_support::RawValue;
using testing_support::SystemError;
using namespace std::string_literals;
using Bytes = std::vector<std::uint8_t>;
using List = std::vector<StorageValue>;
using Texts = std::vector<std::wstring>;
using EnumHook = testing_support::ImportHook<"RegEnumValueW", decltype(::RegEnumValueW)>;

class RegistryIteratorDataTest : public ::testing::Test {
 protected:
  static std::shared_ptr<RegistryStorage> Open(const std::wstring& path) {
    return RegistryStorage::Create(HKEY_LOCAL_MACHINE, StoragePath(path), nullptr).value();
  }
  static StorageIterator Iterate(const std::wstring& path) {
    return Open(path)->Iterate(StoragePath()).value();
  }
  // The result of iterating over a value that does not fit into the first buffer and that has
  // become `after` by the second call.
  StorageValue NextReplaced(const RawValue& after) {
    sandbox.Write(L"K", L"v", {REG_BINARY, Bytes(257, 'x')});
    auto iterator = Iterate(L"K");
    int calls = 0;
    const EnumHook hook([&](auto... arguments) {
      if (++calls == 2) {
        sandbox.Write(L"K", L"v", after);
      }
      return EnumHook::Original()(arguments...);
    });
    auto entry = iterator.Next().value();
    EXPECT_GE(calls, 2);
    EXPECT_EQ(entry.path.Text(), L"v");
    EXPECT_EQ(ErrorOf(iterator.Next()), EndOfIteration());
    return std::move(entry.value);
  }

  testing_support::RegistrySandbox sandbox;
};

TEST_F(RegistryIteratorDataTest, ConvertsEachTypeAsReadingDoes) {
  sandbox.Write(L"K", L"a", {REG_NONE, {1}});
  sandbox.Write(L"K", L"b", RawText(L"text"));
  sandbox.Write(L"K", L"c", RawText(L"%OSTREL_UNSET%", REG_EXPAND_SZ));
  sandbox.Write(L"K", L"d", {REG_BINARY, {1, 2, 3}});
  sandbox.Write(L"K", L"e", RawDword(0x01020304));
  sandbox.Write(L"K", L"f", {REG_DWORD_BIG_ENDIAN, {4, 3, 2, 1}});
  sandbox.Write(L"K", L"g", RawText(L"\\A\\\\B", REG_LINK));
  sandbox.Write(L"K", L"h", RawText(L"a\0b\0"s, REG_MULTI_SZ));
  sandbox.Write(L"K", L"i1", {REG_RESOURCE_LIST, {1, 2}});
  sandbox.Write(L"K", L"i2", {REG_FULL_RESOURCE_DESCRIPTOR, {1, 2}});
  sandbox.Write(L"K", L"i3", {REG_RESOURCE_REQUIREMENTS_LIST, {1, 2}});
  sandbox.Write(L"K", L"j", {REG_QWORD, {8, 7, 6, 5, 4, 3, 2, 1}});
  sandbox.Write(L"K", L"k", {12, {1}});

  auto iterator = Iterate(L"K");
  const auto next = [&] { return iterator.Next().value().value; };
  EXPECT_EQ(next().Index(), 0U);
  EXPECT_EQ(next().Get<std::wstring>(), L"text");
  EXPECT_EQ(next().Get<std::wstring>(), L"%OSTREL_UNSET%\0"s);
  EXPECT_EQ(next().Get<Bytes>(), (Bytes{1, 2, 3}));
  EXPECT_EQ(next().Get<std::uint32_t>(), 0x01020304U);
  EXPECT_EQ(next().Get<std::uint32_t>(), 0x04030201U);
  EXPECT_EQ(next().Get<StoragePath>(), StoragePath(L"A\\B", L'\\'));
  EXPECT_EQ(next().Get<List>().at(1).Get<std::wstring>(), L"b");
  for (int unsupported = 0; unsupported < 3; ++unsupported) {
    EXPECT_EQ(ErrorOf(iterator.Next()), Error::unsupported_storage_value);
  }
  EXPECT_EQ(next().Get<std::uint64_t>(), 0x0102030405060708U);
  EXPECT_EQ(ErrorOf(iterator.Next()), Error::unsupported_storage_value);
  EXPECT_EQ(ErrorOf(iterator.Next()), EndOfIteration());
}

TEST_F(RegistryIteratorDataTest, ConvertsDataThatDoesNotFitItsType) {
  const auto bytes = [](std::initializer_list<std::uint8_t> list) {
    return Bytes(list.begin(), list.end());
  };
  // A long value first: nothing of it may show in the data of the later, shorter ones.
  sandbox.Write(L"K", L"a", {REG_BINARY, Bytes(256, 'x')});
  sandbox.Write(L"K", L"b", {REG_SZ, bytes({'a', 0, 'b', 0})});
  sandbox.Write(L"K", L"c", {REG_SZ, bytes({'a', 0, 'b'})});
  sandbox.Write(L"K", L"d", {REG_SZ, {}});
  sandbox.Write(L"K", L"e", {REG_EXPAND_SZ, bytes({'a', 0})});
  sandbox.Write(L"K", L"f", {REG_EXPAND_SZ, {}});
  sandbox.Write(L"K", L"g", {REG_MULTI_SZ, bytes({'a', 0, 0, 0, 'b', 0})});
  sandbox.Write(L"K", L"h", {REG_MULTI_SZ, bytes({'a', 0, 0, 0, 'b', 0, 'c'})});
  sandbox.Write(L"K", L"i", {REG_DWORD, bytes({1, 2})});
  sandbox.Write(L"K", L"j", {REG_DWORD, bytes({1, 2, 3, 4, 5})});
  sandbox.Write(L"K", L"k", {REG_DWORD_BIG_ENDIAN, bytes({1})});
  sandbox.Write(L"K", L"l", {REG_QWORD, {}});
  sandbox.Write(L"K", L"m", {REG_QWORD, bytes({1, 2, 3})});
  sandbox.Write(L"K", L"n", {REG_LINK, bytes({'A', 0, '\\', 0, 'B'})});
  auto iterator = Iterate(L"K");
  const auto next = [&] { return iterator.Next().value().value; };
  const auto texts = [](const StorageValue& list) {
    Texts result;
    for (const StorageValue& element : list.Get<List>()) {
      result.push_back(element.Get<std::wstring>());
    }
    return result;
  };
  EXPECT_EQ(next().Get<Bytes>().size(), 256U);
  EXPECT_EQ(next().Get<std::wstring>(), L"ab");
  EXPECT_EQ(next().Get<std::wstring>(), L"a");
  EXPECT_EQ(next().Get<std::wstring>(), L"");
  EXPECT_EQ(next().Get<std::wstring>(), L"a\0"s);
  EXPECT_EQ(next().Get<std::wstring>(), L"\0"s);
  EXPECT_THAT(texts(next()), ElementsAre(L"a", L"b"));
  EXPECT_THAT(texts(next()), ElementsAre(L"a", L"b"));
  EXPECT_EQ(next().Get<std::uint32_t>(), 0x0201U);
  EXPECT_EQ(next().Get<std::uint32_t>(), 0x04030201U);
  EXPECT_EQ(next().Get<std::uint32_t>(), 0x01000000U);
  EXPECT_EQ(next().Get<std::uint64_t>(), 0U);
  EXPECT_EQ(next().Get<std::uint64_t>(), 0x030201U);
  EXPECT_EQ(next().Get<StoragePath>(), StoragePath(L"A", L'\\'));
  EXPECT_EQ(ErrorOf(iterator.Next()), EndOfIteration());
}

TEST_F(RegistryIteratorDataTest, ReadsValuesOfAnySizeWhole) {
  std::vector<Bytes> contents;
  for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{255}, std::size_t{256},
                                 std::size_t{257}, std::size_t{1} << 20U, std::size_t{3}}) {
    Bytes& bytes = contents.emplace_back(size);
    for (std::size_t index = 0; index < size; ++index) {
      bytes[index] = static_cast<std::uint8_t>(index * 7);
    }
    sandbox.Write(L"K", std::to_wstring(contents.size()), {REG_BINARY, bytes});
  }
  auto iterator = Iterate(L"K");
  for (const Bytes& bytes : contents) {
    const auto entry = iterator.Next();
    ASSERT_TRUE(entry) << bytes.size();
    EXPECT_EQ(entry->value.Get<Bytes>(), bytes) << bytes.size();
  }
  EXPECT_EQ(ErrorOf(iterator.Next()), EndOfIteration());
}

TEST_F(RegistryIteratorDataTest, ReadsNamesUpToTheLimits) {
  const std::wstring longestKey(255, L'k');
  const std::wstring longestValue(16382, L'v');
  sandbox.CreateKey(L"K\\" + longestKey);
  sandbox.Write(L"K", longestValue, RawDword(1));
  auto iterator = Open(L"")->Iterate(StoragePath(L"K")).value();
  const auto subkey = iterator.Next();
  ASSERT_TRUE(subkey);
  EXPECT_EQ(subkey->path.Text(), L"K\\" + longestKey);
  EXPECT_EQ(subkey->value.Get<StoragePath>().Text(), longestKey);
  const auto value = iterator.Next();
  ASSERT_TRUE(value);
  EXPECT_EQ(value->path.Text(), L"K\\" + longestValue);
  EXPECT_EQ(ErrorOf(iterator.Next()), EndOfIteration());
}

// The buffer has room for 16383 characters, the platform's limit, but not for the terminating zero.
TEST_F(RegistryIteratorDataTest, AValueNameOneCharacterLongerStopsTheIterationThere) {
  sandbox.Write(L"K", L"a", RawDword(1));
  sandbox.Write(L"K", std::wstring(16383, L'v'), RawDword(2));
  sandbox.Write(L"K", L"w", RawDword(3));
  auto iterator = Iterate(L"K");
  EXPECT_EQ(iterator.Next().value().path.Text(), L"a");
  EXPECT_EQ(ErrorOf(iterator.Next()), SystemError(ERROR_MORE_DATA));
  EXPECT_EQ(ErrorOf(iterator.Next()), SystemError(ERROR_MORE_DATA));
}

TEST_F(RegistryIteratorDataTest, WalksOverTenThousandSubkeysAndValues) {
  constexpr std::size_t kCount = 10'000;
  Texts expected;
  for (std::size_t number = 0; number < kCount; ++number) {
    // Of equal length, so that the registry's order is that of the numbers.
    expected.push_back(L"k" + std::to_wstring(kCount + number));
    sandbox.CreateKey(L"K\\" + expected.back());
  }
  for (std::size_t number = 0; number < kCount; ++number) {
    expected.push_back(L"v" + std::to_wstring(kCount + number));
    sandbox.Write(L"K", expected.back(), RawDword(static_cast<std::uint32_t>(number)));
  }
  auto iterator = Iterate(L"K");
  Texts paths;
  std::uint32_t number = 0;
  for (const auto& entry : iterator) {
    ASSERT_TRUE(entry);
    paths.push_back(entry->path.Text());
    if (entry->value.Index() == 4) {
      EXPECT_EQ(entry->value.Get<std::uint32_t>(), number++);
    }
  }
  EXPECT_EQ(number, kCount);
  EXPECT_TRUE(paths == expected);  // EXPECT_EQ would print all of them
}

TEST_F(RegistryIteratorDataTest, AddedAndRemovedEntriesShiftThePosition) {
  for (const wchar_t* name : {L"K\\b", L"K\\c", L"K\\d"}) {
    sandbox.CreateKey(name);
  }
  sandbox.Write(L"K", L"v", RawDword(1));
  auto iterator = Iterate(L"K");
  EXPECT_EQ(iterator.Next().value().path.Text(), L"b");
  sandbox.CreateKey(L"K\\a");
  EXPECT_EQ(iterator.Next().value().path.Text(), L"b");  // now the second one
  ASSERT_EQ(::RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"K\\a"), ERROR_SUCCESS);
  ASSERT_EQ(::RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"K\\b"), ERROR_SUCCESS);
  ASSERT_EQ(::RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"K\\c"), ERROR_SUCCESS);
  EXPECT_EQ(iterator.Next().value().path.Text(), L"v");
  sandbox.CreateKey(L"K\\z");
  sandbox.Write(L"K", L"w", RawDword(2));
  EXPECT_EQ(iterator.Next().value().path.Text(), L"w");
  EXPECT_EQ(ErrorOf(iterator.Next()), EndOfIteration());
  sandbox.Write(L"K", L"x", RawDword(3));
  EXPECT_EQ(ErrorOf(iterator.Next()), EndOfIteration());
}

TEST_F(RegistryIteratorDataTest, AValueReplacedByAnotherTypeAndSizeIsReadAsTheNewOne) {
  const std::wstring longer(512 * 1024 - 1, L'y');
  const Bytes larger(1000, 7);
  EXPECT_EQ(NextReplaced(RawText(longer)).Get<std::wstring>(), longer);
  EXPECT_EQ(NextReplaced({REG_BINARY, larger}).Get<Bytes>(), larger);
  EXPECT_EQ(NextReplaced(RawText(L"short")).Get<std::wstring>(), L"short");
  EXPECT_EQ(NextReplaced(RawDword(2)).Get<std::uint32_t>(), 2U);
  EXPECT_EQ(NextReplaced({REG_NONE, {}}).Index(), 0U);
  // Of the same size, so that only the type shows which value was read.
  EXPECT_EQ(NextReplaced({REG_MULTI_SZ, Bytes(257, 0)}).Get<List>().size(), 0U);
}

TEST_F(RegistryIteratorDataTest, AValueDeletedWhileItIsReadIsPassedOver) {
  sandbox.Write(L"K", L"v", {REG_BINARY, Bytes(257, 'x')});
  sandbox.Write(L"K", L"w", RawDword(1));
  auto iterator = Iterate(L"K");
  int calls = 0;
  const EnumHook hook([&](auto... arguments) {
    if (++calls == 2) {
      EXPECT_EQ(::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, L"K", L"v"), ERROR_SUCCESS);
    }
    return EnumHook::Original()(arguments...);
  });
  EXPECT_EQ(iterator.Next().value().path.Text(), L"w");
  EXPECT_EQ(ErrorOf(iterator.Next()), EndOfIteration());
}

TEST_F(RegistryIteratorDataTest, ADeletedKeyGivesItsErrorInBothPhases) {
  sandbox.CreateKey(L"K\\B");
  sandbox.Write(L"K\\C", L"v", RawDword(1));
  sandbox.Write(L"K\\C", L"w", RawDword(1));
  const auto storage = Open(L"K");
  auto amongSubkeys = storage->Iterate(StoragePath(L"B")).value();
  auto amongValues = storage->Iterate(StoragePath(L"C")).value();
  EXPECT_TRUE(amongValues.Next());
  ASSERT_EQ(::RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"K\\B"), ERROR_SUCCESS);
  ASSERT_EQ(::RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"K\\C"), ERROR_SUCCESS);
  for (int call = 0; call < 2; ++call) {
    EXPECT_EQ(ErrorOf(amongSubkeys.Next()), SystemError(ERROR_KEY_DELETED));
    EXPECT_EQ(ErrorOf(amongValues.Next()), SystemError(ERROR_KEY_DELETED));
  }
}

}  // namespace
}  // namespace tessel::config
