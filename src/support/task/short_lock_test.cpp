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

TEST(ShortLockTest, AsksAThousandTimesBeforeItWaits) {
  const struct {
    int triesUntilFree;
    int tries;
    int waits;
  } cases[] = {{10, 11, 0}, {1'000'000, 1000, 1}};
  for (const auto& [triesUntilFree, tries, waits] : cases) {
    HeldMutex mutex{.triesUntilFree = triesUntilFree};
    {
      const ShortLock lock(mutex);
    }
    EXPECT_EQ(mutex.tries, tries);
    EXPECT_EQ(mutex.waits, waits);
    EXPECT_EQ(mutex.unlocks, 1);
  }
}

}  // namespace
}  // namespace tessel::task
