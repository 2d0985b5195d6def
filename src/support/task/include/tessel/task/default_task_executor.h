/// \file
/// The executor that the whole process shares.
#pragma once

#include <memory>

#include "tessel/task/task_executor.h"

namespace tessel::task {

/// The process-wide executor, on the process's default thread pool. It is created by the first
/// call, from any thread. It lives until the process exits and the last reference to it is gone.
///
/// Linked into a DLL, it is destroyed while the DLL is unloaded. The loader's lock is held there,
/// so that waiting for a callback may deadlock: all its tasks must be closed before the unloading,
/// or run on a WindowsThreadPoolExecutor that is destroyed before.
std::shared_ptr<TaskExecutor> GetDefaultTaskExecutor();

}  // namespace tessel::task
