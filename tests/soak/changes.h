// Changes that another process makes, and the watch that has to report each of them.
//
// For each watched key there are two events: the other process makes a change, waits until the
// report of it sets the first, and goes on; the second tells it to stop.
#pragma once

#include <windows.h>

#include <string>

#include "tessel/task/task_executor.h"
#include "workers.h"

namespace soak {

/// Watches a key of its own below `parent`, whose path below HKEY_CURRENT_USER is `path`, while
/// another process changes it, as long as `running`. Each change must be reported.
void WatchChanges(HKEY parent, const std::wstring& path,
                  const std::shared_ptr<tessel::task::WaitTaskExecutor>& executor,
                  const Running& running, Totals& totals);

/// The other process: changes the key until it is told to stop. Its arguments are the key's path
/// and the two events; returns its exit status.
int ChangeKey(const wchar_t* path, HANDLE reported, HANDLE stop);

}  // namespace soak
