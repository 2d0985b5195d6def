/// \file
/// The executor on the Windows thread pool: each task is one timer, wait or work object of the
/// pool (`CreateThreadpoolTimer`, `CreateThreadpoolWait`, `CreateThreadpoolWork`). Timers and waits
/// are started and stopped by `SetThreadpoolTimer` and `SetThreadpoolWait`, and
/// `SubmitThreadpoolWork` posts a run.
///
/// Threads: `mutex` guards the lists of tasks. Each task has a lock of its own, which guards the
/// flag that it is closed. None of these locks is held while a callable runs or is destroyed, while
/// callbacks are waited for, or while objects of the pool are closed.
///
/// Lifetime: the destructor closes the tasks that are still open, timers first, then waits, then
/// works, and also tasks that callables create meanwhile. It returns when every locked reference to
/// one of these tasks has been released. It must not run inside a callable of one of its tasks. It
/// does not wait for a callable that has closed its own task.
#pragma once

#include <windows.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "tessel/task/task_executor.h"

namespace tessel::task {

/// What the contexts of the three kinds of task have in common.
template <class Executor, class Handle, class Record>
struct TaskContext;

/// Runs all three kinds of task on a pool of the platform.
///
/// ```cpp
/// tessel::task::WindowsThreadPoolExecutor executor(/*environment=*/nullptr, /*window=*/0);
/// ```
class WindowsThreadPoolExecutor final : public TaskExecutor {
 public:
  /// Tasks run on the pool of `environment`, which is not owned and must stay valid while tasks are
  /// created; null selects the process's default pool. `window` is the time in milliseconds by
  /// which the platform may delay a timer (msWindowLength).
  WindowsThreadPoolExecutor(PTP_CALLBACK_ENVIRON environment, std::uint32_t window);
  /// Closes the open tasks: cancels the runs that have not begun, and waits for those that have.
  ~WindowsThreadPoolExecutor() override;
  WindowsThreadPoolExecutor(const WindowsThreadPoolExecutor&) = delete;
  WindowsThreadPoolExecutor& operator=(const WindowsThreadPoolExecutor&) = delete;

  std::weak_ptr<WtpTimerTaskContext> CreateTimerTask(std::function<void()> task) override;
  void StartTimerTask(WtpTimerTaskContext& context, std::chrono::nanoseconds delay,
                      std::chrono::nanoseconds period) override;
  void StartTimerTaskAt(WtpTimerTaskContext& context, DueTime time) override;
  void StopTimerTask(WtpTimerTaskContext& context) override;
  void WaitForTimerTask(WtpTimerTaskContext& context) override;
  void CloseTimerTask(WtpTimerTaskContext& context) override;

  std::weak_ptr<WtpWaitTaskContext> CreateWaitTask(void* handle,
                                                   std::function<void()> task) override;
  void StartWaitTask(WtpWaitTaskContext& context) override;
  void StopWaitTask(WtpWaitTaskContext& context) override;
  void WaitForWaitTask(WtpWaitTaskContext& context) override;
  void CloseWaitTask(WtpWaitTaskContext& context) override;

  std::weak_ptr<WtpWorkTaskContext> CreateWorkTask(std::function<void(void*, void*)> task) override;
  void SubmitWorkTask(WtpWorkTaskContext& context, WorkArgument first,
                      WorkArgument second) override;
  void WaitForWorkTask(WtpWorkTaskContext& context) override;
  void CloseWorkTask(WtpWorkTaskContext& context) override;

 private:
  template <class Executor, class Handle, class Record>
  friend struct TaskContext;
  template <class Context>
  using Tasks = std::vector<std::shared_ptr<Context>>;

  template <class Context, class Record>
  std::weak_ptr<Context> Open(Tasks<Context>& tasks, std::unique_ptr<Record> record);
  template <class Context>
  void Close(Tasks<Context>& tasks, Context& context);

  // The list of handed-over contexts for a kind of task; see releasedCondition.
  auto& Released(const TimerTaskExecutor* /*kind*/) { return releasedTimers; }
  auto& Released(const WaitTaskExecutor* /*kind*/) { return releasedWaits; }
  auto& Released(const WorkTaskExecutor* /*kind*/) { return releasedWorks; }

  // NOLINTBEGIN(readability-identifier-naming): named like the members of the contexts.
  PTP_CALLBACK_ENVIRON callbackEnvironment;
  std::uint32_t windowLength;
  std::mutex mutex;  // guards all that follows
  // The open tasks; the only strong references.
  Tasks<WtpTimerTaskContext> timerTasks;
  Tasks<WtpWaitTaskContext> waitTasks;
  Tasks<WtpWorkTaskContext> workTasks;
  bool stopping = false;
  // The destructor hands each open context over: it puts the context on a released list and drops
  // its own reference. The end of such a context closes its object, takes it off the list and
  // notifies this condition.
  std::condition_variable releasedCondition;
  std::vector<WtpTimerTaskContext*> releasedTimers;
  std::vector<WtpWaitTaskContext*> releasedWaits;
  std::vector<WtpWorkTaskContext*> releasedWorks;
  // NOLINTEND(readability-identifier-naming)
};

}  // namespace tessel::task
