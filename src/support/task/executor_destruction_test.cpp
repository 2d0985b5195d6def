// Destroying an executor that still has open tasks.
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock-matchers.h>

#include "support/faked_task_test.h"
#include "support/test_event.h"
#include "task_context.h"
#include "tessel/task/windows_thread_pool_executor.h"

namespace tessel::task {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using testing_support::TestEvent;
using testing_support::TimerKind;
using testing_support::WaitKind;
using testing_support::WorkKind;

template <class Kind>
class ExecutorDestructionTest : public testing_support::FakedTaskTest<Kind> {
 protected:
  // Destroys the executor on a thread of its own. Returns when object2 is being closed: all tasks
  // have been handed over by then.
  std::thread DestroyInBackground(const std::function<void(const std::string&)>& onCall) {
    const std::string lastClose = Kind::EndCalls("object2").back();
    this->pool.OnCall([=, this](const std::string& call) {
      if (call == lastClose) {
        othersClosed.Set();
      }
      onCall(call);
    });
    std::thread thread([this] {
      this->executor.reset();
      destroyed.Set();
    });
    othersClosed.Await("the end of the task that nobody holds");
    return thread;
  }

  TestEvent othersClosed;
  TestEvent destroyed;
};
TYPED_TEST_SUITE(ExecutorDestructionTest, testing_support::TaskKinds);

TYPED_TEST(ExecutorDestructionTest, ClosesATaskAndThenDestroysItsCallable) {
  const std::weak_ptr<typename TypeParam::Context> task =
      this->Create([end = this->NoteAtEnd("callable destroyed")] {});
  this->pool.TakeCalls();
  this->executor.reset();
  auto expected = TypeParam::EndCalls("object1");
  expected.emplace_back("callable destroyed");
  EXPECT_THAT(this->pool.TakeCalls(), ElementsAreArray(expected));
  EXPECT_TRUE(task.expired());
}

TYPED_TEST(ExecutorDestructionTest, MakesNoPlatformCallForAFailedCreate) {
  this->pool.FailCreations();
  this->Create([end = this->NoteAtEnd("callable destroyed")] {});
  this->pool.TakeCalls();
  this->executor.reset();
  EXPECT_THAT(this->pool.TakeCalls(), ElementsAre("callable destroyed"));
}

TYPED_TEST(ExecutorDestructionTest, ClosesWhatACallableCreatesMeanwhile) {
  this->Create();
  auto& owner = *this->executor;
  // The callables that the destructor waits for create two tasks, one after the other.
  std::vector<std::weak_ptr<typename TypeParam::Context>> created;
  this->pool.OnCall([&](const std::string& call) {
    if (call.starts_with("WaitFor") && created.size() < 2) {
      created.push_back(this->kind.Create(owner, [] {}));
      TypeParam::Run(owner, *created.back().lock());
      this->pool.TakeCalls();
    }
  });
  this->executor.reset();
  auto expected = TypeParam::EndCalls("object3");
  expected.insert(expected.begin(), TypeParam::EndCalls("object2").back());
  EXPECT_THAT(this->pool.TakeCalls(), ElementsAreArray(expected));
  EXPECT_TRUE(created.at(0).expired());
  EXPECT_TRUE(created.at(1).expired());
}

TYPED_TEST(ExecutorDestructionTest, ClosesWhatTheEndOfACallableCreates) {
  auto& owner = *this->executor;
  std::weak_ptr<typename TypeParam::Context> created;
  auto end = testing_support::AtEnd([&] { created = this->kind.Create(owner, [] {}); });
  this->Create([end = std::move(end)] {});
  this->pool.TakeCalls();
  std::thread destroyer([this] {
    this->executor.reset();
    this->destroyed.Set();
  });
  this->destroyed.Await("the end of the executor");
  destroyer.join();
  auto expected = TypeParam::EndCalls("object1");
  expected.push_back(TypeParam::CreateCall("environment"));
  const auto endOfCreated = TypeParam::EndCalls("object2");
  expected.insert(expected.end(), endOfCreated.begin(), endOfCreated.end());
  EXPECT_THAT(this->pool.TakeCalls(), ElementsAreArray(expected));
  EXPECT_TRUE(created.expired());
}

TYPED_TEST(ExecutorDestructionTest, WaitsForALockedContext) {
  auto held = this->Create([end = this->NoteAtEnd("callable destroyed")] {});
  this->Create();
  this->pool.TakeCalls();
  const std::string close = TypeParam::EndCalls("object1").back();
  std::thread destroyer = this->DestroyInBackground([&](const std::string& call) {
    if (call == close) {
      EXPECT_FALSE(this->destroyed.IsSet());
    }
  });
  EXPECT_THAT(this->pool.TakeCalls(), ElementsAreArray(TypeParam::EndCalls("object2")));
  EXPECT_TRUE(held->released);
  EXPECT_FALSE(this->destroyed.IsSet());
  held.reset();
  destroyer.join();
  auto expected = TypeParam::EndCalls("object1");
  expected.emplace_back("callable destroyed");
  EXPECT_THAT(this->pool.TakeCalls(), ElementsAreArray(expected));
}

TYPED_TEST(ExecutorDestructionTest, HearsOfATaskThatItsUserClosedMeanwhile) {
  auto held = this->Create([end = this->NoteAtEnd("callable destroyed")] {});
  this->Create();
  std::thread destroyer = this->DestroyInBackground([](const std::string& /*call*/) {});
  this->pool.TakeCalls();
  testing_support::CloseTask<TypeParam>(GetExecutor(*held), *held);
  EXPECT_THAT(this->pool.TakeCalls(), ElementsAreArray(TypeParam::EndCalls("object1")));
  held.reset();
  EXPECT_THAT(this->pool.TakeCalls(), ElementsAre("callable destroyed"));
  destroyer.join();
}

using MixedExecutorDestructionTest = testing_support::FakedTaskTest<TimerKind>;

TEST_F(MixedExecutorDestructionTest, ClosesTimersThenWaitsThenWorks) {
  const WaitKind wait;
  const WorkKind work;
  // Whatever the order in which they are created.
  for (int i = 0; i < 2; ++i) {
    static_cast<void>(work.Create(*executor, [] {}));
    static_cast<void>(wait.Create(*executor, [] {}));
    static_cast<void>(kind.Create(*executor, [] {}));
  }
  pool.TakeCalls();
  executor.reset();
  std::vector<std::string> expected;
  for (const auto& calls : {TimerKind::EndCalls("object3"), TimerKind::EndCalls("object6"),
                            WaitKind::EndCalls("object2"), WaitKind::EndCalls("object5"),
                            WorkKind::EndCalls("object1"), WorkKind::EndCalls("object4")}) {
    expected.insert(expected.end(), calls.begin(), calls.end());
  }
  EXPECT_THAT(pool.TakeCalls(), ElementsAreArray(expected));
}

TEST_F(MixedExecutorDestructionTest, HandsAllTasksOverBeforeItClosesTheFirst) {
  const std::weak_ptr<WtpWorkTaskContext> work = WorkKind().Create(*executor, [] {});
  static_cast<void>(Create());
  bool released = false;
  pool.OnCall([&](const std::string& call) {
    if (call == "CloseThreadpoolTimer(object2)") {
      released = work.lock()->released;
    }
  });
  executor.reset();
  EXPECT_TRUE(released);
}

TEST_F(MixedExecutorDestructionTest, WaitsForLockedContextsOfEveryKind) {
  const WaitKind wait;
  auto heldTimer = Create();
  auto heldWait = wait.Create(*executor, [] {}).lock();
  auto heldWork = WorkKind().Create(*executor, [] {}).lock();
  const TestEvent destroyed;
  std::thread destroyer([&] {
    executor.reset();
    destroyed.Set();
  });
  heldWork.reset();
  EXPECT_FALSE(destroyed.IsSet());
  heldTimer.reset();
  EXPECT_FALSE(destroyed.IsSet());
  heldWait.reset();
  destroyed.Await("the end of the executor");
  destroyer.join();
}

}  // namespace
}  // namespace tessel::task
