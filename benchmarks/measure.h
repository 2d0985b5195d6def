// What the benchmarks measure with: comparisons in turns, counts of allocations, and stubs in the
// place of platform calls. Everything is written to standard output as lines of JSON by the
// reporter "lines" (measure.cpp); script/bench makes a table of them.
#pragma once

#define CATCH_CONFIG_ENABLE_BENCHMARKING
#include <catch2/catch.hpp>
#include <cstddef>
#include <string>
#include <string_view>

#include "support/import_hook.h"

namespace benchmarks {

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
    BENCHMARK(subject + ": " + std::string(side.name)) { return side.action(); };
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

/// Reports how often `action` allocates (operator new), and returns it.
template <class Action>
std::size_t CountAllocations(const std::string& subject, std::string_view side, Action action) {
  action();  // what is allocated once and for all does not count
  StartCountingAllocations();
  action();
  const std::size_t count = StopCountingAllocations();
  Report("allocations of " + subject, side, count);
  return count;
}

/// Stands in the place of an imported function for as long as it lives.
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
