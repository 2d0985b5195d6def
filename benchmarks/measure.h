// What the benchmarks measure with: comparisons in turns, counts of allocations, and stubs in the
// place of platform calls. A benchmark is a test of GoogleTest's. What it measures goes into a file
// as lines of JSON, of which script/bench makes a table.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>

#include <gtest/gtest.h>

#include "support/import_hook.h"

namespace benchmarks {

/// Keeps the compiler from removing the computation of what lies there.
void Keep(const void* object);

using Nanoseconds = std::chrono::duration<double, std::nano>;

/// Reports how long one call takes, given how long so many in a row take: the median of as many
/// samples as the command line asks for.
void ReportTime(const std::string& subject, std::string_view side,
                const std::function<Nanoseconds(std::size_t)>& timeOfCalls);

/// One of the sides that are compared.
template <class Action>
struct Side {
  std::string_view name;
  Action action;
};
template <class Action>
Side(const char*, Action) -> Side<Action>;

/// The turns of comparisons whose actions take microseconds, and of those that take much longer.
inline constexpr int kTurns = 31;
inline constexpr int kFewTurns = 7;

/// Measures the sides in turn, so that what happens to the machine meanwhile happens to all of
/// them: each turn gives one time per side, and the times of a turn belong together. Every other
/// turn goes backwards, so that none of them always follows the same one.
template <class... Actions>
void Compare(const std::string& subject, int turns, Side<Actions>... sides) {
  const auto measure = [&subject](auto& side) {
    ReportTime(subject, side.name, [&side](std::size_t calls) -> Nanoseconds {
      const auto start = std::chrono::steady_clock::now();
      for (; calls != 0; --calls) {
        if constexpr (std::is_void_v<decltype(side.action())>) {
          side.action();
        } else {
          const auto result = side.action();
          Keep(&result);
        }
      }
      return std::chrono::steady_clock::now() - start;
    });
  };
  for (int turn = 0; turn < turns; ++turn) {
    if (turn % 2 == 0) {
      (measure(sides), ...);
    } else {
      int backwards = 0;
      static_cast<void>((backwards = ... = (measure(sides), 0)));
    }
  }
}

/// Reports a number that is no time.
void Report(const std::string& subject, std::string_view side, std::size_t count);

void StartCountingAllocations();
std::size_t StopCountingAllocations();

/// Reports how often `action` allocates (operator new); more often than `limit` is a failure.
template <class Action>
void CountAllocations(const std::string& subject, std::string_view side, Action action,
                      std::size_t limit = std::numeric_limits<std::size_t>::max()) {
  action();  // what is allocated once and for all does not count
  StartCountingAllocations();
  action();
  const std::size_t count = StopCountingAllocations();
  Report("allocations of " + subject, side, count);
  EXPECT_LE(count, limit) << "allocations of " << subject;
}

/// Replaces an imported function for as long as it lives.
class Stub {
 public:
  template <class Result, class... Arguments>
  Stub(const char* function, Result (*replacement)(Arguments...))
      : slot_(testing_support::FindImportSlot(function)),
        original_(
            testing_support::ExchangeImportSlot(slot_, reinterpret_cast<void*>(replacement))) {}
  ~Stub() { testing_support::ExchangeImportSlot(slot_, original_); }
  Stub(const Stub&) = delete;
  Stub& operator=(const Stub&) = delete;

 private:
  void** slot_;
  void* original_;
};

}  // namespace benchmarks
