#include "support/wait_callback_filter.h"

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "support/import_hook.h"

namespace testing_support {
namespace {

struct Wait {
  std::uintptr_t number;
  PTP_WAIT_CALLBACK callback;
  void* context;
  int running = 0;  // callbacks
};

struct Waits {
  std::mutex mutex;  // guards what follows
  std::condition_variable ended;
  std::map<PTP_WAIT, std::shared_ptr<Wait>> open;
  std::uintptr_t lastNumber = 0;
};

Waits& GetWaits() {
  // Never destroyed: callbacks run on until the process ends.
  static auto* const kWaits = new Waits;
  return *kWaits;
}

/// The wait whose callback this thread runs.
thread_local const Wait* runningHere = nullptr;

/// Lives while a thread runs a callback.
class Run {
 public:
  explicit Run(Wait& wait) : wait_(wait), outer_(std::exchange(runningHere, &wait)) {}
  ~Run() {
    runningHere = outer_;
    const std::lock_guard lock(GetWaits().mutex);
    --wait_.running;
    GetWaits().ended.notify_all();
  }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

 private:
  Wait& wait_;
  const Wait* outer_;
};

/// Begins a run of the wait with this number, if that wait is open, and returns it.
std::shared_ptr<Wait> Begin(PTP_WAIT handle, std::uintptr_t number) {
  Waits& waits = GetWaits();
  const std::lock_guard lock(waits.mutex);
  const auto found = waits.open.find(handle);
  if (found == waits.open.end() || found->second->number != number) {
    return nullptr;
  }
  ++found->second->running;
  return found->second;
}

VOID CALLBACK RunUnlessClosed(PTP_CALLBACK_INSTANCE instance, PVOID number, PTP_WAIT handle,
                              TP_WAIT_RESULT result) {
  if (const auto wait = Begin(handle, reinterpret_cast<std::uintptr_t>(number))) {
    const Run run(*wait);
    wait->callback(instance, wait->context, handle, result);
  }
}

template <class Function>
Function* Exchange(void** slot, Function* function) {
  return reinterpret_cast<Function*>(ExchangeImportSlot(slot, reinterpret_cast<void*>(function)));
}

}  // namespace

WaitCallbackFilter::WaitCallbackFilter()
    : outer_(std::exchange(innermost, this)),
      createSlot_(FindImportSlot("CreateThreadpoolWait")),
      closeSlot_(FindImportSlot("CloseThreadpoolWait")),
      create_(Exchange(createSlot_, &Create)),
      close_(Exchange(closeSlot_, &Close)) {}

WaitCallbackFilter::~WaitCallbackFilter() {
  Exchange(closeSlot_, close_);
  Exchange(createSlot_, create_);
  innermost = outer_;
}

PTP_WAIT WINAPI WaitCallbackFilter::Create(PTP_WAIT_CALLBACK callback, PVOID context,
                                           PTP_CALLBACK_ENVIRON environment) {
  Waits& waits = GetWaits();
  const std::lock_guard lock(waits.mutex);
  auto wait = std::make_shared<Wait>(Wait{++waits.lastNumber, callback, context});
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the pool hands it back as it is.
  auto* const number = reinterpret_cast<void*>(wait->number);
  const PTP_WAIT handle = innermost->create_(&RunUnlessClosed, number, environment);
  if (handle != nullptr) {
    waits.open[handle] = std::move(wait);
  }
  return handle;
}

VOID WINAPI WaitCallbackFilter::Close(PTP_WAIT handle) {
  Waits& waits = GetWaits();
  {
    std::unique_lock lock(waits.mutex);
    if (const auto closed = waits.open.extract(handle)) {
      const Wait& wait = *closed.mapped();
      const int own = runningHere == &wait ? 1 : 0;
      waits.ended.wait(lock, [&] { return wait.running == own; });
    }
  }
  innermost->close_(handle);
}

}  // namespace testing_support
