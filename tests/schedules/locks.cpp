// The locks and condition variables of the product and the encounters: the functions of the
// platform, and those under the C++ library's classes.
//
// Taking a lock is a step. Releasing it is none: it makes no difference whether other threads run
// just after it or before the next step. A thread that tries to take a lock waits for it here,
// which is the same as trying again and again.
#include <windows.h>

#include <array>
#include <pthread.h>

#include "memory.h"
#include "scheduler.h"

namespace schedules {
namespace {

/// The condition variables for which threads wait.
std::array<const void*, kThreads> awaited{};

void Lock(const void* lock, const Step& step) {
  if (SyncAt(lock) == nullptr) {
    return;
  }
  Await({step.what, lock}, Ready([&] {
          const SyncObject& object = *SyncAt(lock);
          return object.holder < 0 && object.readers == 0;
        }));
  SyncObject& object = *SyncAt(lock);
  object.holder = Self();
  Acquire(object.clock);
  Acquire(object.readerClock);
}

void LockShared(const void* lock) {
  if (SyncAt(lock) == nullptr) {
    return;
  }
  Await({"takes with others", lock, /*isLook=*/true},
        Ready([&] { return SyncAt(lock)->holder < 0; }));
  SyncObject& object = *SyncAt(lock);
  ++object.readers;
  Acquire(object.clock);
}

void Unlock(const void* lock) {
  SyncObject* const object = SyncAt(lock);
  if (object == nullptr) {
    return;
  }
  Check(object->holder == Self(), "a lock is let go by who does not hold it");
  object->holder = -1;
  Release(object->clock);
}

void UnlockShared(const void* lock) {
  SyncObject* const object = SyncAt(lock);
  if (object == nullptr) {
    return;
  }
  Check(object->readers > 0, "a lock is let go by who does not hold it");
  --object->readers;
  Release(object->readerClock);
}

/// Runs `action` as the platform if the product made the call, and nothing otherwise.
template <class Action>
int Do(const void* caller, Action action) {
  if (isProduct) {
    const InPlatform platform(caller);
    action();
  }
  return 0;
}

}  // namespace
}  // namespace schedules

#define CALLER __builtin_return_address(0)

using namespace schedules;

extern "C" {

void WINAPI AcquireSRWLockShared(SRWLOCK* lock) {
  Do(CALLER, [&] { LockShared(lock); });
}
void WINAPI ReleaseSRWLockShared(SRWLOCK* lock) {
  Do(CALLER, [&] { UnlockShared(lock); });
}
void WINAPI AcquireSRWLockExclusive(SRWLOCK* lock) {
  Do(CALLER, [&] { Lock(lock, {"takes alone"}); });
}
void WINAPI ReleaseSRWLockExclusive(SRWLOCK* lock) {
  Do(CALLER, [&] { Unlock(lock); });
}

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
  return Do(CALLER, [&] { Lock(mutex, {"locks"}); });
}
int pthread_mutex_trylock(pthread_mutex_t* mutex) noexcept {
  return Do(CALLER, [&] { Lock(mutex, {"locks"}); });
}
int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
  return Do(CALLER, [&] { Unlock(mutex); });
}

int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
  return Do(CALLER, [&] {
    Before({"begins to wait for", condition});
    static_cast<void>(SyncAt(condition));
    awaited[Self()] = condition;
    Unlock(mutex);
    Await({"waits to be notified by", condition},
          Ready([self = Self()] { return awaited[self] == nullptr; }));
    Lock(mutex, {"locks again"});
  });
}
int pthread_cond_broadcast(pthread_cond_t* condition) noexcept {
  return Do(CALLER, [&] {
    Before({"notifies", condition});
    static_cast<void>(SyncAt(condition));
    for (const void*& one : awaited) {
      one = one == condition ? nullptr : one;
    }
  });
}
int pthread_cond_destroy(pthread_cond_t* condition) noexcept {
  return Do(CALLER, [&] {
    for (const void* one : awaited) {
      Check(one != condition, "a condition variable ends while somebody waits for it");
    }
  });
}

}  // extern "C"
