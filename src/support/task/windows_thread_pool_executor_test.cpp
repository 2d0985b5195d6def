// Creating and closing tasks: the behaviour that all kinds share. The behaviour of one kind, and
// the end of the executor, are tested in other files.
#include "tessel/task/windows_thread_pool_executor.h"

#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock-more-matchers.h>

#include "support/faked_task_test.h"
#include "task_context.h"

namespace tessel::task {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

template <class Kind>
class WindowsThreadPoolExecutorTest : public testing_support::FakedTaskTest<Kind> {
 protected:
  void Close(typename Kind::Context& context) {
    testing_support::CloseTask<Kind>(*this->executor, context);
  }
  // The calls that end an object, with the given calls before and after them.
  static auto EndsObject(const std::string& object, std::vector<std::string> before = {},
                         const std::vector<std::string>& behind = {}) {
    const auto calls = Kind::EndCalls(object);
    before.insert(before.end(), calls.begin(), calls.end());
    before.insert(before.end(), behind.begin(), behind.end());
    return ElementsAreArray(before);
  }
};
TYPED_TEST_SUITE(WindowsThreadPoolExecutorTest, testing_support::TaskKinds);

TYPED_TEST(WindowsThreadPoolExecutorTest, CreatesAnObjectInTheEnvironmentWithTheTasksRecord) {
  const auto context = this->Create();
  EXPECT_THAT(this->pool.TakeCalls(), ElementsAre(TypeParam::CreateCall("environment")));
  EXPECT_EQ(this->pool.LastObject().context, context->callbackRecord.get());
  EXPECT_EQ(static_cast<const void*>(context->handle), &this->pool.LastObject());
}

TYPED_TEST(WindowsThreadPoolExecutorTest, HoldsTheOnlyStrongReference) {
  const auto context = this->Create();
  EXPECT_EQ(context.use_count(), 2);
  this->Close(*context);
  EXPECT_EQ(context.use_count(), 1);
}

TYPED_TEST(WindowsThreadPoolExecutorTest, DisarmsCancelsWaitsAndReleasesAtClose) {
  const auto context = this->Create();
  TypeParam::Run(*this->executor, *context);
  this->pool.TakeCalls();
  this->Close(*context);
  EXPECT_THAT(this->pool.TakeCalls(), this->EndsObject("object1"));
  EXPECT_EQ(context->handle, nullptr);
  EXPECT_NE(context->callbackRecord, nullptr);
}

TYPED_TEST(WindowsThreadPoolExecutorTest, PassesTheNullHandleOfAFailedCreateOn) {
  this->pool.FailCreations();
  const auto context = this->Create();
  EXPECT_EQ(context->handle, nullptr);
  this->pool.TakeCalls();

  TypeParam::Run(*this->executor, *context);
  testing_support::WaitForTask<TypeParam>(*this->executor, *context);
  const auto calls = this->pool.TakeCalls();
  EXPECT_EQ(calls.size(), 2U);
  EXPECT_THAT(calls, Each(HasSubstr("(null")));

  this->Close(*context);
  EXPECT_THAT(this->pool.TakeCalls(), this->EndsObject("null"));
}

TYPED_TEST(WindowsThreadPoolExecutorTest, EndsAContextThatNobodyHoldsAtClose) {
  const std::weak_ptr<typename TypeParam::Context> task =
      this->Create([end = this->NoteAtEnd("callable destroyed")] {});
  this->pool.TakeCalls();
  this->Close(*task.lock());
  EXPECT_TRUE(task.expired());
  EXPECT_THAT(this->pool.TakeCalls(), this->EndsObject("object1", {}, {"callable destroyed"}));
}

TYPED_TEST(WindowsThreadPoolExecutorTest, KeepsTheCallableWhileAClosedContextIsHeld) {
  auto context = this->Create([end = this->NoteAtEnd("callable destroyed")] {});
  this->Close(*context);
  this->pool.TakeCalls();
  context.reset();
  EXPECT_THAT(this->pool.TakeCalls(), ElementsAre("callable destroyed"));
}

TYPED_TEST(WindowsThreadPoolExecutorTest, DisassociatesBeforeItClosesATaskInItsOwnCallback) {
  std::weak_ptr<typename TypeParam::Context> task;
  task = this->Create([&, end = this->NoteAtEnd("callable destroyed")] {
    const auto context = task.lock();
    this->Close(*context);
    EXPECT_EQ(context->callbackRecord, nullptr);
    EXPECT_EQ(context->handle, nullptr);
    this->pool.Note("task returns");
  });
  this->Run(*task.lock());
  EXPECT_THAT(this->pool.TakeCalls(),
              this->EndsObject("object1", {"DisassociateCurrentThreadFromCallback(instance)"},
                               {"task returns", "callable destroyed"}));
  EXPECT_TRUE(task.expired());
}

TYPED_TEST(WindowsThreadPoolExecutorTest, LeavesTheRecordOfAClosedTaskToTheRunThatClosedIt) {
  std::weak_ptr<typename TypeParam::Context> task;
  bool closing = false;
  task = this->Create([&, end = this->NoteAtEnd("callable destroyed")] {
    if (!std::exchange(closing, true)) {
      this->Close(*task.lock());
      this->pool.Note("task returns");
    }
  });
  // Another run, for which the close waits.
  this->pool.OnCall([this](const std::string& call) {
    if (call.starts_with("WaitFor")) {
      std::thread(this->pool.LastObject().run).join();
      this->pool.Note("other run is over");
    }
  });
  this->Run(*task.lock());
  auto expected = TypeParam::EndCalls("object1");
  expected.insert(expected.begin(), "DisassociateCurrentThreadFromCallback(instance)");
  expected.insert(expected.end() - 1, "other run is over");
  expected.insert(expected.end(), {"task returns", "callable destroyed"});
  EXPECT_THAT(this->pool.TakeCalls(), ElementsAreArray(expected));
}

TYPED_TEST(WindowsThreadPoolExecutorTest, ClosesAnotherTaskInACallbackWithoutDisassociating) {
  const auto other = this->Create();
  const auto context = this->Create([&] { this->Close(*other); });
  this->Run(*context);
  EXPECT_THAT(this->pool.TakeCalls(), this->EndsObject("object1"));
  EXPECT_NE(other->callbackRecord, nullptr);
}

TYPED_TEST(WindowsThreadPoolExecutorTest, KeepsTheOtherTasksInOrder) {
  constexpr int kTasks = 4;
  for (int closed = 0; closed < kTasks; ++closed) {
    SCOPED_TRACE(closed);
    this->executor.emplace(nullptr, 0);
    std::vector<std::string> expected;  // the ends of the others
    std::weak_ptr<typename TypeParam::Context> toClose;
    for (int task = 0; task < kTasks; ++task) {
      const auto context = this->Create();
      if (task == closed) {
        toClose = context;
        continue;
      }
      const auto calls = TypeParam::EndCalls("object" + std::to_string(closed * kTasks + task + 1));
      expected.insert(expected.end(), calls.begin(), calls.end());
    }
    this->Close(*toClose.lock());
    this->pool.TakeCalls();
    this->executor.reset();
    EXPECT_THAT(this->pool.TakeCalls(), ElementsAreArray(expected));
  }
}

TYPED_TEST(WindowsThreadPoolExecutorTest, LetsWhatACallableCapturedUseTheExecutorAtItsEnd) {
  auto end = testing_support::AtEnd([&] {
    const auto another = this->Create();
    this->Close(*another);
    this->pool.Note("end");
  });
  const std::weak_ptr<typename TypeParam::Context> task = this->Create([end = std::move(end)] {});
  // The test does not hold the context locked while the task is closed, so that the executor has
  // the last reference.
  typename TypeParam::Context& context = *task.lock();
  this->Close(context);
  EXPECT_EQ(this->pool.TakeCalls().back(), "end");
  EXPECT_TRUE(task.expired());
}

TYPED_TEST(WindowsThreadPoolExecutorTest, NeedsNoEnvironment) {
  this->executor.emplace(nullptr, 0);
  this->pool.TakeCalls();
  this->Create();
  EXPECT_THAT(this->pool.TakeCalls(), ElementsAre(TypeParam::CreateCall("null")));
}

TYPED_TEST(WindowsThreadPoolExecutorTest, MakesNoPlatformCallOfItsOwn) {
  this->executor.reset();
  EXPECT_THAT(this->pool.TakeCalls(), IsEmpty());
}

}  // namespace
}  // namespace tessel::task
