#include "tessel/task/windows_thread_pool_executor.h"

#include <algorithm>
#include <type_traits>
#include <utility>

#include "disarm_guard.h"
#include "short_lock.h"
#include "srw_lock.h"
#include "task_context.h"

namespace tessel::task {
namespace {

// The three kinds of task differ only in these calls. The code below is written once over them.

void Disarm(PTP_TIMER timer) { TesselDisarmTimerGuarded(timer); }
void Disarm(PTP_WAIT wait) { ::SetThreadpoolWait(wait, /*h=*/nullptr, /*pftTimeout=*/nullptr); }
void Disarm(PTP_WORK /*work*/) {}

void WaitForCallbacks(PTP_TIMER timer, BOOL cancelPending) {
  ::WaitForThreadpoolTimerCallbacks(timer, cancelPending);
}
void WaitForCallbacks(PTP_WAIT wait, BOOL cancelPending) {
  ::WaitForThreadpoolWaitCallbacks(wait, cancelPending);
}
void WaitForCallbacks(PTP_WORK work, BOOL cancelPending) {
  ::WaitForThreadpoolWorkCallbacks(work, cancelPending);
}

void CloseObject(PTP_TIMER timer) { ::CloseThreadpoolTimer(timer); }
void CloseObject(PTP_WAIT wait) { ::CloseThreadpoolWait(wait); }
void CloseObject(PTP_WORK work) { ::CloseThreadpoolWork(work); }

/// Ends the object of a task. Nothing may start the task during this call or after it.
template <class Executor, class Handle, class Record>
void EndObject(TaskContext<Executor, Handle, Record>& context) {
  if constexpr (std::is_same_v<Record, WaitCallbackRecord>) {
    context.callbackRecord->armed.exchange(false);  // no run begins for a signal that came before
  }
  Disarm(context.handle);
  WaitForCallbacks(context.handle, /*cancelPending=*/TRUE);
  CloseObject(std::exchange(context.handle, nullptr));
}

/// The platform takes a negative due time for a relative one, in units of 100 ns. The delay is
/// rounded up to whole units, also when it is negative itself: then the result is positive. Adding
/// 99 before the division would overflow for the longest positive delays.
std::int64_t RelativeDueTime(std::chrono::nanoseconds delay) {
  const std::int64_t count = delay.count();
  return count > 0 ? -((count - 1) / 100 + 1) : -((count + 99) / 100);
}

/// Units of 100 ns since 1601-01-01, where the platform's time begins. Unsigned, because the sum
/// may overflow a signed number.
std::uint64_t AbsoluteDueTime(DueTime time) {
  constexpr std::uint64_t kTicksTo1970 = 116'444'736'000'000'000;
  return static_cast<std::uint64_t>(time.time_since_epoch().count()) + kTicksTo1970;
}

void ArmTimer(PTP_TIMER timer, std::uint64_t dueTime, DWORD period, DWORD windowLength) {
  FILETIME fileTime{static_cast<DWORD>(dueTime), static_cast<DWORD>(dueTime >> 32U)};
  ::SetThreadpoolTimer(timer, &fileTime, period, windowLength);
}

}  // namespace

template <class Executor, class Handle, class Record>
TaskContext<Executor, Handle, Record>::~TaskContext() {
  if (handle != nullptr) {  // null if the task was closed or the object never created
    EndObject(*this);
  }
  if (!released) {
    return;
  }
  callbackRecord.reset();
  // The interfaces lie at different offsets: only a static_cast finds the start of the executor.
  auto* owner = static_cast<WindowsThreadPoolExecutor*>(executor);
  const std::lock_guard lock(owner->mutex);
  auto& waitedFor = owner->Released(executor);
  if (const auto self = std::find(waitedFor.begin(), waitedFor.end(), this);
      self != waitedFor.end()) {
    waitedFor.erase(self);
  }
  owner->releasedCondition.notify_all();
}

template struct TaskContext<TimerTaskExecutor, PTP_TIMER, TimerCallbackRecord>;
template struct TaskContext<WaitTaskExecutor, PTP_WAIT, WaitCallbackRecord>;
template struct TaskContext<WorkTaskExecutor, PTP_WORK, WorkCallbackRecord>;

WindowsThreadPoolExecutor::WindowsThreadPoolExecutor(PTP_CALLBACK_ENVIRON environment,
                                                     std::uint32_t window)
    : callbackEnvironment(environment), windowLength(window) {}

WindowsThreadPoolExecutor::~WindowsThreadPoolExecutor() {
  const auto handOver = [](auto& tasks, auto& waitedFor) {
    for (const auto& task : tasks) {
      task->released = true;
      waitedFor.push_back(task.get());
    }
    return std::exchange(tasks, {});
  };
  std::unique_lock lock(mutex);
  stopping = true;
  do {
    auto timers = handOver(timerTasks, releasedTimers);
    auto waits = handOver(waitTasks, releasedWaits);
    auto works = handOver(workTasks, releasedWorks);
    lock.unlock();
    timers.clear();
    waits.clear();
    works.clear();
    lock.lock();
    releasedCondition.wait(lock, [this] {
      return releasedTimers.empty() && releasedWaits.empty() && releasedWorks.empty();
    });
    // A callable that ran until then may have created tasks.
  } while (!timerTasks.empty() || !waitTasks.empty() || !workTasks.empty());
}

template <class Context, class Record>
std::weak_ptr<Context> WindowsThreadPoolExecutor::Open(Tasks<Context>& tasks,
                                                       std::unique_ptr<Record> record) {
  auto context = std::make_shared<Context>();
  context->executor = this;
  context->callbackRecord = std::move(record);
  context->handle = CreateObject(context->callbackRecord.get(), callbackEnvironment);
  std::weak_ptr<Context> result = context;
  const std::lock_guard lock(mutex);
  // The destructor needs room on this list, and could not report that there is no memory for it.
  if (auto& waitedFor = Released(context->executor); waitedFor.capacity() == tasks.size()) {
    waitedFor.reserve(2 * tasks.size() + 1);
  }
  tasks.push_back(std::move(context));
  return result;
}

template <class Context>
void WindowsThreadPoolExecutor::Close(Tasks<Context>& tasks, Context& context) {
  {
    const WriterLock lock(context.closeLock);
    if (std::exchange(context.closed, true)) {
      return;  // closed already, or another thread is closing it
    }
  }
  const CurrentCallback current = GetCurrentCallback();
  const bool inOwnCallback = current.record == context.callbackRecord.get();
  if (inOwnCallback) {
    // Without this the wait for the object's callbacks would wait for this callback: a deadlock.
    ::DisassociateCurrentThreadFromCallback(current.instance);
  }
  EndObject(context);
  if (inOwnCallback) {
    context.callbackRecord.release()->closedInCallback = true;
  }
  // Declared before the lock, and so released after unlocking: the end of the context may destroy
  // the callable, whose destructors are code of the user.
  std::shared_ptr<Context> closed;
  const std::lock_guard lock(mutex);
  const auto self = std::find_if(tasks.begin(), tasks.end(),
                                 [&](const auto& task) { return task.get() == &context; });
  if (self != tasks.end()) {
    closed = std::move(*self);
    tasks.erase(self);
  }
}

std::weak_ptr<WtpTimerTaskContext> WindowsThreadPoolExecutor::CreateTimerTask(
    std::function<void()> task) {
  auto record = std::make_unique<TimerCallbackRecord>();
  record->task = std::move(task);
  return Open(timerTasks, std::move(record));
}

void WindowsThreadPoolExecutor::StartTimerTask(WtpTimerTaskContext& context,
                                               std::chrono::nanoseconds delay,
                                               std::chrono::nanoseconds period) {
  const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(period);
  const ReaderLock lock(context.closeLock);
  if (!context.closed) {
    ArmTimer(context.handle, static_cast<std::uint64_t>(RelativeDueTime(delay)),
             static_cast<DWORD>(milliseconds.count()), windowLength);
  }
}

void WindowsThreadPoolExecutor::StartTimerTaskAt(WtpTimerTaskContext& context, DueTime time) {
  const ReaderLock lock(context.closeLock);
  if (!context.closed) {
    ArmTimer(context.handle, AbsoluteDueTime(time), /*period=*/0, windowLength);
  }
}

void WindowsThreadPoolExecutor::StopTimerTask(WtpTimerTaskContext& context) {
  const ReaderLock lock(context.closeLock);
  if (!context.closed) {
    ::SetThreadpoolTimer(context.handle, /*pftDueTime=*/nullptr, /*msPeriod=*/0,
                         /*msWindowLength=*/0);
  }
}

void WindowsThreadPoolExecutor::WaitForTimerTask(WtpTimerTaskContext& context) {
  WaitForCallbacks(context.handle, /*cancelPending=*/FALSE);
}

void WindowsThreadPoolExecutor::CloseTimerTask(WtpTimerTaskContext& context) {
  Close(timerTasks, context);
}

std::weak_ptr<WtpWaitTaskContext> WindowsThreadPoolExecutor::CreateWaitTask(
    void* handle, std::function<void()> task) {
  auto record = std::make_unique<WaitCallbackRecord>();
  record->task = std::move(task);
  record->waitHandle = handle;
  return Open(waitTasks, std::move(record));
}

void WindowsThreadPoolExecutor::StartWaitTask(WtpWaitTaskContext& context) {
  const ReaderLock lock(context.closeLock);
  if (!context.closed && !context.callbackRecord->armed.exchange(true)) {
    ::SetThreadpoolWait(context.handle, context.callbackRecord->waitHandle,
                        /*pftTimeout=*/nullptr);
  }
}

void WindowsThreadPoolExecutor::StopWaitTask(WtpWaitTaskContext& context) {
  const ReaderLock lock(context.closeLock);
  if (!context.closed && context.callbackRecord->armed.exchange(false)) {
    Disarm(context.handle);
  }
}

void WindowsThreadPoolExecutor::WaitForWaitTask(WtpWaitTaskContext& context) {
  WaitForCallbacks(context.handle, /*cancelPending=*/!context.callbackRecord->armed);
}

void WindowsThreadPoolExecutor::CloseWaitTask(WtpWaitTaskContext& context) {
  Close(waitTasks, context);
}

std::weak_ptr<WtpWorkTaskContext> WindowsThreadPoolExecutor::CreateWorkTask(
    std::function<void(void*, void*)> task) {
  auto record = std::make_unique<WorkCallbackRecord>();
  record->task = std::move(task);
  return Open(workTasks, std::move(record));
}

void WindowsThreadPoolExecutor::SubmitWorkTask(WtpWorkTaskContext& context, WorkArgument first,
                                               WorkArgument second) {
  const ReaderLock lock(context.closeLock);
  if (context.closed) {
    return;
  }
  if (first != nullptr || second != nullptr) {
    WorkCallbackRecord& record = *context.callbackRecord;
    const ShortLock queueLock(record.queueMutex);
    record.items.emplace_back(std::move(first), std::move(second));
  }
  ::SubmitThreadpoolWork(context.handle);
}

void WindowsThreadPoolExecutor::WaitForWorkTask(WtpWorkTaskContext& context) {
  WaitForCallbacks(context.handle, /*cancelPending=*/FALSE);
}

void WindowsThreadPoolExecutor::CloseWorkTask(WtpWorkTaskContext& context) {
  Close(workTasks, context);
}

}  // namespace tessel::task
