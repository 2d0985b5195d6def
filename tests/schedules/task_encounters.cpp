// One task that several threads use, and its own callable.
#include <new>
#include <stdexcept>

#include "encounters.h"
#include "memory.h"
#include "task_kinds.h"

namespace schedules {
namespace {

template <class Kind>
void StartAndClose() {
  const auto executor = MakeExecutor();
  Task<Kind> task(*executor);
  const Thread starter("starter", [&] { task.Start(); });
  const Thread closer("closer", [&] { task.Close(); });
}

/// The item that is queued before is run, or freed with the task.
void SubmitAndClose() {
  const auto executor = MakeExecutor();
  Task<WorkKind> task(*executor);
  task.Start();
  const Thread submitter("submitter", [&] { task.Start(); });
  const Thread closer("closer", [&] { task.Close(); });
}

template <class Kind>
void StopAndClose() {
  const auto executor = MakeExecutor();
  Task<Kind> task(*executor);
  task.Start();
  const Thread stopper("stopper", [&] { task.Stop(); });
  const Thread closer("closer", [&] { task.Close(); });
}

void StopSignalAndClose() {
  const auto executor = MakeExecutor();
  Task<WaitKind> task(*executor);
  task.GetKind().signalled.Reset();
  task.Start();
  const Thread stopper("stopper", [&] { task.Stop(); });
  const Thread signaller("signaller", [&] { task.GetKind().signalled.Set(); });
  const Thread closer("closer", [&] { task.Close(); });
}

template <class Kind>
void CloseAndClose() {
  const auto executor = MakeExecutor();
  Task<Kind> task(*executor, /*closers=*/2);
  task.Start();
  const Thread first("first", [&] { task.Close(); });
  const Thread second("second", [&] { task.Close(); });
}

template <class Kind>
void CloseInsideAndOutside() {
  const auto executor = MakeExecutor();
  // The closers are a run and a thread.
  Task<Kind> task(*executor, /*closers=*/2, [](Task<Kind>& self) { self.Close(); });
  task.Start();
  const Thread closer("closer", [&] { task.Close(); });
}

template <class Kind>
void RearmAndClose() {
  const auto executor = MakeExecutor();
  Task<Kind> task(*executor, /*closers=*/1, [](Task<Kind>& self) {
    if (self.Runs() < 3) {
      self.Start();
    }
  });
  task.Start();
  const Thread closer("closer", [&] { task.Close(); });
}

template <class Kind>
void CloseInsideAndStart() {
  const auto executor = MakeExecutor();
  // Both runs may reach their close.
  Task<Kind> task(*executor, /*closers=*/9, [](Task<Kind>& self) { self.Close(); });
  task.Start();
  const Thread starter("starter", [&] { task.Start(); });
}

/// Two runs at the same time, one of which closes the task, while a thread uses the context.
void CloseInsideOneOfTwoRuns() {
  const auto executor = MakeExecutor();
  Task<WorkKind> task(*executor, /*closers=*/9, [](Task<WorkKind>& self) {
    if (self.Runs() == 1) {
      self.Close();
    }
  });
  task.Start();
  task.Start();
}

template <class Kind>
void Throw() {
  const auto executor = MakeExecutor();
  Task<Kind> task(*executor, /*closers=*/2, [](Task<Kind>& self) {
    self.Close();
    throw std::runtime_error("out of a callable");
  });
  task.Start();
  const Thread closer("closer", [&] { task.Close(); });
}

template <class Kind>
void ThrowAndClose() {
  const auto executor = MakeExecutor();
  Task<Kind> task(*executor, /*closers=*/1,
                  [](Task<Kind>& /*self*/) { throw std::runtime_error("out of a callable"); });
  task.Start();
  const Thread starter("starter", [&] { task.Start(); });
  const Thread closer("closer", [&] { task.Close(); });
}

/// For a null object only the calls that end an object are made.
template <class Kind>
void CloseWithoutObject() {
  FailCreations();
  const auto executor = MakeExecutor();
  Task<Kind> task(*executor, /*closers=*/2);
  const Thread first("first", [&] { task.Close(); });
  const Thread second("second", [&] { task.Close(); });
}

/// Everything that was made so far is released, and the executor's other tasks are not affected.
template <class Kind>
void CreateWithoutMemory() {
  const auto executor = MakeExecutor();
  Task<Kind> other(*executor);
  other.Start();
  const Thread creator("creator", [&] {
    FailAllocation(1 + Choose(8, "fails to allocate:"));
    try {
      static_cast<void>(Kind().Create(*executor, [thing = Possession()] { thing.Touch(); }));
      FailAllocation(0);
    } catch (const std::bad_alloc&) {
      Check(HasAllocationFailed(), "there was no memory");
    }
  });
  const Thread closer("closer", [&] { other.Close(); });
}

}  // namespace

Encounters TaskEncounters() {
  return {
      {"task/start-close/timer", StartAndClose<TimerKind>},
      {"task/start-close/wait", StartAndClose<WaitKind>},
      {"task/start-close/work", StartAndClose<WorkKind>},
      {"task/submit-close", SubmitAndClose},
      {"task/stop-close/timer", StopAndClose<TimerKind>},
      {"task/stop-close/wait", StopAndClose<WaitKind>},
      {"task/stop-signal-close", StopSignalAndClose},
      {"task/close-close/timer", CloseAndClose<TimerKind>},
      {"task/close-close/wait", CloseAndClose<WaitKind>},
      {"task/close-close/work", CloseAndClose<WorkKind>},
      {"task/close-inside-outside/timer", CloseInsideAndOutside<TimerKind>},
      {"task/close-inside-outside/wait", CloseInsideAndOutside<WaitKind>},
      {"task/close-inside-outside/work", CloseInsideAndOutside<WorkKind>},
      {"task/rearm-close/timer", RearmAndClose<TimerKind>},
      {"task/rearm-close/wait", RearmAndClose<WaitKind>},
      {"task/rearm-close/work", RearmAndClose<WorkKind>},
      {"task/close-inside-start/timer", CloseInsideAndStart<TimerKind>},
      {"task/close-inside-start/wait", CloseInsideAndStart<WaitKind>},
      {"task/close-inside-start/work", CloseInsideAndStart<WorkKind>},
      {"task/close-inside-one-of-two-runs", CloseInsideOneOfTwoRuns},
      {"task/throw-closed/timer", Throw<TimerKind>},
      {"task/throw-closed/work", Throw<WorkKind>},
      {"task/throw-start-close/wait", ThrowAndClose<WaitKind>},
      {"task/close-close-no-object/timer", CloseWithoutObject<TimerKind>},
      {"task/close-close-no-object/work", CloseWithoutObject<WorkKind>},
      {"task/create-no-memory-close/timer", CreateWithoutMemory<TimerKind>},
      {"task/create-no-memory-close/work", CreateWithoutMemory<WorkKind>},
  };
}

}  // namespace schedules
