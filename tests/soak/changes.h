// Changes that another process makes, and the watch that must report each of them.
//
// For each watched key there are two events. The other process makes a change and waits until the
// report of it sets the first event; then it goes on. The second event tells it to stop.
#pragma once

#include <windows.h>

#include <string>

#include "tessel/task/task_executor.h"
#include "workers.h"

namespace soak {

/// Watches a key of its own below `parent` while another process changes that key, for as long as
/// `running` is true. `path` is the path of `parent` below HKEY_CURRENT_USER. Each change must be
/// reported.
void WatchChanges(HKEY parent, const std::wstring& path,
                  const std::shared_ptr<tessel::task::WaitTaskExecutor>& executor,
                  const Running& running, Totals& totals);

/// The other process: changes the key until it is told to stop. Its arguments are the key's path
/// and the two events; returns its exit status.
int ChangeKey(const wchar_t* path, HANDLE reported, HANDLE stop);

}  // namespace soak
