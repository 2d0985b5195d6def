#include "scheduler.h"

#include <algorithm>
#include <csetjmp>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <cxxabi.h>
#include <map>
#include <memory>
#include <sys/single_threaded.h>
#include <ucontext.h>

#include "memory.h"
#include "registry.h"
#include "thread_pool.h"

namespace schedules {

bool isProduct = false;

namespace {

constexpr std::size_t kStackSize = std::size_t{256} * 1024;
/// Twice what any encounter needs, or more.
constexpr int kMostSteps = 5000;

/// What the C++ library keeps of a thread's exceptions.
using Exceptions = std::array<void*, 2>;

struct Thread {
  std::unique_ptr<char[]> stack;
  // Where the thread begins and where it continues. A jump makes no system call, a switch of
  // contexts does.
  std::jmp_buf beginning{};
  std::jmp_buf place{};
  const char* name = nullptr;
  const std::function<void()>* body = nullptr;  // null: it has ended, or never began
  const Ready* ready = nullptr;                 // null: it can continue
  Step step{};
  bool isAsleep = false;  // stopped, and nothing that its step depends on has happened since
  Clock clock{};
  Exceptions exceptions{};
  std::map<void*, std::unique_ptr<char[]>> locals;
};

std::array<Thread, kThreads> threads;
std::jmp_buf home;  // where a run returns to
int self = 0;
const void* callerOfPlatform = nullptr;  // the return address of the call

Outcome outcome;
const Choices* givenChoices = nullptr;
int mostPreemptions = 0;
int preemptions = 0;
int steps = 0;
bool isTracing = false;

bool CanGoOn(const Thread& thread) {
  return thread.body != nullptr && (thread.ready == nullptr || (*thread.ready)());
}

void Trace(const std::string& what) {
  if (isTracing) {
    char line[200];
    std::snprintf(line, sizeof line, "%4d  %-10s %-45s @%p\n", steps, threads[self].name,
                  what.c_str(),
                  static_cast<const void*>(static_cast<const char*>(callerOfPlatform) - 1));
    outcome.trace += line;
  }
}

/// Jumps to where this stack or another one was left.
[[noreturn]] void JumpTo(std::jmp_buf& place) {
  // NOLINTNEXTLINE(modernize-avoid-setjmp-longjmp): nothing on either stack ends by it
  std::longjmp(place, 1);
}

[[noreturn]] void EndRun() { JumpTo(home); }

/// Called when a step is done: wakes the threads whose next step depends on it.
void Wake(const Step& step) {
  for (Thread& thread : threads) {
    const bool depends =
        step.object == nullptr || thread.step.object == nullptr ||
        (step.object == thread.step.object && !(step.isLook && thread.step.isLook));
    thread.isAsleep = thread.isAsleep && !depends;
  }
}

std::string NameOf(const Step& step) {
  return step.what + (step.object != nullptr ? " " + Describe(step.object) : std::string());
}

/// Makes the next choice among `options`, of which only the first `allowed` may be taken. A point
/// counts even if only one choice is allowed there, so that a schedule means the same with any
/// bound.
int Take(int options, int allowed) {
  if (options == 1) {
    return 0;
  }
  const std::size_t number = outcome.choices.size();
  const int taken = number < givenChoices->size() ? (*givenChoices)[number].taken : 0;
  outcome.choices.push_back({taken, allowed});
  if (taken >= options) {
    Fail("there is no such schedule");
  }
  if (taken != 0) {
    Trace("(choice " + std::to_string(number) + ":" + std::to_string(taken) + ")");
  }
  return taken;
}

Exceptions& ExceptionsOfProcess() {
  return *reinterpret_cast<Exceptions*>(abi::__cxa_get_globals());
}

void SwitchTo(int next) {
  Thread& from = threads[self];
  Thread& to = threads[next];
  const void* const caller = callerOfPlatform;
  from.exceptions = ExceptionsOfProcess();
  ExceptionsOfProcess() = to.exceptions;
  self = next;
  if (_setjmp(from.place) == 0) {
    JumpTo(to.place);
  }
  callerOfPlatform = caller;
}

[[noreturn]] void FailNobodyGoesOn() {
  std::string what = "nobody can go on:";
  for (const Thread& thread : threads) {
    if (thread.body != nullptr) {
      what += std::string("\n    ") + thread.name + ": " + NameOf(thread.step);
    }
  }
  Fail(what);
}

/// Decides which thread runs next, and returns when it is this thread's turn again.
void Decide(bool canGoOn, bool isIdle) {
  std::array<int, kThreads> candidates{};
  int options = 0;
  bool isAnyAsleep = false;
  const bool isPreemptible = canGoOn && !isIdle;
  if (isPreemptible) {
    candidates[options++] = self;
  }
  for (int thread = 0; thread != kThreads; ++thread) {
    if ((thread != self && CanGoOn(threads[thread])) || (thread == self && canGoOn && isIdle)) {
      if (threads[thread].isAsleep) {
        isAnyAsleep = true;
      } else {
        candidates[options++] = thread;
      }
    }
  }
  if (options == 0 && isAnyAsleep) {
    outcome.isRedundant = true;
    EndRun();
  }
  if (options == 0) {
    FailNobodyGoesOn();
  }
  const int taken = Take(options, isPreemptible && preemptions == mostPreemptions ? 1 : options);
  if (isPreemptible && taken != 0) {
    ++preemptions;
    threads[self].isAsleep = true;
  }
  if (candidates[taken] != self) {
    SwitchTo(candidates[taken]);
  }
}

void Pause(const Step& step, const Ready* ready, bool isIdle) {
  const InPlatform platform;
  if (++steps > kMostSteps) {
    Fail("the run does not end");
  }
  Thread& thread = threads[self];
  thread.step = step;
  thread.ready = ready;
  const bool canGoOn = ready == nullptr || (*ready)();
  if (!canGoOn && !isIdle) {
    Touch();  // it depends on every operation: the one that lets it continue may come just now
  }
  Decide(canGoOn, isIdle);
  thread.ready = nullptr;
  if (!isIdle) {
    Wake(step);
  }
  if (isTracing) {
    Trace(NameOf(step));
  }
}

/// The first function on a thread's stack. It never returns.
void Live() {
  if (_setjmp(threads[self].beginning) == 0) {
    JumpTo(home);
  }
  threads[self].ready = nullptr;
  try {
    const InProduct product;
    (*threads[self].body)();
  } catch (...) {
    Fail("an exception leaves a thread");
  }
  threads[self].body = nullptr;
  if (self == 0) {
    EndRun();
  }
  Decide(/*canGoOn=*/false, /*isIdle=*/false);
}

void MakeStack(int number) {
  Thread& thread = threads[number];
  thread.stack = std::make_unique<char[]>(kStackSize);
  ucontext_t context;
  getcontext(&context);
  context.uc_stack.ss_sp = thread.stack.get();
  context.uc_stack.ss_size = kStackSize;
  makecontext(&context, Live, 0);
  self = number;
  if (_setjmp(home) == 0) {
    setcontext(&context);
  }
}

/// A thread that begins when it is ready.
void Start(int number, const char* name, const std::function<void()>& body, const Ready* ready) {
  Thread& thread = threads[number];
  thread.name = name;
  thread.body = &body;
  thread.ready = ready;
  thread.step = {"begins"};
  thread.isAsleep = false;
  thread.clock = threads[self].clock;
  ++thread.clock[number];
  ++threads[self].clock[self];
  thread.exceptions = {};
  thread.locals.clear();
  std::memcpy(thread.place, thread.beginning, sizeof thread.place);
}

void FailAtSignal(int signal) {
  isProduct = false;
  Fail(signal == SIGSEGV ? "an access to memory that is not there" : "the process ends itself");
}

bool Prepare() {
  __libc_single_threaded = 0;  // or the C++ library counts references without atomic operations
  struct sigaction action{};
  action.sa_handler = FailAtSignal;
  action.sa_flags = SA_NODEFER;  // it never returns
  sigaction(SIGSEGV, &action, nullptr);
  sigaction(SIGABRT, &action, nullptr);
  for (int number = 0; number != kThreads; ++number) {
    MakeStack(number);
  }
  return true;
}

}  // namespace

InPlatform::InPlatform(const void* caller) : was_(isProduct) {
  isProduct = false;
  if (was_) {
    callerOfPlatform = caller;
  }
}

void Merge(Clock& into, const Clock& other) {
  for (int thread = 0; thread != kThreads; ++thread) {
    into[thread] = std::max(into[thread], other[thread]);
  }
}

void Before(const Step& step) { Pause(step, nullptr, /*isIdle=*/false); }
void Await(const Step& step, const Ready& ready) { Pause(step, &ready, /*isIdle=*/false); }
void AwaitIdly(const Step& step, const Ready& ready) { Pause(step, &ready, /*isIdle=*/true); }

void Touch(const void* object) { Wake({"", object}); }

int Choose(int options, const char* what) {
  const InPlatform platform;
  const int taken = Take(options, options);
  if (isTracing && options > 1) {
    Trace(what + (" " + std::to_string(taken)));
  }
  return taken;
}

void Fail(const std::string& what) {
  isProduct = false;
  outcome.finding = std::string(threads[self].name) + ": " + what;
  EndRun();
}

int Self() { return self; }
Clock& SelfClock() { return threads[self].clock; }
const Clock& ClockOf(int thread) { return threads[thread].clock; }
const char* NameOf(int thread) { return threads[thread].name; }

void Release(Clock& clock) {
  Merge(clock, threads[self].clock);
  ++threads[self].clock[self];
}
void Acquire(const Clock& clock) { Merge(threads[self].clock, clock); }

int Begin(const char* name, const std::function<void()>& body) {
  const InPlatform platform;
  int number = 1;
  while (threads[number].body != nullptr || threads[number].name != nullptr) {
    ++number;
  }
  Check(number < kThreads - kPoolThreads, "there is room for one more thread");
  Start(number, name, body, nullptr);
  return number;
}

bool HasEnded(int thread) { return threads[thread].body == nullptr; }

Outcome Run(void (*encounter)(), const Choices& given, int mostOfPreemptions, bool tracing) {
  static const bool kIsPrepared = Prepare();
  static_cast<void>(kIsPrepared);
  outcome = {};
  givenChoices = &given;
  mostPreemptions = mostOfPreemptions;
  preemptions = 0;
  steps = 0;
  isTracing = tracing;
  self = 0;
  ResetMemory();
  ResetThreadPool();
  ResetRegistry();
  for (Thread& thread : threads) {
    thread.name = nullptr;
    thread.body = nullptr;
    thread.clock = {};
  }
  static const std::function<void()> kPoolThread = RunPoolThread;
  const std::function<void()> mainThread = [=] {
    encounter();
    const InPlatform platform;
    AwaitThreadPool();
    CheckThreadPool();
    CheckRegistry();
    CheckMemory();
  };
  Start(0, "main", mainThread, nullptr);
  const auto hasWork = [](int number) { return [number] { return HasWork(number); }; };
  const auto hasFirstWork = hasWork(kThreads - 2);
  const auto hasSecondWork = hasWork(kThreads - 1);
  const Ready isFirstReady(hasFirstWork);
  const Ready isSecondReady(hasSecondWork);
  Start(kThreads - 2, "pool 1", kPoolThread, &isFirstReady);
  Start(kThreads - 1, "pool 2", kPoolThread, &isSecondReady);
  ExceptionsOfProcess() = {};
  if (_setjmp(home) == 0) {
    JumpTo(threads[0].place);
  }
  return std::move(outcome);
}

}  // namespace schedules

extern "C" {

/// How the compiler describes a thread-local variable.
struct EmulatedVariable {
  std::size_t size;
  std::size_t alignment;
  void* unused;
  const void* initial;
};

/// Each of our threads has its own copy of the variable.
// NOLINTNEXTLINE(clang-diagnostic-reserved-identifier): the compiler's name.
void* __emutls_get_address(EmulatedVariable* variable) {
  const schedules::InPlatform platform;
  auto& local = schedules::threads[schedules::self].locals[variable];
  if (!local) {
    local = std::make_unique<char[]>(variable->size);
    if (variable->initial != nullptr) {
      std::memcpy(local.get(), variable->initial, variable->size);
    }
  }
  return local.get();
}

}  // extern "C"
