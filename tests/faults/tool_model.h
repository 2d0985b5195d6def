// A model of the tool that does not use its code: what a command must do when one of its calls
// fails.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "fault.h"
#include "sweep.h"

namespace faults {

inline const std::wstring kLogKey =
    L"SOFTWARE\\Kestrane, Inc.\\Kestrane Vantor Telemetry\\Service\\Config\\Log";
inline const std::wstring kZoltKey = L"SOFTWARE\\Kestrane, Inc.\\Kestrane Vantor Telemetry\\ZOLT";
inline const std::wstring kLegacyKey =
    L"SOFTWARE\\Kestrane, Inc.\\Kestrane Harlen Telemetry\\Service\\Configuration\\Logging";

/// Adds a key and the keys above it to the contents.
void AddKey(Contents& contents, const std::wstring& key);

struct Write {
  std::wstring value;
  testing_support::RawValue content;
};
/// One opening of a key, and the values that are written into it.
struct Opening {
  std::wstring key;
  std::vector<Write> writes;
};
/// A change of the settings. The openings of a layout follow each other until one fails. Those of
/// the current layout decide the message.
struct Change {
  std::vector<Opening> current;
  std::vector<Opening> legacy;
  std::string done;
  std::string failed;
};
/// A command that reads a setting.
struct Look {
  std::wstring key;
  std::string found;
  std::string notFound;
  /// Which comparison of names finds the stored one; none if nothing is stored.
  std::size_t matchingComparison;
};

/// A run of the tool.
struct Command {
  std::vector<std::string> arguments;
  Contents stored;
  /// The steps of the run, in order, until one fails.
  std::vector<std::variant<Change, Look>> steps;
  /// The message of a run without steps.
  std::string message = {};
  int status = 0;
};

/// The outcome of a run with this fault; of a run without a fault for null.
std::string Expected(const Command& command, const Fault* fault);

/// The text for a run that ended: its exit status or what it threw, and its output.
std::string Ended(const std::string& how, const std::string& printed);

}  // namespace faults
