#define CATCH_CONFIG_MAIN
#define DO_NOT_USE_WMAIN
#include "measure.h"

#include <algorithm>
#include <iostream>
#include <vector>

namespace benchmarks {
namespace {

// The subjects are ours: none needs escaping.
void WriteLine(std::string_view subject, std::string_view side, std::string_view unit,
               double amount) {
  std::cout << R"({"subject": ")" << subject << R"(", "side": ")" << side << R"(", ")" << unit
            << R"(": )" << amount << "}\n";
}

/// Writes a line for each time that was measured, and what failed.
class LineReporter : public Catch::StreamingReporterBase<LineReporter> {
 public:
  using StreamingReporterBase::StreamingReporterBase;
  static std::string getDescription() { return "A line of JSON for each result"; }

  void assertionStarting(const Catch::AssertionInfo& /*assertion*/) override {}
  bool assertionEnded(const Catch::AssertionStats& stats) override {
    if (!stats.assertionResult.isOk()) {
      std::cerr << stats.assertionResult.getSourceInfo()
                << ": failed: " << stats.assertionResult.getExpression() << '\n';
      for (const Catch::MessageInfo& info : stats.infoMessages) {
        std::cerr << "  " << info.message << '\n';
      }
    }
    return true;
  }
  void benchmarkEnded(const Catch::BenchmarkStats<>& stats) override {
    std::vector<double> times;
    times.reserve(stats.samples.size());
    for (const auto& sample : stats.samples) {
      times.push_back(sample.count());
    }
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    const std::string_view name = stats.info.name;
    const std::size_t colon = name.rfind(": ");
    WriteLine(name.substr(0, colon), name.substr(colon + 2), "ns", *middle);
  }
};

CATCH_REGISTER_REPORTER("lines", LineReporter)

}  // namespace

void Report(const std::string& subject, std::string_view side, std::size_t count) {
  WriteLine(subject, side, "count", static_cast<double>(count));
}

}  // namespace benchmarks
