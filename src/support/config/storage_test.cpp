#include "tessel/config/storage.h"

#include <gtest/gtest.h>

#include "support/error_codes.h"
#include "tessel/config/error.h"

namespace tessel::config {
namespace {

using testing_support::ErrorOf;

TEST(StorageTest, SupportsNoOperation) {
  const auto storage = std::make_shared<Storage>();
  EXPECT_EQ(ErrorOf(storage->Iterate(StoragePath())), Error::unsupported_storage_operation);
  EXPECT_EQ(ErrorOf(storage->GetValue(StoragePath(L"A"))), Error::unsupported_storage_operation);
  EXPECT_EQ(ErrorOf(storage->SetValue(StoragePath(L"A"), StorageValue(true))),
            Error::unsupported_storage_operation);
  EXPECT_EQ(ErrorOf(storage->GetValue(StoragePath(L"A"))).value().value(), 2);
}

TEST(StorageTest, DestroysTheSlotThatItCannotConnect) {
  const auto storage = std::make_shared<Storage>();
  const auto captured = std::make_shared<int>();
  int calls = 0;
  EXPECT_EQ(ErrorOf(storage->ConnectStorageEvent(
                [&calls, captured](StorageEvent /*event*/) { ++calls; })),
            Error::unsupported_storage_operation);
  EXPECT_EQ(captured.use_count(), 1);
  EXPECT_EQ(calls, 0);
}

}  // namespace
}  // namespace tessel::config
