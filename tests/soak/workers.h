// The work of the threads of a soak, repeated until they are told to stop. Each repetition must
// release everything.
#pragma once

#include <windows.h>

#include <atomic>
#include <string>

#include "tessel/task/task_executor.h"
#include "totals.h"

namespace soak {

using Running = std::atomic<bool>;

/// Opens storages below `key`, writes and reads values of each type, and iterates over them.
void UseStorages(HKEY key, const Running& running, Totals& totals);

/// Creates timers, lets them run once or a few times, and closes them, also from inside.
void UseTimers(tessel::task::TimerTaskExecutor& executor, const Running& running, Totals& totals);

/// Creates waits on an event, signals it a few times, and closes them.
void UseWaits(tessel::task::WaitTaskExecutor& executor, const Running& running, Totals& totals);

/// Submits items from two threads to one task.
void UseWork(tessel::task::WorkTaskExecutor& executor, const Running& running, Totals& totals);

}  // namespace soak
