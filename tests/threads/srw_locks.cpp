// A stand-in for the platform's reader/writer locks: the functions that the product calls, defined
// for the host.
//
// ThreadSanitizer is told of the locks and ignores the atomic operations inside. So it orders
// writers and readers after writers, and writers after readers, but no reader after another reader:
// races between readers are found.
#include <windows.h>

#include <atomic>
#include <cstdint>
#include <sanitizer/tsan_interface.h>
#include <thread>

namespace {

constexpr std::uintptr_t kWriter = ~std::uintptr_t{0};

/// The number of readers, or kWriter.
std::atomic_ref<std::uintptr_t> Holders(SRWLOCK* lock) {
  return std::atomic_ref(*reinterpret_cast<std::uintptr_t*>(lock));
}

void Acquire(SRWLOCK* lock, unsigned int kind) {
  __tsan_mutex_pre_lock(lock, kind);
  const bool alone = kind != __tsan_mutex_read_lock;
  std::uintptr_t holders = 0;
  while (!Holders(lock).compare_exchange_weak(holders, alone ? kWriter : holders + 1)) {
    if (holders == kWriter || alone) {
      holders = 0;
      std::this_thread::yield();
    }
  }
  __tsan_mutex_post_lock(lock, kind, /*recursion=*/0);
}

void Release(SRWLOCK* lock, unsigned int kind) {
  __tsan_mutex_pre_unlock(lock, kind);
  Holders(lock) -= kind == __tsan_mutex_read_lock ? 1 : kWriter;
  __tsan_mutex_post_unlock(lock, kind);
}

}  // namespace

extern "C" {

void WINAPI AcquireSRWLockShared(SRWLOCK* lock) { Acquire(lock, __tsan_mutex_read_lock); }
void WINAPI ReleaseSRWLockShared(SRWLOCK* lock) { Release(lock, __tsan_mutex_read_lock); }
void WINAPI AcquireSRWLockExclusive(SRWLOCK* lock) { Acquire(lock, 0); }
void WINAPI ReleaseSRWLockExclusive(SRWLOCK* lock) { Release(lock, 0); }

}  // extern "C"
