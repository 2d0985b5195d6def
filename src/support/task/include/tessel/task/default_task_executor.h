/// \file
/// The executor that the whole process shares.
#pragma once

#include <memory>

#include "tessel/task/task_executor.h"

namespace tessel::task {

/// The process-wide executor, on the process's default thread pool. It is made on the first call,
/// from any thread, and lives until the process exits or its last user is gone, whichever is later.
///
/// In a DLL it ends when the DLL is unloaded, where it must not have to wait for a callback: close
/// its tasks before, or use a WindowsThreadPoolExecutor of your own.
std::shared_ptr<TaskExecutor> GetDefaultTaskExecutor();

}  // namespace tessel::task
