// One interface for the three kinds of task, and a task that checks its own runs.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <utility>

#include "encounters.h"
#include "task_context.h"
#include "tessel/task/windows_thread_pool_executor.h"
#include "thread_pool.h"

namespace schedules {

using tessel::task::WindowsThreadPoolExecutor;

inline std::unique_ptr<WindowsThreadPoolExecutor> MakeExecutor() {
  return std::make_unique<WindowsThreadPoolExecutor>(/*environment=*/nullptr, /*window=*/0);
}

/// kIsOverWhenDisarmed tells whether disarming drops an earlier signal, so that no run begins. That
/// is so for a wait; a run of a timer that was due may still begin.
struct TimerKind {
  using Context = tessel::task::WtpTimerTaskContext;
  static constexpr bool kIsOverWhenDisarmed = false;

  static std::weak_ptr<Context> Create(WindowsThreadPoolExecutor& executor,
                                       std::function<void()> task) {
    return executor.CreateTimerTask(std::move(task));
  }
  static void Start(Context& context) {
    constexpr std::chrono::nanoseconds kNone{0};
    GetExecutor(context).StartTimerTask(context, kNone, kNone);
  }
  static void Stop(Context& context) { GetExecutor(context).StopTimerTask(context); }
  static void WaitFor(Context& context) { GetExecutor(context).WaitForTimerTask(context); }
  static void Close(Context& context) { GetExecutor(context).CloseTimerTask(context); }
};

struct WaitKind {
  using Context = tessel::task::WtpWaitTaskContext;
  static constexpr bool kIsOverWhenDisarmed = true;

  WaitKind() { signalled.Set(); }
  std::weak_ptr<Context> Create(WindowsThreadPoolExecutor& executor, std::function<void()> task) {
    return executor.CreateWaitTask(signalled.Handle(), std::move(task));
  }
  static void Start(Context& context) { GetExecutor(context).StartWaitTask(context); }
  static void Stop(Context& context) { GetExecutor(context).StopWaitTask(context); }
  static void WaitFor(Context& context) { GetExecutor(context).WaitForWaitTask(context); }
  static void Close(Context& context) { GetExecutor(context).CloseWaitTask(context); }

  Event signalled;
};

struct WorkKind {
  using Context = tessel::task::WtpWorkTaskContext;
  static constexpr bool kIsOverWhenDisarmed = false;

  static std::weak_ptr<Context> Create(WindowsThreadPoolExecutor& executor,
                                       const std::function<void()>& task) {
    // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks): the callable goes with its task
    return executor.CreateWorkTask([task](void* first, void* second) {
      Check(second == nullptr, "a run has the pair of its item");
      if (first != nullptr) {
        static_cast<Possession*>(first)->Touch();
      }
      task();
    });
  }
  static void Start(Context& context) {
    GetExecutor(context).SubmitWorkTask(
        context, {new Possession, [](void* thing) { delete static_cast<Possession*>(thing); }},
        {nullptr, nullptr});
  }
  static void Stop(Context& /*context*/) {}
  static void WaitFor(Context& context) { GetExecutor(context).WaitForWorkTask(context); }
  static void Close(Context& context) { GetExecutor(context).CloseWorkTask(context); }
};

/// A task that checks its own runs: each touches what the callable captured, and must begin before
/// the last of the task's closers has returned. It counts its runs.
template <class Kind>
class Task {
 public:
  /// `action` is called in each run.
  explicit Task(WindowsThreadPoolExecutor& executor, int closers = 1,
                std::function<void(Task&)> action = {})
      : closers_(closers),
        action_(std::move(action)),
        context_(kind_.Create(executor, [this, thing = Capture(captures_)] {
          Touch();
          Check(closers_ != 0, "no run begins after the close");
          Check(!Kind::kIsOverWhenDisarmed || !IsDisarmed(),
                "no run begins while a wait is closed");
          ++runs_;
          thing.Touch();
          if (action_) {
            action_(*this);
          }
          thing.Touch();
        })) {}
  Task(const Task&) = delete;
  Task& operator=(const Task&) = delete;

  void Start() { With(&Kind::Start); }
  void Stop() { With(&Kind::Stop); }
  void WaitFor() { With(&Kind::WaitFor); }
  /// The closer that comes first ends the task. When all closers have returned, it has ended.
  void Close() {
    With(&Kind::Close);
    Touch();
    --closers_;
  }
  [[nodiscard]] std::shared_ptr<typename Kind::Context> Lock() const { return context_.lock(); }
  [[nodiscard]] int Runs() const { return runs_; }
  /// The number of copies of what the callable captured.
  [[nodiscard]] int Captures() const { return captures_; }
  Kind& GetKind() { return kind_; }

 private:
  template <class Operation>
  void With(Operation operation) {
    if (const auto context = Lock()) {
      operation(*context);
    }
  }

  class Capture : public Possession {
   public:
    explicit Capture(int& count) : count_(count) { ++count_; }
    Capture(const Capture& other) : Possession(other), count_(other.count_) { ++count_; }
    Capture& operator=(const Capture&) = delete;
    ~Capture() { --count_; }

   private:
    int& count_;
  };

  Kind kind_;
  int closers_;
  int runs_ = 0;
  int captures_ = 0;
  std::function<void(Task&)> action_;
  std::weak_ptr<typename Kind::Context> context_;
};

}  // namespace schedules
