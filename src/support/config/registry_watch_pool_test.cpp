// The watch of a registry storage on the platform's own thread pool and registry.
#include <windows.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock-more-matchers.h>

#include "support/error_codes.h"
#include "support/import_hook.h"
#include "support/registry_sandbox.h"
#include "support/test_event.h"
#include "tessel/config/error.h"
#include "tessel/config/registry_storage.h"
#include "tessel/task/default_task_executor.h"
#include "tessel/task/windows_thread_pool_executor.h"

namespace tessel::config {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing_support::ErrorOf;
using testing_support::ImportHook;
using testing_support::RawDword;
using testing_support::RawText;
using testing_support::TestEvent;
using namespace std::string_literals;

// The events that a slot received. The thread of the test waits for them.
class ReceivedEvents {
 public:
  void Add(StorageEvent event) {
    const std::lock_guard lock(mutex_);
    events_.push_back(event);
    added_.notify_one();
  }
  // The next event. If none comes, the test ends by an exception.
  StorageEvent Next(const std::string& change) {
    std::unique_lock lock(mutex_);
    if (!added_.wait_for(lock, std::chrono::seconds(60), [this] { return !events_.empty(); })) {
      throw std::runtime_error("never reported: " + change);
    }
    const StorageEvent event = events_.front();
    events_.pop_front();
    return event;
  }
  // The events since then.
  std::deque<StorageEvent> TakeRest() {
    const std::lock_guard lock(mutex_);
    return std::exchange(events_, {});
  }

 private:
  std::mutex mutex_;
  std::condition_variable added_;
  std::deque<StorageEvent> events_;
};

class PooledWatchTest : public ::testing::Test {
 protected:
  void Open(const std::wstring& path = L"A") {
    storage = RegistryStorage::Create(HKEY_LOCAL_MACHINE, StoragePath(path), executor).value();
  }
  [[nodiscard]] std::function<void(StorageEvent)> Receive() {
    return [this](StorageEvent event) { received.Add(event); };
  }
  void ExpectChange(const std::string& change) {
    EXPECT_EQ(received.Next(change), StorageEvent::Changed) << change;
  }
  // When a watched key itself is deleted, Windows signals its watch and Wine does not. So the tests
  // set the event. Where the registry signals too, the slot may be called twice.
  void SignalDeletion() const { ::SetEvent(changeEvent); }

  testing_support::RegistrySandbox sandbox;
  HANDLE changeEvent = nullptr;  // the storage's
  ImportHook<"CreateEventW", decltype(::CreateEventW)> eventHook{
      [this](LPSECURITY_ATTRIBUTES attributes, BOOL manualReset, BOOL initialState, LPCWSTR name) {
        const HANDLE event = eventHook.Original()(attributes, manualReset, initialState, name);
        if (manualReset == FALSE) {
          changeEvent = event;
        }
        return event;
      }};
  ReceivedEvents received;
  std::shared_ptr<task::WindowsThreadPoolExecutor> executor =
      std::make_shared<task::WindowsThreadPoolExecutor>(nullptr, 0);
  std::shared_ptr<RegistryStorage> storage;
};

TEST_F(PooledWatchTest, ReportsEachChangeOnce) {
  Open();
  const auto connection = storage->ConnectStorageEvent(Receive());
  std::uint32_t changes = 0;
  const auto change = [&](const std::string& what, const std::function<void()>& action) {
    action();
    ++changes;
    ExpectChange(what);
  };
  for (std::uint32_t number = 0; number < 20; ++number) {
    change("a value written", [&] { sandbox.Write(L"A", L"v", RawDword(number)); });
  }
  change("a subkey created", [&] { sandbox.CreateKey(L"A\\B"); });
  change("a subkey of a subkey created", [&] { sandbox.CreateKey(L"A\\B\\C"); });
  change("a value written below", [&] { sandbox.Write(L"A\\B\\C", L"v", RawDword(1)); });
  change("a value written by the storage",
         [&] { EXPECT_TRUE(storage->SetValue(StoragePath(L"w"), StorageValue(L"x"s))); });
  change("a value deleted",
         [] { EXPECT_EQ(::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, L"A", L"v"), ERROR_SUCCESS); });
  change("a subkey deleted",
         [] { EXPECT_EQ(::RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"A\\B\\C"), ERROR_SUCCESS); });
  // Not below the key.
  sandbox.Write(L"other", L"v", RawDword(1));
  // No handler runs after this.
  storage.reset();
  EXPECT_THAT(received.TakeRest(), IsEmpty());
}

TEST_F(PooledWatchTest, ReportsToAllSlotsOfAllStorages) {
  const auto open = [](const wchar_t* path) {
    return RegistryStorage::Create(HKEY_LOCAL_MACHINE, StoragePath(path),
                                   task::GetDefaultTaskExecutor())
        .value();
  };
  auto outer = open(L"A");
  auto inner = open(L"A/B");
  ReceivedEvents ofOuter;
  ReceivedEvents ofInner;
  const auto first = outer->ConnectStorageEvent([&](StorageEvent event) { ofOuter.Add(event); });
  const auto second = outer->ConnectStorageEvent(Receive());
  const auto third = inner->ConnectStorageEvent([&](StorageEvent event) { ofInner.Add(event); });
  for (std::uint32_t number = 0; number < 5; ++number) {
    sandbox.Write(L"A\\B", L"v", RawDword(number));
    EXPECT_EQ(ofOuter.Next("the change, to the first slot"), StorageEvent::Changed);
    ExpectChange("the change, to the second slot");
    EXPECT_EQ(ofInner.Next("the change, to the other storage"), StorageEvent::Changed);
  }
  outer.reset();
  inner.reset();
  EXPECT_THAT(ofOuter.TakeRest(), IsEmpty());
  EXPECT_THAT(received.TakeRest(), IsEmpty());
  EXPECT_THAT(ofInner.TakeRest(), IsEmpty());
}

TEST_F(PooledWatchTest, ASlotUsesTheStorage) {
  Open();
  std::atomic<int> failures = 0;
  std::vector<SignalConnection> connections;  // made by the slot, one call at a time
  const auto connection = storage->ConnectStorageEvent([&](StorageEvent event) {
    const auto value = storage->GetValue(StoragePath(L"v"));
    failures += value && value->Get<std::uint32_t>() == 7 ? 0 : 1;
    if (connections.empty()) {
      // A change too, made while the watch is not armed: it is reported in the next round.
      failures += storage->SetValue(StoragePath(L"seen"), StorageValue(L"yes"s)) ? 0 : 1;
      connections.push_back(storage->ConnectStorageEvent([](StorageEvent /*event*/) {}).value());
    }
    received.Add(event);
  });
  sandbox.Write(L"A", L"v", RawDword(7));
  ExpectChange("the change");
  ExpectChange("the slot's own change");
  auto* const last = storage.get();
  EXPECT_EQ(last->GetValue(StoragePath(L"seen")).value().Get<std::wstring>(), L"yes");
  EXPECT_EQ(failures, 0);
}

TEST_F(PooledWatchTest, SurvivesThatItsKeyIsRenamed) {
  sandbox.Write(L"A\\K", L"v", RawText(L"old"));
  Open(L"A/K");
  const StoragePath kernelName = storage->KernelName();
  const auto connection = storage->ConnectStorageEvent(Receive());
  ASSERT_EQ(::RegRenameKey(HKEY_LOCAL_MACHINE, L"A\\K", L"L"), ERROR_SUCCESS);
  ExpectChange("the new name");
  // There is a new, empty key in its place. The storage uses and watches the new key.
  EXPECT_TRUE(sandbox.KeyExists(L"A\\K"));
  EXPECT_EQ(ErrorOf(storage->GetValue(StoragePath(L"v"))), Error::not_found);
  EXPECT_EQ(storage->KernelName(), kernelName);
  sandbox.Write(L"A\\L", L"v", RawText(L"of the renamed key"));
  EXPECT_TRUE(storage->SetValue(StoragePath(L"v"), StorageValue(L"new"s)));
  ExpectChange("the change of the new key");
  EXPECT_EQ(sandbox.Read(L"A\\K", L"v"), RawText(L"new"));
  storage.reset();
  EXPECT_THAT(received.TakeRest(), IsEmpty());
}

TEST_F(PooledWatchTest, CreatesADeletedKeyAgain) {
  sandbox.Write(L"A\\K", L"v", RawText(L"old"));
  Open(L"A/K");
  const auto connection = storage->ConnectStorageEvent(Receive());
  for (int round = 0; round < 3; ++round) {
    ASSERT_EQ(::RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"A\\K"), ERROR_SUCCESS);
    SignalDeletion();
    ExpectChange("the deletion");
    EXPECT_TRUE(sandbox.KeyExists(L"A\\K"));
    EXPECT_THAT(sandbox.ValueNames(L"A\\K"), IsEmpty());
    EXPECT_EQ(ErrorOf(storage->GetValue(StoragePath(L"v"))), Error::not_found);
    EXPECT_TRUE(storage->SetValue(StoragePath(L"v"), StorageValue(L"new"s)));
    ExpectChange("the change of the new key");
    EXPECT_EQ(sandbox.Read(L"A\\K", L"v"), RawText(L"new"));
  }
}

// A name of more than 254 characters is not recorded. Then the storage finds out that the key is
// gone only when the registry refuses to watch it.
TEST_F(PooledWatchTest, CreatesADeletedKeyOfALongNameAgain) {
  const std::wstring path = L"A\\" + std::wstring(250, L'k');
  Open(path);
  ASSERT_TRUE(storage->KernelName().Empty());
  const auto connection = storage->ConnectStorageEvent(Receive());
  ASSERT_EQ(::RegDeleteKeyW(HKEY_LOCAL_MACHINE, path.c_str()), ERROR_SUCCESS);
  SignalDeletion();
  ExpectChange("the deletion");
  EXPECT_TRUE(sandbox.KeyExists(path));
  sandbox.Write(path, L"v", RawDword(1));
  ExpectChange("the change of the new key");
}

TEST_F(PooledWatchTest, IsLostWhenADeletedKeyCannotBeCreatedAgain) {
  Open(L"A/K");
  const auto connection = storage->ConnectStorageEvent(Receive());
  ASSERT_EQ(::RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"A"), ERROR_SUCCESS);
  const ImportHook<"RegCreateKeyExW", decltype(::RegCreateKeyExW)> hook(
      [](auto&&...) { return LSTATUS{ERROR_ACCESS_DENIED}; });
  SignalDeletion();
  EXPECT_EQ(received.Next("the loss"), StorageEvent::WatchLost);
  EXPECT_EQ(ErrorOf(storage->GetValue(StoragePath(L"v"))),
            std::error_code(ERROR_INVALID_HANDLE, std::system_category()));
  EXPECT_TRUE(storage->ConnectStorageEvent(Receive()));
  ::SetEvent(changeEvent);
  storage.reset();
  EXPECT_THAT(received.TakeRest(), IsEmpty());
}

// The task is armed before the key is registered. So a handler may run at once, and must wait until
// the first slot is connected: that slot would miss its first event.
TEST_F(PooledWatchTest, AHandlerThatStartsDuringTheSetUpWaitsForItsEnd) {
  Open();
  const DWORD thisThread = ::GetCurrentThreadId();
  const TestEvent atTheLock;
  ImportHook<"AcquireSRWLockShared", decltype(::AcquireSRWLockShared)> lockHook([&](PSRWLOCK lock) {
    if (::GetCurrentThreadId() != thisThread) {
      atTheLock.Set();
    }
    lockHook.Original()(lock);
  });
  ImportHook<"RegNotifyChangeKeyValue", decltype(::RegNotifyChangeKeyValue)> notifyHook(
      [&](HKEY key, BOOL subtree, DWORD filter, HANDLE event, BOOL asynchronous) {
        if (::GetCurrentThreadId() == thisThread) {
          ::SetEvent(event);
          atTheLock.Await("the handler at the lock");
        }
        return notifyHook.Original()(key, subtree, filter, event, asynchronous);
      });
  const auto connection = storage->ConnectStorageEvent(Receive());
  ExpectChange("the signal during the set-up");
  storage.reset();
  EXPECT_THAT(received.TakeRest(), IsEmpty());
}

// --- The end

TEST_F(PooledWatchTest, ASlotMayDropTheLastReferenceToTheStorage) {
  Open();
  const TestEvent dropped;
  const std::weak_ptr<RegistryStorage> alive = storage;
  const auto connection = storage->ConnectStorageEvent([&](StorageEvent /*event*/) {
    storage.reset();
    dropped.Set();
  });
  sandbox.Write(L"A", L"v", RawDword(1));
  dropped.Await("the slot");
  EXPECT_TRUE(alive.expired());
}

// A handler whose slot runs while the storage is destroyed would arm its task after the destructor
// has disarmed it.
TEST_F(PooledWatchTest, EndsWithTheTaskDisarmedForGoodThoughAHandlerIsRunning) {
  const TestEvent running;
  const TestEvent release;
  const TestEvent closing;
  std::mutex mutex;
  std::vector<HANDLE> armings;  // since the end began
  bool closed = false;
  ImportHook<"SetThreadpoolWait", decltype(::SetThreadpoolWait)> setHook(
      [&](PTP_WAIT wait, HANDLE handle, PFILETIME timeout) {
        if (running.IsSet()) {
          const std::lock_guard lock(mutex);
          armings.push_back(handle);
        }
        setHook.Original()(wait, handle, timeout);
      });
  ImportHook<"WaitForThreadpoolWaitCallbacks", decltype(::WaitForThreadpoolWaitCallbacks)> waitHook(
      [&](PTP_WAIT wait, BOOL cancel) {
        closing.Set();
        waitHook.Original()(wait, cancel);
      });
  ImportHook<"CloseThreadpoolWait", decltype(::CloseThreadpoolWait)> closeHook([&](PTP_WAIT wait) {
    closed = true;
    closeHook.Original()(wait);
  });
  std::atomic<int> runs = 0;
  Open();
  const auto connection = storage->ConnectStorageEvent([&](StorageEvent /*event*/) {
    ++runs;
    running.Set();
    release.Await("the release of the slot");
  });
  sandbox.Write(L"A", L"v", RawDword(1));
  running.Await("the slot");
  std::thread destroying([&] { storage.reset(); });
  closing.Await("the wait for the handler");
  EXPECT_FALSE(closed);
  release.Set();
  destroying.join();
  EXPECT_TRUE(closed);
  EXPECT_THAT(armings, ElementsAre(nullptr));
  EXPECT_EQ(runs, 1);
}

// One change at a time: Wine's pool loses signals and fails assertions of its own when a wait is
// disarmed, again and again, at the very moment of its signal.
TEST_F(PooledWatchTest, NoSlotIsCalledOnceTheStorageIsGone) {
  std::atomic<int> lateCalls = 0;
  for (std::uint32_t round = 0; round < 200; ++round) {
    Open();
    const TestEvent called;
    std::atomic<bool> gone = false;
    const auto connection = storage->ConnectStorageEvent([&](StorageEvent /*event*/) {
      lateCalls += gone ? 1 : 0;
      called.Set();
    });
    sandbox.Write(L"A", L"v", RawDword(round));
    called.Await("the slot");
    storage.reset();  // while the handler registers and arms again
    gone = true;
  }
  sandbox.Write(L"A", L"v", RawText(L"unwatched"));
  EXPECT_EQ(lateCalls, 0);
}

}  // namespace
}  // namespace tessel::config
