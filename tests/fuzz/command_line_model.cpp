#include "command_line_model.h"

#include <algorithm>
#include <optional>

#include "support/expected_help.h"
#include "support/expected_options.h"

namespace fuzz {
namespace {

/// An option with the words behind it.
using Options = std::map<std::string, Texts>;

const Texts kLevels = {"Error", "Warn", "Info", "Debug", "Trace"};
const Texts kZoltStates = {"not configured", "true", "false"};

/// Splits the arguments before each dash, then judges group by group. Returns the complaint.
std::string Group(const Texts& arguments, Options& options) {
  std::vector<Texts> groups;
  for (const std::string& argument : arguments) {
    if (groups.empty() || argument.starts_with('-')) {
      groups.emplace_back();
    }
    groups.back().push_back(argument);
  }
  for (const Texts& group : groups) {
    const std::string& name = group.front();
    if (testing_support::kExpectedOptions.count(name) == 0) {
      return "Unknown argument: " + name + "\n";
    }
    if (options.count(name) != 0) {
      return "Duplicated argument: " + name + "\n";
    }
    const std::size_t wanted = testing_support::kExpectedOptions.at(name);
    if (wanted == 0 && group.size() > 1) {
      return "Unknown argument: " + group[1] + "\n";
    }
    if (group.size() - 1 < wanted) {
      return "Too few value of argument: " + name + "\n";
    }
    options[name] = {group.begin() + 1, group.end()};
  }
  return "";
}

/// Blanks, a sign, digits and nothing else, of 32 bits.
std::optional<std::int64_t> ToInteger(std::string text) {
  text.erase(0, std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) {
    text.erase(0, 1);
  }
  if (text.empty() || text.find_first_not_of("0123456789") != text.npos) {
    return std::nullopt;
  }
  text.erase(0, std::min(text.find_first_not_of('0'), text.size()));
  const std::string limit = negative ? "2147483648" : "2147483647";
  if (text.size() > limit.size() || (text.size() == limit.size() && text > limit)) {
    return std::nullopt;
  }
  std::int64_t number = 0;
  for (const char digit : text) {
    number = number * 10 + (digit - '0');
  }
  return negative ? -number : number;
}

constexpr std::int64_t kTwoTo32 = std::int64_t{1} << 32;

/// A bound as a signed number of 32 bits.
std::int64_t Signed(std::uint32_t bound) { return bound < kTwoTo32 / 2 ? bound : bound - kTwoTo32; }

std::string Lower(std::string text) {
  for (char& character : text) {
    character =
        character >= 'A' && character <= 'Z' ? static_cast<char>(character | 0x20) : character;
  }
  return text;
}

/// The run of the commands. Each of the steps says whether the run is over.
class Run {
 public:
  Run(const Answers& answers, Options options, Outcome& outcome)
      : answers_(answers), options_(std::move(options)), outcome_(outcome) {}

  void Everything() {
    outcome_.success = true;
    if (Has("-help")) {
      outcome_.message = testing_support::kExpectedHelp;
    } else if (Has("-collectLog")) {
      outcome_.calls.emplace_back("collectLog()");
    } else if (Has("-resetAllLogSettings")) {
      Write("resetAllLogSettings", "", "Successfully reset all log settings",
            "Reset all log settings failed");
    } else {
      Configuration() || Level() || GetLevel() || SetZolt() || GetZolt();
    }
  }

 private:
  [[nodiscard]] bool Has(const char* option) const { return options_.count(option) != 0; }

  bool Say(bool success, const std::string& line) {
    outcome_.success = success;
    outcome_.message += line + "\n";
    return true;
  }

  /// Over when the write fails.
  bool Write(const std::string& operation, const std::string& arguments,
             const std::string& onSuccess, const std::string& onFailure) {
    outcome_.calls.push_back(operation + "(" + arguments + ")");
    const bool success = answers_.statuses.at(operation) == 0;
    Say(success, success ? onSuccess : onFailure);
    return !success;
  }

  bool NoAnswer() {
    outcome_.noAnswer = true;
    outcome_.success = false;
    outcome_.message.clear();
    return true;
  }

  bool Configuration() {
    const bool set = Has("-setLogConfiguration");
    if (!set && !Has("-resetLogConfiguration")) {
      return false;
    }
    const Texts& values = options_[set ? "-setLogConfiguration" : "-resetLogConfiguration"];
    const std::string& name = values[0];
    if (name != "maxLogSize" && name != "maxTraceLogSize" && name != "maxLogFiles") {
      return Say(false, "Invalid argument: " + name +
                            ", support values are: maxLogSize/maxTraceLogSize/maxLogFiles");
    }
    if (!set) {
      return Write("resetLogConfiguration", name,
                   "Successfully reset log configuration for " + name,
                   "Reset log configuration for " + name + " failed");
    }
    return SetConfiguration(name, values[1]);
  }

  bool SetConfiguration(const std::string& name, const std::string& value) {
    const std::optional<std::int64_t> number = ToInteger(value);
    if (!number) {
      return Say(false, "Invalid argument: " + value + ", a integer is required for " + name);
    }
    outcome_.calls.push_back("getConfigurationRange(" + name + ")");
    if (answers_.ranges.count(name) == 0) {
      return NoAnswer();
    }
    const ostrel::ConfigRange& range = answers_.ranges.at(name);
    const std::int64_t minimum = Signed(range.minimum);
    const std::int64_t maximum = Signed(range.maximum);
    if (*number < minimum || *number > maximum) {
      return Say(false, "Input a valid integer [" + std::to_string(minimum) + ".." +
                            std::to_string(maximum) + "] for " + name);
    }
    return Write("setLogConfiguration",
                 name + ", " + std::to_string(*number < 0 ? *number + kTwoTo32 : *number),
                 "Successfully set log configuration for " + name + " to " + value,
                 "Set log configuration for " + name + " to " + value + " failed");
  }

  bool Level() {
    if (!Has("-setLogLevel")) {
      return Has("-resetLogLevel") &&
             Write("resetLogLevel", "", "Successfully reset log level to default",
                   "Reset log level to default failed");
    }
    const std::string& name = options_["-setLogLevel"][0];
    for (std::size_t level = 0; level != kLevels.size(); ++level) {
      if (kLevels[level] == name) {
        return Write("setLogLevel", std::to_string(level), "Successfully set log level to " + name,
                     "Set log level to " + name + " failed");
      }
    }
    return Say(false, "Invalid log level: " + name + ", support values are Error/Info/Debug/Trace");
  }

  bool GetLevel() {
    if (!Has("-getLogLevel")) {
      return false;
    }
    outcome_.calls.emplace_back("getLogLevel()");
    return answers_.level < 5 ? Say(true, "Log level: " + kLevels[answers_.level]) : NoAnswer();
  }

  bool SetZolt() {
    if (!Has("-setZOLTDisabled")) {
      return false;
    }
    const std::string& value = options_["-setZOLTDisabled"][0];
    const bool isTrue = Lower(value) == "true";
    if (!isTrue && Lower(value) != "false") {
      return Say(false, "Invalid argument: " + value + ", support values are: true/false");
    }
    Write("setZOLTDisabled", isTrue ? "1" : "2",
          "Successfully set ZOLT disablement config to " + value, "Set ZOLT local config failed");
    return true;
  }

  bool GetZolt() {
    if (!Has("-getZOLTDisabled")) {
      return false;
    }
    outcome_.calls.emplace_back("getZOLTDisabled()");
    return answers_.zolt < 3
               ? Say(true, "ZOLT local disablement config: " + kZoltStates[answers_.zolt])
               : NoAnswer();
  }

  const Answers& answers_;
  Options options_;
  Outcome& outcome_;
};

}  // namespace

Outcome Predict(const Answers& answers, const Texts& arguments) {
  Outcome outcome;
  outcome.calls = {"getDefaultLogLevel()", "getMaxLogSizeRange()", "getMaxTraceLogSizeRange()",
                   "getMaxLogFilesRange()"};
  if (!answers.hasPath || arguments.empty()) {
    outcome.success = true;
    outcome.message = answers.hasPath ? testing_support::kExpectedHelp : "";
    return outcome;
  }
  Options options;
  outcome.message = Group(arguments, options);
  if (outcome.message.empty()) {
    Run(answers, std::move(options), outcome).Everything();
  }
  return outcome;
}

}  // namespace fuzz
