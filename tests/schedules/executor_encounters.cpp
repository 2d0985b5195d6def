// Destroying an executor while other threads use it, and several threads that use one executor.
#include <chrono>
#include <memory>
#include <optional>
#include <utility>

#include "encounters.h"
#include "memory.h"
#include "task_kinds.h"

namespace schedules {
namespace {

/// The destructor waits for the thread that holds the context, which starts the task meanwhile.
template <class Kind>
void EndUnderLockedContext() {
  auto executor = MakeExecutor();
  Task<Kind> task(*executor);
  Task<Kind> other(*executor);
  bool isGone = false;
  const Thread user("user", [&] {
    if (const auto context = task.Lock()) {
      Kind::Start(*context);
      Touch();
      Check(!isGone, "the executor is there while a context is held");
    }
  });
  const Thread owner("owner", [&] {
    executor.reset();
    Touch();
    isGone = true;
    Check(task.Captures() == 0 && other.Captures() == 0, "callables end before the executor");
  });
}

/// The same for a thread that closes the task.
template <class Kind>
void EndAndClose() {
  auto executor = MakeExecutor();
  Task<Kind> task(*executor);
  task.Start();
  auto held = task.Lock();
  const Thread user("user", [&, held = std::move(held)]() mutable {
    Kind::Close(*held);
    held.reset();
  });
  const Thread owner("owner", [&] { executor.reset(); });
}

/// An object that a callable captured uses the executor when it is destroyed.
class UserAtEnd {
 public:
  explicit UserAtEnd(WindowsThreadPoolExecutor& executor) : executor_(executor) {}
  ~UserAtEnd() {
    Task<TimerKind> task(executor_);
    task.Close();
  }
  UserAtEnd(const UserAtEnd&) = delete;
  UserAtEnd& operator=(const UserAtEnd&) = delete;

 private:
  WindowsThreadPoolExecutor& executor_;
};

void CloseWhatUsesTheExecutorAtItsEnd() {
  const auto executor = MakeExecutor();
  const auto context =
      executor->CreateWorkTask([user = std::make_shared<UserAtEnd>(*executor)](void*, void*) {});
  const Thread closer("closer", [&] {
    tessel::task::WtpWorkTaskContext* const open = context.lock().get();
    executor->CloseWorkTask(*open);  // the executor drops the last reference
  });
}

void EndWhatUsesTheExecutorAtItsEnd() {
  auto executor = MakeExecutor();
  auto held =
      executor->CreateWorkTask([user = std::make_shared<UserAtEnd>(*executor)](void*, void*) {})
          .lock();
  const Thread user("user", [held = std::move(held)]() mutable { held.reset(); });
  const Thread owner("owner", [&] { executor.reset(); });
}

/// Locked contexts of all kinds: the destructor waits for the last of them.
void EndUnderContextsOfAllKinds() {
  auto executor = MakeExecutor();
  const Task<TimerKind> timer(*executor);
  const Task<WaitKind> wait(*executor);
  const Task<WorkKind> work(*executor);
  const Thread first("first", [timer = timer.Lock(), work = work.Lock()]() mutable {
    timer.reset();
    work.reset();
  });
  const Thread second("second", [wait = wait.Lock()]() mutable { wait.reset(); });
  executor.reset();
}

/// The destructor waits for a callable that creates a task, and closes that task too.
template <class Kind, class CreatedKind>
void EndAndCreate() {
  auto executor = MakeExecutor();
  std::optional<Task<CreatedKind>> created;
  Task<Kind> task(*executor, /*closers=*/1, [&](Task<Kind>& /*self*/) {
    if (!created) {
      created.emplace(*executor);
    }
  });
  task.Start();
  const Thread owner("owner", [&] { executor.~unique_ptr(); });
}

/// The same, and another thread holds the new context: the destructor waits for that too.
void EndAndCreateWhatIsHeld() {
  auto executor = MakeExecutor();
  std::optional<Task<TimerKind>> created;
  std::shared_ptr<TimerKind::Context> held;
  bool isGone = false;
  Task<WorkKind> task(*executor, /*closers=*/1, [&](Task<WorkKind>& /*self*/) {
    created.emplace(*executor);
    held = created->Lock();
    Touch();
  });
  task.Start();
  const Thread owner("owner", [&] {
    executor.~unique_ptr();
    Touch();
    isGone = true;
    Check(!created || created->Captures() == 0, "callables end before the executor");
  });
  const Thread holder("holder", [&] {
    {
      const InPlatform platform;
      Await({"waits for a context"}, Ready([&] { return held != nullptr || isGone; }));
    }
    held.reset();
  });
}

/// A periodic timer.
void EndUnderPeriodicTimer() {
  auto executor = MakeExecutor();
  const Task<TimerKind> task(*executor);
  constexpr std::chrono::milliseconds kPeriod{1};
  executor->StartTimerTask(*task.Lock(), kPeriod, kPeriod);
  const Thread owner("owner", [&] { executor.reset(); });
}

/// A timer that arms itself, and is closed before the end; another thread holds its context.
void EndAfterCloseOfRearmingTimer() {
  auto executor = MakeExecutor();
  Task<TimerKind> task(*executor, /*closers=*/1, [](Task<TimerKind>& self) { self.Start(); });
  task.Start();
  const Thread owner("owner", [&] {
    task.Close();
    executor.reset();
  });
}

/// Items that no run has taken are freed with their task.
void EndUnderItems() {
  auto executor = MakeExecutor();
  Task<WorkKind> task(*executor);
  task.Start();
  task.Start();
  const Thread owner("owner", [&] { executor.reset(); });
}

template <class Kind>
void EndWithoutObject() {
  FailCreations();
  auto executor = MakeExecutor();
  const Task<Kind> task(*executor);
  const Thread user("user", [held = task.Lock()]() mutable { held.reset(); });
  executor.reset();
  Check(CountCalls() == 0, "nothing is called for an object that there is not");
}

/// Destroying an executor needs no memory.
template <class Kind>
void EndWithoutMemory() {
  auto executor = MakeExecutor();
  const Task<Kind> task(*executor);
  const Task<Kind> other(*executor);
  const Thread user("user", [held = task.Lock()]() mutable { held.reset(); });
  const Thread owner("owner", [&] {
    FailAllocation(1);
    executor.reset();
    FailAllocation(0);
  });
}

/// Two threads, each with a task of its own: the executor's lists stay intact.
template <class Kind>
void CreateAndCreate() {
  const auto executor = MakeExecutor();
  const auto live = [&] {
    Task<Kind> task(*executor);
    task.Close();
  };
  const Thread first("first", live);
  const Thread second("second", live);
}

/// When a wait for a task returns, all runs that were posted before it have ended.
void SubmitAndWaitFor() {
  const auto executor = MakeExecutor();
  Task<WorkKind> task(*executor);
  const Thread waiter("waiter", [&] {
    task.Start();
    task.WaitFor();
    Check(task.Runs() == 1, "a wait waits for the run");
  });
}

/// Two threads submit, and each item is run.
void SubmitAndSubmit() {
  const auto executor = MakeExecutor();
  Task<WorkKind> task(*executor);
  {
    const Thread first("first", [&] { task.Start(); });
    const Thread second("second", [&] { task.Start(); });
  }
  task.WaitFor();
  Check(task.Runs() == 2, "every submit is run");
}

}  // namespace

Encounters ExecutorEncounters() {
  return {
      {"executor/end-locked/timer", EndUnderLockedContext<TimerKind>},
      {"executor/end-locked/wait", EndUnderLockedContext<WaitKind>},
      {"executor/end-locked/work", EndUnderLockedContext<WorkKind>},
      {"executor/end-close/timer", EndAndClose<TimerKind>},
      {"executor/end-close/wait", EndAndClose<WaitKind>},
      {"executor/end-close/work", EndAndClose<WorkKind>},
      {"executor/close-use-at-end", CloseWhatUsesTheExecutorAtItsEnd},
      {"executor/end-use-at-end", EndWhatUsesTheExecutorAtItsEnd},
      {"executor/end-locked-all-kinds", EndUnderContextsOfAllKinds},
      {"executor/end-create/timer-timer", EndAndCreate<TimerKind, TimerKind>},
      {"executor/end-create/work-timer", EndAndCreate<WorkKind, TimerKind>},
      {"executor/end-create/wait-work", EndAndCreate<WaitKind, WorkKind>},
      {"executor/end-create-held", EndAndCreateWhatIsHeld},
      {"executor/end-periodic", EndUnderPeriodicTimer},
      {"executor/close-rearm-end", EndAfterCloseOfRearmingTimer},
      {"executor/end-items", EndUnderItems},
      {"executor/end-no-object/timer", EndWithoutObject<TimerKind>},
      {"executor/end-no-object/wait", EndWithoutObject<WaitKind>},
      {"executor/end-no-memory/timer", EndWithoutMemory<TimerKind>},
      {"executor/end-no-memory/work", EndWithoutMemory<WorkKind>},
      {"executor/create-create/timer", CreateAndCreate<TimerKind>},
      {"executor/create-create/work", CreateAndCreate<WorkKind>},
      {"executor/submit-wait", SubmitAndWaitFor},
      {"executor/submit-submit", SubmitAndSubmit},
  };
}

}  // namespace schedules
