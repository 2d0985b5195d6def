// One interface for the three kinds of task, for typed tests of their common behaviour.
#pragma once

#include <windows.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "support/import_hook.h"
#include "support/test_event.h"
#include "task_context.h"
#include "tessel/task/task_executor.h"

namespace testing_support {

/// The names of a kind's platform calls, made from the kind's name in them.
template <class Kind>
struct PlatformCalls {
  /// The call that creates a task's object in a callback environment.
  static std::string CreateCall(const std::string& environment) {
    return Function("Create", "") + "(" + environment + ")";
  }
  /// The calls that end an object.
  static std::vector<std::string> EndCalls(const std::string& object) {
    std::vector<std::string> calls = Kind::DisarmCalls(object);
    calls.push_back(Function("WaitFor", "Callbacks") + "(" + object + ", TRUE)");
    calls.push_back(Function("Close", "") + "(" + object + ")");
    return calls;
  }

 private:
  static std::string Function(const std::string& verb, const std::string& ending) {
    return verb + "Threadpool" + Kind::kName + ending;
  }
};

struct TimerKind : PlatformCalls<TimerKind> {
  using Interface = tessel::task::TimerTaskExecutor;
  using Context = tessel::task::WtpTimerTaskContext;
  using WaitHook =
      ImportHook<"WaitForThreadpoolTimerCallbacks", decltype(::WaitForThreadpoolTimerCallbacks)>;
  static constexpr auto kName = "Timer";
  static constexpr auto kClose = &Interface::CloseTimerTask;
  static constexpr auto kWaitFor = &Interface::WaitForTimerTask;

  static std::vector<std::string> DisarmCalls(const std::string& object) {
    return {"SetThreadpoolTimer(" + object + ", null, 0, 0)"};
  }
  [[nodiscard]] std::weak_ptr<Context> Create(Interface& executor,
                                              std::function<void()> task) const {
    return executor.CreateTimerTask(std::move(task));
  }
  /// Makes the task run once.
  static void Run(Interface& executor, Context& context) {
    executor.StartTimerTask(context, std::chrono::nanoseconds(0), std::chrono::nanoseconds(0));
  }
  static void Stop(Interface& executor, Context& context) { executor.StopTimerTask(context); }
};

struct WaitKind : PlatformCalls<WaitKind> {
  using Interface = tessel::task::WaitTaskExecutor;
  using Context = tessel::task::WtpWaitTaskContext;
  using WaitHook =
      ImportHook<"WaitForThreadpoolWaitCallbacks", decltype(::WaitForThreadpoolWaitCallbacks)>;
  static constexpr auto kName = "Wait";
  static constexpr auto kClose = &Interface::CloseWaitTask;
  static constexpr auto kWaitFor = &Interface::WaitForWaitTask;

  WaitKind() { signalled.Set(); }

  static std::vector<std::string> DisarmCalls(const std::string& object) {
    return {"SetThreadpoolWait(" + object + ", null, null)"};
  }
  [[nodiscard]] std::weak_ptr<Context> Create(Interface& executor,
                                              std::function<void()> task) const {
    return executor.CreateWaitTask(signalled.Handle(), std::move(task));
  }
  static void Run(Interface& executor, Context& context) { executor.StartWaitTask(context); }
  static void Stop(Interface& executor, Context& context) { executor.StopWaitTask(context); }

  TestEvent signalled;
};

struct WorkKind : PlatformCalls<WorkKind> {
  using Interface = tessel::task::WorkTaskExecutor;
  using Context = tessel::task::WtpWorkTaskContext;
  using WaitHook =
      ImportHook<"WaitForThreadpoolWorkCallbacks", decltype(::WaitForThreadpoolWorkCallbacks)>;
  static constexpr auto kName = "Work";
  static constexpr auto kClose = &Interface::CloseWorkTask;
  static constexpr auto kWaitFor = &Interface::WaitForWorkTask;

  static std::vector<std::string> DisarmCalls(const std::string& /*object*/) { return {}; }
  [[nodiscard]] std::weak_ptr<Context> Create(Interface& executor,
                                              std::function<void()> task) const {
    return executor.CreateWorkTask(
        [task = std::move(task)](void* /*first*/, void* /*second*/) { task(); });
  }
  static void Run(Interface& executor, Context& context) {
    executor.SubmitWorkTask(context, {nullptr, nullptr}, {nullptr, nullptr});
  }
  static void Stop(Interface& /*executor*/, Context& /*context*/) {}
};

using TaskKinds = ::testing::Types<TimerKind, WaitKind, WorkKind>;

/// Calls the tests of the kinds Timer, Wait and Work, instead of 0, 1 and 2.
struct KindNames {
  template <class Kind>
  static std::string GetName(int /*index*/) {
    return Kind::kName;
  }
};

template <class Kind>
void CloseTask(typename Kind::Interface& executor, typename Kind::Context& context) {
  (executor.*Kind::kClose)(context);
}
template <class Kind>
void WaitForTask(typename Kind::Interface& executor, typename Kind::Context& context) {
  (executor.*Kind::kWaitFor)(context);
}

/// A callable captures this to report its destruction: `action` is called when the last copy of the
/// result is destroyed.
inline std::shared_ptr<void> AtEnd(std::function<void()> action) {
  return {nullptr, [action = std::move(action)](void*) { action(); }};
}

}  // namespace testing_support
