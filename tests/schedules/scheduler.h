// Threads of the tests' own that run one at a time, and the choices of who goes on.
//
// A run of an encounter is decided by its choices: which thread goes on before an operation that
// others can notice, and what the platform does where it may do several things. The explorer tries
// them all. To go away from a thread that could go on is a preemption, and only so many of them are
// tried; where a thread has to wait, or ends, or a pool thread has nothing to do, all others are.
//
// Between two such operations nobody else runs. That leaves nothing out, because what a thread does
// there is checked for races with all others (memory.h).
//
// Nor is a schedule tried in which a thread is stopped before an operation, and goes on before
// anybody did something that this operation depends on, or had to wait: the same comes of stopping
// it after the operation, which is tried as well and takes no more preemptions.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace schedules {

/// The first is that of the encounter, the last ones are those of the thread pool.
inline constexpr int kThreads = 6;
inline constexpr int kPoolThreads = 2;

/// Up to where each thread's past is known.
using Clock = std::array<std::uint32_t, kThreads>;
void Merge(Clock& into, const Clock& other);

/// What a thread is about to do. Operations on different objects do not depend on each other, nor
/// do two that only look; one without an object depends on all.
struct Step {
  const char* what;
  const void* object = nullptr;
  bool isLook = false;
};

/// Says whether a thread that waits can go on. Refers to a callable, which has to outlive it.
class Ready {
 public:
  template <class Predicate>
  explicit Ready(const Predicate& predicate)
      : predicate_(&predicate),
        call_([](const void* object) { return (*static_cast<const Predicate*>(object))(); }) {}
  bool operator()() const { return call_(predicate_); }

 private:
  const void* predicate_;
  bool (*call_)(const void*);
};

/// Before an operation that others can notice: somebody else may go first.
void Before(const Step& step);
/// The same for one that has to wait until it is ready.
void Await(const Step& step, const Ready& ready);
/// The same for a thread that has nothing to do meanwhile: nobody takes its turn away.
void AwaitIdly(const Step& step, const Ready& ready);
/// What comes now is known only when its turn has come: it depends on what others do to the object,
/// or to anything.
void Touch(const void* object = nullptr);
/// One of 0 to options - 1: what the platform may do just as well.
int Choose(int options, const char* what);
/// Ends the run: something does not hold.
[[noreturn]] void Fail(const std::string& what);
inline void Check(bool condition, const char* what) {
  if (!condition) {
    Fail(what);
  }
}

/// The running thread's number and past; releasing shows others its past, acquiring learns theirs.
int Self();
Clock& SelfClock();
const Clock& ClockOf(int thread);
const char* NameOf(int thread);
void Release(Clock& clock);
void Acquire(const Clock& clock);

/// Begins a thread whose body must outlive it.
int Begin(const char* name, const std::function<void()>& body);
bool HasEnded(int thread);

/// Whether it is the encounter or the product that runs, and not what stands in for the platform:
/// only then accesses are checked, and blocks of memory are ours.
extern bool isProduct;
class InPlatform {
 public:
  explicit InPlatform(const void* caller = nullptr);
  ~InPlatform() { isProduct = was_; }
  InPlatform(const InPlatform&) = delete;
  InPlatform& operator=(const InPlatform&) = delete;

 private:
  bool was_;
};
class InProduct {
 public:
  InProduct() { isProduct = true; }
  ~InProduct() { isProduct = false; }
  InProduct(const InProduct&) = delete;
  InProduct& operator=(const InProduct&) = delete;
};

/// A choice that was made, of how many.
struct Choice {
  int taken = 0;
  int options = 0;
};
using Choices = std::vector<Choice>;

/// What came of a run.
struct Outcome {
  Choices choices;
  std::string finding;       // empty: all held
  bool isRedundant = false;  // was not run to its end
  std::string trace;         // when it was asked for
};

/// Runs an encounter: with the choices given, and then the first of each.
Outcome Run(void (*encounter)(), const Choices& given, int preemptions, bool tracing);

}  // namespace schedules
