// Tasks of every kind on the platform's own thread pool.
#include <windows.h>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock-matchers.h>

#include "support/handle_count.h"
#include "support/task_kinds.h"
#include "support/test_event.h"
#include "task_context.h"
#include "tessel/task/windows_thread_pool_executor.h"

namespace tessel::task {
namespace {

using testing_support::AtEnd;
using testing_support::HandleCount;
using testing_support::TestEvent;

template <class Kind>
class PooledTaskTest : public ::testing::Test {
 protected:
  std::weak_ptr<typename Kind::Context> Create(std::function<void()> task) {
    return kind.Create(*executor, std::move(task));
  }
  void Run(typename Kind::Context& context) { Kind::Run(*executor, context); }
  void Close(typename Kind::Context& context) {
    testing_support::CloseTask<Kind>(*executor, context);
  }
  // Runs a task that keeps running until `wait` has begun to wait for its callbacks. Returns
  // whether the run had finished when `wait` returned.
  bool FinishesBefore(const std::function<void(typename Kind::Context&)>& wait) {
    const TestEvent began;
    const TestEvent waiting;
    std::atomic<bool> finished = false;
    const auto context = Create([&] {
                           began.Set();
                           waiting.Await("the wait for the callback");
                           finished = true;
                         }).lock();
    typename Kind::WaitHook hook([&](auto object, BOOL cancelPending) {
      waiting.Set();
      hook.Original()(object, cancelPending);
    });
    Run(*context);
    began.Await("the run");
    wait(*context);
    return finished;
  }

  Kind kind;
  std::optional<WindowsThreadPoolExecutor> executor{std::in_place, nullptr, 0};
};
TYPED_TEST_SUITE(PooledTaskTest, testing_support::TaskKinds);

TYPED_TEST(PooledTaskTest, RunsOnAnotherThread) {
  const TestEvent ran;
  DWORD threadOfTask = 0;
  const auto context = this->Create([&] {
                             threadOfTask = ::GetCurrentThreadId();
                             ran.Set();
                           })
                           .lock();
  this->Run(*context);
  ran.Await("the run");
  this->Close(*context);
  EXPECT_NE(threadOfTask, ::GetCurrentThreadId());
}

TYPED_TEST(PooledTaskTest, WaitsUntilTheRunHasFinished) {
  EXPECT_TRUE(this->FinishesBefore([this](auto& context) {
    testing_support::WaitForTask<TypeParam>(*this->executor, context);
  }));
}

TYPED_TEST(PooledTaskTest, IsClosedWhenTheRunHasFinished) {
  EXPECT_TRUE(this->FinishesBefore([this](auto& context) { this->Close(context); }));
}

TYPED_TEST(PooledTaskTest, EndsWithItsExecutorWhenTheRunHasFinished) {
  const TestEvent began;
  const TestEvent waiting;
  std::atomic<bool> finished = false;
  const auto task = this->Create([&] {
    began.Set();
    waiting.Await("the wait for the callback");
    finished = true;
  });
  typename TypeParam::WaitHook hook([&](auto object, BOOL cancelPending) {
    waiting.Set();
    hook.Original()(object, cancelPending);
  });
  this->Run(*task.lock());
  began.Await("the run");
  this->executor.reset();
  EXPECT_TRUE(finished);
  EXPECT_TRUE(task.expired());
}

TYPED_TEST(PooledTaskTest, IsClosedFromInsideItsOwnRun) {
  constexpr int kTasks = 1000;
  const TestEvent allEnded;
  std::atomic<int> ended = 0;
  std::atomic<int> earlyEnds = 0;
  std::vector<std::weak_ptr<typename TypeParam::Context>> tasks(kTasks);
  for (auto& task : tasks) {
    auto running = std::make_shared<std::atomic<bool>>(false);
    auto end = AtEnd([&, running] {
      earlyEnds += *running ? 1 : 0;
      if (++ended == kTasks) {
        allEnded.Set();
      }
    });
    task = this->Create([this, &task, running, end = std::move(end)] {
      *running = true;
      this->Close(*task.lock());
      *running = false;
    });
    this->Run(*task.lock());
  }
  allEnded.Await("the end of every callable");
  EXPECT_EQ(earlyEnds, 0);
  for (const auto& task : tasks) {
    EXPECT_TRUE(task.expired());
  }
}

TYPED_TEST(PooledTaskTest, LeavesNoHandlesOpen) {
  constexpr unsigned kCycles = 1000;
  const auto cycle = [this] {
    const TestEvent ran;
    const auto task = this->Create([&] { ran.Set(); });
    this->Run(*task.lock());
    ran.Await("the run");
    this->Close(*task.lock());
  };
  for (unsigned i = 0; i < kCycles / 10; ++i) {
    cycle();
  }
  const std::size_t before = HandleCount();
  for (unsigned i = 0; i < kCycles; ++i) {
    cycle();
  }
  // The pool may have started a few threads of its own meanwhile.
  EXPECT_LE(HandleCount(), before + kCycles / 100);
}

TYPED_TEST(PooledTaskTest, ServesManyThreadsAtOnce) {
  constexpr int kThreads = 4;
  constexpr int kTasks = 200;
  std::atomic<int> runs = 0;
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < kTasks; ++n) {
        const TestEvent ran;
        const auto task = this->Create([&] {
          ++runs;
          ran.Set();
        });
        this->Run(*task.lock());
        ran.Await("the run");
        this->Close(*task.lock());
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(runs, kThreads * kTasks);
}

}  // namespace
}  // namespace tessel::task
