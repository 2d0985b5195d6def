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
  gate.Shut();
  gate.Shut();
  gate.Pass([&] { ++passed; });
  EXPECT_EQ(passed, 2);
  gate.AwaitPassed();
}

TEST(GateTest, WaitsForThoseWhoCameBeforeItWasShut) {
  Gate gate;
  const TestEvent inside;
  const TestEvent leave;
  std::atomic<bool> left = false;
  std::thread other([&] {
    gate.Pass([&] {
      inside.Set();
      leave.Await("the word to leave");
      left = true;
    });
  });
  inside.Await("the other thread");
  gate.Shut();
  std::thread release([&] { leave.Set(); });
  gate.AwaitPassed();
  EXPECT_TRUE(left);
  other.join();
  release.join();
}

TEST(GateTest, LetsNobodyFollowThoseWhoAreStillInside) {
  Gate gate;
  int followed = 0;
  gate.Pass([&] {
    gate.Shut();
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
