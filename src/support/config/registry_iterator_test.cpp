#include "registry_iterator.h"

#include <windows.h>

#include <map>
#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <gmock/gmock-more-matchers.h>

#include "support/error_codes.h"
#include "support/handle_count.h"
#include "support/import_hook.h"
#include "support/registry_sandbox.h"
#include "tessel/config/error.h"
#include "tessel/config/registry_storage.h"

namespace tessel::config {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing_support::EndOfIteration;
using testing_support::ErrorOf;
using testing_support::ExpectNoHandleLeft;
using testing_support::ImportHook;
using testing_support::RawDword;
using testing_support::RawText;
using testing_support::SystemError;
using namespace std::string_literals;
using List = std::vector<StorageValue>;
using Texts = std::vector<std::wstring>;

using OpenHook = ImportHook<"RegOpenKeyExW", decltype(::RegOpenKeyExW)>;
using CloseHook = ImportHook<"RegCloseKey", decltype(::RegCloseKey)>;
using CreateHook = ImportHook<"RegCreateKeyExW", decltype(::RegCreateKeyExW)>;

class RegistryIteratorTest : public ::testing::Test {
 protected:
  static std::shared_ptr<RegistryStorage> Open(const std::wstring& path) {
    return RegistryStorage::Create(HKEY_LOCAL_MACHINE, StoragePath(path), nullptr).value();
  }
  static StorageIterator Iterate(const std::wstring& path) {
    return Open(path)->Iterate(StoragePath()).value();
  }
  // The paths of all entries up to the end, which must be the only error.
  static Texts Paths(StorageIterator& iterator) {
    Texts paths;
    auto entry = iterator.Next();
    for (; entry; entry = iterator.Next()) {
      paths.push_back(entry->path.Text());
    }
    EXPECT_EQ(entry.error(), EndOfIteration());
    return paths;
  }

  testing_support::RegistrySandbox sandbox;
};

// --- The order of things

TEST_F(RegistryIteratorTest, AnEmptyKeyIsAtItsEndAtOnceAndForEver) {
  auto iterator = Iterate(L"A");
  for (int call = 0; call < 3; ++call) {
    EXPECT_EQ(ErrorOf(iterator.Next()), EndOfIteration());
  }
}

TEST_F(RegistryIteratorTest, GivesSubkeysThenValues) {
  sandbox.CreateKey(L"K\\A");
  sandbox.CreateKey(L"K\\B");
  sandbox.Write(L"K", L"V", RawText(L"text"));
  auto iterator = Iterate(L"K");
  for (const wchar_t* name : {L"A", L"B"}) {
    const auto subkey = iterator.Next();
    ASSERT_TRUE(subkey);
    EXPECT_EQ(subkey->path, StoragePath(name, L'\\'));
    EXPECT_EQ(subkey->value.Index(), 8U);
    EXPECT_EQ(subkey->value.Get<StoragePath>(), StoragePath(name, L'/'));
  }
  const auto value = iterator.Next();
  ASSERT_TRUE(value);
  EXPECT_EQ(value->path, StoragePath(L"V", L'\\'));
  EXPECT_EQ(value->value.Get<std::wstring>(), L"text");
  EXPECT_EQ(ErrorOf(iterator.Next()), EndOfIteration());
  EXPECT_EQ(ErrorOf(iterator.Next()), EndOfIteration());
}

TEST_F(RegistryIteratorTest, AKeyMayHaveValuesOrSubkeysAlone) {
  sandbox.CreateKey(L"keys\\A");
  sandbox.Write(L"values", L"V", RawDword(1));
  auto keys = Iterate(L"keys");
  EXPECT_THAT(Paths(keys), ElementsAre(L"A"));
  auto values = Iterate(L"values");
  EXPECT_THAT(Paths(values), ElementsAre(L"V"));
}

TEST_F(RegistryIteratorTest, IteratorsOfOneKeyDoNotDisturbEachOther) {
  sandbox.CreateKey(L"K\\A");
  sandbox.CreateKey(L"K\\B");
  const auto storage = Open(L"K");
  auto first = storage->Iterate(StoragePath()).value();
  EXPECT_EQ(first.Next().value().path.Text(), L"A");
  auto second = storage->Iterate(StoragePath()).value();
  EXPECT_EQ(second.Next().value().path.Text(), L"A");
  EXPECT_THAT(Paths(first), ElementsAre(L"B"));
  EXPECT_THAT(Paths(second), ElementsAre(L"B"));
}

// --- Paths

TEST_F(RegistryIteratorTest, PathsBeginWithThePathThatWasGiven) {
  sandbox.CreateKey(L"K\\B\\C\\sub");
  sandbox.Write(L"K\\B\\C", L"", RawText(L"default"));
  sandbox.Write(L"K\\B\\C", L"V", RawDword(1));
  const auto storage = Open(L"K");
  for (const StoragePath& path : {StoragePath(L"/B//C/"), StoragePath(L"B\\C", L'\\')}) {
    auto iterator = storage->Iterate(path).value();
    const auto subkey = iterator.Next();
    EXPECT_EQ(subkey->path, StoragePath(L"B\\C\\sub", L'\\'));
    EXPECT_EQ(subkey->value.Get<StoragePath>(), StoragePath(L"sub"));
    // The default value has no name.
    EXPECT_EQ(iterator.Next().value().path, StoragePath(L"B\\C", L'\\'));
    EXPECT_EQ(iterator.Next().value().path, StoragePath(L"B\\C\\V", L'\\'));
    EXPECT_EQ(ErrorOf(iterator.Next()), EndOfIteration());
  }
}

TEST_F(RegistryIteratorTest, TheDefaultValueOfTheStoragesOwnKeyHasAnEmptyPath) {
  sandbox.Write(L"K", L"", RawText(L"default"));
  auto iterator = Iterate(L"K");
  const auto entry = iterator.Next();
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->path, StoragePath(L"", L'\\'));
  EXPECT_EQ(entry->value.Get<std::wstring>(), L"default");
}

TEST_F(RegistryIteratorTest, NamesAreNormalisedForTheSeparatorOfTheirPath) {
  sandbox.CreateKey(L"K\\we/ird//x");
  sandbox.CreateKey(L"K\\z/");
  sandbox.Write(L"K", L"\\val\\\\ue\\", RawDword(1));
  sandbox.Write(L"K", L"w//", RawDword(2));
  auto iterator = Open(L"")->Iterate(StoragePath(L"K")).value();
  auto entry = iterator.Next();
  EXPECT_EQ(entry->path, StoragePath(L"K\\we/ird//x", L'\\'));
  EXPECT_EQ(entry->value.Get<StoragePath>(), StoragePath(L"we/ird/x", L'/'));
  entry = iterator.Next();
  EXPECT_EQ(entry->path, StoragePath(L"K\\z/", L'\\'));
  EXPECT_EQ(entry->value.Get<StoragePath>(), StoragePath(L"z", L'/'));
  entry = iterator.Next();
  EXPECT_EQ(entry->path, StoragePath(L"K\\val\\ue", L'\\'));
  entry = iterator.Next();
  EXPECT_EQ(entry->path, StoragePath(L"K\\w//", L'\\'));
}

// --- Opening

TEST_F(RegistryIteratorTest, AKeyThatCannotBeOpenedIsNotIterated) {
  const auto storage = Open(L"K");
  EXPECT_EQ(ErrorOf(storage->Iterate(StoragePath(L"none"))), Error::not_found);
  LSTATUS status = ERROR_ACCESS_DENIED;
  const OpenHook hook([&](auto&&...) { return status; });
  EXPECT_EQ(ErrorOf(storage->Iterate(StoragePath(L"B"))), SystemError(ERROR_ACCESS_DENIED));
  status = ERROR_FILE_NOT_FOUND;
  EXPECT_EQ(ErrorOf(storage->Iterate(StoragePath(L"B"))), Error::not_found);
  // The storage's own key is open already.
  EXPECT_TRUE(storage->Iterate(StoragePath()));
}

TEST_F(RegistryIteratorTest, WithoutAnOpenKeyThereIsNothingToIterate) {
  const CreateHook create([](HKEY, LPCWSTR, DWORD, LPWSTR, DWORD, REGSAM,
                             const LPSECURITY_ATTRIBUTES, PHKEY key, LPDWORD) {
    *key = nullptr;
    return LSTATUS{ERROR_SUCCESS};
  });
  int calls = 0;
  const OpenHook open([&](auto&&...) {
    ++calls;
    return LSTATUS{ERROR_SUCCESS};
  });
  const auto storage = Open(L"K");
  EXPECT_EQ(ErrorOf(storage->Iterate(StoragePath())), SystemError(ERROR_INVALID_HANDLE));
  EXPECT_EQ(ErrorOf(storage->Iterate(StoragePath(L"B"))), SystemError(ERROR_INVALID_HANDLE));
  EXPECT_EQ(calls, 0);
}

// --- Ownership

// Notes which keys are closed.
class KeyLifetimeTest : public RegistryIteratorTest {
 protected:
  HKEY lastOpened = nullptr;
  std::map<HKEY, int> closed;

  CreateHook createHook{[this](HKEY parent, LPCWSTR path, DWORD reserved, LPWSTR keyClass,
                               DWORD options, REGSAM access, const LPSECURITY_ATTRIBUTES security,
                               PHKEY key, LPDWORD disposition) {
    const LSTATUS status = CreateHook::Original()(parent, path, reserved, keyClass, options, access,
                                                  security, key, disposition);
    lastOpened = *key;
    return status;
  }};
  OpenHook openHook{[this](HKEY parent, LPCWSTR path, DWORD options, REGSAM access, PHKEY key) {
    const LSTATUS status = OpenHook::Original()(parent, path, options, access, key);
    lastOpened = *key;
    return status;
  }};
  CloseHook closeHook{[this](HKEY key) {
    ++closed[key];
    return CloseHook::Original()(key);
  }};
};

TEST_F(KeyLifetimeTest, ASubkeyIsClosedWithItsIterator) {
  sandbox.CreateKey(L"K\\B");
  const auto storage = Open(L"K");
  closed.clear();
  {
    auto iterator = storage->Iterate(StoragePath(L"B")).value();
    EXPECT_THAT(Paths(iterator), IsEmpty());
    EXPECT_THAT(closed, IsEmpty());
  }
  EXPECT_THAT(closed, ElementsAre(std::pair(lastOpened, 1)));
}

TEST_F(KeyLifetimeTest, TheStoragesKeyIsClosedWithItsLastOwner) {
  sandbox.Write(L"K", L"V", RawDword(1));
  auto storage = Open(L"K");
  const HKEY key = lastOpened;
  {
    auto iterator = storage->Iterate(StoragePath()).value();
    EXPECT_EQ(lastOpened, key);
    storage.reset();
    EXPECT_EQ(closed[key], 0);
    EXPECT_THAT(Paths(iterator), ElementsAre(L"V"));
  }
  EXPECT_EQ(closed[key], 1);
  storage = Open(L"K");
  const HKEY otherKey = lastOpened;
  closed.clear();
  {
    const auto iterator = storage->Iterate(StoragePath()).value();
  }
  EXPECT_THAT(closed, IsEmpty());
  storage.reset();
  EXPECT_EQ(closed[otherKey], 1);
}

TEST_F(RegistryIteratorTest, EveryEntryRefersToItsStorage) {
  sandbox.CreateKey(L"K\\A");
  sandbox.Write(L"K", L"V", RawText(L"a\0b\0"s, REG_MULTI_SZ));
  std::vector<StorageEntry> entries;
  std::weak_ptr<RegistryStorage> storage;
  {
    const auto owner = Open(L"K");
    storage = owner;
    auto iterator = owner->Iterate(StoragePath()).value();
    entries.push_back(iterator.Next().value());
    entries.push_back(iterator.Next().value());
  }
  ASSERT_FALSE(storage.expired());
  EXPECT_EQ(entries[0].value.Owner(), storage.lock());
  EXPECT_EQ(entries[1].value.Owner(), storage.lock());
  for (const StorageValue& element : entries[1].value.Get<List>()) {
    EXPECT_EQ(element.Owner(), storage.lock());
  }
  EXPECT_EQ(storage.lock()->GetValue(StoragePath(L"V")).value().Get<List>().size(), 2U);
  entries.clear();
  EXPECT_TRUE(storage.expired());
}

TEST_F(RegistryIteratorTest, LeavesNoHandleOpen) {
  sandbox.CreateKey(L"K\\B\\C");
  sandbox.Write(L"K\\B", L"V", RawDword(1));
  const auto storage = Open(L"K");
  const auto use = [&] {
    auto whole = storage->Iterate(StoragePath(L"B")).value();
    EXPECT_EQ(Paths(whole).size(), 2U);
    auto begun = storage->Iterate(StoragePath(L"B")).value();
    EXPECT_TRUE(begun.Next());
    EXPECT_FALSE(storage->Iterate(StoragePath(L"none")));
  };
  ExpectNoHandleLeft(use);
}

}  // namespace
}  // namespace tessel::config
