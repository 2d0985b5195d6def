// How the watch of a registry storage handles a change, step by step: the wait task is fired by
// hand and the registry's answers are prepared.
#include <windows.h>

#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <gmock/gmock-more-matchers.h>

#include "support/error_codes.h"
#include "support/watch_test.h"
#include "tessel/config/error.h"
#include "tessel/config/registry_storage.h"

namespace tessel::config {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing_support::Close;
using testing_support::ErrorOf;
using testing_support::kArm;
using testing_support::kCreateKey;
using testing_support::kCreateReadOnlyKey;
using testing_support::Query;
using testing_support::RawText;
using testing_support::Register;
using testing_support::SystemError;
using namespace std::string_literals;

// --- A change: the same key

using WatchChangeTest = testing_support::WatchTest;

TEST_F(WatchChangeTest, IsReportedBetweenRegisteringAndArming) {
  Open();
  Connect();
  EXPECT_THAT(Fire(), ElementsAre(Query("key1"), Register("key1"), "slot Changed", kArm));
  EXPECT_THAT(watch.TakeLocks(), ElementsAre("shared"));
}

TEST_F(WatchChangeTest, IsReportedThoughAccessIsDeniedNow) {
  Open();
  Connect();
  for (int round = 0; round < 2; ++round) {
    watch.registrations = {ERROR_ACCESS_DENIED};
    EXPECT_THAT(Fire(), ElementsAre(Query("key1"), Register("key1"), "slot Changed", kArm));
  }
}

class FailedRegistrationTest : public testing_support::WatchTest,
                               public ::testing::WithParamInterface<LSTATUS> {};
INSTANTIATE_TEST_SUITE_P(Failures, FailedRegistrationTest,
                         ::testing::Values(ERROR_INVALID_FUNCTION, ERROR_FILE_NOT_FOUND,
                                           ERROR_INVALID_HANDLE, ERROR_NO_SYSTEM_RESOURCES));

TEST_P(FailedRegistrationTest, LosesTheWatch) {
  Open();
  Connect();
  watch.registrations = {GetParam()};
  EXPECT_THAT(Fire(), ElementsAre(Query("key1"), Register("key1"), "slot WatchLost"));
  EXPECT_FALSE(executor->Fire());
}

TEST_F(WatchChangeTest, ALostWatchStaysLost) {
  Open();
  Connect("first");
  watch.registrations = {ERROR_INVALID_HANDLE};
  EXPECT_THAT(Fire(), ElementsAre(Query("key1"), Register("key1"), "first WatchLost"));
  EXPECT_FALSE(executor->Fire());
  const auto later = storage->ConnectStorageEvent(Slot("later"));
  EXPECT_TRUE(later);
  EXPECT_THAT(watch.TakeCalls(), IsEmpty());
  EXPECT_FALSE(executor->Fire());
  EXPECT_THAT(watch.TakeCalls(), IsEmpty());
  // The key is still open.
  EXPECT_EQ(ReadError(), Error::not_found);
}

TEST_F(WatchChangeTest, WithoutARecordedNameTheKeyCountsAsTheSame) {
  watch.kernelName = nullptr;
  Open();
  EXPECT_TRUE(storage->KernelName().Empty());
  Connect();
  EXPECT_THAT(Fire(), ElementsAre(Query("key1"), Register("key1"), "slot Changed", kArm));
  watch.kernelName = L"\\any\\name";
  EXPECT_THAT(Fire(), ElementsAre(Query("key1"), Register("key1"), "slot Changed", kArm));
}

// --- A change: another key

class WatchReplacedKeyTest : public testing_support::WatchTest {
 protected:
  // Connects, then changes the name that the query reports for the key.
  void Replace(const wchar_t* name = L"\\elsewhere") {
    Connect();
    watch.kernelName = name;
  }
};

TEST_F(WatchReplacedKeyTest, AKeyOfAnotherNameIsClosedAndCreatedAgain) {
  Open();
  Replace();
  EXPECT_THAT(Fire(), ElementsAre(Query("key1"), Close("key1"), kCreateKey, Register("key2"),
                                  "slot Changed", kArm));
  // Shared to read the key, then exclusively to drop it and again to put the new one in.
  EXPECT_THAT(watch.TakeLocks(), ElementsAre("shared", "exclusive", "exclusive"));
}

TEST_F(WatchReplacedKeyTest, TheNewKeyIsTheStoragesKey) {
  Open();
  Replace();
  Fire();
  watch.kernelName.reset();
  sandbox.Write(L"R\\A\\B", L"v", RawText(L"new"));
  EXPECT_EQ(storage->GetValue(StoragePath(L"v")).value().Get<std::wstring>(), L"new");
  EXPECT_TRUE(storage->SetValue(StoragePath(L"w"), StorageValue(L"x"s)));
  EXPECT_THAT(Fire(), ElementsAre(Query("key2"), Register("key2"), "slot Changed", kArm));
  storage.reset();
  EXPECT_EQ(watch.OpenKeys(), 0);
}

TEST_F(WatchReplacedKeyTest, OperationsTakeTheKeyUnderTheLockThatItIsReplacedUnder) {
  Open();
  watch.TakeLocks();
  EXPECT_EQ(ReadError(), Error::not_found);
  EXPECT_THAT(watch.TakeLocks(), ElementsAre("shared"));
  EXPECT_TRUE(storage->SetValue(StoragePath(L"v"), StorageValue(std::uint32_t{1})));
  EXPECT_THAT(watch.TakeLocks(), ElementsAre("shared"));
  EXPECT_TRUE(storage->Iterate(StoragePath()));
  EXPECT_THAT(watch.TakeLocks(), ElementsAre("shared"));
}

TEST_F(WatchReplacedKeyTest, AKeyWhoseNameCannotBeReadCountsAsReplaced) {
  Open();
  Replace(nullptr);
  EXPECT_THAT(Fire(), ElementsAre(Query("key1"), Close("key1"), kCreateKey, Register("key2"),
                                  "slot Changed", kArm));
}

TEST_F(WatchReplacedKeyTest, NamesAreComparedAsPaths) {
  watch.kernelName = L"\\Registry\\A\\B";
  Open();
  Connect();
  // The names are equal when normalised ...
  watch.kernelName = L"Registry\\\\A\\B\\";
  EXPECT_THAT(Fire(), ElementsAre(Query("key1"), Register("key1"), "slot Changed", kArm));
  // ... but case counts.
  watch.kernelName = L"\\Registry\\a\\B";
  EXPECT_THAT(Fire(), ElementsAre(Query("key1"), Close("key1"), kCreateKey, Register("key2"),
                                  "slot Changed", kArm));
}

TEST_F(WatchReplacedKeyTest, AReadOnlyStorageCreatesItForReading) {
  Open(kReadOnly);
  Replace();
  EXPECT_THAT(Fire(), ElementsAre(Query("key1"), Close("key1"), kCreateReadOnlyKey,
                                  Register("key2"), "slot Changed", kArm));
}

TEST_F(WatchReplacedKeyTest, WithoutARootTheWatchIsLost) {
  watch.failDuplication = true;
  Open();
  Replace();
  EXPECT_THAT(Fire(), ElementsAre(Query("key1"), Close("key1"), "slot WatchLost"));
  EXPECT_FALSE(executor->Fire());
}

TEST_F(WatchReplacedKeyTest, WhenItCannotBeCreatedTheStorageHasNoKey) {
  Open();
  Replace();
  watch.creations = {ERROR_ACCESS_DENIED};
  EXPECT_THAT(Fire(), ElementsAre(Query("key1"), Close("key1"), kCreateKey, "slot WatchLost"));
  EXPECT_FALSE(executor->Fire());
  EXPECT_EQ(ReadError(), SystemError(ERROR_INVALID_HANDLE));
  EXPECT_EQ(ErrorOf(storage->SetValue(StoragePath(L"v"), StorageValue())),
            SystemError(ERROR_INVALID_HANDLE));
  EXPECT_EQ(ErrorOf(storage->Iterate(StoragePath())), SystemError(ERROR_INVALID_HANDLE));
  EXPECT_TRUE(storage->ConnectStorageEvent(Slot()));
}

// For the new key access denied is a failure, unlike for the old one. If the new key is deleted
// too, it is not created once more.
class UnwatchableKeyTest : public WatchReplacedKeyTest,
                           public ::testing::WithParamInterface<LSTATUS> {};
INSTANTIATE_TEST_SUITE_P(Failures, UnwatchableKeyTest,
                         ::testing::Values(ERROR_ACCESS_DENIED, ERROR_INVALID_HANDLE,
                                           ERROR_KEY_DELETED));

TEST_P(UnwatchableKeyTest, IsClosedBehindTheEventAndLeavesTheStorageWithoutAKey) {
  Open();
  Replace();
  watch.registrations = {GetParam()};
  EXPECT_THAT(Fire(), ElementsAre(Query("key1"), Close("key1"), kCreateKey, Register("key2"),
                                  "slot WatchLost", Close("key2")));
  EXPECT_FALSE(executor->Fire());
  EXPECT_EQ(ReadError(), SystemError(ERROR_INVALID_HANDLE));
}

TEST_F(WatchReplacedKeyTest, AnIteratorKeepsTheOldKeyOpen) {
  sandbox.Write(L"R\\A\\B", L"v", RawText(L"x"));
  Open();
  {
    auto iterator = storage->Iterate(StoragePath()).value();
    Replace();
    EXPECT_THAT(Fire(),
                ElementsAre(Query("key1"), kCreateKey, Register("key2"), "slot Changed", kArm));
    EXPECT_EQ(iterator.Next().value().path.Text(), L"v");
  }
  EXPECT_THAT(watch.TakeCalls(), ElementsAre(Close("key1")));
}

// --- A change: a deleted key that registering finds

using WatchDeletedKeyTest = WatchReplacedKeyTest;

TEST_F(WatchDeletedKeyTest, IsCreatedAgainAndGivenUpOnlyThen) {
  watch.kernelName = nullptr;
  Open();
  Connect();
  watch.registrations = {ERROR_KEY_DELETED};
  EXPECT_THAT(Fire(), ElementsAre(Query("key1"), Register("key1"), kCreateKey, Register("key2"),
                                  Close("key1"), "slot Changed", kArm));
  EXPECT_THAT(watch.TakeLocks(), ElementsAre("shared", "exclusive"));
}

TEST_F(WatchDeletedKeyTest, IsCreatedAgainAlsoWhenItsNameIsTheSame) {
  Open(kReadOnly);
  Connect();
  watch.registrations = {ERROR_KEY_DELETED};
  EXPECT_THAT(Fire(), ElementsAre(Query("key1"), Register("key1"), kCreateReadOnlyKey,
                                  Register("key2"), Close("key1"), "slot Changed", kArm));
}

TEST_F(WatchDeletedKeyTest, StaysTheStoragesKeyWhenItCannotBeCreated) {
  sandbox.Write(L"R\\A\\B", L"v", RawText(L"x"));
  Open();
  Connect();
  watch.registrations = {ERROR_KEY_DELETED};
  watch.creations = {ERROR_KEY_DELETED};
  EXPECT_THAT(Fire(), ElementsAre(Query("key1"), Register("key1"), kCreateKey, "slot WatchLost"));
  EXPECT_FALSE(executor->Fire());
  // The hook only claimed that the key is deleted: the old key exists, and is the one that is read.
  EXPECT_EQ(ReadError(), std::error_code());
}

TEST_F(WatchDeletedKeyTest, StaysTheStoragesKeyWhenTheNewOneCannotBeWatched) {
  sandbox.Write(L"R\\A\\B", L"v", RawText(L"x"));
  Open();
  Connect();
  watch.registrations = {ERROR_KEY_DELETED, ERROR_ACCESS_DENIED};
  EXPECT_THAT(Fire(), ElementsAre(Query("key1"), Register("key1"), kCreateKey, Register("key2"),
                                  "slot WatchLost", Close("key2")));
  EXPECT_FALSE(executor->Fire());
  EXPECT_EQ(ReadError(), std::error_code());
}

TEST_F(WatchDeletedKeyTest, WithoutARootTheWatchIsLost) {
  watch.failDuplication = true;
  Open();
  Connect();
  watch.registrations = {ERROR_KEY_DELETED};
  EXPECT_THAT(Fire(), ElementsAre(Query("key1"), Register("key1"), "slot WatchLost"));
  EXPECT_FALSE(executor->Fire());
}

}  // namespace
}  // namespace tessel::config
