#include "task_context.h"

#include "short_lock.h"

namespace tessel::task {
namespace {

thread_local CurrentCallback currentCallback;

/// Lives while a thread runs a callback of `record`: the callable's own close recognises its record
/// by it. It ends last in the callback, so that a record that was closed there is freed only after
/// the callable has returned.
template <class Record>
class CallbackScope {
 public:
  CallbackScope(Record* record, PTP_CALLBACK_INSTANCE instance) : record_(record) {
    currentCallback = {record, instance};
  }
  ~CallbackScope() {
    if (record_->closedInCallback) {
      delete record_;
    }
    currentCallback = {};
  }
  CallbackScope(const CallbackScope&) = delete;
  CallbackScope& operator=(const CallbackScope&) = delete;

 private:
  Record* record_;
};

VOID CALLBACK RunTimer(PTP_CALLBACK_INSTANCE instance, PVOID context, PTP_TIMER /*timer*/) {
  auto* record = static_cast<TimerCallbackRecord*>(context);
  const CallbackScope scope(record, instance);
  record->task();
}

VOID CALLBACK RunWait(PTP_CALLBACK_INSTANCE instance, PVOID context, PTP_WAIT /*wait*/,
                      TP_WAIT_RESULT /*result*/) {
  auto* record = static_cast<WaitCallbackRecord*>(context);
  const CallbackScope scope(record, instance);
  if (record->armed.exchange(false)) {
    record->task();
  }
}

std::pair<WorkArgument, WorkArgument> TakeItem(WorkCallbackRecord& record) {
  const ShortLock lock(record.queueMutex);
  if (record.items.empty()) {
    return {WorkArgument(nullptr, nullptr), WorkArgument(nullptr, nullptr)};
  }
  auto item = std::move(record.items.front());
  record.items.pop_front();
  return item;
}

VOID CALLBACK RunWork(PTP_CALLBACK_INSTANCE instance, PVOID context, PTP_WORK /*work*/) {
  auto* record = static_cast<WorkCallbackRecord*>(context);
  const CallbackScope scope(record, instance);
  const auto item = TakeItem(*record);  // a pair's second member is destroyed first
  record->task(item.first.get(), item.second.get());
}

}  // namespace

WorkCallbackRecord::~WorkCallbackRecord() {
  while (!items.empty()) {
    items.pop_back();
  }
}

CurrentCallback GetCurrentCallback() { return currentCallback; }

TimerTaskExecutor& GetExecutor(const WtpTimerTaskContext& context) { return *context.executor; }
WaitTaskExecutor& GetExecutor(const WtpWaitTaskContext& context) { return *context.executor; }
WorkTaskExecutor& GetExecutor(const WtpWorkTaskContext& context) { return *context.executor; }

PTP_TIMER CreateObject(TimerCallbackRecord* record, PTP_CALLBACK_ENVIRON environment) {
  return ::CreateThreadpoolTimer(RunTimer, record, environment);
}
PTP_WAIT CreateObject(WaitCallbackRecord* record, PTP_CALLBACK_ENVIRON environment) {
  return ::CreateThreadpoolWait(RunWait, record, environment);
}
PTP_WORK CreateObject(WorkCallbackRecord* record, PTP_CALLBACK_ENVIRON environment) {
  return ::CreateThreadpoolWork(RunWork, record, environment);
}

}  // namespace tessel::task
