// The functions that the compiler calls in code that it instruments for the thread sanitizer, whose
// own library is not linked. Accesses are checked, and atomic operations are steps.
//
// All threads see all atomic operations in one order. Most of those on 32 bits are on the reference
// counts of the C++ library. These of them are no steps, because the outcome is the same when other
// threads go first:
// - an increment: the thread that does it holds a reference,
// - a load: it matters only whether the count is zero, and a zero stays; otherwise a step follows
//   that looks again,
// - a decrement of a count of weak references, the one in the second half of a word: the last
// thread
//   frees the block and does nothing else.
#include <cstddef>
#include <cstdint>

#include "memory.h"
#include "scheduler.h"

namespace schedules {
namespace {

enum Order { kRelaxed, kConsume, kAcquire, kRelease, kAcquireRelease, kSequential };

bool Acquires(int order) { return order != kRelaxed && order != kRelease; }
bool Releases(int order) { return order >= kRelease; }

/// The one place at which an atomic operation happens: `operation` does it.
template <class Value, class Operation>
Value Atomic(Value* address, const Step* step, int order, const void* caller, Operation operation) {
  if (!isProduct) {
    return operation();
  }
  const InPlatform platform(caller);
  if (SyncAt(address) == nullptr) {
    return operation();
  }
  if (step != nullptr) {
    Before({step->what, address, step->isLook});
  }
  SyncObject& sync = *SyncAt(address);  // looked up again: another thread may have ended it
  if (Acquires(order)) {
    Acquire(sync.clock);
  }
  if (Releases(order)) {
    Release(sync.clock);
  }
  return operation();
}

void Access(const void* address, std::size_t size, bool isWrite, const void* caller) {
  if (isProduct) {
    const InPlatform platform(caller);
    CheckAccess(address, size, isWrite);
  }
}

constexpr Step kLoad{"loads", nullptr, /*isLook=*/true};
constexpr Step kStore{"stores"};
constexpr Step kExchange{"exchanges"};
constexpr Step kDecrement{"decrements"};

template <class Value>
bool IsStep(const Value* address, bool isIncrement) {
  return !isIncrement && reinterpret_cast<std::uintptr_t>(address) % 8 == 0;
}

}  // namespace
}  // namespace schedules

using schedules::Access;
using schedules::Atomic;
using schedules::IsStep;

// NOLINTBEGIN(bugprone-macro-parentheses, clang-diagnostic-reserved-identifier,
// readability-identifier-naming): the compiler's names.
#define CALLER __builtin_return_address(0)
#define ACCESSES(SIZE)                                                                      \
  void __tsan_read##SIZE(void* address) { Access(address, SIZE, false, CALLER); }           \
  void __tsan_write##SIZE(void* address) { Access(address, SIZE, true, CALLER); }           \
  void __tsan_unaligned_read##SIZE(void* address) { Access(address, SIZE, false, CALLER); } \
  void __tsan_unaligned_write##SIZE(void* address) { Access(address, SIZE, true, CALLER); }
#define ATOMICS(BITS)                                                                              \
  using Value##BITS = std::uint##BITS##_t;                                                         \
  Value##BITS __tsan_atomic##BITS##_load(const Value##BITS* address, int order) {                  \
    return Atomic(const_cast<Value##BITS*>(address), BITS == 32 ? nullptr : &schedules::kLoad,     \
                  order, CALLER, [&] { return *address; });                                        \
  }                                                                                                \
  void __tsan_atomic##BITS##_store(Value##BITS* address, Value##BITS value, int order) {           \
    Atomic(address, &schedules::kStore, order, CALLER, [&] { return *address = value; });          \
  }                                                                                                \
  Value##BITS __tsan_atomic##BITS##_exchange(Value##BITS* address, Value##BITS value, int order) { \
    return Atomic(address, &schedules::kExchange, order, CALLER, [&] {                             \
      const Value##BITS old = *address;                                                            \
      *address = value;                                                                            \
      return old;                                                                                  \
    });                                                                                            \
  }                                                                                                \
  Value##BITS __tsan_atomic##BITS##_fetch_add(Value##BITS* address, Value##BITS value,             \
                                              int order) {                                         \
    return Atomic(address, IsStep(address, value == 1) ? &schedules::kDecrement : nullptr, order,  \
                  CALLER, [&] {                                                                    \
                    const Value##BITS old = *address;                                              \
                    *address = static_cast<Value##BITS>(old + value);                              \
                    return old;                                                                    \
                  });                                                                              \
  }                                                                                                \
  Value##BITS __tsan_atomic##BITS##_compare_exchange_val(Value##BITS* address,                     \
                                                         Value##BITS expected, Value##BITS value,  \
                                                         int order, int /*orderOfFailure*/) {      \
    return Atomic(address, &schedules::kExchange, order, CALLER, [&] {                             \
      const Value##BITS old = *address;                                                            \
      if (old == expected) {                                                                       \
        *address = value;                                                                          \
      }                                                                                            \
      return old;                                                                                  \
    });                                                                                            \
  }

extern "C" {

void __tsan_init() {}
ACCESSES(1)
ACCESSES(2)
ACCESSES(4)
ACCESSES(8)
ACCESSES(16)
ATOMICS(8)
ATOMICS(32)
ATOMICS(64)
void __tsan_vptr_read(void** address) { Access(address, sizeof *address, false, CALLER); }
// The pointer to the table of virtual functions. Every constructor and destructor writes it again,
// mostly with the same value.
void __tsan_vptr_update(void** address, void* value) {
  Access(address, sizeof *address, *address != value, CALLER);
}

}  // extern "C"
// NOLINTEND(bugprone-macro-parentheses, clang-diagnostic-reserved-identifier,
// readability-identifier-naming)
