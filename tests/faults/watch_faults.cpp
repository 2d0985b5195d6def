// Watching a key: connecting, handling a change, and the end.
#include <windows.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "account.h"
#include "library_texts.h"
#include "support/manual_wait_executor.h"
#include "sweep.h"
#include "tessel/config/registry_storage.h"
#include "tessel/task/windows_thread_pool_executor.h"

namespace faults {
namespace {

using tessel::SignalConnection;
using tessel::config::RegistryStorage;
using tessel::config::StorageEvent;
using tessel::config::StoragePath;

// The ways in which the handler is run, always by hand.
enum class Runner { ManualExecutor, ThreadPool };

// A storage on HKEY_LOCAL_MACHINE\A\B with the slots that are connected to it.
struct Watched {
  std::shared_ptr<tessel::task::WaitTaskExecutor> executor;
  std::function<bool()> fire;  // acts as a signal of the event; returns whether a wait was armed
  std::shared_ptr<RegistryStorage> storage;
  std::optional<SignalConnection> first;
  std::optional<SignalConnection> second;
  std::string events;

  explicit Watched(Runner runner) {
    Unswept([&] {
      if (runner == Runner::ManualExecutor) {
        auto manual = std::make_shared<testing_support::ManualWaitExecutor>();
        fire = [executor = manual.get()] { return executor->Fire(); };
        executor = std::move(manual);
      } else {
        fire = [] { return GetPlatform().RunLastObject(); };
        executor = std::make_shared<tessel::task::WindowsThreadPoolExecutor>(nullptr, 0);
      }
      storage = *RegistryStorage::Create(HKEY_LOCAL_MACHINE, StoragePath(L"A/B"), executor);
    });
  }
  ~Watched() {
    Unswept([this] { Drop(); });
  }
  Watched(const Watched&) = delete;
  Watched& operator=(const Watched&) = delete;

  void Drop() {
    first.reset();
    second.reset();
    storage.reset();
    executor.reset();
  }
  std::string Connect(std::optional<SignalConnection>& connection, const char* name) {
    auto result = storage->ConnectStorageEvent([this, name](StorageEvent event) {
      const Pause pause;
      events +=
          Line(name + std::string(event == StorageEvent::Changed ? " Changed" : " WatchLost"));
    });
    if (result) {
      connection = std::move(*result);
    }
    const Pause pause;
    return Line(result ? "connected" : Text(result.error()));
  }
  void ConnectBoth() {
    Unswept([this] {
      Connect(first, "first");
      Connect(second, "second");
    });
  }
  // Fires once more, to see whether the watch goes on, and reads a value that is not there.
  std::string Afterwards() {
    std::string text;
    Unswept([&] {
      const bool fired = fire();
      const auto value = storage->GetValue(StoragePath(L"v"));
      const Pause pause;
      text = Line(fired ? "fired" : "not armed") + std::exchange(events, {}) + Line(Text(value));
    });
    return text;
  }
};

const Contents kWatchedKey = {{L"A", {}}, {L"A\\B", {}}};
const Contents kNoWatchedKey = {{L"A", {}}};
const std::string kReadable = Line(ErrorText(ERROR_FILE_NOT_FOUND));
const std::string kNoKey = Line(ErrorText(ERROR_INVALID_HANDLE));

class WatchFaults : public ::testing::TestWithParam<Runner> {};
INSTANTIATE_TEST_SUITE_P(Runners, WatchFaults,
                         ::testing::Values(Runner::ManualExecutor, Runner::ThreadPool));

// The first connection may fail. The second one always succeeds and receives the change.
TEST_P(WatchFaults, Connect) {
  const std::string goesOn = "fired\nsecond Changed\n" + kReadable + Describe(kWatchedKey);
  const std::string connected = "connected\nconnected\nfired\nfirst Changed\nsecond Changed\n" +
                                kReadable + Describe(kWatchedKey);
  Sweep({.prepare = [](const auto& /*sandbox*/) {},
         .run =
             [runner = GetParam()] {
               Watched watched(runner);
               std::string outcome =
                   CountedOutcome([&] { return watched.Connect(watched.first, "first"); });
               Unswept([&] { outcome += watched.Connect(watched.second, "second"); });
               return outcome + watched.Afterwards();
             },
         .unfaulted = connected,
         .expect =
             [=](const Fault& fault) {
               if (fault.function == "CreateThreadpoolWait") {
                 // Nothing reports this failure, and no wait is armed.
                 return "connected\nconnected\nnot armed\n" + kReadable + Describe(kWatchedKey);
               }
               return (fault.function == kAllocation ? kOutOfMemory : Line(ErrorText(fault))) +
                      "connected\n" + goesOn;
             }});
}

TEST_P(WatchFaults, ConnectAgain) {
  const std::string goesOn = kReadable + Describe(kWatchedKey);
  Sweep({.prepare = [](const auto& /*sandbox*/) {},
         .run =
             [runner = GetParam()] {
               Watched watched(runner);
               Unswept([&] { watched.Connect(watched.first, "first"); });
               const std::string outcome =
                   CountedOutcome([&] { return watched.Connect(watched.second, "second"); });
               return outcome + watched.Afterwards();
             },
         .unfaulted = "connected\nfired\nfirst Changed\nsecond Changed\n" + goesOn,
         .expect =
             [=](const Fault& /*fault*/) {
               return kOutOfMemory + ("fired\nfirst Changed\n" + goesOn);
             }});
}

// Handles one change of a watched key, which `change` makes.
std::string HandleChange(Runner runner, const std::function<void()>& change) {
  Watched watched(runner);
  Unswept([&] { watched.Connect(watched.first, "first"); });
  change();
  const std::string thrown = Counted([&] { watched.fire(); });
  const std::string events = std::exchange(watched.events, {});
  return thrown + events + watched.Afterwards();
}

const std::string kGoesOn = "first Changed\nfired\nfirst Changed\n" + kReadable;

TEST_P(WatchFaults, HandleChange) {
  const std::string lost = "first WatchLost\nnot armed\n" + kReadable;
  Sweep({.prepare = [](const auto& /*sandbox*/) {},
         .run = [runner = GetParam()] { return HandleChange(runner, [] {}); },
         .unfaulted = kGoesOn + Describe(kWatchedKey),
         .expect =
             [=](const Fault& fault) {
               // Access denied: goes on with the open key. Deleted: creates the key again, as for a
               // key whose name cannot be queried.
               const bool isLost =
                   fault.function == kAllocation || (fault.function == "RegNotifyChangeKeyValue" &&
                                                     fault.failure.code != ERROR_ACCESS_DENIED &&
                                                     fault.failure.code != ERROR_KEY_DELETED);
               return (isLost ? lost : kGoesOn) + Describe(kWatchedKey);
             }});
}

TEST_P(WatchFaults, HandleDeletion) {
  const std::string lost = "first WatchLost\nnot armed\n" + kNoKey;
  Sweep({.prepare = [](const auto& /*sandbox*/) {},
         .run =
             [runner = GetParam()] {
               return HandleChange(runner, [] { ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"A\\B"); });
             },
         .unfaulted = kGoesOn + Describe(kWatchedKey),
         .expect =
             [=](const Fault& fault) {
               if (fault.function == "RegCreateKeyExW" || fault.function == kAllocation ||
                   fault.function == "RegNotifyChangeKeyValue") {
                 const bool created = fault.Before("RegCreateKeyExW") != 0;
                 return lost + Describe(created ? kWatchedKey : kNoWatchedKey);
               }
               return kGoesOn + Describe(kWatchedKey);
             }});
}

TEST_P(WatchFaults, Destroy) {
  Sweep({.prepare = [](const auto& /*sandbox*/) {},
         .run =
             [runner = GetParam()] {
               Watched watched(runner);
               watched.ConnectBoth();
               return Counted([&] { watched.Drop(); });
             },
         .unfaulted = Describe(kWatchedKey),
         .expect = [](const Fault& /*fault*/) { return Describe(kWatchedKey); }});
}

// A slot whose connection could not be taken off the list is not called again.
TEST_P(WatchFaults, Disconnect) {
  const std::string goesOn = "second Changed\n" + kReadable + Describe(kWatchedKey);
  Sweep({.prepare = [](const auto& /*sandbox*/) {},
         .run =
             [runner = GetParam()] {
               Watched watched(runner);
               watched.ConnectBoth();
               const std::string thrown = Counted([&] { watched.first->Disconnect(); });
               return thrown + watched.Afterwards();
             },
         .unfaulted = "fired\n" + goesOn,
         .expect = [=](const Fault& /*fault*/) { return "fired\n" + goesOn; }});
}

}  // namespace
}  // namespace faults
