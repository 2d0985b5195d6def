#include "gate.h"

#include <atomic>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include "support/test_event.h"

namespace tessel::task {
namespace {

using testing_support::TestEvent;

TEST(GateTest, LetsThroughUntilItIsShut) {
  Gate gate;
  int passed = 0;
  gate.Pass([&] { ++passed; });
  gate.Pass([&] { gate.Pass([&] { ++passed; }); });
  EXPECT_EQ(passed, 2);
  EXPECT_FALSE(gate.Shut());
  EXPECT_FALSE(gate.Shut());
  gate.Pass([&] { ++passed; });
  EXPECT_EQ(passed, 2);
  gate.AwaitPassed();
}

// Which thread gets how far is up to the scheduler, hence the rounds; no outcome is left to it.
TEST(GateTest, WaitsForThoseWhoCameBeforeItWasShut) {
  for (int round = 0; round < 100; ++round) {
    Gate gate;
    const TestEvent inside;
    std::atomic<bool> shut = false;
    std::atomic<bool> left = false;
    std::thread other([&] {
      gate.Pass([&] {
        inside.Set();
        while (!shut) {
          std::this_thread::yield();
        }
        for (int i = 0; i < 100; ++i) {
          std::this_thread::yield();  // so that the one who waits gets ahead
        }
        left = true;
      });
    });
    inside.Await("the other thread");
    gate.Shut();
    shut = true;
    gate.AwaitPassed();
    EXPECT_TRUE(left);
    other.join();
  }
}

TEST(GateTest, LetsNobodyFollowThoseWhoAreStillInside) {
  Gate gate;
  int followed = 0;
  gate.Pass([&] {
    EXPECT_TRUE(gate.Shut());
    gate.Pass([&] { ++followed; });
  });
  EXPECT_EQ(followed, 0);
  gate.AwaitPassed();
}

TEST(GateTest, IsPassedAlsoByAnException) {
  Gate gate;
  EXPECT_THROW(gate.Pass([] { throw std::runtime_error("inside"); }), std::runtime_error);
  gate.Shut();
  gate.AwaitPassed();
}

}  // namespace
}  // namespace tessel::task
