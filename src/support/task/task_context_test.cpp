#include "task_context.h"

#include <functional>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock-matchers.h>

#include "support/copy_counter.h"
#include "support/faked_task_test.h"

namespace tessel::task {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

template <class Kind>
class TaskContextTest : public testing_support::FakedTaskTest<Kind> {};
TYPED_TEST_SUITE(TaskContextTest, testing_support::TaskKinds);

TYPED_TEST(TaskContextTest, BeginsWithTheInterfaceThatMadeIt) {
  const auto context = this->Create();
  const typename TypeParam::Interface& creator = *this->executor;
  EXPECT_EQ(&GetExecutor(*context), &creator);
  EXPECT_EQ(context->executor, &creator);
  EXPECT_EQ(static_cast<const void*>(&context->executor), context.get());
}

TYPED_TEST(TaskContextTest, HasItsMembersInOrder) {
  const auto context = this->Create();
  EXPECT_LT(static_cast<const void*>(&context->executor), &context->handle);
  EXPECT_LT(static_cast<const void*>(&context->handle), &context->callbackRecord);
  EXPECT_LT(static_cast<const void*>(&context->callbackRecord), &context->released);
}

TYPED_TEST(TaskContextTest, IsNeitherReleasedNorClosedInTheBeginning) {
  const auto context = this->Create();
  EXPECT_FALSE(context->released);
  EXPECT_FALSE(context->closed);
  EXPECT_FALSE(context->callbackRecord->closedInCallback);
}

TYPED_TEST(TaskContextTest, OwnsItsObject) {
  const auto made = this->Create();
  {
    typename TypeParam::Context context;
    context.callbackRecord = std::move(made->callbackRecord);
    context.handle = std::exchange(made->handle, nullptr);
    this->pool.TakeCalls();
  }
  EXPECT_THAT(this->pool.TakeCalls(), ElementsAreArray(TypeParam::EndCalls("object1")));
}

TYPED_TEST(TaskContextTest, RunsItsCallbackAsTheThreadsCurrentOne) {
  CurrentCallback inside;
  CurrentCallback onOtherThread;
  const auto context = this->Create([&] {
    inside = GetCurrentCallback();
    std::thread([&] { onOtherThread = GetCurrentCallback(); }).join();
  });
  onOtherThread.record = this;
  onOtherThread.instance = this->pool.Instance();

  this->Run(*context);

  EXPECT_EQ(inside.record, context->callbackRecord.get());
  EXPECT_EQ(inside.instance, this->pool.Instance());
  EXPECT_EQ(onOtherThread.record, nullptr);
  EXPECT_EQ(onOtherThread.instance, nullptr);
  EXPECT_EQ(GetCurrentCallback().record, nullptr);
  EXPECT_EQ(GetCurrentCallback().instance, nullptr);
}

TYPED_TEST(TaskContextTest, RunsTheTaskItselfAndNoCopyOfIt) {
  std::vector<int> runs;
  const auto context = this->Create([&runs, run = 0]() mutable { runs.push_back(++run); });
  this->Run(*context);
  this->Run(*context);
  EXPECT_THAT(runs, ElementsAre(1, 2));
}

TYPED_TEST(TaskContextTest, TakesTheTaskOverAsItIs) {
  int copies = 0;
  const auto context = this->Create([counter = testing_support::CopyCounter(copies)] {});
  EXPECT_EQ(copies, 0);
  this->Run(*context);
  EXPECT_EQ(copies, 0);
}

TYPED_TEST(TaskContextTest, LetsWhatTheTaskThrowsThrough) {
  const auto context = this->Create([] { throw 5; });
  EXPECT_THROW(this->Run(*context), int);
  EXPECT_EQ(GetCurrentCallback().record, nullptr);
}

TYPED_TEST(TaskContextTest, FreesARecordClosedInItsCallbackAfterTheTaskAndWithinTheCallback) {
  const void* record = nullptr;
  auto end = testing_support::AtEnd([&] {
    EXPECT_NE(GetCurrentCallback().record, nullptr);
    EXPECT_EQ(GetCurrentCallback().record, record);
    this->pool.Note("callable destroyed");
  });
  std::weak_ptr<typename TypeParam::Context> task;
  task = this->Create([&, end = std::move(end)] {
    const auto* ownRecord = task.lock()->callbackRecord.get();
    record = ownRecord;
    testing_support::CloseTask<TypeParam>(*this->executor, *task.lock());
    EXPECT_TRUE(ownRecord->closedInCallback);
    this->pool.TakeCalls();
    this->pool.Note("task returns");
  });
  this->Run(*task.lock());
  EXPECT_THAT(this->pool.TakeCalls(), ElementsAre("task returns", "callable destroyed"));
  EXPECT_EQ(GetCurrentCallback().record, nullptr);
}

// The work task of the typed tests is never empty.
template <class Kind>
class EmptyTaskTest : public testing_support::FakedTaskTest<Kind> {};
using KindsWithPlainTasks = ::testing::Types<testing_support::TimerKind, testing_support::WaitKind>;
TYPED_TEST_SUITE(EmptyTaskTest, KindsWithPlainTasks);

TYPED_TEST(EmptyTaskTest, RaisesBadFunctionCall) {
  const auto context = this->Create(nullptr);
  EXPECT_THROW(this->Run(*context), std::bad_function_call);
}

using EmptyWorkTaskTest = testing_support::FakedTaskTest<testing_support::WorkKind>;

TEST_F(EmptyWorkTaskTest, RaisesBadFunctionCall) {
  executor->CreateWorkTask(nullptr);
  EXPECT_THROW(pool.LastObject().run(), std::bad_function_call);
}

}  // namespace
}  // namespace tessel::task
