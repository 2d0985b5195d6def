// Behaviour that only work tasks have.
#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock-more-matchers.h>

#include "support/faked_task_test.h"
#include "support/test_event.h"
#include "task_context.h"
#include "tessel/task/windows_thread_pool_executor.h"

namespace tessel::task {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;
using testing_support::TestEvent;
using testing_support::WorkKind;

WorkArgument Nothing() { return {nullptr, nullptr}; }

class WorkTaskTest : public testing_support::FakedTaskTest<WorkKind> {
 protected:
  WorkTaskTest() { pool.TakeCalls(); }

  // An argument whose end is recorded among the calls.
  WorkArgument Argument(const std::string& name) {
    return {new std::shared_ptr<void>(NoteAtEnd("free " + name)),
            [](void* argument) { delete static_cast<std::shared_ptr<void>*>(argument); }};
  }
  void Submit(WorkArgument first, WorkArgument second) {
    executor->SubmitWorkTask(*context, std::move(first), std::move(second));
  }
  // Runs the callback once. Returns the pointers with which the task was called.
  std::pair<void*, void*> RunOnce() {
    pool.LastObject().run();
    return arguments;
  }

  std::pair<void*, void*> arguments;
  std::function<void()> whenRun = [] {};
  std::shared_ptr<WtpWorkTaskContext> context =
      executor
          ->CreateWorkTask(
              [this, end = NoteAtEnd("callable destroyed")](void* first, void* second) {
                pool.Note("run");
                arguments = {first, second};
                whenRun();
              })
          .lock();
};

TEST_F(WorkTaskTest, RunsWithTheSubmittedPairAndFreesItFromItsEnd) {
  WorkArgument first = Argument("first");
  WorkArgument second = Argument("second");
  const std::pair<void*, void*> submitted(first.get(), second.get());
  Submit(std::move(first), std::move(second));
  EXPECT_THAT(pool.TakeCalls(), ElementsAre("SubmitThreadpoolWork(object1)"));
  EXPECT_EQ(RunOnce(), submitted);
  EXPECT_THAT(pool.TakeCalls(), ElementsAre("run", "free second", "free first"));
}

TEST_F(WorkTaskTest, PostsARunWithoutItemForTwoNullArguments) {
  Submit(Nothing(), Nothing());
  EXPECT_THAT(pool.TakeCalls(), ElementsAre("SubmitThreadpoolWork(object1)"));
  EXPECT_THAT(context->callbackRecord->items, IsEmpty());
  arguments = {this, this};
  EXPECT_EQ(RunOnce(), (std::pair<void*, void*>(nullptr, nullptr)));
}

TEST_F(WorkTaskTest, QueuesAnItemBeforeItPostsTheRun) {
  // The pool may begin the run before the post returns.
  pool.OnCall([this](const std::string& call) {
    if (call == "SubmitThreadpoolWork(object1)") {
      RunOnce();
    }
  });
  WorkArgument first = Argument("first");
  WorkArgument second = Argument("second");
  const std::pair<void*, void*> submitted(first.get(), second.get());
  Submit(std::move(first), std::move(second));
  EXPECT_EQ(arguments, submitted);
  EXPECT_THAT(pool.TakeCalls(),
              ElementsAre("SubmitThreadpoolWork(object1)", "run", "free second", "free first"));
}

TEST_F(WorkTaskTest, QueuesAPairOfWhichOneIsNull) {
  WorkArgument first = Argument("first");
  const std::pair<void*, void*> firstAlone(first.get(), nullptr);
  Submit(std::move(first), Nothing());
  WorkArgument second = Argument("second");
  const std::pair<void*, void*> secondAlone(nullptr, second.get());
  Submit(Nothing(), std::move(second));
  EXPECT_EQ(RunOnce(), firstAlone);
  EXPECT_EQ(RunOnce(), secondAlone);
}

TEST_F(WorkTaskTest, GivesARunWhatIsAtTheFrontThen) {
  Submit(Nothing(), Nothing());
  Submit(Argument("1"), Nothing());
  Submit(Argument("2"), Nothing());
  pool.TakeCalls();
  RunOnce();
  RunOnce();
  RunOnce();
  EXPECT_THAT(pool.TakeCalls(), ElementsAre("run", "free 1", "run", "free 2", "run"));
  EXPECT_EQ(arguments, (std::pair<void*, void*>(nullptr, nullptr)));
}

TEST_F(WorkTaskTest, CanSubmitToItselfWhileItRuns) {
  whenRun = [this] { Submit(Argument("next"), Nothing()); };
  RunOnce();
  EXPECT_THAT(pool.TakeCalls(), ElementsAre("run", "SubmitThreadpoolWork(object1)"));
  whenRun = [] {};
  RunOnce();
  EXPECT_THAT(pool.TakeCalls(), ElementsAre("run", "free next"));
}

TEST_F(WorkTaskTest, WaitsWithoutCancelling) {
  executor->WaitForWorkTask(*context);
  EXPECT_THAT(pool.TakeCalls(), ElementsAre("WaitForThreadpoolWorkCallbacks(object1, FALSE)"));
}

TEST_F(WorkTaskTest, FreesLeftOverItemsFromTheLastOneOn) {
  Submit(Argument("1a"), Argument("1b"));
  Submit(Argument("2a"), Nothing());
  Submit(Argument("3a"), Argument("3b"));
  executor->CloseWorkTask(*context);
  pool.TakeCalls();
  context.reset();
  EXPECT_THAT(pool.TakeCalls(), ElementsAre("free 3b", "free 3a", "free 2a", "free 1b", "free 1a",
                                            "callable destroyed"));
}

TEST_F(WorkTaskTest, FreesAtOnceWhatIsSubmittedWhenItIsClosed) {
  executor->CloseWorkTask(*context);
  pool.TakeCalls();
  Submit(Argument("first"), Argument("second"));
  EXPECT_THAT(pool.TakeCalls(), UnorderedElementsAre("free first", "free second"));
}

TEST_F(WorkTaskTest, FreesItsPairBeforeItselfWhenClosedInItsCallback) {
  Submit(Argument("1a"), Argument("1b"));
  Submit(Argument("2a"), Argument("2b"));
  whenRun = [this] {
    executor->CloseWorkTask(*context);
    pool.TakeCalls();
  };
  RunOnce();
  EXPECT_THAT(pool.TakeCalls(),
              ElementsAre("free 1b", "free 1a", "free 2b", "free 2a", "callable destroyed"));
}

// On the platform's own pool.
TEST(PooledWorkTaskTest, RunsEveryItemOfManyThreadsOnceAndFreesIt) {
  constexpr std::size_t kThreads = 4;
  constexpr std::size_t kItems = 2'500;
  // How often each item was run with its pair, and how often each of its arguments was freed.
  struct Item {
    std::atomic<int> runs = 0;
    std::atomic<int> frees = 0;
  };
  std::vector<Item> items(kThreads * kItems);
  std::atomic<int> brokenPairs = 0;
  WindowsThreadPoolExecutor executor(nullptr, 0);
  const auto context = executor
                           .CreateWorkTask([&](void* first, void* second) {
                             brokenPairs += first != second ? 1 : 0;
                             ++static_cast<Item*>(first)->runs;
                           })
                           .lock();
  const auto free = [](void* item) { ++static_cast<Item*>(item)->frees; };
  const TestEvent go;
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (std::size_t thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      go.Await("the other threads");
      for (std::size_t i = 0; i < kItems; ++i) {
        Item* item = &items[thread * kItems + i];
        executor.SubmitWorkTask(*context, {item, free}, {item, free});
      }
    });
  }
  go.Set();
  for (auto& thread : threads) {
    thread.join();
  }
  executor.WaitForWorkTask(*context);
  EXPECT_EQ(brokenPairs, 0);
  for (const Item& item : items) {
    EXPECT_EQ(item.runs, 1);
    EXPECT_EQ(item.frees, 2);
  }
}

TEST(PooledWorkTaskTest, EndsWithItsExecutorWhileItemsAreQueued) {
  constexpr int kItems = 1000;
  std::atomic<int> runs = 0;
  std::atomic<int> frees = 0;
  const auto free = [](void* count) { ++*static_cast<std::atomic<int>*>(count); };
  const TestEvent began;
  {
    WindowsThreadPoolExecutor executor(nullptr, 0);
    const auto task = executor.CreateWorkTask([&](void* /*first*/, void* /*second*/) {
      ++runs;
      began.Set();
    });
    for (int i = 0; i < kItems; ++i) {
      executor.SubmitWorkTask(*task.lock(), {&frees, free}, Nothing());
    }
    began.Await("the first run");
  }
  EXPECT_LE(runs, kItems);
  EXPECT_EQ(frees, kItems);
}

}  // namespace
}  // namespace tessel::task
