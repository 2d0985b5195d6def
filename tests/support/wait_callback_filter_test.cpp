#include "support/wait_callback_filter.h"

#include <windows.h>

#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include <gmock/gmock-matchers.h>

#include "support/fake_thread_pool.h"
#include "support/remains.h"
#include "support/test_event.h"
#include "task_context.h"
#include "tessel/task/windows_thread_pool_executor.h"

namespace testing_support {
namespace {

using tessel::task::WaitCallbackRecord;
using ::testing::ElementsAre;

class WaitCallbackFilterTest : public ::testing::Test {
 protected:
  using Callback = std::function<void(PTP_CALLBACK_INSTANCE, PTP_WAIT, TP_WAIT_RESULT)>;

  static PTP_WAIT Create(Callback* callback) {
    return ::CreateThreadpoolWait(&Call, callback, nullptr);
  }
  static VOID CALLBACK Call(PTP_CALLBACK_INSTANCE instance, PVOID callback, PTP_WAIT wait,
                            TP_WAIT_RESULT result) {
    (*static_cast<Callback*>(callback))(instance, wait, result);
  }
  // What runs the callback of the wait that was created last, late as it may be.
  std::function<void()> CallbackOfThePool() { return pool.LastObject().run; }

  FakeThreadPool pool;
  WaitCallbackFilter filter;  // over the faked pool
};

TEST_F(WaitCallbackFilterTest, PassesCallbacksOnWithAllThatTheyAreCalledWith) {
  int runs = 0;
  PTP_WAIT wait = nullptr;
  Callback callback = [&](PTP_CALLBACK_INSTANCE instance, PTP_WAIT object, TP_WAIT_RESULT result) {
    ++runs;
    EXPECT_EQ(instance, pool.Instance());
    EXPECT_EQ(object, wait);
    EXPECT_EQ(result, TP_WAIT_RESULT{WAIT_OBJECT_0});
  };
  wait = Create(&callback);
  CallbackOfThePool()();
  CallbackOfThePool()();
  EXPECT_EQ(runs, 2);
  ::CloseThreadpoolWait(wait);
  EXPECT_THAT(pool.TakeCalls(),
              ElementsAre("CreateThreadpoolWait(null)", "CloseThreadpoolWait(object1)"));
}

TEST_F(WaitCallbackFilterTest, PassesFailuresOn) {
  pool.FailCreations();
  Callback callback;
  EXPECT_EQ(Create(&callback), nullptr);
  ::CloseThreadpoolWait(nullptr);
  EXPECT_THAT(pool.TakeCalls(),
              ElementsAre("CreateThreadpoolWait(null)", "CloseThreadpoolWait(null)"));
}

TEST_F(WaitCallbackFilterTest, DropsACallbackThatBeginsAfterTheClose) {
  int runs = 0;
  Callback callback = [&](auto... /*arguments*/) { ++runs; };
  const PTP_WAIT wait = Create(&callback);
  ::CloseThreadpoolWait(wait);
  CallbackOfThePool()();
  EXPECT_EQ(runs, 0);
}

// The first task's record is freed, and the heap gives its memory to the record of the second task.
// Then the callback of the first task comes. It must neither run nor disarm the second task.
TEST_F(WaitCallbackFilterTest, DropsALateCallbackThoughANewTaskHasTheAddressOfTheFreedRecord) {
  std::optional<WaitCallbackRecord> record;
  int runs = 0;
  const auto createTask = [&](std::function<void()> task) {
    record.emplace();
    record->task = std::move(task);
    record->armed = true;
    return tessel::task::CreateObject(&*record, nullptr);
  };
  const PTP_WAIT first = createTask([] { FAIL() << "the first task runs"; });
  const auto callBackLate = CallbackOfThePool();
  ::CloseThreadpoolWait(first);
  const PTP_WAIT second = createTask([&] { ++runs; });

  callBackLate();
  EXPECT_EQ(runs, 0);
  EXPECT_TRUE(record->armed);
  CallbackOfThePool()();
  EXPECT_EQ(runs, 1);
  EXPECT_FALSE(record->armed);
  ::CloseThreadpoolWait(second);
}

TEST_F(WaitCallbackFilterTest, KeepsALateCallbackFromTheFreedRecordOfATask) {
  tessel::task::WindowsThreadPoolExecutor executor(nullptr, 0);
  int runs = 0;
  {
    const auto context = executor.CreateWaitTask(nullptr, [&] { ++runs; }).lock();
    executor.StartWaitTask(*context);
    executor.CloseWaitTask(*context);
  }
  const Remains<sizeof(WaitCallbackRecord)> remains;  // looks armed
  CallbackOfThePool()();
  EXPECT_TRUE(remains.Untouched());
  EXPECT_EQ(runs, 0);
}

// The scheduler decides how far each thread gets, so the test runs many rounds. Every order must
// pass.
TEST_F(WaitCallbackFilterTest, ClosesAfterTheCallbacksThatBeganInTime) {
  for (int round = 0; round < 100; ++round) {
    const TestEvent began;
    const TestEvent closing;
    const TestEvent closed;
    pool.OnCall([&](const std::string& call) {
      if (call.starts_with("CloseThreadpoolWait")) {
        closed.Set();
      }
    });
    Callback callback = [&](auto... /*arguments*/) {
      began.Set();
      closing.Await("the close");
      for (int i = 0; i < 100; ++i) {
        std::this_thread::yield();  // lets the closing thread get ahead
      }
      EXPECT_FALSE(closed.IsSet());
    };
    const PTP_WAIT wait = Create(&callback);
    std::thread other(CallbackOfThePool());
    began.Await("the callback");
    closing.Set();
    ::CloseThreadpoolWait(wait);
    EXPECT_TRUE(closed.IsSet());
    other.join();
  }
}

TEST_F(WaitCallbackFilterTest, ClosesAWaitInItsOwnCallback) {
  int runs = 0;
  Callback callback = [&](PTP_CALLBACK_INSTANCE /*instance*/, PTP_WAIT wait,
                          TP_WAIT_RESULT /*result*/) {
    ++runs;
    ::CloseThreadpoolWait(wait);
  };
  Create(&callback);
  CallbackOfThePool()();
  CallbackOfThePool()();
  EXPECT_EQ(runs, 1);
}

}  // namespace
}  // namespace testing_support
