#include "settings_tools/nearest_key_watch.h"

#include <windows.h>

#include <utility>

#include "tessel/config/registry_access.h"
#include "tessel/config/registry_storage.h"
#include "tessel/expected.h"

namespace settings_tools {
namespace {

using tessel::config::StoragePath;
using tessel::config::UniqueEvent;
using tessel::config::UniqueRegistryKey;

std::error_code SystemError(LSTATUS status) { return {status, std::system_category()}; }

// Not the watch of a storage, which makes a deleted key again: here a key is only ever opened.
LSTATUS OpenToWatch(const StoragePath& path, UniqueRegistryKey& key) {
  return ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.Text().c_str(), /*ulOptions=*/0, KEY_NOTIFY,
                         key.put());
}

// ERROR_RETRY says that another key may have become the nearest one.
LSTATUS WatchOnce(const StoragePath& wanted, UniqueRegistryKey& key, HANDLE event) {
  LSTATUS status = OpenToWatch(wanted, key);
  if (status == ERROR_SUCCESS) {
    return ::RegNotifyChangeKeyValue(key.get(), /*bWatchSubtree=*/TRUE,
                                     REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_ATTRIBUTES |
                                         REG_NOTIFY_CHANGE_LAST_SET | REG_NOTIFY_CHANGE_SECURITY,
                                     event, /*fAsynchronous=*/TRUE);
  }
  StoragePath above = wanted;
  StoragePath missing;
  while (status == ERROR_FILE_NOT_FOUND && !above.Empty()) {
    missing = std::move(above);
    above = missing.KeyPath();
    status = OpenToWatch(above, key);
  }
  if (status != ERROR_SUCCESS) {
    return status;
  }
  // Of a key above the wanted one only the names of its subkeys matter.
  status = ::RegNotifyChangeKeyValue(key.get(), /*bWatchSubtree=*/FALSE, REG_NOTIFY_CHANGE_NAME,
                                     event, /*fAsynchronous=*/TRUE);
  if (status != ERROR_SUCCESS) {
    return status;
  }
  // A subkey that was made before the watch of its name is not signalled.
  UniqueRegistryKey made;
  return OpenToWatch(missing, made) == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : ERROR_RETRY;
}

// Returns what `look` has returned; when it was false, at once. The watch serves one change, for
// after it another key may be the nearest one.
tessel::expected<bool, std::error_code> LookAndWait(const StoragePath& path,
                                                    const std::function<bool()>& look) {
  // Outlives the key: the platform signals it when a key that is watched is closed.
  const UniqueEvent event(::CreateEventW(/*lpEventAttributes=*/nullptr, /*bManualReset=*/FALSE,
                                         /*bInitialState=*/FALSE, /*lpName=*/nullptr));
  if (!event) {
    return SystemError(static_cast<LSTATUS>(::GetLastError()));
  }
  UniqueRegistryKey key;
  const LSTATUS status = WatchOnce(path, key, event.get());
  if (status != ERROR_SUCCESS) {
    return SystemError(status);
  }
  if (!look()) {
    return false;
  }
  if (::WaitForSingleObject(event.get(), INFINITE) != WAIT_OBJECT_0) {
    return SystemError(static_cast<LSTATUS>(::GetLastError()));
  }
  return true;
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
    if (!goesOn && goesOn.error() != SystemError(ERROR_KEY_DELETED) &&
        goesOn.error() != SystemError(ERROR_RETRY)) {
      return goesOn.error();
    }
  }
}

}  // namespace settings_tools
