// Fixture: a registry storage whose watch is fired by hand and whose platform calls are recorded.
#pragma once

#include <windows.h>

#include <functional>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include <gmock/gmock-matchers.h>

#include "support/manual_wait_executor.h"
#include "support/recorded_watch.h"
#include "support/registry_sandbox.h"
#include "tessel/config/registry_storage.h"

namespace testing_support {

// The calls that make up a watch.
inline const std::string kCreateEvent = "CreateEventW(null, FALSE, FALSE, null)";
inline const std::string kCreateTask = "CreateWaitTask(event1)";
inline const std::string kArm = "StartWaitTask(event1)";
inline const std::string kCloseTask = "CloseWaitTask(event1)";
inline const std::string kCloseEvent = "CloseHandle(event1)";
inline const std::string kCreateKey =
    "RegCreateKeyExW(root, A\\B, 0, null, 0, 0x2001f, null, key, null)";
inline const std::string kCreateReadOnlyKey =
    "RegCreateKeyExW(root, A\\B, 0, null, 0, 0x20019, null, key, null)";
inline std::string Register(const std::string& key) {
  return "RegNotifyChangeKeyValue(" + key + ", TRUE, 0x1000000f, event1, TRUE)";
}
inline std::string Query(const std::string& key) { return "NtQueryKey(" + key + ")"; }
inline std::string Close(const std::string& key) { return "RegCloseKey(" + key + ")"; }
inline std::string Locked(const std::string& call) { return "locked " + call; }

/// The storage is on A/B below a key of the sandbox, R.
class WatchTest : public ::testing::Test {
 protected:
  void Open(tessel::config::StorageOptions options = 0) {
    storage = tessel::config::RegistryStorage::Create(
                  root.get(), tessel::config::StoragePath(L"A/B"), executor, {}, options)
                  .value();
    watch.LockIn(*storage);
    watch.TakeCalls();
  }
  // A slot that puts its name and the event among the calls.
  std::function<void(tessel::config::StorageEvent)> Slot(const std::string& name = "slot") {
    return [this, name](tessel::config::StorageEvent event) {
      watch.Note(name +
                 (event == tessel::config::StorageEvent::Changed ? " Changed" : " WatchLost"));
    };
  }
  void Connect(const std::string& name = "slot") {
    connections.push_back(storage->ConnectStorageEvent(Slot(name)).value());
    watch.TakeCalls();
    watch.TakeLocks();
  }
  // Fires the wait task, which must be armed, and returns the calls of the handler.
  std::vector<std::string> Fire() {
    watch.TakeCalls();
    EXPECT_TRUE(executor->Fire());
    return watch.TakeCalls();
  }
  [[nodiscard]] std::error_code ReadError() const {
    const auto value = storage->GetValue(tessel::config::StoragePath(L"v"));
    return value ? std::error_code() : value.error();
  }

  RegistrySandbox sandbox;
  std::shared_ptr<ManualWaitExecutor> executor = std::make_shared<ManualWaitExecutor>();
  tessel::config::UniqueRegistryKey root{CreateRoot()};
  RecordedWatch watch{*executor, root.get()};
  std::vector<tessel::SignalConnection> connections;
  std::shared_ptr<tessel::config::RegistryStorage> storage;

 private:
  static HKEY CreateRoot() {
    HKEY root = nullptr;
    EXPECT_EQ(::RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"R", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                &root, nullptr),
              ERROR_SUCCESS);
    return root;
  }
};

}  // namespace testing_support
