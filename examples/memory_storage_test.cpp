#include "memory_storage.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/error_codes.h"
#include "tessel/config/error.h"

namespace examples {
namespace {

using tessel::config::Error;
using tessel::config::Storage;
using tessel::config::StorageValue;
using tessel::config::TextList;
using testing_support::ErrorOf;

/// Code of a user's, which does not know what kind of storage it reads.
// [test]
std::uint32_t LimitOf(Storage& storage) {
  return ToUInt32(storage.GetValue(L"Limits/Size")).value_or(10);
}

TEST(MemoryStorageTest, ServesCodeThatTakesAStorage) {
  const auto storage = std::make_shared<MemoryStorage>();
  EXPECT_EQ(LimitOf(*storage), 10U);
  EXPECT_TRUE(storage->SetValue(L"Limits/Size", 50));
  EXPECT_EQ(LimitOf(*storage), 50U);
}
// [end]

TEST(MemoryStorageTest, GivesBackWhatWasWritten) {
  const auto storage = std::make_shared<MemoryStorage>();
  EXPECT_EQ(ErrorOf(storage->GetValue(L"Name")), Error::not_found);
  ASSERT_TRUE(storage->SetValue(L"Name", L"example"));
  ASSERT_TRUE(storage->SetValue(L"Servers", TextList({L"a", L"b"})));
  EXPECT_EQ(ToText(storage->GetValue(L"Name")).value(), L"example");
  EXPECT_EQ(ToText(storage->GetValue({L"Name", L'\\'})).value(), L"example");
  EXPECT_EQ(ToTextList(storage->GetValue(L"Servers")).value(),
            (std::vector<std::wstring>{L"a", L"b"}));
}

TEST(MemoryStorageTest, ValuesKeepItAliveAndItDoesNotKeepItself) {
  auto storage = std::make_shared<MemoryStorage>();
  const std::weak_ptr<Storage> weak = storage;
  ASSERT_TRUE(storage->SetValue(L"Name", L"example"));
  {
    const auto value = storage->GetValue(L"Name").value();
    EXPECT_EQ(value.Owner(), storage);
    ASSERT_TRUE(storage->SetValue(L"Copy", value));
    ASSERT_TRUE(storage->SetValue(L"List", std::vector<StorageValue>{value}));
    const auto list = storage->GetValue(L"List").value();
    EXPECT_EQ(list.Get<std::vector<StorageValue>>().at(0).Owner(), storage);
    storage.reset();
    EXPECT_FALSE(weak.expired());
  }
  EXPECT_TRUE(weak.expired());
}

TEST(MemoryStorageTest, IteratesOverSubkeysAndThenValues) {
  const auto storage = std::make_shared<MemoryStorage>();
  for (const wchar_t* path : {L"A", L"B/x", L"B/y/z", L"B-/x", L"C"}) {
    ASSERT_TRUE(storage->SetValue(path, path));
  }
  const auto list = [&](const wchar_t* path) {
    std::vector<std::wstring> names;
    for (const auto& entry : storage->Iterate(path).value()) {
      names.push_back(entry.value().path.Text());
    }
    return names;
  };
  EXPECT_EQ(list(L""), (std::vector<std::wstring>{L"B-", L"B", L"A", L"C"}));
  EXPECT_EQ(list(L"B"), (std::vector<std::wstring>{L"B/y", L"B/x"}));
  EXPECT_EQ(ErrorOf(storage->Iterate(L"D")), Error::not_found);
}

TEST(MemoryStorageTest, TellsOfEachWrite) {
  const auto storage = std::make_shared<MemoryStorage>();
  std::vector<std::uint32_t> limits;
  auto connection = storage->ConnectStorageEvent([&](StorageEvent event) {
    EXPECT_EQ(event, StorageEvent::Changed);
    limits.push_back(LimitOf(*storage));
  });
  ASSERT_TRUE(connection);
  ASSERT_TRUE(storage->SetValue(L"Limits/Size", 1));
  ASSERT_TRUE(storage->SetValue(L"Limits/Size", 2));
  connection->Disconnect();
  ASSERT_TRUE(storage->SetValue(L"Limits/Size", 3));
  EXPECT_EQ(limits, (std::vector<std::uint32_t>{1, 2}));
}

TEST(MemoryStorageTest, ASlotMayDropTheLastReference) {
  auto storage = std::make_shared<MemoryStorage>();
  int calls = 0;
  auto dropping = storage->ConnectStorageEvent([&](StorageEvent /*event*/) { storage.reset(); });
  auto later = storage->ConnectStorageEvent([&](StorageEvent /*event*/) { ++calls; });
  MemoryStorage& written = *storage;
  EXPECT_TRUE(written.SetValue(L"Name", L"example"));
  EXPECT_EQ(storage, nullptr);
  EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace examples
