// A stand-in for the platform's thread pool: the functions that the executor calls, defined for the
// host.
//
// As the platform documents them: callbacks run on several threads at once and in any order; a
// disarmed object keeps the callbacks that are pending; waiting for an object's callbacks waits for
// pending and running ones, or drops the pending ones; a callback that was disassociated is not
// waited for. Stricter: an object that is closed must have no callback left, and none of the
// functions takes a closed object. Different: there is no time. A timer that is armed, however far
// off, is due whenever TickThreadPool picks it.
//
// The pool has one lock, which orders what comes before a submit, a set or a tick before the
// callback, and the callback before the wait that waited for it; in passing also some calls that
// the platform would not order.
#pragma once

#include <cstdint>

namespace threads {

void StartThreadPool(std::uint32_t seed);
/// There must be no object left.
void StopThreadPool();

/// Makes one of the armed timers due.
void TickThreadPool();

/// Waits until all callbacks have ended, those that were disassociated too. There must be no object
/// left.
void AwaitThreadPool();

/// An event for wait objects that one wait resets.
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
