// What a command of the tool has to do when one of its calls fails, said a second time and
// independently of it.
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

/// Puts a key and those above it into the contents.
void AddKey(Contents& contents, const std::wstring& key);

struct Write {
  std::wstring value;
  testing_support::RawValue content;
};
/// One opening of a key, and what is written into it then.
struct Opening {
  std::wstring key;
  std::vector<Write> writes;
};
/// A change of the settings: the openings of a layout follow each other until one fails. Those of
/// the current layout decide what is said.
struct Change {
  std::vector<Opening> current;
  std::vector<Opening> legacy;
  std::string done;
  std::string failed;
};
/// A look at a setting.
struct Look {
  std::wstring key;
  std::string found;
  std::string notFound;
  /// Which of the comparisons of names finds the stored one; none when nothing is stored.
  std::size_t matchingComparison;
};

/// A run of the tool.
struct Command {
  std::vector<std::string> arguments;
  Contents stored;
  /// What is done, one after the other until one fails.
  std::vector<std::variant<Change, Look>> steps;
  /// What is said when there are no steps.
  std::string message = {};
  int status = 0;
};

/// What comes of a run with this fault; without one for null.
std::string Expected(const Command& command, const Fault* fault);

/// What is said of a run that ended: its exit status, or what it threw, and what it printed.
std::string Ended(const std::string& how, const std::string& printed);

}  // namespace faults
