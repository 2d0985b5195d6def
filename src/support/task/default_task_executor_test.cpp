#include "tessel/task/default_task_executor.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include <gmock/gmock-matchers.h>

#include "support/fake_thread_pool.h"
#include "support/test_event.h"
#include "task_context.h"
#include "tessel/task/windows_thread_pool_executor.h"

namespace tessel::task {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using testing_support::FakeThreadPool;
using testing_support::TestEvent;

TEST(DefaultTaskExecutorTest, IsOneAndTheSameForThreadsThatAskAtOnce) {
  constexpr std::size_t kThreads = 16;
  const TestEvent go;
  std::vector<std::shared_ptr<TaskExecutor>> executors(kThreads);
  std::vector<std::thread> threads;
  threads.reserve(executors.size());
  for (auto& executor : executors) {
    threads.emplace_back([&] {
      go.Await("the start");
      executor = GetDefaultTaskExecutor();
    });
  }
  go.Set();
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_NE(executors.front(), nullptr);
  EXPECT_THAT(executors, Each(GetDefaultTaskExecutor()));
}

TEST(DefaultTaskExecutorTest, UsesTheDefaultPoolAndAllowsTimersNoDelay) {
  FakeThreadPool pool;
  const std::shared_ptr<TaskExecutor> executor = GetDefaultTaskExecutor();
  EXPECT_NE(dynamic_cast<WindowsThreadPoolExecutor*>(executor.get()), nullptr);
  const auto timer = executor->CreateTimerTask([] {}).lock();
  executor->StartTimerTask(*timer, std::chrono::nanoseconds(100), std::chrono::nanoseconds(0));
  EXPECT_THAT(pool.TakeCalls(),
              ElementsAre("CreateThreadpoolTimer(null)", "SetThreadpoolTimer(object1, -1, 0, 0)"));
  executor->CloseTimerTask(*timer);
}

TEST(DefaultTaskExecutorTest, RunsTasks) {
  const TestEvent ran;
  const std::shared_ptr<WorkTaskExecutor> executor = GetDefaultTaskExecutor();
  const auto work = executor->CreateWorkTask([&](void*, void*) { ran.Set(); }).lock();
  executor->SubmitWorkTask(*work, {nullptr, nullptr}, {nullptr, nullptr});
  ran.Await("the run");
  executor->CloseWorkTask(*work);
}

TEST(DefaultTaskExecutorDeathTest, ClosesItsTasksWhenTheProcessExits) {
  ::testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_EXIT(
      {
        auto witness = std::shared_ptr<void>(nullptr, [](void*) {
          std::fputs("closed", stderr);
          std::fflush(stderr);
        });
        GetDefaultTaskExecutor()->CreateTimerTask([witness = std::move(witness)] {});
        std::exit(EXIT_SUCCESS);  // NOLINT(concurrency-mt-unsafe)
      },
      ::testing::ExitedWithCode(EXIT_SUCCESS), "closed");
}

}  // namespace
}  // namespace tessel::task
