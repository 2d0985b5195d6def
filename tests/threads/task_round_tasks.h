// The tasks of a round on an executor, and what they check about themselves.
#pragma once

#include <windows.h>

#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <utility>

#include "rounds.h"
#include "task_context.h"
#include "tessel/task/windows_thread_pool_executor.h"
#include "thread_pool.h"

namespace threads {

enum class Kind { Timer, Wait, Work };

/// Which threads close a task before its executor ends. With several, it is open whose close came
/// first.
enum class ClosedBy { Nobody, One, Many };

/// One task with all its references. Members without a comment are not guarded: the executor itself
/// must order the accesses to them.
struct Task {
  Kind kind = Kind::Timer;
  std::weak_ptr<tessel::task::WtpTimerTaskContext> timer;
  std::weak_ptr<tessel::task::WtpWaitTaskContext> wait;
  std::weak_ptr<tessel::task::WtpWorkTaskContext> work;
  Event event;          // of a wait task
  bool isCalm = false;  // its callable only counts
  ClosedBy closedBy = ClosedBy::Nobody;
  std::atomic<bool> taken = false;  // by the one that closes it; orders nothing
  Tally runs;
  /// Set when a close has returned. No run may begin then, and none may be running except the
  /// callback that called the close.
  bool closed = false;
  /// What the callable captured.
  std::weak_ptr<int> captured;
};

/// Everything that the threads of a round share.
class TaskRound {
 public:
  TaskRound(std::uint32_t seed, std::uint32_t round);

  /// Creates a task; called from any thread.
  Task& Create(Kind kind, bool isCalm, ClosedBy closedBy);

  /// Calls `action` with the executor and the context, if the task still exists.
  template <class Action>
  bool With(Task& task, Action action) {
    const auto call = [&](const auto& context) {
      if (context) {
        action(GetExecutor(*context), *context);
      }
      return context != nullptr;
    };
    switch (task.kind) {
      case Kind::Timer:
        return call(task.timer.lock());
      case Kind::Wait:
        return call(task.wait.lock());
      default:
        return call(task.work.lock());
    }
  }

  /// Arms the task, or submits an item to it.
  bool Start(Task& task, Random& random);
  bool Stop(Task& task);
  bool Close(Task& task);
  bool WaitFor(Task& task);

  /// Ends the executor. Callables hold no contexts from then on.
  void DestroyExecutor();
  /// Checks what must hold when all threads have ended.
  void CheckAll(Totals& totals);

  Tally starts;
  Tally stops;
  Tally waits;
  Tally closes;

 private:
  class Callable;
  class UseOfContext;

  std::uint32_t seed_;
  std::uint32_t round_;
  std::unique_ptr<tessel::task::WindowsThreadPoolExecutor> owner_;
  tessel::task::WindowsThreadPoolExecutor& executor_;  // callables use it until it has ended
  bool isOver_ = false;                                // the executor's destructor has returned
  std::mutex mutex_;                                   // guards tasks_
  std::deque<Task> tasks_;

  // Whether callables may still lock contexts, and how many hold one now.
  std::atomic<bool> ending_ = false;
  std::atomic<int> usesOfContexts_ = 0;

  Tally runs_;
  Tally nested_;
  Tally arguments_;
  Tally runArguments_;
  Tally freedArguments_;
};

}  // namespace threads
