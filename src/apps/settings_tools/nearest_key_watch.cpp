#include "settings_tools/nearest_key_watch.h"

#include <windows.h>

#include <atomic>
#include <memory>

#include "tessel/config/registry_storage.h"
#include "tessel/expected.h"
#include "tessel/task/default_task_executor.h"

namespace settings_tools {
namespace {

using tessel::config::RegistryStorage;
using tessel::config::StorageEvent;
using tessel::config::StoragePath;

std::error_code SystemError(LSTATUS status) { return {status, std::system_category()}; }

LSTATUS OpenNearestKey(StoragePath path, tessel::config::UniqueRegistryKey& key) {
  for (;;) {
    const LSTATUS status = ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.Text().c_str(),
                                           /*ulOptions=*/0, KEY_READ, key.put());
    if (status != ERROR_FILE_NOT_FOUND || path.Empty()) {
      return status;
    }
    path = path.KeyPath();
  }
}

// A storage creates its key when that is missing, also when it was deleted under a watch. So it is
// given the open key as its root, and no path from there: a deleted key has no place where it could
// be created again, and the watch is lost instead.
tessel::expected<std::shared_ptr<RegistryStorage>, std::error_code> OpenNearest(
    const StoragePath& path) {
  tessel::config::UniqueRegistryKey key;
  if (const LSTATUS status = OpenNearestKey(path, key); status != ERROR_SUCCESS) {
    return SystemError(status);
  }
  return RegistryStorage::Create(key.get(), StoragePath(), tessel::task::GetDefaultTaskExecutor(),
                                 {}, tessel::config::kReadOnly);
}

// Sets up a watch, looks, and waits for one change, for after it another key may be the nearest
// one. Returns what `look` has returned; when it was false, at once.
tessel::expected<bool, std::error_code> LookAndWait(const StoragePath& path,
                                                    const std::function<bool()>& look) {
  std::atomic_flag changed;  // outlives the connection, whose slot uses it
  const auto storage = OpenNearest(path);
  if (!storage) {
    return storage.error();
  }
  // A lost watch is no different from a change.
  const auto connection = (*storage)->ConnectStorageEvent([&changed](StorageEvent /*event*/) {
    changed.test_and_set();
    changed.notify_one();
  });
  if (!connection) {
    return connection.error();
  }
  const bool goesOn = look();
  if (goesOn) {
    changed.wait(false);
  }
  return goesOn;
}

}  // namespace

std::error_code WatchNearestKey(const StoragePath& path, const std::function<bool()>& look) {
  const StoragePath keyPath = path.WithSeparator(L'\\');
  for (;;) {
    const auto goesOn = LookAndWait(keyPath, look);
    if (goesOn && !*goesOn) {
      return {};
    }
    // A key that is deleted before its watch is set up is not the nearest one any more.
    if (!goesOn && goesOn.error() != SystemError(ERROR_KEY_DELETED)) {
      return goesOn.error();
    }
  }
}

}  // namespace settings_tools
