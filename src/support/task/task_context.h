/// \file
/// What stands for a task: its context, which the users of the executor hold, and its callback
/// record, which the thread pool holds. A callback never touches the context, so that a context can
/// end while its last callback runs.
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

struct TimerCallbackRecord {
  std::function<void()> task;
  /// The task was closed by the callback that is running, which frees the record at its end.
  bool closedInCallback = false;
};

struct WaitCallbackRecord {
  /// Changed by atomic exchange alone, so that each signal arms or runs the task at most once.
  std::atomic<bool> armed = false;
  std::function<void()> task;
  HANDLE waitHandle = nullptr;  // not owned
  bool closedInCallback = false;
};

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

template <class Executor, class Handle, class Record>
struct TaskContext {
  TaskContext() = default;
  /// Ends the object unless the task was closed, and reports back to an executor whose destructor
  /// handed it over: defined with the executor.
  ~TaskContext();
  TaskContext(const TaskContext&) = delete;
  TaskContext& operator=(const TaskContext&) = delete;

  Executor* executor = nullptr;
  Handle handle = nullptr;                 // null after close
  std::unique_ptr<Record> callbackRecord;  // null once a running callback has to free it
  bool released = false;                   // handed over by the executor's destructor

  /// Guards `closed`. Who starts, stops or submits holds it shared around the look at the flag and
  /// the one call of the platform; who closes holds it alone for setting the flag, and for nothing
  /// else. So the calls that end the object come after all others, and nobody arms it again.
  SRWLOCK closeLock = SRWLOCK_INIT;
  bool closed = false;  // set by the one close that does it
};

struct WtpTimerTaskContext final : TaskContext<TimerTaskExecutor, PTP_TIMER, TimerCallbackRecord> {
};
struct WtpWaitTaskContext final : TaskContext<WaitTaskExecutor, PTP_WAIT, WaitCallbackRecord> {};
struct WtpWorkTaskContext final : TaskContext<WorkTaskExecutor, PTP_WORK, WorkCallbackRecord> {};

/// The callback that a thread is running; both null outside of callbacks.
struct CurrentCallback {
  const void* record = nullptr;
  PTP_CALLBACK_INSTANCE instance = nullptr;
};

/// The calling thread's callback.
CurrentCallback GetCurrentCallback();

/// Creates the thread-pool object of a task; null when the platform fails.
PTP_TIMER CreateObject(TimerCallbackRecord* record, PTP_CALLBACK_ENVIRON environment);
PTP_WAIT CreateObject(WaitCallbackRecord* record, PTP_CALLBACK_ENVIRON environment);
PTP_WORK CreateObject(WorkCallbackRecord* record, PTP_CALLBACK_ENVIRON environment);

}  // namespace tessel::task
