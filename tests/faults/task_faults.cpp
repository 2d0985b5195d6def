// Tasks of each kind: creating, starting, running, stopping, waiting and closing them, and the end
// of the executor.
#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "account.h"
#include "library_texts.h"
#include "support/task_kinds.h"
#include "sweep.h"
#include "tessel/task/windows_thread_pool_executor.h"

namespace faults {
namespace {

using tessel::task::WindowsThreadPoolExecutor;
using tessel::task::WorkArgument;

// Runs the callback of the object that was created last, if there is one.
void RunLast(std::string& text, const std::string& instead) {
  const bool ran = GetPlatform().RunLastObject();
  const Pause pause;
  text += ran ? "" : Line(instead);
}

std::string PassedNull(int calls) {
  return calls == 0 ? "" : Line(std::to_string(calls) + " calls with the null handle");
}

template <class Kind>
class TaskFaults : public ::testing::Test {
 protected:
  static Operation MakeOperation(std::function<std::string()> run, std::string unfaulted,
                                 std::function<std::string(const Fault&)> expect) {
    return {[](const auto& /*sandbox*/) {}, std::move(run), std::move(unfaulted),
            std::move(expect)};
  }
  // The executor. No call fails while it is made and destroyed.
  struct Executor {
    Executor() {
      Unswept([this] { executor.emplace(nullptr, 0); });
    }
    ~Executor() {
      Unswept([this] { executor.reset(); });
    }
    Executor(const Executor&) = delete;
    Executor& operator=(const Executor&) = delete;

    std::optional<WindowsThreadPoolExecutor> executor;
  };

  Kind kind;
};

TYPED_TEST_SUITE(TaskFaults, testing_support::TaskKinds);

TYPED_TEST(TaskFaults, Create) {
  Sweep(this->MakeOperation(
      [&] {
        typename TestFixture::Executor owner;
        return CountedOutcome([&] {
          const std::weak_ptr<typename TypeParam::Context> task =
              this->kind.Create(*owner.executor, [] {});
          const Pause pause;
          return Line(task.expired() ? "no task" : "a task");
        });
      },
      "a task\n",
      [](const Fault& fault) {
        return std::string(fault.function == kAllocation ? kOutOfMemory : "a task\n");
      }));
}

// The whole life of a task. After an operation that fails the task can still be closed.
TYPED_TEST(TaskFaults, CreateStartRunStopWaitClose) {
  const std::string whole = "ran\nclosed\n";
  Sweep(this->MakeOperation(
      [&] {
        typename TestFixture::Executor owner;
        auto& executor = *owner.executor;
        std::string text;
        std::weak_ptr<typename TypeParam::Context> task;
        const std::string thrown = Counted([&] {
          task = this->kind.Create(executor, [&] {
            const Pause pause;
            text += "ran\n";
          });
          const auto context = task.lock();
          TypeParam::Run(executor, *context);
          RunLast(text, "not run");
          TypeParam::Stop(executor, *context);
          testing_support::WaitForTask<TypeParam>(executor, *context);
          GetPlatform().LetDisarmingRaise(true);
          testing_support::CloseTask<TypeParam>(executor, *context);
        });
        return thrown + text + Line(task.expired() ? "closed" : "open") +
               PassedNull(GetPlatform().NullHandles());
      },
      whole,
      [&](const Fault& fault) {
        if (fault.function == kAllocation) {
          return kOutOfMemory + std::string("closed\n");
        }
        // Without an object the outcome is the same, except that nothing runs. Start, stop, wait
        // and close pass the null handle on, close in up to three calls.
        const int calls = std::is_same_v<TypeParam, testing_support::WorkKind> ? 4 : 6;
        return fault.function.starts_with("CreateThreadpool")
                   ? "not run\nclosed\n" + PassedNull(calls)
                   : whole;
      }));
}

TYPED_TEST(TaskFaults, CloseInsideTheCallback) {
  Sweep(this->MakeOperation(
      [&] {
        typename TestFixture::Executor owner;
        auto& executor = *owner.executor;
        std::weak_ptr<typename TypeParam::Context> task;
        Unswept([&] {
          task = this->kind.Create(
              executor, [&] { testing_support::CloseTask<TypeParam>(executor, *task.lock()); });
          TypeParam::Run(executor, *task.lock());
        });
        const std::string thrown = Counted([&] {
          GetPlatform().LetDisarmingRaise(true);
          GetPlatform().RunLastObject();
        });
        return thrown + Line(task.expired() ? "closed" : "open");
      },
      "closed\n", [](const Fault& /*fault*/) { return std::string("closed\n"); }));
}

// A destructor cannot report that an allocation failed, so it must not allocate.
TYPED_TEST(TaskFaults, DestroyExecutor) {
  for (const std::size_t count : {1U, 2U}) {
    Sweep(this->MakeOperation(
        [&] {
          typename TestFixture::Executor owner;
          std::vector<std::weak_ptr<typename TypeParam::Context>> tasks(count);
          Unswept([&] {
            for (auto& task : tasks) {
              task = this->kind.Create(*owner.executor, [] {});
            }
            TypeParam::Run(*owner.executor, *tasks.back().lock());
          });
          const std::string thrown = Counted([&] {
            GetPlatform().LetDisarmingRaise(true);
            owner.executor.reset();
          });
          const bool closed = std::all_of(tasks.begin(), tasks.end(),
                                          [](const auto& task) { return task.expired(); });
          return thrown + Line(closed ? "closed" : "open");
        },
        "closed\n", [](const Fault& /*fault*/) { return std::string("closed\n"); }));
  }
}

TEST(TimerFaults, StartAtATime) {
  Sweep({.prepare = [](const auto& /*sandbox*/) {},
         .run =
             [] {
               std::optional<WindowsThreadPoolExecutor> executor;
               std::string text;
               Unswept([&] { executor.emplace(nullptr, 0); });
               const std::string thrown = Counted([&] {
                 const auto task = executor->CreateTimerTask([&] {
                   const Pause pause;
                   text += "ran\n";
                 });
                 executor->StartTimerTaskAt(*task.lock(), tessel::task::DueTime());
                 RunLast(text, "not run");
               });
               Unswept([&] { executor.reset(); });
               return thrown + text;
             },
         .unfaulted = "ran\n",
         .expect =
             [](const Fault& fault) {
               return std::string(fault.function == kAllocation ? kOutOfMemory : "not run\n");
             }});
}

int* Freed() {
  static int freed = 0;
  return &freed;
}
WorkArgument Argument() {
  return {new int(0), [](void* argument) {
            ++*Freed();
            delete static_cast<int*>(argument);
          }};
}

// Each argument is freed once, whether its item was queued, run or left behind.
TEST(WorkFaults, SubmitRunClose) {
  Sweep({.prepare = [](const auto& /*sandbox*/) { *Freed() = 0; },
         .run =
             [] {
               std::optional<WindowsThreadPoolExecutor> executor;
               std::string text;
               int made = 0;
               Unswept([&] { executor.emplace(nullptr, 0); });
               const std::string thrown = Counted([&] {
                 const auto task = executor->CreateWorkTask([&](void* first, void* second) {
                   const Pause pause;
                   text += first != nullptr && second != nullptr ? "ran\n" : "ran without items\n";
                 });
                 for (int item = 0; item < 3; ++item) {
                   WorkArgument first = Argument();
                   ++made;
                   WorkArgument second = Argument();
                   ++made;
                   executor->SubmitWorkTask(*task.lock(), std::move(first), std::move(second));
                 }
                 GetPlatform().RunLastObject();
                 executor->CloseWorkTask(*task.lock());
               });
               Unswept([&] { executor.reset(); });
               return thrown + text + Line(made == *Freed() ? "all freed" : "not all freed");
             },
         .unfaulted = "ran\nall freed\n",
         .expect =
             [](const Fault& fault) {
               if (fault.function == kAllocation) {
                 return kOutOfMemory + std::string("all freed\n");
               }
               return std::string(fault.function == "CreateThreadpoolWork" ? "" : "ran\n") +
                      "all freed\n";
             }});
}

}  // namespace
}  // namespace faults
