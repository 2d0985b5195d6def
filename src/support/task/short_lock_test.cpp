#include "short_lock.h"

#include <gtest/gtest.h>

namespace tessel::task {
namespace {

/// A mutex that another thread seems to hold for the first tries.
struct HeldMutex {
  int triesUntilFree;
  int tries = 0;
  int waits = 0;
  int unlocks = 0;

  bool try_lock() { return ++tries > triesUntilFree; }
  void lock() { ++waits; }
  void unlock() { ++unlocks; }
};

TEST(ShortLockTest, TakesAFreeMutexAtOnce) {
  HeldMutex mutex{.triesUntilFree = 0};
  {
    const ShortLock lock(mutex);
    EXPECT_EQ(mutex.unlocks, 0);
  }
  EXPECT_EQ(mutex.tries, 1);
  EXPECT_EQ(mutex.waits, 0);
  EXPECT_EQ(mutex.unlocks, 1);
}

TEST(ShortLockTest, AsksAgainForAMutexThatIsHeldShortly) {
  HeldMutex mutex{.triesUntilFree = 10};
  {
    const ShortLock lock(mutex);
  }
  EXPECT_EQ(mutex.tries, 11);
  EXPECT_EQ(mutex.waits, 0);
  EXPECT_EQ(mutex.unlocks, 1);
}

TEST(ShortLockTest, WaitsInTheEnd) {
  HeldMutex mutex{.triesUntilFree = 1'000'000};
  {
    const ShortLock lock(mutex);
  }
  EXPECT_EQ(mutex.tries, 1000);
  EXPECT_EQ(mutex.waits, 1);
  EXPECT_EQ(mutex.unlocks, 1);
}

}  // namespace
}  // namespace tessel::task
