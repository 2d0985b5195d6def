/// \file
/// The two objects behind a task: its context, which the users of the executor refer to, and its
/// callback record, which the thread pool gets as the pointer for its callbacks. A callback never
/// touches the context, so that a context may be destroyed while its last callback runs.
#pragma once

#include <windows.h>

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

#include "tessel/task/task_executor.h"

namespace tessel::task {

/// What the callbacks of a timer task work on.
struct TimerCallbackRecord {
  std::function<void()> task;
  /// Set when the running callback has closed its own task. That callback frees the record when the
  /// callable has returned.
  bool closedInCallback = false;
};

/// What the callbacks of a wait task work on.
struct WaitCallbackRecord {
  /// Changed only by atomic exchange: of several threads that start the task exactly one arms the
  /// wait, and each signal runs the callable at most once.
  std::atomic<bool> armed = false;
  std::function<void()> task;
  HANDLE waitHandle = nullptr;  // not owned
  bool closedInCallback = false;
};

/// What the callbacks of a work task work on.
struct WorkCallbackRecord {
  WorkCallbackRecord() = default;
  /// Frees the items that were never run, the last one first.
  ~WorkCallbackRecord();
  WorkCallbackRecord(const WorkCallbackRecord&) = delete;
  WorkCallbackRecord& operator=(const WorkCallbackRecord&) = delete;

  std::function<void(void*, void*)> task;
  std::mutex queueMutex;  // guards items
  std::deque<std::pair<WorkArgument, WorkArgument>> items;
  bool closedInCallback = false;
};

/// What the contexts of the three kinds of task have in common.
template <class Executor, class Handle, class Record>
struct TaskContext {
  TaskContext() = default;
  /// Closes the thread-pool object unless the task was closed. If the destructor of the executor
  /// handed the context over, reports to the executor that it has ended. Defined with the executor.
  ~TaskContext();
  TaskContext(const TaskContext&) = delete;
  TaskContext& operator=(const TaskContext&) = delete;

  Executor* executor = nullptr;
  Handle handle = nullptr;                 // null after close, and if the platform had none
  std::unique_ptr<Record> callbackRecord;  // null once the running callback owns the record
  bool released = false;                   // handed over by the executor's destructor

  /// Guards `closed`. A thread that starts, stops or submits to the task holds the lock shared
  /// while it checks the flag and makes its one platform call. A thread that closes the task holds
  /// it exclusively to set the flag, and for nothing else. So the calls that end the object come
  /// after all others, and nothing arms the object again.
  SRWLOCK closeLock = SRWLOCK_INIT;
  bool closed = false;  // set by the first close, which alone ends the object
};

struct WtpTimerTaskContext final : TaskContext<TimerTaskExecutor, PTP_TIMER, TimerCallbackRecord> {
};
struct WtpWaitTaskContext final : TaskContext<WaitTaskExecutor, PTP_WAIT, WaitCallbackRecord> {};
struct WtpWorkTaskContext final : TaskContext<WorkTaskExecutor, PTP_WORK, WorkCallbackRecord> {};

/// The callback that a thread is running. Both members are null outside of callbacks.
struct CurrentCallback {
  const void* record = nullptr;
  PTP_CALLBACK_INSTANCE instance = nullptr;
};

/// The calling thread's callback.
CurrentCallback GetCurrentCallback();

/// Creates the thread-pool object of a task (::CreateThreadpoolTimer and its like); null when the
/// platform fails.
PTP_TIMER CreateObject(TimerCallbackRecord* record, PTP_CALLBACK_ENVIRON environment);
PTP_WAIT CreateObject(WaitCallbackRecord* record, PTP_CALLBACK_ENVIRON environment);
PTP_WORK CreateObject(WorkCallbackRecord* record, PTP_CALLBACK_ENVIRON environment);

}  // namespace tessel::task
