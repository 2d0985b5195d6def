// Tasks, against the thread pool's own calls.
#include <windows.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <memory>
#include <thread>
#include <vector>

#include <fmt/format.h>

#include "floor.h"
#include "measure.h"
#include "tessel/task/windows_thread_pool_executor.h"

namespace benchmarks {
namespace {

using tessel::task::WindowsThreadPoolExecutor;
using tessel::task::WorkArgument;

constexpr int kItems = 10'000;

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
  ++*static_cast<std::atomic<int>*>(count);
}

void KeepArgument(void* /*argument*/) {}

TEST_CASE("work items", "[threads]") {
  for (const int threads : {1, 2, 3, 4}) {
    WindowsThreadPoolExecutor executor(nullptr, 0);
    std::atomic<int> runs = 0;
    const auto task = executor.CreateWorkTask([&runs](void*, void*) { ++runs; }).lock();
    const PTP_WORK work = ::CreateThreadpoolWork(CountRun, &runs, nullptr);
    const auto submitted = [&](auto argument) {
      SubmitFromThreads(threads, [&executor, &task, argument] {
        executor.SubmitWorkTask(*task, argument(), WorkArgument(nullptr, nullptr));
      });
      executor.WaitForWorkTask(*task);
    };
    const Side platform{"platform", [&] {
                          SubmitFromThreads(threads, [work] { ::SubmitThreadpoolWork(work); });
                          ::WaitForThreadpoolWorkCallbacks(work, FALSE);
                        }};
    Compare(fmt::format("work items, threads {}", threads), kTurns,
            Side{"tessel", [&] { submitted([] { return WorkArgument(nullptr, nullptr); }); }},
            platform);
    Compare(fmt::format("work items with an argument, threads {}", threads), kTurns,
            Side{"tessel", [&] { submitted([&] { return WorkArgument(&runs, KeepArgument); }); }},
            platform);
    ::CloseThreadpoolWork(work);
    REQUIRE(runs % kItems == 0);
  }
}

TEST_CASE("timers and waits", "[pairs]") {
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

TEST_CASE("tasks", "[growth]") {
  for (const std::size_t count : {10U, 100U, 1000U, 10'000U}) {
    Compare(fmt::format("create and close, tasks {}", count), kFewTurns,
            Side{"tessel", [&] {
                   WindowsThreadPoolExecutor executor(nullptr, 0);
                   std::vector<std::shared_ptr<tessel::task::WtpWorkTaskContext>> tasks;
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
