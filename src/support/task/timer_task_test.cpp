// Behaviour that only timer tasks have.
#include <windows.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <thread>

#include <gmock/gmock-more-matchers.h>

#include "support/faked_task_test.h"
#include "support/structured_exceptions.h"
#include "support/test_event.h"
#include "task_context.h"
#include "tessel/task/windows_thread_pool_executor.h"

namespace tessel::task {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using testing_support::InaccessiblePage;
using testing_support::TestEvent;
using testing_support::TimerKind;

class TimerTaskTest : public testing_support::FakedTaskTest<TimerKind> {
 protected:
  TimerTaskTest() { pool.TakeCalls(); }

  void ExpectArmed(const std::string& dueTime, const std::string& period) {
    EXPECT_THAT(pool.TakeCalls(),
                ElementsAre("SetThreadpoolTimer(object1, " + dueTime + ", " + period + ", 7)"));
  }

  std::shared_ptr<WtpTimerTaskContext> context = Create();
};

template <class Duration>
constexpr std::int64_t DueTimeOf(Duration time) {
  return ToDueTime(std::chrono::time_point<std::chrono::system_clock, Duration>(time))
      .time_since_epoch()
      .count();
}

// The run must not come before the time.
static_assert(DueTimeOf(std::chrono::seconds(1)) == 10'000'000);
static_assert(DueTimeOf(nanoseconds(0)) == 0);
static_assert(DueTimeOf(nanoseconds(1)) == 1);
static_assert(DueTimeOf(nanoseconds(100)) == 1);
static_assert(DueTimeOf(nanoseconds(101)) == 2);
static_assert(DueTimeOf(nanoseconds(-199)) == -1);
static_assert(DueTimeOf(std::chrono::hours(-1)) == -36'000'000'000);

struct Conversion {
  std::int64_t given;
  const char* armed;
};

TEST_F(TimerTaskTest, RoundsTheDelayUpToARelativeDueTime) {
  for (const auto& [delay, dueTime] : {
           Conversion{0, "0"},
           Conversion{1, "-1"},
           Conversion{99, "-1"},
           Conversion{100, "-1"},
           Conversion{101, "-2"},
           Conversion{150, "-2"},
           Conversion{200, "-2"},
           Conversion{1'000'000'000, "-10000000"},
           Conversion{std::numeric_limits<std::int64_t>::max() - 7, "-92233720368547758"},
           Conversion{std::numeric_limits<std::int64_t>::max() - 6, "-92233720368547759"},
           Conversion{std::numeric_limits<std::int64_t>::max(), "-92233720368547759"},
           Conversion{-1, "0"},
           Conversion{-99, "0"},
           Conversion{-198, "0"},
           Conversion{-199, "1"},
           Conversion{-300, "2"},
           Conversion{std::numeric_limits<std::int64_t>::min(), "92233720368547757"},
       }) {
    executor->StartTimerTask(*context, nanoseconds(delay), nanoseconds(0));
    SCOPED_TRACE(delay);
    ExpectArmed(dueTime, "0");
  }
}

TEST_F(TimerTaskTest, CutsThePeriodToMillisecondsOf32Bits) {
  for (const auto& [period, armed] : {
           Conversion{0, "0"},
           Conversion{999'999, "0"},
           Conversion{1'000'000, "1"},
           Conversion{1'999'999, "1"},
           Conversion{-999'999, "0"},
           Conversion{-1'000'000, "4294967295"},
           Conversion{4'294'967'295'999'999, "4294967295"},
           Conversion{4'294'967'296'000'000, "0"},
           Conversion{std::numeric_limits<std::int64_t>::max(), "2077252342"},
           Conversion{std::numeric_limits<std::int64_t>::min(), "2217714954"},
       }) {
    executor->StartTimerTask(*context, nanoseconds(100), nanoseconds(period));
    SCOPED_TRACE(period);
    ExpectArmed("-1", armed);
  }
}

TEST_F(TimerTaskTest, CountsAbsoluteTimesFrom1601) {
  for (const auto& [time, dueTime] : {
           Conversion{0, "116444736000000000"},
           Conversion{1, "116444736000000001"},
           Conversion{-116'444'736'000'000'000, "0"},
           Conversion{-116'444'736'000'000'001, "-1"},
           Conversion{9'106'927'300'854'775'807, "9223372036854775807"},
           Conversion{std::numeric_limits<std::int64_t>::max(), "-9106927300854775809"},
           Conversion{std::numeric_limits<std::int64_t>::min(), "-9106927300854775808"},
       }) {
    executor->StartTimerTaskAt(*context, DueTime(DueTime::duration(time)));
    SCOPED_TRACE(time);
    ExpectArmed(dueTime, "0");
  }
}

TEST_F(TimerTaskTest, CountsTheTimeInTheUnitsOfThePlatform) {
  executor->StartTimerTaskAt(*context, DueTime(std::chrono::seconds(1)));
  ExpectArmed("116444736010000000", "0");
}

TEST_F(TimerTaskTest, IsNotStartedAtATimeOnceClosed) {
  executor->CloseTimerTask(*context);
  pool.TakeCalls();
  executor->StartTimerTaskAt(*context, DueTime());
  EXPECT_THAT(pool.TakeCalls(), IsEmpty());
}

// So that a close ends the object after this call.
TEST_F(TimerTaskTest, IsStartedAtATimeUnderItsLock) {
  int calls = 0;
  pool.OnCall([&](const std::string& /*call*/) {
    ++calls;
    EXPECT_FALSE(::TryAcquireSRWLockExclusive(&context->closeLock));
  });
  executor->StartTimerTaskAt(*context, DueTime());
  EXPECT_EQ(calls, 1);
  pool.OnCall(nullptr);
}

TEST_F(TimerTaskTest, StopsWithoutWindow) {
  executor->StopTimerTask(*context);
  EXPECT_THAT(pool.TakeCalls(), ElementsAre("SetThreadpoolTimer(object1, null, 0, 0)"));
}

TEST_F(TimerTaskTest, WaitsWithoutCancelling) {
  executor->WaitForTimerTask(*context);
  executor->StartTimerTask(*context, nanoseconds(0), nanoseconds(0));
  executor->WaitForTimerTask(*context);
  EXPECT_THAT(pool.TakeCalls(), ElementsAre("WaitForThreadpoolTimerCallbacks(object1, FALSE)",
                                            "SetThreadpoolTimer(object1, 0, 0, 7)",
                                            "WaitForThreadpoolTimerCallbacks(object1, FALSE)"));
}

class TimerTaskFaultTest : public TimerTaskTest,
                           public ::testing::WithParamInterface<std::function<void()>> {
 protected:
  void FaultWhenDisarming() {
    pool.OnCall([](const std::string& call) {
      if (call == "SetThreadpoolTimer(object1, null, 0, 0)") {
        GetParam()();
      }
    });
  }
};

INSTANTIATE_TEST_SUITE_P(Faults, TimerTaskFaultTest,
                         ::testing::Values(testing_support::RaiseSomeException,
                                           [] { InaccessiblePage().Touch(); }));

TEST_P(TimerTaskFaultTest, AreIgnoredAtClose) {
  FaultWhenDisarming();
  executor->CloseTimerTask(*context);
  EXPECT_THAT(pool.TakeCalls(), ElementsAreArray(TimerKind::EndCalls("object1")));
  EXPECT_EQ(context->handle, nullptr);
}

TEST_P(TimerTaskFaultTest, AreIgnoredWhenTheExecutorEnds) {
  FaultWhenDisarming();
  context.reset();
  executor.reset();
  EXPECT_THAT(pool.TakeCalls(), ElementsAreArray(TimerKind::EndCalls("object1")));
}

TEST_F(TimerTaskTest, LetsFaultsThroughWhenStopped) {
  pool.OnCall([](const std::string& /*call*/) { testing_support::RaiseSomeException(); });
  EXPECT_EQ(testing_support::CountUncaughtExceptions([&] { executor->StopTimerTask(*context); }),
            1);
  pool.OnCall(nullptr);
}

// On the platform's own pool.
class PooledTimerTaskTest : public ::testing::Test {
 protected:
  std::shared_ptr<WtpTimerTaskContext> Create(std::function<void()> task) {
    return executor.CreateTimerTask(std::move(task)).lock();
  }

  TestEvent ran;
  WindowsThreadPoolExecutor executor{nullptr, 0};
};

TEST_F(PooledTimerTaskTest, RunsAfterTheDelay) {
  const auto context = Create([&] { ran.Set(); });
  executor.StartTimerTask(*context, milliseconds(1), nanoseconds(0));
  ran.Await("the run");
}

TEST_F(PooledTimerTaskTest, RunsAtOnceForATimeInThePast) {
  const auto context = Create([&] { ran.Set(); });
  executor.StartTimerTaskAt(*context, DueTime());
  ran.Await("the run");
}

TEST_F(PooledTimerTaskTest, RunsPeriodically) {
  std::atomic<int> runs = 0;
  const auto context = Create([&] {
    if (++runs == 5) {
      ran.Set();
    }
  });
  executor.StartTimerTask(*context, milliseconds(1), milliseconds(1));
  ran.Await("the fifth run");
  executor.CloseTimerTask(*context);
}

TEST_F(PooledTimerTaskTest, OverlapsRunsThatOutlastThePeriod) {
  const TestEvent secondBegan;
  std::atomic<int> runs = 0;
  const auto context = Create([&] {
    if (++runs == 1) {
      secondBegan.Await("the second run, while the first one lasts");
      ran.Set();
    } else {
      secondBegan.Set();
    }
  });
  executor.StartTimerTask(*context, milliseconds(1), milliseconds(1));
  ran.Await("the end of the first run");
  executor.CloseTimerTask(*context);
}

TEST_F(PooledTimerTaskTest, RunsNoMoreOnceStopped) {
  std::atomic<int> runs = 0;
  const auto stopped = Create([&] {
    ++runs;
    ran.Set();
  });
  executor.StartTimerTask(*stopped, milliseconds(1), milliseconds(1));
  ran.Await("the first run");
  executor.StopTimerTask(*stopped);
  executor.WaitForTimerTask(*stopped);
  const int runsUntilThen = runs;

  const TestEvent laterRan;
  const auto later = Create([&] { laterRan.Set(); });
  executor.StartTimerTask(*later, milliseconds(20), nanoseconds(0));
  laterRan.Await("the run of a timer that is due when the stopped one would be, several times");
  EXPECT_EQ(runs, runsUntilThen);
}

TEST_F(PooledTimerTaskTest, MayBeClosedInOneOfItsOverlappingRuns) {
  const TestEvent secondBegan;
  const TestEvent closing;
  std::atomic<int> runs = 0;
  std::weak_ptr<WtpTimerTaskContext> task;
  auto end = testing_support::AtEnd([&] { ran.Set(); });
  task = executor.CreateTimerTask([&, end = std::move(end)] {
    const int run = ++runs;
    if (run == 1) {
      secondBegan.Await("a second run");
      closing.Set();
      executor.CloseTimerTask(*task.lock());
    } else if (run == 2) {
      secondBegan.Set();
      closing.Await("the close in the first run");
    }
  });
  executor.StartTimerTask(*task.lock(), milliseconds(1), milliseconds(1));
  ran.Await("the end of the callable");
  EXPECT_TRUE(task.expired());
}

}  // namespace
}  // namespace tessel::task
