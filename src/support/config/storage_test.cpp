#include "tessel/config/storage.h"

#include <gtest/gtest.h>

#include "tessel/config/error.h"

namespace tessel::config {
namespace {

TEST(StorageTest, SupportsNoOperation) {
  const auto storage = std::make_shared<Storage>();
  EXPECT_EQ(storage->Iterate(StoragePath()).error(), Error::unsupported_storage_operation);
  EXPECT_EQ(storage->GetValue(StoragePath(L"A")).error(), Error::unsupported_storage_operation);
  EXPECT_EQ(storage->SetValue(StoragePath(L"A"), StorageValue(true)).error(),
            Error::unsupported_storage_operation);
  EXPECT_EQ(storage->GetValue(StoragePath(L"A")).error().value(), 2);
}

TEST(StorageTest, DestroysTheSlotThatItCannotConnect) {
  const auto storage = std::make_shared<Storage>();
  const auto captured = std::make_shared<int>();
  int calls = 0;
  EXPECT_EQ(
      storage->ConnectStorageEvent([&calls, captured](StorageEvent /*event*/) { ++calls; }).error(),
      Error::unsupported_storage_operation);
  EXPECT_EQ(captured.use_count(), 1);
  EXPECT_EQ(calls, 0);
}

}  // namespace
}  // namespace tessel::config
