#include "disarm_guard.h"

#include <gmock/gmock-matchers.h>

#include "support/fake_thread_pool.h"
#include "support/structured_exceptions.h"

namespace {

using ::testing::ElementsAre;
using testing_support::FakeThreadPool;
using testing_support::InaccessiblePage;
using testing_support::RaiseSomeException;

class DisarmGuardTest : public ::testing::Test {
 protected:
  // Whether the guard returns and leaves the locals of its caller intact.
  void DisarmWhile(const std::function<void()>& action) {
    bool called = false;
    pool.OnCall([&](const std::string& /*call*/) {
      called = true;
      action();
      ADD_FAILURE() << "went on behind the exception";
    });
    const std::string local(50, 'x');
    TesselDisarmTimerGuarded(nullptr);
    EXPECT_EQ(local, std::string(50, 'x'));
    EXPECT_TRUE(called);
  }

  FakeThreadPool pool;
};

TEST_F(DisarmGuardTest, CallsThePlatformOnce) {
  pool.Name(this, "timer");
  TesselDisarmTimerGuarded(reinterpret_cast<PTP_TIMER>(this));
  EXPECT_THAT(pool.TakeCalls(), ElementsAre("SetThreadpoolTimer(timer, null, 0, 0)"));
}

TEST_F(DisarmGuardTest, SwallowsARaisedException) { DisarmWhile(RaiseSomeException); }

TEST_F(DisarmGuardTest, SwallowsANoncontinuableException) {
  DisarmWhile([] { ::RaiseException(0xE0001234, EXCEPTION_NONCONTINUABLE, 0, nullptr); });
}

TEST_F(DisarmGuardTest, SwallowsAnAccessViolation) {
  const InaccessiblePage page;
  DisarmWhile([&] { page.Touch(); });
}

TEST_F(DisarmGuardTest, WorksAgainAndAgain) {
  for (int i = 0; i < 1000; ++i) {
    DisarmWhile(RaiseSomeException);
  }
}

TEST_F(DisarmGuardTest, LeavesCppExceptionsWorking) {
  DisarmWhile(RaiseSomeException);
  EXPECT_THROW(throw 1, int);
}

TEST(DisarmGuardPlatformTest, SwallowsAFaultInsideTheSystemLibrary) {
  TesselDisarmTimerGuarded(nullptr);  // the platform reads the object behind the pointer
}

}  // namespace
