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
  /// Prepares the registry for the operation.
  std::function<void(const testing_support::RegistrySandbox&)> prepare;
  /// Runs the operation, inside Counted, and returns its outcome as a text.
  std::function<std::string()> run;
  /// The expected outcome without a fault: the text of `run`, and the registry as Describe shows
  /// it.
  std::string unfaulted;
  /// The expected outcome with a fault.
  std::function<std::string(const Fault&)> expect;
};

/// Runs an operation without a fault, then with each fault in turn. Each run must have the expected
/// outcome, and must close and free everything. A failed expectation names the fault.
void Sweep(const Operation& operation);

/// Runs a part of an operation so that its calls count. Returns what it threw, usually nothing.
std::string Counted(const std::function<void()>& part);

/// The same for a part that returns its outcome as a text, which follows what it threw.
std::string CountedOutcome(const std::function<std::string()>& part);

/// Runs what comes before or after the operation. No call fails there, but what is opened and
/// allocated there is entered in the account.
void Unswept(const std::function<void()>& part);

/// The text that Counted returns for an allocation that failed.
inline constexpr const char* kOutOfMemory = "threw std::bad_alloc\n";

/// The platform of all operations.
Platform& GetPlatform();

/// Prints the numbers of operations, calls and faults, and their outcomes. Returns whether there
/// were any.
bool PrintTotals();

using Contents = testing_support::RegistryContents;

/// The registry as a text.
std::string Describe(const Contents& contents);

}  // namespace faults
