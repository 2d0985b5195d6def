// The beginning and the end of a registry storage's watch, and what its slots may do, step by step:
// the wait task is fired by hand. registry_watch_change_test.cpp tests the handling of a change,
// registry_watch_pool_test.cpp the watch on the thread pool.
#include <windows.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <gmock/gmock-more-matchers.h>

#include "support/copy_counter.h"
#include "support/error_codes.h"
#include "support/handle_count.h"
#include "support/remains.h"
#include "support/watch_test.h"
#include "tessel/config/error.h"
#include "tessel/config/registry_storage.h"

namespace tessel::config {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using testing_support::Close;
using testing_support::ErrorOf;
using testing_support::ExpectNoHandleLeft;
using testing_support::kArm;
using testing_support::kCloseEvent;
using testing_support::kCloseTask;
using testing_support::kCreateEvent;
using testing_support::kCreateKey;
using testing_support::kCreateTask;
using testing_support::Locked;
using testing_support::ManualWaitExecutor;
using testing_support::Query;
using testing_support::Register;
using testing_support::SystemError;
using namespace std::string_literals;

static_assert(static_cast<int>(StorageEvent::WatchLost) == 1);
static_assert(static_cast<int>(StorageEvent::Changed) == 2);

// --- Connecting

using WatchConnectTest = testing_support::WatchTest;

TEST_F(WatchConnectTest, TheFirstConnectionSetsTheWatchUp) {
  Open();
  const auto connection = storage->ConnectStorageEvent(Slot());
  EXPECT_TRUE(connection);
  EXPECT_THAT(watch.TakeCalls(), ElementsAre(Locked(kCreateEvent), Locked(kCreateTask),
                                             Locked(kArm), Locked(Register("key1"))));
  EXPECT_THAT(watch.TakeLocks(), ElementsAre("exclusive"));
}

TEST_F(WatchConnectTest, TheSecondConnectionOnlyAddsASlot) {
  Open();
  const auto first = storage->ConnectStorageEvent(Slot("first"));
  watch.TakeCalls();
  watch.TakeLocks();
  const auto second = storage->ConnectStorageEvent(Slot("second"));
  EXPECT_TRUE(second);
  EXPECT_THAT(watch.TakeCalls(), IsEmpty());
  EXPECT_THAT(watch.TakeLocks(), ElementsAre("exclusive"));
  for (int round = 0; round < 2; ++round) {
    EXPECT_THAT(Fire(), ElementsAre(Query("key1"), Register("key1"), "first Changed",
                                    "second Changed", kArm));
  }
}

TEST_F(WatchConnectTest, TheFirstSlotIsConnectedBeforeTheHandlerMayRun) {
  Open();
  std::vector<std::string> calls;
  watch.onRelease = [&] { calls = Fire(); };
  const auto connection = storage->ConnectStorageEvent(Slot());
  EXPECT_TRUE(connection);
  EXPECT_THAT(calls, ElementsAre(Query("key1"), Register("key1"), "slot Changed", kArm));
}

TEST_F(WatchConnectTest, EventsReachOnlyThoseThatAreConnected) {
  Open();
  auto first = storage->ConnectStorageEvent(Slot("first")).value();
  {
    const auto second = storage->ConnectStorageEvent(Slot("second")).value();
    first.Disconnect();
    EXPECT_THAT(Fire(), ElementsAre(Query("key1"), Register("key1"), "second Changed", kArm));
  }
  // Without any slot the watch goes on.
  EXPECT_THAT(Fire(), ElementsAre(Query("key1"), Register("key1"), kArm));
}

// For both values that CreateEventW may give for no event: null and INVALID_HANDLE_VALUE.
class FailedEventTest : public testing_support::WatchTest,
                        public ::testing::WithParamInterface<HANDLE> {};
INSTANTIATE_TEST_SUITE_P(NoEvent, FailedEventTest,
                         ::testing::Values(HANDLE{nullptr}, INVALID_HANDLE_VALUE));

TEST_P(FailedEventTest, ConnectingFailsWithTheReasonAndTriesAgainNextTime) {
  Open();
  const auto captured = std::make_shared<int>();
  const auto connect = [&] {
    return storage->ConnectStorageEvent([captured](StorageEvent /*event*/) { FAIL(); });
  };
  watch.failedEvent = {GetParam(), ERROR_TOO_MANY_OPEN_FILES};
  EXPECT_EQ(ErrorOf(connect()), SystemError(ERROR_TOO_MANY_OPEN_FILES));
  watch.failedEvent = {GetParam(), ERROR_FILE_NOT_FOUND};
  EXPECT_EQ(ErrorOf(connect()), Error::not_found);
  // A failure without a last error is a failure too.
  watch.failedEvent = {GetParam(), ERROR_SUCCESS};
  const auto unexplained = connect();
  EXPECT_FALSE(unexplained);
  EXPECT_EQ(ErrorOf(unexplained), SystemError(ERROR_SUCCESS));
  EXPECT_EQ(captured.use_count(), 1);
  EXPECT_THAT(watch.TakeCalls(),
              ElementsAre(Locked(kCreateEvent), Locked(kCreateEvent), Locked(kCreateEvent)));

  const auto connection = storage->ConnectStorageEvent(Slot());
  EXPECT_TRUE(connection);
  EXPECT_THAT(watch.TakeCalls(), ElementsAre(Locked(kCreateEvent), Locked(kCreateTask),
                                             Locked(kArm), Locked(Register("key1"))));
  EXPECT_THAT(Fire(), ElementsAre(Query("key1"), Register("key1"), "slot Changed", kArm));
}

TEST_P(FailedEventTest, WhatIsNoHandleIsNotClosed) {
  Open();
  watch.failedEvent = {GetParam(), ERROR_TOO_MANY_OPEN_FILES};
  EXPECT_FALSE(storage->ConnectStorageEvent(Slot()));
  watch.TakeCalls();
  storage.reset();
  EXPECT_THAT(watch.TakeCalls(), ElementsAre(Close("key1"), Close("root")));
}

TEST_F(WatchConnectTest, AFailedRegistrationLeavesTheWatchArmedForLaterConnections) {
  Open();
  const auto captured = std::make_shared<int>();
  watch.registrations = {ERROR_ACCESS_DENIED};
  EXPECT_EQ(ErrorOf(storage->ConnectStorageEvent([captured](StorageEvent /*event*/) { FAIL(); })),
            SystemError(ERROR_ACCESS_DENIED));
  EXPECT_EQ(captured.use_count(), 1);
  EXPECT_THAT(watch.TakeCalls(), ElementsAre(Locked(kCreateEvent), Locked(kCreateTask),
                                             Locked(kArm), Locked(Register("key1"))));
  const auto connection = storage->ConnectStorageEvent(Slot());
  EXPECT_TRUE(connection);
  EXPECT_THAT(watch.TakeCalls(), IsEmpty());
  // Nothing signals the event. If something did, the handler would register and the watch would
  // work.
  EXPECT_THAT(Fire(), ElementsAre(Query("key1"), Register("key1"), "slot Changed", kArm));
}

TEST_F(WatchConnectTest, AKeyThatIsNotFoundAtRegistrationIsNotFound) {
  Open();
  watch.registrations = {ERROR_FILE_NOT_FOUND};
  EXPECT_EQ(ErrorOf(storage->ConnectStorageEvent(Slot())), Error::not_found);
}

// Hands out the tasks of another executor, to which their contexts refer.
class HandingOutExecutor final : public task::WaitTaskExecutor {
 public:
  explicit HandingOutExecutor(std::shared_ptr<ManualWaitExecutor> maker)
      : maker_(std::move(maker)) {}
  std::weak_ptr<task::WtpWaitTaskContext> CreateWaitTask(void* handle,
                                                         std::function<void()> task) override {
    return maker_->CreateWaitTask(handle, std::move(task));
  }
  void StartWaitTask(task::WtpWaitTaskContext& /*context*/) override { ADD_FAILURE(); }
  void StopWaitTask(task::WtpWaitTaskContext& /*context*/) override { ADD_FAILURE(); }
  void WaitForWaitTask(task::WtpWaitTaskContext& /*context*/) override { ADD_FAILURE(); }
  void CloseWaitTask(task::WtpWaitTaskContext& /*context*/) override { ADD_FAILURE(); }

 private:
  std::shared_ptr<ManualWaitExecutor> maker_;
};

TEST_F(WatchConnectTest, TheTaskBelongsToTheExecutorOfItsContext) {
  storage = RegistryStorage::Create(root.get(), StoragePath(L"A/B"),
                                    std::make_shared<HandingOutExecutor>(executor))
                .value();
  Connect();
  EXPECT_THAT(Fire(), ElementsAre(Query("key1"), Register("key1"), "slot Changed", kArm));
  storage.reset();
  EXPECT_THAT(watch.TakeCalls(),
              ElementsAre(kCloseTask, kCloseEvent, Close("key1"), Close("root")));
}

TEST_F(WatchConnectTest, TheSlotIsTakenOverAsItIs) {
  Open();
  int copies = 0;
  const auto connection = storage->ConnectStorageEvent(
      [counter = testing_support::CopyCounter(copies)](StorageEvent /*event*/) {});
  EXPECT_TRUE(executor->Fire());
  EXPECT_EQ(copies, 0);
}

TEST_F(WatchConnectTest, TheTaskDoesNotKeepTheStorageAlive) {
  Open();
  Connect();
  EXPECT_EQ(storage.use_count(), 1);
}

// --- What slots do

using WatchSlotTest = testing_support::WatchTest;

TEST_F(WatchSlotTest, UseTheStorage) {
  Open();
  std::vector<SignalConnection> inner;
  const auto outer = storage->ConnectStorageEvent([&](StorageEvent /*event*/) {
    EXPECT_TRUE(storage->SetValue(StoragePath(L"v"), StorageValue(L"x"s)));
    EXPECT_EQ(storage->GetValue(StoragePath(L"v")).value().Get<std::wstring>(), L"x");
    EXPECT_TRUE(storage->Iterate(StoragePath()).value().Next());
    inner.push_back(storage->ConnectStorageEvent(Slot("inner")).value());
  });
  EXPECT_THAT(Fire(), ElementsAre(Query("key1"), Register("key1"), kArm));
  EXPECT_THAT(Fire(), ElementsAre(Query("key1"), Register("key1"), "inner Changed", kArm));
}

TEST_F(WatchSlotTest, MayDropTheLastReferenceToTheStorage) {
  Open();
  std::weak_ptr<RegistryStorage> alive = storage;
  constexpr std::size_t kControlBlock = 2 * sizeof(void*);
  std::optional<testing_support::Remains<kControlBlock + sizeof(RegistryStorage)>> remains;
  const auto dropping = storage->ConnectStorageEvent([&](StorageEvent /*event*/) {
    watch.Note("drop");
    storage.reset();
    EXPECT_TRUE(alive.expired());
    alive.reset();
    remains.emplace();
    watch.Note("dropped");
  });
  Connect("later");
  EXPECT_THAT(Fire(), ElementsAre(Query("key1"), Register("key1"), "drop", "CloseWaitTask(event1)",
                                  "CloseHandle(event1)", Close("key1"), Close("root"), "dropped",
                                  "later Changed"));
  EXPECT_FALSE(executor->Fire());
}

// The round goes on without the storage, and its signal must live until the end of it.
TEST_F(WatchSlotTest, MayDropTheLastReferenceToTheStorageAndDisconnectALaterSlot) {
  Open();
  const auto dropping = storage->ConnectStorageEvent([&](StorageEvent /*event*/) {
    storage.reset();
    connections.front().Disconnect();
  });
  Connect("later");
  executor->Fire();
  EXPECT_THAT(watch.TakeCalls(), Not(Contains("later Changed")));
}

TEST_F(WatchSlotTest, MayDropTheLastReferenceToTheStorageWhenTheWatchIsLost) {
  Open();
  const auto dropping = storage->ConnectStorageEvent([&](StorageEvent /*event*/) {
    storage.reset();
    watch.Note("dropped");
  });
  watch.kernelName = nullptr;
  watch.registrations = {ERROR_ACCESS_DENIED};
  EXPECT_THAT(Fire(),
              ElementsAre(Query("key1"), Close("key1"), kCreateKey, Register("key2"), kCloseTask,
                          kCloseEvent, Close("root"), "dropped", Close("key2")));
}

TEST_F(WatchSlotTest, ATaskThatIsGoneIsNotArmed) {
  Open();
  const auto connection =
      storage->ConnectStorageEvent([&](StorageEvent /*event*/) { watch.Note("slot"); });
  // The end of the executor ends the task. The running callback keeps the handler alive.
  watch.onCall = [&](const std::string& call) {
    if (call == "slot") {
      executor->DropTasks();
    }
  };
  EXPECT_THAT(Fire(), ElementsAre(Query("key1"), Register("key1"), "slot"));
  storage.reset();
  EXPECT_THAT(watch.TakeCalls(), ElementsAre("CloseHandle(event1)", Close("key1"), Close("root")));
}

// --- The end

using WatchEndTest = testing_support::WatchTest;

TEST_F(WatchEndTest, TaskThenSignalThenEventThenTheRest) {
  Open();
  const auto captured = std::make_shared<int>();
  auto connection = storage->ConnectStorageEvent([captured](StorageEvent /*event*/) {}).value();
  // A connection that still reaches its signal lets go of its slot at once when it is
  // disconnected; that is how the test sees that the signal is gone when the event is closed.
  long owners = 0;
  watch.onCall = [&](const std::string& call) {
    if (call == kCloseEvent) {
      connection.Disconnect();
      owners = captured.use_count();
    }
  };
  watch.TakeCalls();
  watch.TakeLocks();
  storage.reset();
  EXPECT_THAT(watch.TakeCalls(),
              ElementsAre(kCloseTask, kCloseEvent, Close("key1"), Close("root")));
  // The handler that the close waits for takes the lock.
  EXPECT_THAT(watch.TakeLocks(), IsEmpty());
  EXPECT_EQ(owners, 2);
  connection = SignalConnection();
  EXPECT_EQ(captured.use_count(), 1);
}

TEST_F(WatchEndTest, TheSignalIsThereUntilTheTaskIsClosed) {
  Open();
  const auto captured = std::make_shared<int>();
  auto connection = storage->ConnectStorageEvent([captured](StorageEvent /*event*/) {}).value();
  watch.onCall = [&](const std::string& call) {
    if (call == kCloseTask) {
      connection.Disconnect();
    }
  };
  storage.reset();
  EXPECT_EQ(captured.use_count(), 1);
}

TEST_F(WatchEndTest, AStorageThatNobodyWatchedHasNothingToEnd) {
  Open();
  storage.reset();
  EXPECT_THAT(watch.TakeCalls(), ElementsAre(Close("key1"), Close("root")));
}

TEST_F(WatchEndTest, ALostWatchIsEndedAlike) {
  Open();
  Connect();
  watch.registrations = {ERROR_INVALID_HANDLE};
  Fire();
  storage.reset();
  EXPECT_THAT(watch.TakeCalls(),
              ElementsAre(kCloseTask, kCloseEvent, Close("key1"), Close("root")));
}

TEST_F(WatchEndTest, LeavesNoHandleOpen) {
  const auto use = [&] {
    watch.kernelName.reset();
    Open();
    Connect();
    EXPECT_TRUE(executor->Fire());
    watch.kernelName = nullptr;
    EXPECT_TRUE(executor->Fire());
    watch.registrations = {ERROR_INVALID_HANDLE};
    EXPECT_TRUE(executor->Fire());
    connections.clear();
    storage.reset();
  };
  ExpectNoHandleLeft(use);
}

}  // namespace
}  // namespace tessel::config
