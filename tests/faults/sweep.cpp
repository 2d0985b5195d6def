#include "sweep.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <new>
#include <optional>
#include <sstream>
#include <system_error>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "account.h"

namespace faults {
namespace {

struct Run {
  std::string outcome;
  std::vector<Call> calls;
  bool failed;  // whether the planned failure has happened
};

struct Totals {
  std::size_t operations = 0;
  std::size_t calls = 0;
  std::size_t allocations = 0;
  std::size_t faults = 0;
  std::size_t asWithout = 0;
  std::size_t reported = 0;
  std::size_t threw = 0;
  std::map<std::string_view, std::size_t> byFunction;
};
Totals totals;

Run RunOnce(const Operation& operation, std::optional<Plan> plan) {
  const testing_support::RegistrySandbox sandbox;
  operation.prepare(sandbox);
  GetPlatform().Reset();
  Account account(plan);
  CurrentAccount() = &account;
  const std::size_t blocks = LiveBlocks();
  std::string outcome = operation.run();
  const std::size_t lost = LiveBlocks() - blocks;
  CurrentAccount() = nullptr;
  outcome += Describe(sandbox.Contents());
  outcome += account.Violations();
  if (lost != 0) {
    outcome += std::to_string(lost) + " blocks of memory are not freed\n";
  }
  return {std::move(outcome), account.Calls(), account.Failed()};
}

Fault FaultAt(const std::vector<Call>& calls, const Plan& plan) {
  Fault fault{calls[plan.call].function, calls[plan.call].failures[plan.failure], {}};
  for (std::size_t index = 0; index < plan.call; ++index) {
    ++fault.before[calls[index].function];
  }
  return fault;
}

std::string DescribeFault(const Fault& fault) {
  return std::string(fault.function) + ", call " + std::to_string(fault.Before(fault.function)) +
         ": " + fault.failure.name;
}

// Called when an exception ends the program: only a short message is possible then.
std::string& CurrentFault() {
  static std::string fault;
  return fault;
}

[[noreturn]] void ReportTermination() {
  const Pause pause;
  std::fprintf(stderr, "terminated at %s\n", CurrentFault().c_str());
  std::fflush(stderr);
  std::_Exit(EXIT_FAILURE);
}

void CountOutcome(const Fault& fault, const std::string& outcome, const std::string& unfaulted) {
  ++totals.faults;
  ++totals.byFunction[fault.function];
  if (outcome == unfaulted) {
    ++totals.asWithout;
  } else if (outcome.find("threw ") != std::string::npos) {
    ++totals.threw;
  } else {
    ++totals.reported;
  }
}

void SweepFault(const Operation& operation, const Run& unfaulted, const Plan& plan) {
  const Fault fault = FaultAt(unfaulted.calls, plan);
  CurrentFault() = DescribeFault(fault);
  SCOPED_TRACE(CurrentFault());
  const Run run = RunOnce(operation, plan);
  EXPECT_TRUE(run.failed) << "the call was not made";
  EXPECT_EQ(run.outcome, operation.expect(fault));
  CountOutcome(fault, run.outcome, unfaulted.outcome);
}

}  // namespace

void Sweep(const Operation& operation) {
  std::set_terminate(ReportTermination);
  RunOnce(operation, std::nullopt);  // makes everything that is made once in a program
  const Run unfaulted = RunOnce(operation, std::nullopt);
  ASSERT_EQ(unfaulted.outcome, operation.unfaulted);
  ASSERT_EQ(RunOnce(operation, std::nullopt).calls, unfaulted.calls) << "not the same every time";
  ++totals.operations;
  for (std::size_t call = 0; call < unfaulted.calls.size(); ++call) {
    ++(unfaulted.calls[call].function == kAllocation ? totals.allocations : totals.calls);
    for (std::size_t failure = 0; failure < unfaulted.calls[call].failures.size(); ++failure) {
      SweepFault(operation, unfaulted, {call, failure});
      if (::testing::Test::HasFailure()) {
        return;  // one report is enough
      }
    }
  }
}

std::string Counted(const std::function<void()>& part) {
  try {
    const Count count;
    part();
  } catch (const std::bad_alloc&) {
    return kOutOfMemory;
  } catch (const std::system_error& error) {
    return "threw std::system_error " + std::to_string(error.code().value()) + "\n";
  } catch (const std::exception& error) {
    return std::string("threw ") + error.what() + "\n";
  }
  return {};
}

std::string CountedOutcome(const std::function<std::string()>& part) {
  std::string outcome;
  const std::string thrown = Counted([&] { outcome = part(); });
  return thrown + outcome;
}

void Unswept(const std::function<void()>& part) {
  CurrentAccount()->SetSweeping(false);
  {
    const Count count;
    part();
  }
  CurrentAccount()->SetSweeping(true);
}

Platform& GetPlatform() {
  static Platform platform;
  return platform;
}

bool PrintTotals() {
  std::printf("faults by function:\n");
  for (const auto& [function, count] : totals.byFunction) {
    std::printf("  %-34.*s %6zu\n", static_cast<int>(function.size()), function.data(), count);
  }
  std::printf(
      "%zu operations, which make %zu calls and %zu allocations; %zu faults injected, of which\n"
      "%zu change nothing, %zu are reported, %zu throw\n",
      totals.operations, totals.calls, totals.allocations, totals.faults, totals.asWithout,
      totals.reported, totals.threw);
  return totals.faults != 0;
}

std::string Describe(const Contents& contents) {
  std::ostringstream text;
  for (const auto& [key, values] : contents) {
    text << "key " << ::testing::PrintToString(key) << '\n';
    for (const auto& [name, value] : values) {
      text << "  " << ::testing::PrintToString(name) << " = " << ::testing::PrintToString(value)
           << '\n';
    }
  }
  return text.str();
}

}  // namespace faults
