#include "tessel/task/default_task_executor.h"

#include "tessel/task/windows_thread_pool_executor.h"

namespace tessel::task {

std::shared_ptr<TaskExecutor> GetDefaultTaskExecutor() {
  static const auto kExecutor =
      std::make_shared<WindowsThreadPoolExecutor>(/*environment=*/nullptr, /*window=*/0);
  return kExecutor;
}

}  // namespace tessel::task
