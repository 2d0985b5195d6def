#include "thread_pool.h"

#include <windows.h>

#include <algorithm>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "disarm_guard.h"
#include "rounds.h"

namespace threads {
namespace {

constexpr int kThreads = 4;

/// A timer, wait or work object.
struct Object {
  std::function<void(PTP_CALLBACK_INSTANCE)> callback;
  int pending = 0;
  int running = 0;
  bool isTimerArmed = false;
  bool isPeriodic = false;
  Event* awaited = nullptr;
};

/// A run of a callback.
struct Instance {
  Object* object;  // null once it was disassociated
};

template <class Handle>
Object& ToObject(Handle handle) {
  return *reinterpret_cast<Object*>(handle);
}

}  // namespace

struct Pool {
  explicit Pool(std::uint32_t seed) : random(seed, 0, 200) {
    for (int i = 0; i != kThreads; ++i) {
      workers.emplace_back([this] { Work(); });
    }
  }

  void Stop() {
    AwaitAll();
    {
      const std::lock_guard lock(mutex);
      stopping = true;
      added.notify_all();
    }
    for (std::thread& worker : workers) {
      worker.join();
    }
  }

  template <class Handle, class Callback, class... Results>
  Handle Create(Callback callback, void* context, Results... results) {
    auto object = std::make_unique<Object>();
    auto handle = reinterpret_cast<Handle>(object.get());
    object->callback = [=](PTP_CALLBACK_INSTANCE instance) {
      callback(instance, context, handle, results...);
    };
    const std::lock_guard lock(mutex);
    objects.push_back(std::move(object));
    return handle;
  }

  // The lock is held.
  void Add(Object& object) {
    ++object.pending;
    queue.push_back(&object);
    added.notify_one();
  }

  void SetTimer(Object& object, bool isArmed, bool isPeriodic) {
    const std::lock_guard lock(mutex);
    object.isTimerArmed = isArmed;
    object.isPeriodic = isPeriodic;
  }

  void Tick() {
    const std::lock_guard lock(mutex);
    std::vector<Object*> armed;
    for (const auto& object : objects) {
      if (object->isTimerArmed) {
        armed.push_back(object.get());
      }
    }
    if (!armed.empty()) {
      Object& object = *armed[random.Below(static_cast<std::uint32_t>(armed.size()))];
      object.isTimerArmed = object.isPeriodic;
      Add(object);
    }
  }

  void SetWait(Object& object, Event* event) {
    const std::lock_guard lock(mutex);
    object.awaited = event;
    if (event != nullptr && event->isSet_) {
      Signal(object);
    }
  }

  void Set(Event& event) {
    const std::lock_guard lock(mutex);
    event.isSet_ = true;
    for (const auto& object : objects) {
      if (object->awaited == &event) {
        return Signal(*object);
      }
    }
  }

  // The lock is held.
  void Signal(Object& object) {
    std::exchange(object.awaited, nullptr)->isSet_ = false;
    Add(object);
  }

  void Submit(Object& object) {
    const std::lock_guard lock(mutex);
    Add(object);
  }

  void WaitFor(Object& object, bool cancelPending) {
    std::unique_lock lock(mutex);
    if (cancelPending) {
      std::erase(queue, &object);
      object.pending = 0;
    }
    ended.wait(lock, [&] { return object.pending == 0 && object.running == 0; });
  }

  void Close(Object& object) {
    const std::lock_guard lock(mutex);
    Check(object.pending == 0 && object.running == 0, "no callback is left at the close");
    Check(!object.isTimerArmed && object.awaited == nullptr, "nothing is armed at the close");
    std::erase_if(objects, [&](const auto& other) { return other.get() == &object; });
  }

  void AwaitAll() {
    std::unique_lock lock(mutex);
    Check(objects.empty(), "every object is closed in the end");
    ended.wait(lock, [this] { return active == 0; });
  }

  void Disassociate(Instance& instance) {
    const std::lock_guard lock(mutex);
    End(instance);
  }

  // The lock is held. The object may be closed once its callback has ended.
  void End(Instance& instance) {
    if (Object* const object = std::exchange(instance.object, nullptr)) {
      --object->running;
      ended.notify_all();  // a disassociated callback may run on for long
    }
  }

  void Work() {
    std::unique_lock lock(mutex);
    for (;;) {
      added.wait(lock, [this] { return stopping || !queue.empty(); });
      if (queue.empty()) {
        return;
      }
      std::swap(queue[random.Below(static_cast<std::uint32_t>(queue.size()))], queue.back());
      Instance instance{queue.back()};
      queue.pop_back();
      --instance.object->pending;
      ++instance.object->running;
      ++active;
      const auto callback = instance.object->callback;
      const bool hesitates = random.OneIn(4);
      lock.unlock();
      if (hesitates) {
        std::this_thread::yield();
      }
      callback(reinterpret_cast<PTP_CALLBACK_INSTANCE>(&instance));
      lock.lock();
      End(instance);
      --active;
      ended.notify_all();
    }
  }

  std::mutex mutex;  // guards everything except the workers, and the events too
  std::condition_variable added;
  std::condition_variable ended;
  Random random;
  bool stopping = false;
  int active = 0;  // threads that run a callback
  std::vector<std::unique_ptr<Object>> objects;
  std::vector<Object*> queue;  // once for each pending callback
  std::vector<std::thread> workers;
};

namespace {
std::unique_ptr<Pool> pool;
}  // namespace

void StartThreadPool(std::uint32_t seed) { pool = std::make_unique<Pool>(seed); }
void StopThreadPool() { std::exchange(pool, nullptr)->Stop(); }
void TickThreadPool() { pool->Tick(); }
void AwaitThreadPool() { pool->AwaitAll(); }
void Event::Set() { pool->Set(*this); }

}  // namespace threads

using threads::pool;
using threads::ToObject;

extern "C" {

TP_TIMER* WINAPI CreateThreadpoolTimer(PTP_TIMER_CALLBACK callback, void* context,
                                       TP_CALLBACK_ENVIRON* /*environment*/) {
  return pool->Create<PTP_TIMER>(callback, context);
}
TP_WAIT* WINAPI CreateThreadpoolWait(PTP_WAIT_CALLBACK callback, void* context,
                                     TP_CALLBACK_ENVIRON* /*environment*/) {
  return pool->Create<PTP_WAIT>(callback, context, TP_WAIT_RESULT{WAIT_OBJECT_0});
}
TP_WORK* WINAPI CreateThreadpoolWork(PTP_WORK_CALLBACK callback, void* context,
                                     TP_CALLBACK_ENVIRON* /*environment*/) {
  return pool->Create<PTP_WORK>(callback, context);
}

void WINAPI SetThreadpoolTimer(PTP_TIMER timer, FILETIME* dueTime, DWORD period, DWORD /*window*/) {
  pool->SetTimer(ToObject(timer), dueTime != nullptr, period != 0);
}
void WINAPI SetThreadpoolWait(PTP_WAIT wait, HANDLE handle, FILETIME* /*timeout*/) {
  pool->SetWait(ToObject(wait), static_cast<threads::Event*>(handle));
}
void WINAPI SubmitThreadpoolWork(PTP_WORK work) { pool->Submit(ToObject(work)); }

void WINAPI WaitForThreadpoolTimerCallbacks(PTP_TIMER timer, BOOL cancelPending) {
  pool->WaitFor(ToObject(timer), cancelPending != FALSE);
}
void WINAPI WaitForThreadpoolWaitCallbacks(PTP_WAIT wait, BOOL cancelPending) {
  pool->WaitFor(ToObject(wait), cancelPending != FALSE);
}
void WINAPI WaitForThreadpoolWorkCallbacks(PTP_WORK work, BOOL cancelPending) {
  pool->WaitFor(ToObject(work), cancelPending != FALSE);
}

void WINAPI CloseThreadpoolTimer(PTP_TIMER timer) { pool->Close(ToObject(timer)); }
void WINAPI CloseThreadpoolWait(PTP_WAIT wait) { pool->Close(ToObject(wait)); }
void WINAPI CloseThreadpoolWork(PTP_WORK work) { pool->Close(ToObject(work)); }

void WINAPI DisassociateCurrentThreadFromCallback(PTP_CALLBACK_INSTANCE instance) {
  pool->Disassociate(*reinterpret_cast<threads::Instance*>(instance));
}

// Replaces the product's own function, because the host has no structured exceptions.
void TesselDisarmTimerGuarded(PTP_TIMER timer) {
  ::SetThreadpoolTimer(timer, /*dueTime=*/nullptr, /*period=*/0, /*window=*/0);
}

}  // extern "C"
