#include "scheduler.h"

#include <cxxabi.h>
#include <sys/single_threaded.h>
#include <ucontext.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>

#include "memory.h"
#include "registry.h"
#include "thread_pool.h"

namespace schedules {

bool isProduct = false;

namespace {

constexpr std::size_t kStackSize = 256 * 1024;
/// No encounter needs half as many.
constexpr int kMostSteps = 5000;

/// What the C++ library keeps of a thread's exceptions.
using Exceptions = std::array<void*, 2>;

struct Thread {
  std::unique_ptr<char[]> stack;
  ucontext_t context{};
  const char* name = nullptr;
  const std::function<void()>* body = nullptr;  // null: it has ended, or never began
  const Ready* ready = nullptr;                 // null: it can go on
  Step step{};
  Clock clock{};
  Exceptions exceptions{};
  std::map<void*, std::unique_ptr<char[]>> locals;
};

std::array<Thread, kThreads> threads;
ucontext_t home;
int self = 0;
const void* callerOfPlatform = nullptr;

Outcome outcome;
const Choices* givenChoices = nullptr;
int mostPreemptions = 0;
int preemptions = 0;
int steps = 0;
bool isTracing = false;

bool CanGoOn(const Thread& thread) {
  return thread.body != nullptr && (thread.ready == nullptr || (*thread.ready)());
}

void Trace(const char* what, const std::string& more = {}) {
  if (isTracing) {
    char line[200];
    std::snprintf(line, sizeof line, "%4d  %-10s %s%s @%p\n", steps, threads[self].name, what,
                  more.c_str(), callerOfPlatform);
    outcome.trace += line;
  }
}

std::string NameOf(const Step& step) {
  return step.what + (step.object != nullptr ? " " + Describe(step.object) : std::string());
}

/// Takes the next choice of `options`, of which only the first `allowed` may be taken. Points count,
/// whether or not something else than the first is allowed: so a schedule is the same with any bound.
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
    Trace("", "(choice " + std::to_string(number) + ":" + std::to_string(taken) + ")");
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
  swapcontext(&from.context, &to.context);
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

/// Decides who goes on, and comes back when it is this thread's turn again.
void Decide(bool canGoOn, bool isIdle) {
  std::array<int, kThreads> candidates{};
  int options = 0;
  const bool isPreemptible = canGoOn && !isIdle;
  if (isPreemptible) {
    candidates[options++] = self;
  }
  for (int thread = 0; thread != kThreads; ++thread) {
    if ((thread != self && CanGoOn(threads[thread])) || (thread == self && canGoOn && isIdle)) {
      candidates[options++] = thread;
    }
  }
  if (options == 0) {
    FailNobodyGoesOn();
  }
  const int taken =
      Take(options, isPreemptible && preemptions == mostPreemptions ? 1 : options);
  preemptions += isPreemptible && taken != 0 ? 1 : 0;
  if (candidates[taken] != self) {
    SwitchTo(candidates[taken]);
  }
}

void Pause(Step step, const Ready* ready, bool isIdle) {
  if (++steps > kMostSteps) {
    Fail("the run does not end");
  }
  Thread& thread = threads[self];
  thread.step = step;
  thread.ready = ready;
  Decide(ready == nullptr || (*ready)(), isIdle);
  thread.ready = nullptr;
  if (isTracing) {
    Trace(NameOf(step).c_str());
  }
}

/// What a thread's stack begins with.
void Live() {
  try {
    const InProduct product;
    (*threads[self].body)();
  } catch (...) {
    Fail("an exception leaves a thread");
  }
  threads[self].body = nullptr;
  if (self == 0) {
    setcontext(&home);
  }
  Decide(/*canGoOn=*/false, /*isIdle=*/false);
}

void MakeThreads() {
  for (Thread& thread : threads) {
    if (!thread.stack) {
      thread.stack = std::make_unique<char[]>(kStackSize);
    }
    getcontext(&thread.context);
    thread.context.uc_stack.ss_sp = thread.stack.get();
    thread.context.uc_stack.ss_size = kStackSize;
    makecontext(&thread.context, Live, 0);
  }
}

void Start(int number, const char* name, const std::function<void()>& body) {
  Thread& thread = threads[number];
  thread.name = name;
  thread.body = &body;
  thread.ready = nullptr;
  thread.step = {"begins"};
  thread.clock = threads[self].clock;
  ++thread.clock[number];
  ++threads[self].clock[self];
  thread.exceptions = {};
  thread.locals.clear();
}

void FailAtSignal(int signal) {
  isProduct = false;
  Fail(signal == SIGSEGV ? "an access to memory that is not there" : "the process ends itself");
}

}  // namespace

InPlatform::InPlatform(const void* caller) : was_(isProduct) {
  isProduct = false;
  if (caller != nullptr) {
    callerOfPlatform = caller;
  }
}

void Merge(Clock& into, const Clock& other) {
  for (int thread = 0; thread != kThreads; ++thread) {
    into[thread] = std::max(into[thread], other[thread]);
  }
}

void Before(Step step) { Pause(step, nullptr, /*isIdle=*/false); }
void Await(Step step, const Ready& ready) { Pause(step, &ready, /*isIdle=*/false); }
void AwaitIdly(Step step, const Ready& ready) { Pause(step, &ready, /*isIdle=*/true); }

int Choose(int options, const char* what) {
  const InPlatform platform;
  const int taken = Take(options, options);
  if (isTracing && options > 1) {
    Trace(what, " " + std::to_string(taken));
  }
  return taken;
}

void Fail(const std::string& what) {
  isProduct = false;
  outcome.finding = std::string(threads[self].name) + ": " + what;
  setcontext(&home);
  std::abort();
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
  int number = 1;
  while (threads[number].body != nullptr || threads[number].name != nullptr) {
    ++number;
  }
  Check(number < kThreads - kPoolThreads, "there is room for one more thread");
  Start(number, name, body);
  return number;
}

bool HasEnded(int thread) { return threads[thread].body == nullptr; }

Outcome Run(void (*encounter)(), const Choices& given, int mostOfPreemptions, bool tracing) {
  __libc_single_threaded = 0;  // or the C++ library counts references without atomic operations
  std::signal(SIGSEGV, FailAtSignal);
  std::signal(SIGABRT, FailAtSignal);
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
  const std::function<void()> poolThread = RunPoolThread;
  const std::function<void()> mainThread = [=] {
    encounter();
    const InPlatform platform;
    AwaitThreadPool();
    CheckThreadPool();
    CheckRegistry();
    CheckMemory();
  };
  Start(0, "main", mainThread);
  for (int number = kThreads - kPoolThreads; number != kThreads; ++number) {
    Start(number, number == kThreads - 1 ? "pool 2" : "pool 1", poolThread);
  }
  MakeThreads();
  ExceptionsOfProcess() = {};
  swapcontext(&home, &threads[0].context);  // comes back when the run is over, or has failed
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

/// Each of our threads has its own.
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
