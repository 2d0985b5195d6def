// What the commands hand to each other and to the program's entry.
#pragma once

#include <string>

#include <fmt/format.h>

namespace ostrel {

/// All messages of a run in the order in which they were written. Written with
/// fmt::format_to(std::back_inserter(message), ...); text from the user is an argument there, never
/// the format string.
using MessageStream = fmt::memory_buffer;

/// Result of one run of the command line.
struct CommandResult {
  bool success;
  /// Everything there is to print, line feeds included; may be empty.
  std::string message;
};

/// Result of one command action.
struct ActionOutcome {
  /// The action did what was asked.
  bool succeeded;
  /// No further action may run: the run's result is decided.
  bool finished;

  bool operator==(const ActionOutcome&) const = default;
};

inline constexpr ActionOutcome kNotGiven{.succeeded = false, .finished = false};
inline constexpr ActionOutcome kDone{.succeeded = true, .finished = false};
inline constexpr ActionOutcome kFailedStop{.succeeded = false, .finished = true};
inline constexpr ActionOutcome kDoneStop{.succeeded = true, .finished = true};

}  // namespace ostrel
