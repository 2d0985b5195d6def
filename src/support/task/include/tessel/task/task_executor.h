/// \file
/// Deferred work: a callable that runs when a timer expires, when a kernel object is signalled, or
/// once for each submitted work item.
///
/// Every task is represented by a context. The executor holds the only strong reference to it and
/// hands out a weak one: to operate on the task, lock it and pass the context by reference; when it
/// has expired, the task was closed or the executor is gone, and there is nothing to do.
///
/// A task is created, then started and stopped (or submitted to) and waited for any number of
/// times, then closed. Destroying the executor closes what is still open. The callable and what it
/// captured are destroyed after its last run has returned; after a close from another thread that
/// is when the last locked reference goes.
///
/// Errors: no operation reports any; failures of the platform's calls are not detected. A task for
/// which the platform had no object ends the process when it is used.
///
/// Threads: every operation may be called from any thread and from inside a task's own callable.
/// Callables run on threads of the executor, concurrently with everything else; nothing catches
/// what they throw. Threads may start, stop, submit to and close a task that another thread closes,
/// and one that was closed while they held its context: that has no effect.
///
/// Preconditions:
/// - A context goes only to the executor that made it.
/// - No thread waits (WaitFor...) for a task that another closes, or that was closed.
/// - A callable does not wait for its own task, nor do two callables wait for or close each other's
///   tasks, and a callable holds no locked context of an executor that is being destroyed: they
///   would wait for their own end. So a task that starts itself is closed before its executor is
///   destroyed, on the default executor before main returns.
/// - The context of a closed task does not keep its executor: nobody uses it while that is being
///   destroyed, or afterwards.
/// - When one thread starts a wait task while another stops it, one of the two may be lost; to stop
///   and start the task makes it whole again.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <ratio>

#include "tessel/task/work_argument.h"

/// Timer, wait and work tasks on executors.
namespace tessel::task {

/// A timer task, of which callers see nothing.
struct WtpTimerTaskContext;
/// A wait task, of which callers see nothing.
struct WtpWaitTaskContext;
/// A work task, of which callers see nothing.
struct WtpWorkTaskContext;

/// A point in time: units of 100 ns since 1970-01-01 00:00 UTC, whatever the system clock of the
/// standard library counts in.
using DueTime =
    std::chrono::time_point<std::chrono::system_clock,
                            std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>>;

/// Runs callables when timers expire.
class TimerTaskExecutor {
 public:
  virtual ~TimerTaskExecutor() = default;

  /// Creates an unarmed timer task that will call `task`.
  virtual std::weak_ptr<WtpTimerTaskContext> CreateTimerTask(std::function<void()> task) = 0;

  /// Arms the timer: the first run comes after `delay`, rounded up to 100 ns, the next ones every
  /// `period`, cut to whole milliseconds; below one millisecond there is only the first. The
  /// platform takes a period of 32 bits: of a negative one, and of 2^32 ms (49 days) and more, the
  /// lowest 32 bits count. A run that outlasts the period overlaps with the next.
  virtual void StartTimerTask(WtpTimerTaskContext& context, std::chrono::nanoseconds delay,
                              std::chrono::nanoseconds period) = 0;

  /// Arms the timer for one run at `time`; a time in the past is due at once, but for one before
  /// 1601: that the platform takes for a delay, as long as it lies before 1601.
  virtual void StartTimerTaskAt(WtpTimerTaskContext& context, DueTime time) = 0;

  /// Disarms the timer; runs that have begun continue.
  virtual void StopTimerTask(WtpTimerTaskContext& context) = 0;

  /// Blocks until running and pending runs have finished.
  virtual void WaitForTimerTask(WtpTimerTaskContext& context) = 0;

  /// Disarms, cancels pending runs, waits for running ones except the caller's own, and drops the
  /// executor's reference. A second close returns at once, even while the first still waits.
  virtual void CloseTimerTask(WtpTimerTaskContext& context) = 0;
};

/// Runs callables when kernel objects are signalled.
class WaitTaskExecutor {
 public:
  virtual ~WaitTaskExecutor() = default;

  /// Creates an unarmed wait task that will call `task` when `handle`, the HANDLE of a waitable
  /// object, is signalled. The handle is not owned and must stay open until the task is closed.
  virtual std::weak_ptr<WtpWaitTaskContext> CreateWaitTask(void* handle,
                                                           std::function<void()> task) = 0;

  /// Arms one wait without time limit, unless it is armed already. The signal disarms the task and
  /// then runs the callable once, so that the callable itself can arm it again.
  virtual void StartWaitTask(WtpWaitTaskContext& context) = 0;

  /// Disarms the wait if it is armed. A signal that was seen but not yet acted upon is dropped.
  virtual void StopWaitTask(WtpWaitTaskContext& context) = 0;

  /// Blocks until running runs have finished, and pending ones too while the task is armed; when it
  /// is not, pending runs are cancelled.
  virtual void WaitForWaitTask(WtpWaitTaskContext& context) = 0;

  /// As CloseTimerTask. No run begins once this has begun, though the signal had come before.
  virtual void CloseWaitTask(WtpWaitTaskContext& context) = 0;
};

/// Runs a callable for each submitted work item.
class WorkTaskExecutor {
 public:
  virtual ~WorkTaskExecutor() = default;

  /// Creates a work task that will call `task` with the two pointers of the item being run.
  virtual std::weak_ptr<WtpWorkTaskContext> CreateWorkTask(
      std::function<void(void*, void*)> task) = 0;

  /// Queues the pair, unless both pointers are null, and posts exactly one run. A run takes the
  /// item at the front when it begins, or two null pointers when there is none, and frees the
  /// arguments when the callable has returned, the second one first.
  virtual void SubmitWorkTask(WtpWorkTaskContext& context, WorkArgument first,
                              WorkArgument second) = 0;

  /// Blocks until all runs that were posted have finished.
  virtual void WaitForWorkTask(WtpWorkTaskContext& context) = 0;

  /// As CloseTimerTask. Items whose runs are cancelled are freed with the callable, the last one
  /// first.
  virtual void CloseWorkTask(WtpWorkTaskContext& context) = 0;
};

/// An executor of all three kinds of task.
class TaskExecutor : public TimerTaskExecutor, public WaitTaskExecutor, public WorkTaskExecutor {};

///@{
/// The executor that made a task: the holder of a context needs no pointer beside it.
TimerTaskExecutor& GetExecutor(const WtpTimerTaskContext& context);
WaitTaskExecutor& GetExecutor(const WtpWaitTaskContext& context);
WorkTaskExecutor& GetExecutor(const WtpWorkTaskContext& context);
///@}

}  // namespace tessel::task
