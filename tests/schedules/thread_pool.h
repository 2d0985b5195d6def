// A stand-in for the platform's thread pool, whose threads are the scheduler's.
//
// As the platform documents it:
// - Callbacks run on several threads at once and in any order.
// - A timer may be due at any time after it was armed, or never.
// - Disarming keeps the callbacks that are pending. Whether one is pending by then is a choice.
// - Waiting waits for pending and running callbacks, or drops the pending ones. A callback that was
//   disassociated is not waited for.
//
// Stricter than the platform: the last three calls for an object must disarm it, wait for its
// callbacks while dropping the pending ones, and close it. At the close nothing may be armed,
// pending or running. Only these three calls may get a null object. A callable may throw: here that
// ends only the callback.
#pragma once

#include <string>

#include "scheduler.h"

namespace schedules {

/// An auto-reset event: one satisfied wait resets it.
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

/// How many callbacks of one timer or wait may begin in a run; 2 unless an encounter sets another
/// number.
void LimitCallbacks(int most);
/// Whether the object whose callback this thread runs is disarmed, and not armed again.
bool IsDisarmed();
/// Whether a wait is armed on the event.
bool IsAwaited(const Event& event);
/// From now on no object is created.
void FailCreations();
/// The number of platform calls for thread-pool objects, for encounters that expect none.
int CountCalls();

/// Whether there is work for an idle pool thread.
bool HasWork(int poolThread);
/// The body of a pool thread. It begins when there is work for the first time.
void RunPoolThread();
/// Waits until no callback is due, pending or running.
void AwaitThreadPool();
/// Checks at the end of a run that every object is closed.
void CheckThreadPool();
void ResetThreadPool();

std::string DescribePlatformObject(const void* object);

}  // namespace schedules
