// Closing a task while other threads start, stop and close it.
#include <windows.h>

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
#include "support/import_hook.h"
#include "support/task_kinds.h"
#include "support/test_event.h"
#include "tessel/task/windows_thread_pool_executor.h"

namespace tessel::task {
namespace {

using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using testing_support::ImportHook;
using testing_support::TestEvent;

// On a thread pool whose every call a test can hold up.
template <class Kind>
class TaskCloseTest : public testing_support::FakedTaskTest<Kind> {
 protected:
  TaskCloseTest() { this->pool.Name(WaitHandle(this->kind), "handle"); }
  void Start() { Kind::Run(*this->executor, *context); }
  void Stop() { Kind::Stop(*this->executor, *context); }
  void Close() { testing_support::CloseTask<Kind>(*this->executor, *context); }
  void WhenCallbacksAreWaitedFor(std::function<void()> action) {
    const std::string wait = endCalls.at(endCalls.size() - 2);
    this->pool.OnCall([wait, action = std::move(action)](const std::string& call) {
      if (call == wait) {
        action();
      }
    });
  }

  void RenewTask() {
    context = this->Create();
    this->pool.TakeCalls();
  }

  const std::vector<std::string> endCalls = Kind::EndCalls("object1");
  std::shared_ptr<typename Kind::Context> context = this->Create();

 private:
  static const void* WaitHandle(const testing_support::WaitKind& wait) {
    return wait.signalled.Handle();
  }
  template <class Other>
  static const void* WaitHandle(const Other& /*kind*/) {
    return nullptr;
  }
};
TYPED_TEST_SUITE(TaskCloseTest, testing_support::TaskKinds);

TYPED_TEST(TaskCloseTest, LeavesNothingToDoForThoseWhoStillHoldTheContext) {
  this->Close();
  this->pool.TakeCalls();
  this->Start();
  this->Stop();
  this->Close();
  EXPECT_THAT(this->pool.TakeCalls(), IsEmpty());
}

TYPED_TEST(TaskCloseTest, IsDoneOnce) {
  this->WhenCallbacksAreWaitedFor([this] { this->Close(); });
  this->pool.TakeCalls();
  this->Close();
  EXPECT_THAT(this->pool.TakeCalls(), ElementsAreArray(this->endCalls));
}

TYPED_TEST(TaskCloseTest, LetsNoRunThatItWaitsForStartTheTaskAgain) {
  this->WhenCallbacksAreWaitedFor([this] { this->Start(); });
  this->pool.TakeCalls();
  this->Close();
  EXPECT_THAT(this->pool.TakeCalls(), ElementsAreArray(this->endCalls));
}

// A call that came before the close has finished with the object before the close begins to end it.
// The scheduler decides how far each thread gets, so the test runs many rounds. Every order must
// pass.
TYPED_TEST(TaskCloseTest, BeginsToEndTheObjectWhenTheLastStartIsOver) {
  for (int round = 0; round < 20; ++round) {
    this->RenewTask();
    const TestEvent starting;
    const TestEvent closing;
    const TestEvent ending;
    const std::thread::id closer = std::this_thread::get_id();
    this->pool.OnCall([&](const std::string& /*call*/) {
      if (std::this_thread::get_id() == closer) {
        ending.Set();
        return;
      }
      starting.Set();
      closing.Await("the close, which waits at the lock");
      for (int i = 0; i < 100; ++i) {
        std::this_thread::yield();  // lets the closing thread get ahead
      }
      EXPECT_FALSE(ending.IsSet());
    });
    using LockHook = ImportHook<"AcquireSRWLockExclusive", decltype(::AcquireSRWLockExclusive)>;
    const LockHook lockHook([&](PSRWLOCK lock) {
      closing.Set();
      LockHook::Original()(lock);
    });
    std::thread other([&] { this->Start(); });
    starting.Await("the start");
    EXPECT_EQ(this->pool.TakeCalls().size(), 1U);
    this->Close();
    other.join();
    EXPECT_THAT(this->pool.TakeCalls(), SizeIs(this->endCalls.size()));
    this->pool.OnCall(nullptr);
  }
}

// Threads may start and stop a task at the same time.
TYPED_TEST(TaskCloseTest, LeavesTheLockToAllWhoStartUntilThen) {
  const TestEvent inside;
  const TestEvent secondStart;
  this->pool.OnCall([&](const std::string& /*call*/) {
    if (!inside.IsSet()) {
      inside.Set();
      secondStart.Await("another start, while the first one is in its call");
    }
  });
  std::thread other([&] { this->Start(); });
  inside.Await("the start");
  this->Start();
  secondStart.Set();
  other.join();
  this->pool.OnCall(nullptr);
}

// On the platform's own pool.
template <class Kind>
class TaskCloseRaceTest : public ::testing::Test {
 protected:
  static constexpr int kRounds = 60;

  // Starts and stops a task on two threads while this thread calls `close`, and for some rounds
  // after it has returned. The callable calls `inside` in the middle of each run.
  void Round(const std::function<void(typename Kind::Context&)>& inside,
             const std::function<void(typename Kind::Context&)>& close) {
    std::atomic<int> running = 0;
    std::atomic<bool> ended = false;
    std::atomic<int> failures = 0;
    const TestEvent end;
    auto noteEnd = testing_support::AtEnd([&] {
      ended = true;
      failures += running;
      end.Set();
    });
    std::weak_ptr<typename Kind::Context> task;
    task = kind.Create(executor, [&, noteEnd = std::move(noteEnd)] {
      ++running;
      failures += closed || ended ? 1 : 0;
      if (const auto context = task.lock()) {
        inside(*context);
      }
      --running;
    });
    auto context = task.lock();
    closed = false;
    std::atomic<bool> over = false;
    constexpr std::size_t kThreads = 2;
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    while (threads.size() < kThreads) {
      threads.emplace_back([&] {
        for (int afterwards = 0; afterwards < 10; afterwards += over ? 1 : 0) {
          Kind::Run(executor, *context);
          Kind::Stop(executor, *context);
          Kind::Run(executor, *context);
        }
      });
    }
    close(*context);
    over = true;
    for (auto& thread : threads) {
      thread.join();
    }
    context.reset();
    end.Await("the end of the callable");
    EXPECT_TRUE(task.expired());
    EXPECT_EQ(failures, 0);
  }
  void Close(typename Kind::Context& context) {
    testing_support::CloseTask<Kind>(executor, context);
  }

  void CloseForGood(typename Kind::Context& context) {
    Close(context);
    closed = true;
  }

  Kind kind;
  WindowsThreadPoolExecutor executor{nullptr, 0};
  std::atomic<bool> closed = false;
};
TYPED_TEST_SUITE(TaskCloseRaceTest, testing_support::TaskKinds);

TYPED_TEST(TaskCloseRaceTest, ClosesFromOutside) {
  for (int round = 0; round < this->kRounds; ++round) {
    this->Round([](auto& /*context*/) {}, [this](auto& context) { this->CloseForGood(context); });
  }
}

TYPED_TEST(TaskCloseRaceTest, ClosesFromOutsideWhileItsRunsStartItAgain) {
  // Only a few starts: each but the last makes a run that never ends, and the pool's queue grows.
  for (int round = 0; round < 5; ++round) {
    this->Round([this](auto& context) { TypeParam::Run(this->executor, context); },
                [this](auto& context) { this->CloseForGood(context); });
  }
}

TYPED_TEST(TaskCloseRaceTest, ClosesFromInside) {
  for (int round = 0; round < this->kRounds; ++round) {
    const TestEvent closedByRun;
    this->Round(
        [&](auto& context) {
          this->Close(context);
          closedByRun.Set();
        },
        [&](auto& /*context*/) { closedByRun.Await("the close by a run"); });
  }
}

TYPED_TEST(TaskCloseRaceTest, ClosesFromInsideAndOutsideAtOnce) {
  for (int round = 0; round < this->kRounds; ++round) {
    this->Round([this](auto& context) { this->Close(context); },
                [this](auto& context) { this->Close(context); });
  }
}

}  // namespace
}  // namespace tessel::task
