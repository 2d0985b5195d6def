// Threads that start, stop, wait for and close the tasks of one executor, which is destroyed
// meanwhile.
#include <array>
#include <latch>
#include <thread>
#include <type_traits>
#include <vector>

#include "rounds.h"
#include "task_round_tasks.h"

namespace threads {
namespace {

constexpr std::uint32_t kDrivers = 4;
constexpr std::uint32_t kSteps = 30;
/// One task of each kind for each way of closing. No thread closes the first ones.
constexpr std::uint32_t kKinds = 3;
constexpr std::uint32_t kSharedTasks = 3 * kKinds;

Task& OneOf(const std::vector<Task*>& tasks, Random& random) {
  return *tasks[random.Below(static_cast<std::uint32_t>(tasks.size()))];
}

/// One operation on a task that other threads use too.
void Use(TaskRound& round, Task& task, Random& random) {
  const std::uint32_t choice = random.Below(20);
  if (choice < 12) {
    round.Start(task, random);
  } else if (choice < 18) {
    round.Stop(task);
  } else if (choice == 18 || random.OneIn(4)) {
    round.Close(task);
  } else {
    TickThreadPool();
  }
}

/// A task that only this thread uses: every item is run before a wait for the task returns.
void CheckOwnTask(TaskRound& round, Random& random) {
  Task& task = round.Create(Kind::Work, /*isCalm=*/true, ClosedBy::One);
  for (std::uint32_t count = random.Below(5); count != 0; --count) {
    round.Start(task, random);
  }
  if (random.OneIn(2)) {
    const auto context = task.work.lock();
    round.WaitFor(task);
    Check(context->callbackRecord->items.empty(), "a wait for a task waits for all its items");
  }
  if (random.OneIn(2)) {
    round.Close(task);
    Check(task.work.expired(), "a close drops the executor's reference");
  }
}

/// A wait task that only this thread uses: after a stop it can be armed again, and then runs once.
void CheckOwnRestart(TaskRound& round, Random& random) {
  Task& task = round.Create(Kind::Wait, /*isCalm=*/true, ClosedBy::Nobody);
  round.With(task, [&](auto& executor, auto& context) {
    if constexpr (std::is_same_v<decltype(context), tessel::task::WtpWaitTaskContext&>) {
      executor.StartWaitTask(context);
      executor.StopWaitTask(context);
    }
  });
  round.Start(task, random);
  round.WaitFor(task);
  Check(task.runs.Count() == 1, "a wait that is armed again runs once");
}

/// A timer or wait task that only this thread uses: nothing runs after a stop and a wait until a
/// start.
void CheckOwnStop(TaskRound& round, Random& random) {
  Task& task =
      round.Create(random.OneIn(2) ? Kind::Timer : Kind::Wait, /*isCalm=*/true, ClosedBy::Nobody);
  round.Start(task, random);
  round.Stop(task);
  round.WaitFor(task);
  task.closed = true;  // as far as its callable can tell
  random.Hesitate();
  TickThreadPool();
  task.event.Set();
  random.Hesitate();
}

void Drive(TaskRound& round, const std::vector<Task*>& tasks, Random random, std::latch& held) {
  for (std::uint32_t step = 0; step != kSteps; ++step) {
    random.Hesitate();
    if (random.OneIn(10)) {
      constexpr auto kChecks = std::array{&CheckOwnTask, &CheckOwnStop, &CheckOwnRestart};
      kChecks[random.Below(kChecks.size())](round, random);
    } else {
      Use(round, OneOf(tasks, random), random);
    }
  }
  // Now while holding the context of an open task, for which the executor's destructor must wait.
  Task& task = *tasks[random.Below(kKinds)];
  const bool isOpen = round.With(task, [&](auto& /*executor*/, auto& /*context*/) {
    held.count_down();
    for (std::uint32_t count = random.Below(6); count != 0; --count) {
      random.Hesitate();
      Use(round, task, random);
    }
  });
  Check(isOpen, "a task that nobody closes is open");
}

}  // namespace

void RunTaskRound(std::uint32_t seed, std::uint32_t round, Totals& totals) {
  const Random random(seed, round, 101);
  TaskRound tasks(seed, round);
  std::vector<Task*> shared;
  for (std::uint32_t number = 0; number != kSharedTasks; ++number) {
    shared.push_back(&tasks.Create(static_cast<Kind>(number % kKinds), /*isCalm=*/false,
                                   static_cast<ClosedBy>(number / kKinds)));
  }
  std::latch held(kDrivers);
  std::vector<std::thread> drivers;
  for (std::uint32_t number = 0; number != kDrivers; ++number) {
    drivers.emplace_back(
        [&, chance = Random(seed, round, 10 + number)] { Drive(tasks, shared, chance, held); });
  }
  held.wait();
  tasks.DestroyExecutor();
  for (std::thread& driver : drivers) {
    driver.join();
  }
  tasks.CheckAll(totals);
}

}  // namespace threads
