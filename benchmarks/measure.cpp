#include "measure.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <vector>

#include <fmt/format.h>

namespace benchmarks {
namespace {

struct Registered {
  std::string_view group;
  void (*run)();
};

std::vector<Registered>& AllBenchmarks() {
  static std::vector<Registered> benchmarks;
  return benchmarks;
}

std::size_t sampleCount = 0;
bool allHeld = true;

// The subjects are ours: none needs escaping.
void WriteLine(std::string_view subject, std::string_view side, std::string_view unit,
               double amount) {
  fmt::print(R"({{"subject": "{}", "side": "{}", "{}": {:.6g}}})"
             "\n",
             subject, side, unit, amount);
}

int Run(std::span<char*> arguments) {
  if (arguments.size() >= 3) {
    sampleCount = std::strtoul(arguments[1], nullptr, 10);
  }
  if (sampleCount == 0) {
    fmt::print(stderr, "usage: benchmarks SAMPLES GROUP...\n");
    return 2;
  }
  for (const std::string_view group : arguments.subspan(2)) {
    std::size_t count = 0;
    for (const Registered& benchmark : AllBenchmarks()) {
      if (benchmark.group == group) {
        benchmark.run();
        ++count;
      }
    }
    if (count == 0) {
      fmt::print(stderr, "benchmarks: no such group: {}\n", group);
      return 2;
    }
  }
  return allHeld ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

Benchmark::Benchmark(std::string_view group, void (*run)()) {
  AllBenchmarks().push_back({group, run});
}

void Check(bool holds, std::string_view what, const std::source_location& place) {
  if (!holds) {
    fmt::print(stderr, "{}:{}: does not hold: {}\n", place.file_name(), place.line(), what);
    allHeld = false;
  }
}

void Require(bool holds, const std::source_location& place) {
  Check(holds, "what all else needs", place);
  if (!holds) {
    std::exit(EXIT_FAILURE);
  }
}

void ReportTime(const std::string& subject, std::string_view side,
                const std::function<Nanoseconds(std::size_t)>& timeOfCalls) {
  // The clock ticks every 100 ns: of a thousand ticks three digits are certain.
  constexpr Nanoseconds kSample(1e5);
  constexpr Nanoseconds kWarmUp(1e6);
  std::size_t calls = 1;
  Nanoseconds time = timeOfCalls(calls);
  while (time < kWarmUp) {
    calls *= 2;
    time = timeOfCalls(calls);
  }
  calls = static_cast<std::size_t>(std::ceil(static_cast<double>(calls) * (kSample / time)));
  std::vector<Nanoseconds> times(sampleCount);
  std::ranges::generate(times, [&] { return timeOfCalls(calls); });
  const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
  std::ranges::nth_element(times, middle);
  WriteLine(subject, side, "ns", middle->count() / static_cast<double>(calls));
}

void Report(const std::string& subject, std::string_view side, std::size_t count) {
  WriteLine(subject, side, "count", static_cast<double>(count));
}

}  // namespace benchmarks

int main(int argc, char** argv) { return benchmarks::Run({argv, static_cast<std::size_t>(argc)}); }
