// Faults that the scheduler must find, each with the smallest number of preemptions that it takes.
// They have nothing to do with the product.
#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>

#include "encounters.h"

namespace schedules {
namespace {

void LoseUpdate() {
  const auto count = std::make_unique<std::atomic<int>>(0);
  const auto add = [&] { *count = *count + 1; };
  {
    const Thread first("first", add);
    const Thread second("second", add);
  }
  Check(*count == 2, "no update is lost");
}

void Race() {
  const auto count = std::make_unique<int>(0);
  const Thread first("first", [&] { ++*count; });
  const Thread second("second", [&] { ++*count; });
}

void LockInBothOrders() {
  struct Locks {
    std::mutex left;
    std::mutex right;
  };
  const auto locks = std::make_unique<Locks>();
  const auto lock = [](std::mutex& one, std::mutex& other) {
    const std::lock_guard outer(one);
    const std::lock_guard inner(other);
  };
  const Thread first("first", [&] { lock(locks->left, locks->right); });
  const Thread second("second", [&] { lock(locks->right, locks->left); });
}

/// Guarded by a lock, which is released between the check and the use.
struct Guarded {
  [[nodiscard]] bool IsThere() {
    const std::lock_guard lock(mutex);
    return isThere;
  }

  std::mutex mutex;
  bool isThere = true;
  Possession* thing = new Possession;
};

void UseAfterTheEnd() {
  const auto shared = std::make_unique<Guarded>();
  const Thread user("user", [&] {
    if (shared->IsThere()) {
      const std::lock_guard lock(shared->mutex);
      shared->thing->Touch();
    }
  });
  const Thread owner("owner", [&] {
    const std::lock_guard lock(shared->mutex);
    shared->isThere = false;
    delete shared->thing;
  });
}

void EndTwice() {
  const auto shared = std::make_unique<Guarded>();
  const auto end = [&] {
    if (shared->IsThere()) {
      const std::lock_guard lock(shared->mutex);
      shared->isThere = false;
      delete shared->thing;
    }
  };
  const Thread first("first", end);
  const Thread second("second", end);
}

void Leak() {
  // Volatile, or the compiler may leave out the allocation, as clang 19 does.
  Possession* volatile const left = std::make_unique<Possession>().release();
  left->Touch();
}

/// The notification may come before the wait.
void MissNotification() {
  struct Shared {
    std::mutex mutex;
    std::condition_variable condition;
    std::atomic<bool> isDone = false;
  };
  const auto shared = std::make_unique<Shared>();
  const Thread waiter("waiter", [&] {
    std::unique_lock lock(shared->mutex);
    if (!shared->isDone) {
      shared->condition.wait(lock);
    }
  });
  const Thread notifier("notifier", [&] {
    shared->isDone = true;
    shared->condition.notify_all();
  });
}

/// Two threads without a fault: nothing may be found.
void Queue() {
  struct Shared {
    std::mutex mutex;
    std::condition_variable condition;
    int items = 0;
  };
  const auto shared = std::make_unique<Shared>();
  const Thread taker("taker", [&] {
    std::unique_lock lock(shared->mutex);
    shared->condition.wait(lock, [&] { return shared->items != 0; });
    --shared->items;
  });
  const Thread giver("giver", [&] {
    {
      const std::lock_guard lock(shared->mutex);
      ++shared->items;
    }
    shared->condition.notify_all();
  });
}

}  // namespace

Encounters SelfChecks() {
  return {{"self/race", Race, "race", 0},
          {"self/leak", Leak, "is left", 0},
          {"self/lost-update", LoseUpdate, "no update is lost", 1},
          {"self/deadlock", LockInBothOrders, "nobody can go on", 1},
          {"self/use-after-end", UseAfterTheEnd, "access after the end", 1},
          {"self/second-end", EndTwice, "after the end", 1},
          {"self/lost-notification", MissNotification, "nobody can go on", 1},
          {"self/queue", Queue}};
}

}  // namespace schedules
