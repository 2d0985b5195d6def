#include "thread_pool.h"

#include <windows.h>

#include <algorithm>
#include <deque>
#include <functional>
#include <utility>

#include "disarm_guard.h"

namespace schedules {

/// A timer, wait or work object.
struct PoolObject {
  enum class Last { Other, Disarm, WaitAndDrop, Close };

  std::function<void(PTP_CALLBACK_INSTANCE)> callback;
  const char* kind = nullptr;
  int number = 0;
  bool isTimerArmed = false;
  bool isPeriodic = false;
  Event* awaited = nullptr;
  int pending = 0;
  int running = 0;
  int begun = 0;
  Last last = Last::Other;
  Clock started{};  // of the threads that armed it or submitted to it
  Clock ended{};    // of the callbacks that have ended

  [[nodiscard]] bool IsDue(int most) const {
    return begun < most && (isTimerArmed || (awaited != nullptr && awaited->isSet_));
  }
  void TakeSignal() {
    if (awaited != nullptr) {
      schedules::Acquire(awaited->clock_);
      std::exchange(awaited, nullptr)->isSet_ = false;
    }
    isTimerArmed = isTimerArmed && isPeriodic;
  }
};

namespace {

using Last = PoolObject::Last;

/// A run of a callback.
struct Instance {
  PoolObject* object;  // null once it was disassociated
};

constexpr int kMostCallbacks = 2;

std::deque<PoolObject> objects;
int mostCallbacks = kMostCallbacks;
bool failsToCreate = false;
int calls = 0;
std::array<bool, kThreads> isIdle{};
std::array<const PoolObject*, kThreads> running{};  // whose callbacks the threads run

bool CanBegin(const PoolObject& object) {
  return object.pending != 0 || object.IsDue(mostCallbacks);
}
bool IsAnythingToBegin() { return std::any_of(objects.begin(), objects.end(), CanBegin); }
/// The idle threads are alike: the first one takes it.
bool IsFirstIdle(int thread) {
  return std::find(isIdle.begin(), isIdle.end(), true) - isIdle.begin() == thread;
}

void End(Instance& instance) {
  if (PoolObject* const object = std::exchange(instance.object, nullptr)) {
    --object->running;
    Release(object->ended);
  }
}

void RunCallback(PoolObject& object) {
  Touch(&object);
  if (object.pending != 0) {
    --object.pending;
  } else {
    object.TakeSignal();
    ++object.begun;
  }
  Acquire(object.started);
  ++object.running;
  running[Self()] = &object;
  Instance instance{&object};
  try {
    const InProduct product;
    object.callback(reinterpret_cast<PTP_CALLBACK_INSTANCE>(&instance));
  } catch (...) {
    isProduct = false;
  }
  Before({"ends the callback of", &object});
  End(instance);
}

template <class Handle>
PoolObject* ToObject(Handle handle) {
  return reinterpret_cast<PoolObject*>(handle);
}

/// The step of a call for an object. Returns whether the object is not null.
bool BeginCall(const char* what, PoolObject* object, Last call) {
  Before({what, object});
  ++calls;
  if (object == nullptr) {
    Check(call != Last::Other, "an object that could not be created is used");
    return false;
  }
  Check(object->last != Last::Close, "a closed object is used");
  return true;
}

template <class Handle, class Callback, class... Results>
Handle Create(const void* caller, const char* kind, Callback callback, void* context,
              Results... results) {
  const InPlatform platform(caller);
  if (failsToCreate) {
    return nullptr;
  }
  PoolObject& object = objects.emplace_back();
  auto handle = reinterpret_cast<Handle>(&object);
  object.kind = kind + sizeof "creates a";
  object.number = static_cast<int>(objects.size());
  object.callback = [=](PTP_CALLBACK_INSTANCE instance) {
    callback(instance, context, handle, results...);
  };
  Release(object.started);
  return handle;
}

/// Before an object is armed anew or disarmed: a callback that is due becomes pending, or does not.
void Disarm(PoolObject& object) {
  if (object.IsDue(mostCallbacks) && Choose(2, "is due when it is disarmed:") != 0) {
    object.TakeSignal();
    ++object.begun;
    ++object.pending;
  }
  object.isTimerArmed = false;
  object.awaited = nullptr;
}

void Set(const void* caller, PoolObject* object, Event* event, bool arms, bool isPeriodic) {
  const InPlatform platform(caller);
  if (!BeginCall(arms ? "arms" : "disarms", object, arms ? Last::Other : Last::Disarm)) {
    return;
  }
  Disarm(*object);
  object->awaited = event;
  object->isTimerArmed = arms && event == nullptr;
  object->isPeriodic = isPeriodic;
  object->last = arms ? Last::Other : Last::Disarm;
  if (arms) {
    Release(object->started);
  }
}

void WaitFor(const void* caller, PoolObject* object, bool drops) {
  const InPlatform platform(caller);
  if (!BeginCall(drops ? "drops the callbacks of" : "waits for", object,
                 drops ? Last::WaitAndDrop : Last::Other)) {
    return;
  }
  const bool isDisarmed = object->last == Last::Disarm || object->kind == std::string("work");
  object->last = drops && isDisarmed ? Last::WaitAndDrop : Last::Other;
  if (drops) {
    object->pending = 0;
  }
  const auto isOver = [&] { return object->pending == 0 && object->running == 0; };
  if (!isOver()) {
    Await({"waits for the callbacks of", object}, Ready(isOver));
  }
  Acquire(object->ended);
}

void Close(const void* caller, PoolObject* object) {
  const InPlatform platform(caller);
  if (!BeginCall("closes", object, Last::Close)) {
    return;
  }
  Check(object->last == Last::WaitAndDrop, "an object is closed that was not ended before");
  Check(object->pending == 0 && object->running == 0, "an object with callbacks is closed");
  Check(!object->isTimerArmed && object->awaited == nullptr, "an armed object is closed");
  object->last = Last::Close;
}

}  // namespace

void Event::Set() {
  const InPlatform platform;
  Before({"sets an event"});
  isSet_ = true;
  Release(clock_);
}

bool IsDisarmed() {
  const Last last = running[Self()]->last;
  return last == Last::Disarm || last == Last::WaitAndDrop;
}

bool IsAwaited(const Event& event) {
  return std::any_of(objects.begin(), objects.end(),
                     [&](const PoolObject& object) { return object.awaited == &event; });
}

void LimitCallbacks(int most) { mostCallbacks = most; }
void FailCreations() { failsToCreate = true; }
int CountCalls() { return calls; }

bool HasWork(int poolThread) { return IsFirstIdle(poolThread) && IsAnythingToBegin(); }

void RunPoolThread() {
  const InPlatform platform;
  const int self = Self();
  for (;;) {
    isIdle[self] = false;
    std::array<PoolObject*, 16> begin{};
    int options = 0;
    for (PoolObject& object : objects) {
      if (CanBegin(object)) {
        begin[options++] = &object;
      }
    }
    RunCallback(*begin[Choose(options, "begins one of several callbacks:")]);
    isIdle[self] = true;
    AwaitIdly({"has nothing to do"}, Ready([&] { return HasWork(self); }));
  }
}

void AwaitThreadPool() {
  Await({"waits for the pool"}, Ready([] {
          return std::count(isIdle.begin(), isIdle.end(), true) == kPoolThreads &&
                 !IsAnythingToBegin();
        }));
}

void CheckThreadPool() {
  for (const PoolObject& object : objects) {
    if (object.last != Last::Close) {
      Fail(DescribePlatformObject(&object) + " is left open");
    }
  }
}

void ResetThreadPool() {
  objects.clear();
  mostCallbacks = kMostCallbacks;
  failsToCreate = false;
  calls = 0;
  isIdle = {};
  std::fill(isIdle.end() - kPoolThreads, isIdle.end(), true);
}

std::string DescribePlatformObject(const void* address) {
  for (const PoolObject& object : objects) {
    if (&object == address) {
      return object.kind + (" " + std::to_string(object.number));
    }
  }
  return address == nullptr ? "null" : "something";
}

}  // namespace schedules

using schedules::ToObject;

#define CALLER __builtin_return_address(0)

extern "C" {

TP_TIMER* WINAPI CreateThreadpoolTimer(PTP_TIMER_CALLBACK callback, void* context,
                                       TP_CALLBACK_ENVIRON* /*environment*/) {
  return schedules::Create<PTP_TIMER>(CALLER, "creates a timer", callback, context);
}
TP_WAIT* WINAPI CreateThreadpoolWait(PTP_WAIT_CALLBACK callback, void* context,
                                     TP_CALLBACK_ENVIRON* /*environment*/) {
  return schedules::Create<PTP_WAIT>(CALLER, "creates a wait", callback, context,
                                     TP_WAIT_RESULT{WAIT_OBJECT_0});
}
TP_WORK* WINAPI CreateThreadpoolWork(PTP_WORK_CALLBACK callback, void* context,
                                     TP_CALLBACK_ENVIRON* /*environment*/) {
  return schedules::Create<PTP_WORK>(CALLER, "creates a work", callback, context);
}

void WINAPI SetThreadpoolTimer(PTP_TIMER timer, FILETIME* dueTime, DWORD period, DWORD /*window*/) {
  schedules::Set(CALLER, ToObject(timer), nullptr, dueTime != nullptr, period != 0);
}
void WINAPI SetThreadpoolWait(PTP_WAIT wait, HANDLE handle, FILETIME* /*timeout*/) {
  schedules::Set(CALLER, ToObject(wait), static_cast<schedules::Event*>(handle), handle != nullptr,
                 /*isPeriodic=*/false);
}
void WINAPI SubmitThreadpoolWork(PTP_WORK work) {
  const schedules::InPlatform platform(CALLER);
  schedules::PoolObject* const object = ToObject(work);
  schedules::BeginCall("submits to", object, schedules::Last::Other);
  object->last = schedules::Last::Other;
  ++object->pending;
  schedules::Release(object->started);
}

void WINAPI WaitForThreadpoolTimerCallbacks(PTP_TIMER timer, BOOL cancelPending) {
  schedules::WaitFor(CALLER, ToObject(timer), cancelPending != FALSE);
}
void WINAPI WaitForThreadpoolWaitCallbacks(PTP_WAIT wait, BOOL cancelPending) {
  schedules::WaitFor(CALLER, ToObject(wait), cancelPending != FALSE);
}
void WINAPI WaitForThreadpoolWorkCallbacks(PTP_WORK work, BOOL cancelPending) {
  schedules::WaitFor(CALLER, ToObject(work), cancelPending != FALSE);
}

void WINAPI CloseThreadpoolTimer(PTP_TIMER timer) { schedules::Close(CALLER, ToObject(timer)); }
void WINAPI CloseThreadpoolWait(PTP_WAIT wait) { schedules::Close(CALLER, ToObject(wait)); }
void WINAPI CloseThreadpoolWork(PTP_WORK work) { schedules::Close(CALLER, ToObject(work)); }

void WINAPI DisassociateCurrentThreadFromCallback(PTP_CALLBACK_INSTANCE instance) {
  const schedules::InPlatform platform(CALLER);
  schedules::Before({"disassociates its callback"});
  schedules::End(*reinterpret_cast<schedules::Instance*>(instance));
}

// Replaces the product's own function, because the host has no structured exceptions.
void TesselDisarmTimerGuarded(PTP_TIMER timer) {
  ::SetThreadpoolTimer(timer, /*dueTime=*/nullptr, /*period=*/0, /*window=*/0);
}

}  // extern "C"
