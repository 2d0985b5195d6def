// Watches a key that comes and goes.
#pragma once

#include <functional>
#include <system_error>

#include "tessel/config/storage_path.h"

namespace settings_tools {

/// Calls `look` at first and after each change at or below a key of HKEY_LOCAL_MACHINE, until it
/// returns false; then the result is no error. Changes in quick succession may come as one.
///
/// Where the key does not exist, the nearest one above it is watched, so that `look` may be called
/// although nothing that matters has changed. No change is missed: the watch of the next one is set
/// up before each call. Creates no key, and asks for the right to be notified alone. The result is
/// an error when the nearest key cannot be opened or watched.
///
/// Calls in the thread of the caller, which waits in between for as long as it takes.
std::error_code WatchNearestKey(const tessel::config::StoragePath& path,
                                const std::function<bool()>& look);

}  // namespace settings_tools
