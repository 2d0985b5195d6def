// A lock that is held briefly.
#pragma once

#include <windows.h>

#include <mutex>

namespace tessel::task {

/// Holds a mutex that everybody holds briefly. To wait for it in the kernel takes longer than that,
/// so it is asked for a while first. mingw-w64's std::mutex, which waits with an event, does not do
/// so by itself: where two to four threads submit items that run for 0.1 to 0.4 us, this is 1.7 to
/// 3.2 times as quick. With the platform's own lock, which MSVC's std::mutex is, it is 1.0 to 1.8
/// times as quick, and for items of 10 us it makes no difference (docs/performance.md).
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
