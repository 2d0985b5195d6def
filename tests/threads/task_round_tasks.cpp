#include "task_round_tasks.h"

#include <chrono>
#include <functional>
#include <thread>

namespace threads {
namespace {

using namespace tessel::task;

/// What a work argument points to. Its second end is an access to freed memory.
struct Argument {
  Tally& freed;
  int runs = 0;
};

void Free(void* pointer) {
  auto* argument = static_cast<Argument*>(pointer);
  Check(argument->runs <= 1, "an item is run once at most");
  argument->freed.Add();
  delete argument;
}

void StartOne(TimerTaskExecutor& executor, WtpTimerTaskContext& context, Random& random) {
  if (random.OneIn(4)) {
    executor.StartTimerTaskAt(context, DueTime());
  } else {
    executor.StartTimerTask(context, std::chrono::nanoseconds(0),
                            std::chrono::milliseconds(random.Below(2)));
  }
}
void StartOne(WaitTaskExecutor& executor, WtpWaitTaskContext& context, Random& /*random*/) {
  executor.StartWaitTask(context);
}

void StopOne(TimerTaskExecutor& executor, WtpTimerTaskContext& context) {
  executor.StopTimerTask(context);
}
void StopOne(WaitTaskExecutor& executor, WtpWaitTaskContext& context) {
  executor.StopWaitTask(context);
}
void StopOne(WorkTaskExecutor& /*executor*/, WtpWorkTaskContext& /*context*/) {}

void CloseOne(TimerTaskExecutor& executor, WtpTimerTaskContext& context) {
  executor.CloseTimerTask(context);
}
void CloseOne(WaitTaskExecutor& executor, WtpWaitTaskContext& context) {
  executor.CloseWaitTask(context);
}
void CloseOne(WorkTaskExecutor& executor, WtpWorkTaskContext& context) {
  executor.CloseWorkTask(context);
}

void WaitForOne(TimerTaskExecutor& executor, WtpTimerTaskContext& context) {
  executor.WaitForTimerTask(context);
}
void WaitForOne(WaitTaskExecutor& executor, WtpWaitTaskContext& context) {
  executor.WaitForWaitTask(context);
}
void WaitForOne(WorkTaskExecutor& executor, WtpWorkTaskContext& context) {
  executor.WaitForWorkTask(context);
}

Random& RandomOfCallbacks(std::uint32_t seed, std::uint32_t round) {
  static std::atomic<std::uint32_t> threads = 0;
  static thread_local Random random(seed, round, 300 + threads++);
  return random;
}

}  // namespace

/// Lives while a callable uses contexts, if its round still allows that.
class TaskRound::UseOfContext {
 public:
  explicit UseOfContext(TaskRound& round) : round_(round) { ++round_.usesOfContexts_; }
  ~UseOfContext() { --round_.usesOfContexts_; }
  UseOfContext(const UseOfContext&) = delete;
  UseOfContext& operator=(const UseOfContext&) = delete;
  [[nodiscard]] bool IsAllowed() const { return !round_.ending_; }

 private:
  TaskRound& round_;
};

class TaskRound::Callable {
 public:
  Callable(TaskRound& round, Task& task) : round_(round), task_(task) {}

  void operator()() const { Run(nullptr, nullptr); }
  void operator()(void* first, void* second) const { Run(first, second); }

 private:
  void Run(void* first, void* second) const {
    Check(!task_.closed, "no run begins after the close");
    Check(!round_.isOver_, "no run begins after the executor's end");
    Check(*captured_ == 1, "what was captured is there at the begin");
    round_.runs_.Add();
    task_.runs.Add();
    Count(first);
    Count(second);
    Random& random = RandomOfCallbacks(round_.seed_, round_.round_);
    random.Hesitate();
    const bool hasClosed = !task_.isCalm && random.OneIn(2) && Nest(random);
    Check(*captured_ == 1, "what was captured is there at the end");
    // No close waits for a run that has closed its own task.
    Check(hasClosed || !round_.isOver_, "the executor's end waits for runs");
  }

  void Count(void* pointer) const {
    if (pointer != nullptr) {
      Check(++static_cast<Argument*>(pointer)->runs == 1, "an item is run once");
      round_.runArguments_.Add();
    }
  }

  /// Creates a task, or uses the callable's own. Returns whether it has closed its own.
  bool Nest(Random& random) const {
    round_.nested_.Add();
    const std::uint32_t choice = random.Below(6);
    if (choice == 0) {
      round_.Create(static_cast<Kind>(random.Below(3)), /*isCalm=*/true, ClosedBy::Nobody);
      return false;
    }
    const UseOfContext use(round_);
    if (!use.IsAllowed()) {
      return false;
    }
    if (choice == 1) {
      return round_.Close(task_);
    }
    choice == 2 ? round_.Stop(task_) : round_.Start(task_, random);
    return false;
  }

  friend class TaskRound;
  TaskRound& round_;
  Task& task_;
  std::shared_ptr<int> captured_ = std::make_shared<int>(1);
};

TaskRound::TaskRound(std::uint32_t seed, std::uint32_t round)
    : seed_(seed),
      round_(round),
      owner_(std::make_unique<WindowsThreadPoolExecutor>(/*environment=*/nullptr, /*window=*/0)),
      executor_(*owner_) {}

Task& TaskRound::Create(Kind kind, bool isCalm, ClosedBy closedBy) {
  Task* task = nullptr;
  {
    const std::lock_guard lock(mutex_);
    task = &tasks_.emplace_back();
  }
  task->kind = kind;
  task->isCalm = isCalm;
  task->closedBy = closedBy;
  const Callable callable(*this, *task);
  task->captured = callable.captured_;
  switch (kind) {
    case Kind::Timer:
      task->timer = executor_.CreateTimerTask(callable);
      break;
    case Kind::Wait:
      task->wait = executor_.CreateWaitTask(task->event.Handle(), callable);
      break;
    case Kind::Work:
      task->work = executor_.CreateWorkTask(callable);
      break;
  }
  return *task;
}

bool TaskRound::Start(Task& task, Random& random) {
  starts.Add();
  if (task.kind != Kind::Work) {
    const bool done = With(task, [&](auto& executor, auto& context) {
      if constexpr (!std::is_same_v<decltype(context), WtpWorkTaskContext&>) {
        StartOne(executor, context, random);
      }
    });
    task.kind == Kind::Timer ? TickThreadPool() : task.event.Set();
    return done;
  }
  const auto argument = [&](bool isNull) {
    if (isNull) {
      return WorkArgument(nullptr, nullptr);
    }
    arguments_.Add();
    return WorkArgument(new Argument{freedArguments_}, Free);
  };
  WorkArgument first = argument(random.OneIn(4));
  WorkArgument second = argument(random.OneIn(4));
  const auto context = task.work.lock();
  if (context) {
    GetExecutor(*context).SubmitWorkTask(*context, std::move(first), std::move(second));
  }
  return context != nullptr;
}

bool TaskRound::Stop(Task& task) {
  stops.Add();
  return With(task, [](auto& executor, auto& context) { StopOne(executor, context); });
}

bool TaskRound::Close(Task& task) {
  const bool isFirst = !task.taken.exchange(true, std::memory_order_relaxed);
  if (task.closedBy == ClosedBy::Nobody || (task.closedBy == ClosedBy::One && !isFirst)) {
    return false;
  }
  return With(task, [&](auto& executor, auto& context) {
    closes.Add();
    CloseOne(executor, context);
    if (task.closedBy == ClosedBy::One) {
      task.closed = true;
    }
  });
}

bool TaskRound::WaitFor(Task& task) {
  waits.Add();
  return With(task, [](auto& executor, auto& context) { WaitForOne(executor, context); });
}

void TaskRound::DestroyExecutor() {
  ending_ = true;
  while (usesOfContexts_ != 0) {
    std::this_thread::yield();  // they end by themselves
  }
  owner_.reset();
  isOver_ = true;
}

void TaskRound::CheckAll(Totals& totals) {
  AwaitThreadPool();  // also for the ends of runs that closed their own tasks
  for (const Task& task : tasks_) {
    Check(task.captured.expired(), "callables end with their tasks");
  }
  Check(arguments_.Count() == freedArguments_.Count(), "every argument is freed once");
  totals["tasks: created"] += tasks_.size();
  totals["tasks: started or submitted"] += starts.Count();
  totals["tasks: stopped"] += stops.Count();
  totals["tasks: waited for"] += waits.Count();
  totals["tasks: closed"] += closes.Count();
  totals["tasks: runs"] += runs_.Count();
  totals["tasks: nested operations"] += nested_.Count();
  totals["tasks: arguments"] += arguments_.Count();
  totals["tasks: arguments that were run"] += runArguments_.Count();
}

}  // namespace threads
