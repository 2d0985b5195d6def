// A storage whose key is watched: its handler, its users and its end.
#include <windows.h>

#include <memory>
#include <system_error>
#include <utility>

#include "encounters.h"
#include "registry.h"
#include "task_kinds.h"
#include "tessel/config/registry_storage.h"

namespace schedules {
namespace {

using tessel::SignalConnection;
using tessel::config::RegistryStorage;
using tessel::config::StorageEvent;
using tessel::config::StoragePath;

std::shared_ptr<RegistryStorage> Open(const std::shared_ptr<WindowsThreadPoolExecutor>& executor) {
  return RegistryStorage::Create(HKEY_LOCAL_MACHINE, StoragePath(L"KEY"), executor, L"name")
      .value();
}

/// A storage, one connection, and the events that its slot received.
struct Watched {
  explicit Watched(int mostEvents = 2) { LimitCallbacks(mostEvents); }

  void Connect(std::function<void()> action = [] {}) {
    connection = storage
                     ->ConnectStorageEvent([this, action = std::move(action),
                                            thing = Possession()](StorageEvent event) {
                       Touch();
                       Check(!isGone, "no slot is called after the storage's end");
                       Check(!std::exchange(isRunning, true), "two rounds never overlap");
                       ++events;
                       isLost = isLost || event == StorageEvent::WatchLost;
                       thing.Touch();
                       action();
                       thing.Touch();
                       isRunning = false;
                     })
                     .value();
  }

  std::shared_ptr<WindowsThreadPoolExecutor> executor = MakeExecutor();
  std::shared_ptr<RegistryStorage> storage = Open(executor);
  SignalConnection connection;
  int events = 0;
  bool isRunning = false;
  bool isLost = false;
  bool isGone = false;
};

/// Destroying the storage waits for the handler.
void EndAndChange() {
  Watched watched;
  watched.Connect();
  const Thread changer("changer", [] { ChangeKey(); });
  const Thread owner("owner", [&] {
    watched.storage.reset();
    Touch();
    watched.isGone = true;
  });
}

/// The slot drops a reference, which may be the last one.
void EndInSlot() {
  Watched watched;
  watched.Connect([&] { watched.storage.reset(); });
  auto other = watched.storage;
  const Thread changer("changer", [] { ChangeKey(); });
  const Thread owner("owner", [&] { other.reset(); });
}

/// Another thread holds the last reference, and connects.
void EndAndConnect() {
  Watched watched;
  watched.Connect();
  const Thread changer("changer", [] { ChangeKey(); });
  const Thread user("user", [storage = watched.storage]() mutable {
    auto connection = storage->ConnectStorageEvent([](StorageEvent /*event*/) {}).value();
    storage.reset();
  });
  watched.storage.reset();
}

/// Two first connections: one event, one task, two slots.
void ConnectAndConnect() {
  Watched watched;
  const auto connect = [&](SignalConnection& connection) {
    connection =
        watched.storage->ConnectStorageEvent([&](StorageEvent /*event*/) { ++watched.events; })
            .value();
  };
  SignalConnection left;
  SignalConnection right;
  {
    const Thread first("first", [&] { connect(left); });
    const Thread second("second", [&] { connect(right); });
  }
  ChangeKey();
  AwaitThreadPool();
  Check(watched.events == 2, "both slots are called once");
  watched.storage.reset();
}

/// The handler replaces the deleted key by a new one while a reader uses the old one.
void ReplaceAndRead() {
  Watched watched;
  watched.Connect();
  const Thread deleter("deleter", [] { DeleteKey(); });
  const Thread reader("reader", [&] {
    const auto value = watched.storage->GetValue(StoragePath(L"Value"));
    const int error = value ? 0 : value.error().value();
    Check(error == 0 || error == ERROR_KEY_DELETED || error == ERROR_INVALID_HANDLE,
          "a value is read, or the key is gone");
  });
}

/// At the end the storage has the new key.
void ReplaceAndChange() {
  Watched watched(/*mostEvents=*/4);
  watched.Connect();
  {
    const Thread deleter("deleter", [] { DeleteKey(); });
    const Thread changer("changer", [] { ChangeKey(); });
  }
  AwaitThreadPool();
  Check(!watched.isLost && watched.storage->GetValue(StoragePath(L"Value")),
        "the key is there again");
  watched.storage.reset();
}

/// The key cannot be created again, and the storage is destroyed.
void LoseAndEnd() {
  Watched watched;
  watched.Connect();
  FailKeys();
  const Thread deleter("deleter", [] { DeleteKey(); });
  const Thread owner("owner", [&] {
    watched.storage.reset();
    Touch();
    Check(watched.events == 0 || watched.isLost, "who cannot watch says so");
  });
}

/// After every change a slot call begins. Rounds do not overlap, also when they call different
/// slots.
void ChangeAndChange() {
  Watched watched(/*mostEvents=*/4);
  int changes = 0;
  int seen = 0;
  watched.Connect([&] {
    seen = changes;
    Before({"is in the first slot"});
  });
  const SignalConnection first = std::exchange(watched.connection, {});
  watched.Connect([] { Before({"is in the second slot"}); });
  const auto change = [&] {
    ++changes;
    ChangeKey();
  };
  {
    const Thread changer("changer", [&] {
      change();
      change();
    });
  }
  AwaitThreadPool();
  Check(seen == changes, "the last change is seen");
  watched.storage.reset();
}

/// Disconnecting waits for the slot.
void DisconnectAndChange() {
  Watched watched;
  watched.Connect();
  const Thread changer("changer", [] { ChangeKey(); });
  const Thread user("user", [&] {
    watched.connection.Disconnect();
    Touch();
    watched.isGone = true;
  });
}

/// A slot that uses the storage.
void UseInSlot() {
  Watched watched;
  watched.Connect([&] {
    static_cast<void>(watched.storage->GetValue(StoragePath(L"Value")));
    auto connection = watched.storage->ConnectStorageEvent([](StorageEvent /*event*/) {});
  });
  const Thread changer("changer", [] { ChangeKey(); });
  const Thread user("user", [&] {
    auto connection = watched.storage->ConnectStorageEvent([](StorageEvent /*event*/) {});
  });
}

}  // namespace

Encounters StorageEncounters() {
  return {{"storage/end-change", EndAndChange},
          {"storage/end-inside", EndInSlot},
          {"storage/end-connect-change", EndAndConnect},
          {"storage/connect-connect", ConnectAndConnect},
          {"storage/replace-read", ReplaceAndRead},
          {"storage/replace-change", ReplaceAndChange},
          {"storage/lose-end", LoseAndEnd},
          {"storage/change-change", ChangeAndChange},
          {"storage/disconnect-change", DisconnectAndChange},
          {"storage/use-inside", UseInSlot}};
}

}  // namespace schedules
