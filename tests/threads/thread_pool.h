// A stand-in for the platform's thread pool: the functions that the executor calls, defined for the
// host.
//
// As the platform documents them:
// - Callbacks run on several threads at once and in any order.
// - A disarmed object keeps the callbacks that are pending.
// - Waiting for an object's callbacks waits for pending and running ones, or drops the pending
// ones. A
//   callback that was disassociated is not waited for.
//
// Stricter than the platform: an object that is closed must have no callback left, and no function
// takes a closed object. Different from it: there is no time. An armed timer, whatever its due
// time, is due when TickThreadPool picks it.
//
// The pool has one lock. It orders what comes before a submit, a set or a tick before the callback,
// and the callback before the end of a wait for it. It also orders some calls that the platform
// would not order, and may hide races between those.
#pragma once

#include <cstdint>

namespace threads {

void StartThreadPool(std::uint32_t seed);
/// Checks that no object is left.
void StopThreadPool();

/// Makes one of the armed timers due.
void TickThreadPool();

/// Waits until all callbacks have ended, also those that were disassociated. Checks that no object
/// is left.
void AwaitThreadPool();

/// An auto-reset event for wait objects: one satisfied wait resets it.
class Event {
 public:
  void Set();
  /// As the platform takes it.
  void* Handle() { return this; }

 private:
  friend struct Pool;
  bool isSet_ = false;
};

}  // namespace threads
