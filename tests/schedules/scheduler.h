// Threads that run one at a time, and the choices of which one runs next.
//
// The choices of a run decide everything: which thread runs next before an operation that other
// threads can notice, and what the platform does where it may do several things. The explorer tries
// all choices. Switching away from a thread that could continue is a preemption, and the number of
// preemptions in a run is limited. Where a thread must wait, or ends, or a pool thread has nothing
// to do, every other thread is tried, and that is no preemption.
//
// Between two such operations no other thread runs. Nothing is missed by that: what a thread does
// there is checked for races with all other threads (memory.h).
//
// Some schedules are equivalent and only one of them is tried. If a thread is stopped before an
// operation, and continues before another thread did anything that the operation depends on, or had
// to wait, then stopping it after the operation has the same outcome with no more preemptions.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace schedules {

/// The first thread is that of the encounter, the last ones are those of the thread pool.
inline constexpr int kThreads = 6;
inline constexpr int kPoolThreads = 2;

/// Up to where each thread's past is known.
using Clock = std::array<std::uint32_t, kThreads>;
void Merge(Clock& into, const Clock& other);

/// An operation that a thread is about to do. Operations on different objects do not depend on each
/// other, nor do two that only read. An operation without an object depends on all others.
struct Step {
  const char* what;
  const void* object = nullptr;
  bool isLook = false;
};

/// Tells whether a waiting thread can continue. Refers to a callable, which must outlive it.
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

/// Called before an operation that other threads can notice: another thread may run first.
void Before(const Step& step);
/// The same for an operation that must wait until it is ready.
void Await(const Step& step, const Ready& ready);
/// The same for a thread that has nothing to do meanwhile: switching away from it is no preemption.
void AwaitIdly(const Step& step, const Ready& ready);
/// The same for an operation that is known only when its turn has come: it depends on every
/// operation on the object, or without one on all operations.
void Touch(const void* object = nullptr);
/// A choice of the platform among things that it may do: one of 0 to options - 1.
int Choose(int options, const char* what);
/// Ends the run with a finding.
[[noreturn]] void Fail(const std::string& what);
inline void Check(bool condition, const char* what) {
  if (!condition) {
    Fail(what);
  }
}

/// The running thread's number, and its past: what is ordered before it now. A release publishes
/// the past, an acquire adds the published one.
int Self();
Clock& SelfClock();
const Clock& ClockOf(int thread);
const char* NameOf(int thread);
void Release(Clock& clock);
void Acquire(const Clock& clock);

/// Begins a thread whose body must outlive it.
int Begin(const char* name, const std::function<void()>& body);
bool HasEnded(int thread);

/// Whether the encounter or the product runs, and not a stand-in for the platform. Only then
/// accesses are checked, and allocations come from our heap.
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

/// A choice that was made, and the number of possibilities.
struct Choice {
  int taken = 0;
  int options = 0;
};
using Choices = std::vector<Choice>;

/// The outcome of a run.
struct Outcome {
  Choices choices;
  std::string finding;       // empty if there is none
  bool isRedundant = false;  // was not run to its end
  std::string trace;         // when it was asked for
};

/// Runs an encounter with the given choices, and after them with possibility 0 at each choice.
Outcome Run(void (*encounter)(), const Choices& given, int preemptions, bool tracing);

}  // namespace schedules
