// A lock that is held briefly.
#pragma once

#include <windows.h>

#include <mutex>

namespace tessel::task {

/// Holds a mutex that everybody holds briefly. To wait for it in the kernel takes longer than that,
/// so it is asked for a while first.
template <class Mutex>
class ShortLock {
 public:
  explicit ShortLock(Mutex& mutex) : lock_(mutex, std::try_to_lock) {
    constexpr int kMostTries = 1000;
    for (int tries = 1; tries < kMostTries && !lock_.owns_lock(); ++tries) {
      YieldProcessor();
      static_cast<void>(lock_.try_lock());
    }
    if (!lock_.owns_lock()) {
      lock_.lock();
    }
  }

 private:
  std::unique_lock<Mutex> lock_;
};

}  // namespace tessel::task
