#include "encounters.h"

namespace schedules {

Thread::~Thread() {
  const InPlatform platform;
  Await({"waits for a thread"}, Ready([this] { return HasEnded(number_); }));
  Acquire(ClockOf(number_));
}

}  // namespace schedules
