// Tasks, against the thread pool's own calls.
#include <windows.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <thread>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "floor.h"
#include "measure.h"
#include "tessel/task/windows_thread_pool_executor.h"

namespace benchmarks {
namespace {

using tessel::task::WindowsThreadPoolExecutor;
using tessel::task::WorkArgument;

// Where threads compete, times of equal bursts differ by several times.
constexpr int kItems = 3000;
constexpr int kManyTurns = 101;

/// Runs `submit` kItems times in each of `count` threads.
template <class Submit>
void SubmitFromThreads(int count, Submit submit) {
  std::vector<std::thread> threads;
  threads.reserve(static_cast<std::size_t>(count));
  for (int index = 0; index < count; ++index) {
    threads.emplace_back([submit] {
      for (int item = 0; item < kItems; ++item) {
        submit();
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

VOID CALLBACK CountRun(PTP_CALLBACK_INSTANCE /*instance*/, PVOID count, PTP_WORK /*work*/) {
  ::InterlockedIncrement(static_cast<LONG*>(count));
}

void KeepArgument(void* /*argument*/) {}

/// Submits from `threads` threads, and waits until all is done.
template <class Submit>
void RunItems(PTP_WORK work, int threads, Submit submit) {
  SubmitFromThreads(threads, submit);
  ::WaitForThreadpoolWorkCallbacks(work, FALSE);
}

TEST(Threads, WorkItems) {
  WindowsThreadPoolExecutor executor(nullptr, 0);
  LONG runs = 0;
  LONG ownRuns = 0;
  const auto task = executor
                        .CreateWorkTask([&ownRuns](void* /*first*/, void* /*second*/) {
                          ::InterlockedIncrement(&ownRuns);
                        })
                        .lock();
  const PTP_WORK work = ::CreateThreadpoolWork(CountRun, &runs, nullptr);
  const auto queue = std::make_unique<FloorQueue>();
  FloorOpenQueue(queue.get());
  const PTP_WORK queueWork = FloorCreateWork(queue.get());
  SRWLOCK taskLock = SRWLOCK_INIT;
  for (const int threads : {1, 2, 3, 4}) {
    const auto submit = [&](auto argument) {
      SubmitFromThreads(threads, [&executor, &task, argument] {
        executor.SubmitWorkTask(*task, argument(), WorkArgument(nullptr, nullptr));
      });
      executor.WaitForWorkTask(*task);
    };
    const Side platform{"platform",
                        [&] { RunItems(work, threads, [work] { ::SubmitThreadpoolWork(work); }); }};
    Compare(fmt::format("work items, threads {}", threads), kManyTurns,
            Side{"tessel", [&] { submit([] { return WorkArgument(nullptr, nullptr); }); }},
            platform, Side{"platform and lock", [&] {
                             RunItems(work, threads, [&] { FloorSubmit(&taskLock, work); });
                           }});
    Compare(fmt::format("work items with an argument, threads {}", threads), kManyTurns,
            Side{"tessel", [&] { submit([&] { return WorkArgument(&ownRuns, KeepArgument); }); }},
            platform, Side{"platform, lock and queue", [&] {
                             RunItems(queueWork, threads, [&] {
                               FloorSubmitCounter(&taskLock, queue.get(), queueWork, &runs);
                             });
                           }});
  }
  ::CloseThreadpoolWork(queueWork);
  FloorCloseQueue(queue.get());
  ::CloseThreadpoolWork(work);
  ASSERT_GT(ownRuns, 0U);
  ASSERT_EQ(ownRuns % kItems, 0U);
}

TEST(Pairs, TimersAndWaits) {
  WindowsThreadPoolExecutor executor(nullptr, 0);
  const HANDLE ran = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
  const HANDLE signal = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
  const auto report = [ran] { ::SetEvent(ran); };
  Compare("timer", kTurns,
          Side{"tessel",
               [&] {
                 const auto timer = executor.CreateTimerTask(report).lock();
                 executor.StartTimerTask(*timer, std::chrono::nanoseconds(0),
                                         std::chrono::nanoseconds(0));
                 ::WaitForSingleObject(ran, INFINITE);
                 executor.CloseTimerTask(*timer);
               }},
          Side{"platform", [&] { FloorRunTimer(ran); }});
  Compare("wait", kTurns,
          Side{"tessel",
               [&] {
                 const auto wait = executor.CreateWaitTask(signal, report).lock();
                 executor.StartWaitTask(*wait);
                 ::SetEvent(signal);
                 ::WaitForSingleObject(ran, INFINITE);
                 executor.CloseWaitTask(*wait);
               }},
          Side{"platform", [&] { FloorRunWait(signal, ran); }});
  ::CloseHandle(signal);
  ::CloseHandle(ran);
}

TEST(Growth, Tasks) {
  for (const std::size_t count : {10U, 100U, 1000U, 10'000U}) {
    Compare(fmt::format("create and close, tasks {}", count), kFewTurns,
            Side{"tessel", [&] {
                   WindowsThreadPoolExecutor executor(nullptr, 0);
                   std::vector<std::shared_ptr<tessel::task::WtpWorkTaskContext>> tasks;
                   tasks.reserve(count);
                   for (std::size_t index = 0; index < count; ++index) {
                     tasks.push_back(executor.CreateWorkTask([](void*, void*) {}).lock());
                   }
                   for (const auto& task : tasks) {
                     executor.CloseWorkTask(*task);
                   }
                 }});
  }
}

}  // namespace
}  // namespace benchmarks
