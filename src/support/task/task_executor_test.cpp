// The public headers compile alone: this file defines no macro and includes nothing before them.
#undef NOMINMAX
#undef WIN32_LEAN_AND_MEAN

#include "tessel/task/task_executor.h"

#include <type_traits>

#include <gtest/gtest.h>

#include "tessel/task/default_task_executor.h"
#include "tessel/task/windows_thread_pool_executor.h"
#include "tessel/task/work_argument.h"

namespace tessel::task {
namespace {

static_assert(std::has_virtual_destructor_v<TimerTaskExecutor>);
static_assert(std::has_virtual_destructor_v<WaitTaskExecutor>);
static_assert(std::has_virtual_destructor_v<WorkTaskExecutor>);
static_assert(std::is_convertible_v<TaskExecutor*, TimerTaskExecutor*>);
static_assert(std::is_convertible_v<TaskExecutor*, WaitTaskExecutor*>);
static_assert(std::is_convertible_v<TaskExecutor*, WorkTaskExecutor*>);
static_assert(std::is_base_of_v<TaskExecutor, WindowsThreadPoolExecutor>);
static_assert(!std::is_copy_constructible_v<WindowsThreadPoolExecutor>);
static_assert(sizeof(DueTime) == 8);

TEST(TaskExecutorTest, HasItsInterfacesInTheOrderTimersWaitsWorks) {
  const std::shared_ptr<TaskExecutor> executor = GetDefaultTaskExecutor();
  TimerTaskExecutor* timers = executor.get();
  WaitTaskExecutor* waits = executor.get();
  WorkTaskExecutor* works = executor.get();
  EXPECT_EQ(static_cast<void*>(timers), executor.get());
  EXPECT_LT(static_cast<void*>(timers), waits);
  EXPECT_LT(static_cast<void*>(waits), works);
}

}  // namespace
}  // namespace tessel::task
