// The sweep: an operation is run once for each failure of each call that it makes.
#pragma once

#include <functional>
#include <string>

#include "fault.h"
#include "platform.h"
#include "support/registry_sandbox.h"

namespace faults {

/// One operation under test.
struct Operation {
  /// Puts into the registry what the operation finds there.
  std::function<void(const testing_support::RegistrySandbox&)> prepare;
  /// Runs it, inside Counted, and says what came of it.
  std::function<std::string()> run;
  /// What has to come of it without a fault: what `run` says, and the registry as Describe shows
  /// it.
  std::string unfaulted;
  /// What has to come of a fault.
  std::function<std::string(const Fault&)> expect;
};

/// Runs an operation without a fault, then with each fault in turn. Expects each time what has to
/// come of it, and that all is closed and freed; with a failed expectation stands the fault.
void Sweep(const Operation& operation);

/// Runs part of an operation so that its calls count, and says what it threw: nothing, as a rule.
std::string Counted(const std::function<void()>& part);

/// The same for a part that says what came of it, which then follows.
std::string CountedOutcome(const std::function<std::string()>& part);

/// Runs what comes before or behind the operation: nothing fails there, but what it opens and
/// allocates is accounted for.
void Unswept(const std::function<void()>& part);

/// What Counted says of an allocation that failed.
inline constexpr const char* kOutOfMemory = "threw std::bad_alloc\n";

/// The platform of all operations.
Platform& GetPlatform();

/// Prints how many operations, calls and faults there were, and what came of them. Returns whether
/// there were any.
bool PrintTotals();

using Contents = testing_support::RegistryContents;

/// The registry as a text.
std::string Describe(const Contents& contents);

}  // namespace faults
