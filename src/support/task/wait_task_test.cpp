// Behaviour that only wait tasks have.
#include <windows.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock-more-matchers.h>

#include "support/faked_task_test.h"
#include "support/structured_exceptions.h"
#include "support/test_event.h"
#include "task_context.h"
#include "tessel/task/windows_thread_pool_executor.h"

namespace tessel::task {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using testing_support::ImportHook;
using testing_support::TestEvent;
using testing_support::WaitKind;

class WaitTaskTest : public testing_support::FakedTaskTest<WaitKind> {
 protected:
  WaitTaskTest() {
    pool.Name(kind.signalled.Handle(), "handle");
    pool.TakeCalls();
  }
  void Start() { executor->StartWaitTask(*context); }
  void Stop() { executor->StopWaitTask(*context); }
  void Signal() { pool.LastObject().run(); }

  int runs = 0;
  std::function<void()> whenRun = [] {};
  std::shared_ptr<WtpWaitTaskContext> context = Create([this] {
    ++runs;
    whenRun();
  });
};

TEST_F(WaitTaskTest, KeepsTheHandleUnarmed) {
  EXPECT_EQ(context->callbackRecord->waitHandle, kind.signalled.Handle());
  EXPECT_FALSE(context->callbackRecord->armed);
}

TEST_F(WaitTaskTest, ArmsOnceWithoutTimeLimit) {
  Start();
  Start();
  EXPECT_THAT(pool.TakeCalls(), ElementsAre("SetThreadpoolWait(object1, handle, null)"));
}

TEST_F(WaitTaskTest, DisarmsOnlyWhatIsArmed) {
  Stop();
  EXPECT_THAT(pool.TakeCalls(), IsEmpty());
  Start();
  pool.TakeCalls();
  Stop();
  Stop();
  EXPECT_THAT(pool.TakeCalls(), ElementsAre("SetThreadpoolWait(object1, null, null)"));
}

TEST_F(WaitTaskTest, CancelsPendingCallbacksExactlyWhenItIsNotArmed) {
  executor->WaitForWaitTask(*context);
  EXPECT_THAT(pool.TakeCalls(), ElementsAre("WaitForThreadpoolWaitCallbacks(object1, TRUE)"));
  Start();
  pool.TakeCalls();
  executor->WaitForWaitTask(*context);
  EXPECT_THAT(pool.TakeCalls(), ElementsAre("WaitForThreadpoolWaitCallbacks(object1, FALSE)"));
  // Which leaves it armed.
  Signal();
  EXPECT_EQ(runs, 1);
}

TEST_F(WaitTaskTest, IsDisarmedByEachSignal) {
  Start();
  Signal();
  EXPECT_EQ(runs, 1);
  EXPECT_FALSE(context->callbackRecord->armed);
  Signal();
  EXPECT_EQ(runs, 1);
  pool.TakeCalls();
  Start();
  Signal();
  EXPECT_EQ(runs, 2);
  EXPECT_THAT(pool.TakeCalls(), ElementsAre("SetThreadpoolWait(object1, handle, null)"));
}

TEST_F(WaitTaskTest, IsDisarmedBeforeItRunsSoThatTheRunCanArmItAgain) {
  whenRun = [this] {
    EXPECT_FALSE(context->callbackRecord->armed);
    Start();
  };
  Start();
  pool.TakeCalls();
  Signal();
  EXPECT_THAT(pool.TakeCalls(), ElementsAre("SetThreadpoolWait(object1, handle, null)"));
  EXPECT_TRUE(context->callbackRecord->armed);
}

TEST_F(WaitTaskTest, DoesNotRunWhenStoppedBetweenSignalAndCallback) {
  Start();
  Stop();
  Signal();
  EXPECT_EQ(runs, 0);
  EXPECT_EQ(GetCurrentCallback().record, nullptr);
}

TEST_F(WaitTaskTest, RunsForASignalThatComesBeforeItsArmingReturns) {
  pool.OnCall([this](const std::string& call) {
    if (call == "SetThreadpoolWait(object1, handle, null)") {
      Signal();
    }
  });
  Start();
  EXPECT_EQ(runs, 1);
  EXPECT_FALSE(context->callbackRecord->armed);
}

TEST_F(WaitTaskTest, DoesNotRunForASignalThatAStopOvertakes) {
  pool.OnCall([this](const std::string& call) {
    if (call == "SetThreadpoolWait(object1, null, null)") {
      Signal();
    }
  });
  Start();
  Stop();
  EXPECT_EQ(runs, 0);
}

TEST_F(WaitTaskTest, DoesNotRunForASignalThatACloseOvertook) {
  // No run begins while the close disarms the object or waits for callbacks, even if a callback has
  // tried to arm the task before.
  pool.OnCall([&](const std::string& call) {
    if (call == "SetThreadpoolWait(object1, null, null)" ||
        call == "WaitForThreadpoolWaitCallbacks(object1, TRUE)") {
      Start();
      Signal();
    }
  });
  Start();
  pool.TakeCalls();
  executor->CloseWaitTask(*context);
  EXPECT_THAT(pool.TakeCalls(), ElementsAreArray(WaitKind::EndCalls("object1")));
  EXPECT_EQ(runs, 0);
  EXPECT_FALSE(context->callbackRecord->armed);
}

TEST_F(WaitTaskTest, LetsFaultsOfItsDisarmingThrough) {
  pool.OnCall([](const std::string& call) {
    if (call == "SetThreadpoolWait(object1, null, null)") {
      testing_support::RaiseSomeException();
    }
  });
  EXPECT_EQ(testing_support::CountUncaughtExceptions([&] { executor->CloseWaitTask(*context); }),
            1);
}

// On the platform's own pool.
class PooledWaitTaskTest : public ::testing::Test {
 protected:
  TestEvent signal;
  TestEvent ran;
  WindowsThreadPoolExecutor executor{nullptr, 0};
};

TEST_F(PooledWaitTaskTest, RunsOnceItIsArmedAndSignalled) {
  const auto context = executor.CreateWaitTask(signal.Handle(), [&] { ran.Set(); }).lock();
  executor.StartWaitTask(*context);
  EXPECT_FALSE(ran.IsSet());
  signal.Set();
  ran.Await("the run");
  executor.WaitForWaitTask(*context);
}

TEST_F(PooledWaitTaskTest, RunsForASignalThatCameBeforeItWasArmed) {
  signal.Set();
  const auto context = executor.CreateWaitTask(signal.Handle(), [&] { ran.Set(); }).lock();
  executor.StartWaitTask(*context);
  ran.Await("the run");
  executor.WaitForWaitTask(*context);
}

TEST_F(PooledWaitTaskTest, RunsForEverySignalWhenItArmsItselfAgain) {
  constexpr int kSignals = 100;
  std::weak_ptr<WtpWaitTaskContext> task;
  const TestEvent last;
  std::atomic<int> runs = 0;
  task = executor.CreateWaitTask(signal.Handle(), [&] {
    signal.Reset();
    executor.StartWaitTask(*task.lock());
    (++runs == kSignals ? last : ran).Set();
  });
  executor.StartWaitTask(*task.lock());
  for (int i = 1; i < kSignals; ++i) {
    signal.Set();
    ran.Await("a run");
    ran.Reset();
  }
  signal.Set();
  last.Await("the last run");
  executor.CloseWaitTask(*task.lock());
  EXPECT_EQ(runs, kSignals);
}

TEST_F(PooledWaitTaskTest, IsNotArmedAgainByTheRunThatItsCloseWaitsFor) {
  const TestEvent disarmed;
  std::vector<HANDLE> waitedOn;
  std::atomic<bool> closing = false;
  ImportHook<"SetThreadpoolWait", decltype(::SetThreadpoolWait)> setHook(
      [&](PTP_WAIT wait, HANDLE handle, PFILETIME timeout) {
        setHook.Original()(wait, handle, timeout);
        if (closing) {
          waitedOn.push_back(handle);
          disarmed.Set();
        }
      });
  bool closed = false;
  ImportHook<"CloseThreadpoolWait", decltype(::CloseThreadpoolWait)> closeHook([&](PTP_WAIT wait) {
    closed = true;
    EXPECT_THAT(waitedOn, ElementsAre(nullptr));
    closeHook.Original()(wait);
  });
  std::atomic<int> runs = 0;
  std::shared_ptr<WtpWaitTaskContext> context;
  context = executor
                .CreateWaitTask(signal.Handle(),
                                [&] {
                                  ++runs;
                                  ran.Set();
                                  disarmed.Await("the disarming by close");
                                  executor.StartWaitTask(*context);
                                })
                .lock();
  executor.StartWaitTask(*context);
  signal.Set();
  ran.Await("the run");
  closing = true;
  executor.CloseWaitTask(*context);
  EXPECT_TRUE(closed);
  EXPECT_EQ(runs, 1);
}

}  // namespace
}  // namespace tessel::task
