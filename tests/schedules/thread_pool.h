// A stand-in for the platform's thread pool, whose threads are the scheduler's.
//
// As the platform documents it: callbacks run on several threads at once and in any order; a timer
// may be due at any time after it was armed, or never; disarming keeps the callbacks that are
// pending, and whether there is one by then is a choice; waiting waits for pending and running
// callbacks, or drops the pending ones; a callback that was disassociated is not waited for.
// Stricter: the last calls for an object are to disarm it, to wait for its callbacks with the
// pending ones dropped, and to close it, with nothing armed or pending and nobody running then;
// none comes after them. A null object is taken by none but those three. A callable may throw,
// which ends the callback alone.
#pragma once

#include <string>

#include "scheduler.h"

namespace schedules {

/// An event that one wait resets.
class Event {
 public:
  void Set();
  void Reset() { isSet_ = false; }
  /// As the platform takes it.
  void* Handle() { return this; }

 private:
  friend struct PoolObject;
  bool isSet_ = false;
  Clock clock_{};
};

/// How many callbacks of one timer or wait may begin in a run; 2 unless an encounter says
/// otherwise.
void LimitCallbacks(int most);
/// Whether the object whose callback this thread runs is disarmed, and not armed again.
bool IsDisarmed();
/// Whether a wait is armed on the event.
bool IsAwaited(const Event& event);
/// From now on no object is created.
void FailCreations();
/// How many calls of the platform came for objects, for encounters that want none.
int CountCalls();

/// Whether a pool thread that has nothing to do has something now.
bool HasWork(int poolThread);
/// What a pool thread does from when it has work for the first time.
void RunPoolThread();
/// Until no callback is due, pending or running.
void AwaitThreadPool();
/// What must hold in the end: every object is closed.
void CheckThreadPool();
void ResetThreadPool();

std::string DescribePlatformObject(const void* object);

}  // namespace schedules
