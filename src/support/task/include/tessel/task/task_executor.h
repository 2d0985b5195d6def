/// \file
/// Deferred work: a callable that runs when a timer expires, when a kernel object is signalled, or
/// once for each submitted work item.
///
/// Every task is represented by a context. The executor holds the only strong reference to the
/// context and hands out a weak one. To operate on the task, lock the weak reference and pass the
/// context by reference. A weak reference that has expired means that the task was closed or that
/// the executor is gone: there is nothing to do then.
///
/// Lifetime: a task is created, then started and stopped (or submitted to) and waited for any
/// number of times, then closed. Destroying the executor closes the tasks that are still open. The
/// callable and what it captured are destroyed after its last run has returned. After a close from
/// outside the callable, that is when the last locked reference to the context is released.
///
/// Errors: failed platform calls are not reported. If the platform could not create the object of a
/// task, using that task ends the process. Creating a task and submitting an item throw
/// std::bad_alloc when memory runs out; both arguments of the item are freed then.
///
/// Threads: every operation may be called from any thread and from inside a task's own callable.
/// Callables run on threads of the executor, concurrently with everything else. While one thread
/// closes a task, others may start, stop, submit to or close it, and may go on doing so for as long
/// as they hold its context locked: once the task is closed, these four have no effect.
///
/// Preconditions:
/// - A callable must not be empty, and must not throw: nothing catches the exception, and the
///   process ends.
/// - A context must be passed only to the executor that created it.
/// - A task that was closed, or that another thread may be closing, must not be waited for
///   (WaitFor...).
/// - A callable must not wait for its own task. Two callables must not wait for, or close, each
///   other's tasks. A callable must not hold a locked context of an executor that is being
///   destroyed. Each of these would be a deadlock: a run would wait for its own end.
/// - A task that starts itself must therefore be closed before its executor is destroyed. On the
///   default executor it must be closed before main returns.
/// - The context of a closed task does not keep the executor alive. It must not be used once the
///   destruction of the executor has begun.
/// - A wait task must not be started and stopped at the same time: one of the two calls may have no
///   effect, and later starts too. Stopping and then starting the task repairs it.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <ratio>

#include "tessel/task/work_argument.h"

/// Timer, wait and work tasks on executors.
namespace tessel::task {

/// A timer task; opaque to callers.
struct WtpTimerTaskContext;
/// A wait task; opaque to callers.
struct WtpWaitTaskContext;
/// A work task; opaque to callers.
struct WtpWorkTaskContext;

/// A point in time: units of 100 ns since 1970-01-01 00:00 UTC. The unit of the standard library's
/// own system clock differs between compilers.
using DueTime =
    std::chrono::time_point<std::chrono::system_clock,
                            std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>>;

/// The first such point that is not before `time`, which is of the system clock in any unit.
template <class Duration>
[[nodiscard]] constexpr DueTime ToDueTime(
    std::chrono::time_point<std::chrono::system_clock, Duration> time) {
  return std::chrono::ceil<DueTime::duration>(time);
}

/// Runs callables when timers expire.
///
/// ```cpp
/// const auto timer = executor->CreateTimerTask([&] { expired.set_value(); });
/// if (const auto context = timer.lock()) {
///   executor->StartTimerTaskAt(*context,
///                              tessel::task::ToDueTime(std::chrono::system_clock::now() + 10ms));
/// }
/// ```
class TimerTaskExecutor {
 public:
  virtual ~TimerTaskExecutor() = default;

  /// Creates an unarmed timer task that will call `task`.
  virtual std::weak_ptr<WtpTimerTaskContext> CreateTimerTask(std::function<void()> task) = 0;

  /// Arms the timer. The first run comes after `delay`, rounded up to 100 ns, and at once after a
  /// delay of zero. Further runs come every `period`, truncated to whole milliseconds; with a
  /// period below one millisecond there is only the first run. A run that takes longer than the
  /// period overlaps with the next one.
  ///
  /// The platform counts the period in 32 bits. Of a negative period, or of one of 2^32 ms (49
  /// days) and more, only the lowest 32 bits are used.
  virtual void StartTimerTask(WtpTimerTaskContext& context, std::chrono::nanoseconds delay,
                              std::chrono::nanoseconds period) = 0;

  /// Arms the timer for one run at `time`. A time in the past is due at once. The platform counts
  /// absolute time from 1601-01-01, and takes a negative count for a delay: with a time before 1601
  /// the run comes after a delay as long as the distance of that time from 1601.
  virtual void StartTimerTaskAt(WtpTimerTaskContext& context, DueTime time) = 0;

  /// Disarms the timer. Runs that have begun continue, and one that is due already may still begin:
  /// only WaitForTimerTask or CloseTimerTask makes sure that none follows.
  virtual void StopTimerTask(WtpTimerTaskContext& context) = 0;

  /// Blocks until running and pending runs have finished.
  virtual void WaitForTimerTask(WtpTimerTaskContext& context) = 0;

  /// Disarms the timer, cancels pending runs, waits for running ones except the caller's own, and
  /// drops the executor's reference. A second close returns at once, even while the first still
  /// waits.
  virtual void CloseTimerTask(WtpTimerTaskContext& context) = 0;
};

/// Runs callables when kernel objects are signalled.
///
/// ```cpp
/// const auto wait = executor->CreateWaitTask(event.get(), [&] { signalled.set_value(); });
/// if (const auto context = wait.lock()) {
///   executor->StartWaitTask(*context);
/// ```
class WaitTaskExecutor {
 public:
  virtual ~WaitTaskExecutor() = default;

  /// Creates an unarmed wait task that will call `task` when `handle`, the HANDLE of a waitable
  /// object, is signalled. The handle must be valid; it is not owned and must stay open until the
  /// task is closed.
  virtual std::weak_ptr<WtpWaitTaskContext> CreateWaitTask(void* handle,
                                                           std::function<void()> task) = 0;

  /// Arms one wait without time limit, unless the task is armed already. The signal disarms the
  /// task and then runs the callable once, so that the callable can arm the task again.
  virtual void StartWaitTask(WtpWaitTaskContext& context) = 0;

  /// Disarms the wait if it is armed. A signal whose run has not begun is dropped.
  virtual void StopWaitTask(WtpWaitTaskContext& context) = 0;

  /// Blocks until running runs have finished. Pending runs are waited for too if the task is armed,
  /// and cancelled if it is not.
  virtual void WaitForWaitTask(WtpWaitTaskContext& context) = 0;

  /// As CloseTimerTask. No run begins after this call has begun, not even for an earlier signal.
  virtual void CloseWaitTask(WtpWaitTaskContext& context) = 0;
};

/// Runs a callable for each submitted work item.
///
/// ```cpp
/// const auto work = executor->CreateWorkTask(
///     [&](void* first, void* /*second*/) { sum += *static_cast<int*>(first); });
/// ```
class WorkTaskExecutor {
 public:
  virtual ~WorkTaskExecutor() = default;

  /// Creates a work task that will call `task` with the two pointers of the item being run.
  virtual std::weak_ptr<WtpWorkTaskContext> CreateWorkTask(
      std::function<void(void*, void*)> task) = 0;

  /// Queues the pair, unless both pointers are null, and posts exactly one run. When a run begins
  /// it takes the item at the front of the queue, or two null pointers if the queue is empty. When
  /// the callable has returned the run frees its arguments, the second one first.
  virtual void SubmitWorkTask(WtpWorkTaskContext& context, WorkArgument first,
                              WorkArgument second) = 0;

  /// Blocks until all runs that were posted have finished.
  virtual void WaitForWorkTask(WtpWorkTaskContext& context) = 0;

  /// As CloseTimerTask. Items whose runs were cancelled are freed together with the callable, the
  /// last item first.
  virtual void CloseWorkTask(WtpWorkTaskContext& context) = 0;
};

/// An executor for all three kinds of task.
class TaskExecutor : public TimerTaskExecutor, public WaitTaskExecutor, public WorkTaskExecutor {};

///@{
/// The executor that created a task. The holder of a context needs no other pointer to it.
TimerTaskExecutor& GetExecutor(const WtpTimerTaskContext& context);
WaitTaskExecutor& GetExecutor(const WtpWaitTaskContext& context);
WorkTaskExecutor& GetExecutor(const WtpWorkTaskContext& context);
///@}

}  // namespace tessel::task
