// What a command reports: its messages, whether it succeeded, and whether the run goes on.
#pragma once

#include <string>

namespace ostrel {

/// Result of one run of the command line.
struct CommandResult {
  bool success;
  /// Everything to print, line feeds included; may be empty.
  std::string message;
};

/// Result of one command action.
struct ActionOutcome {
  /// The action did what its option asks for.
  bool succeeded;
  /// No further action may run: this outcome is the result of the run.
  bool finished;

  bool operator==(const ActionOutcome&) const = default;
};

inline constexpr ActionOutcome kNotGiven{.succeeded = false, .finished = false};
inline constexpr ActionOutcome kDone{.succeeded = true, .finished = false};
inline constexpr ActionOutcome kFailedStop{.succeeded = false, .finished = true};
inline constexpr ActionOutcome kDoneStop{.succeeded = true, .finished = true};

}  // namespace ostrel
