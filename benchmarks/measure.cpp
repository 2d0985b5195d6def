#include "measure.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <fmt/format.h>

namespace benchmarks {
namespace {

std::size_t sampleCount = 0;
std::FILE* results = nullptr;

// The subjects are ours: none needs escaping.
void WriteLine(std::string_view subject, std::string_view side, std::string_view unit,
               double amount) {
  fmt::print(results,
             R"({{"subject": "{}", "side": "{}", "{}": {:.6g}}})"
             "\n",
             subject, side, unit, amount);
}

int Run(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  if (argc == 3) {
    sampleCount = std::strtoul(argv[1], nullptr, 10);
    results = std::fopen(argv[2], "a");
  }
  if (sampleCount == 0 || results == nullptr) {
    fmt::print(stderr, "usage: benchmarks SAMPLES FILE    (which the results are appended to)\n");
    return 2;
  }
  const bool succeeded = RUN_ALL_TESTS() == 0;
  const bool selected = ::testing::UnitTest::GetInstance()->test_to_run_count() != 0;
  const bool written = std::fclose(results) == 0;
  return succeeded && selected && written ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

void Keep(const void* /*object*/) {}

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

int main(int argc, char** argv) { return benchmarks::Run(argc, argv); }
