#include "command_line/log_level_commands.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <string>

#include <fmt/format.h>

#include "command_line/option_table.h"

namespace ostrel {
namespace {

/// Indexed by LogLevel.
constexpr std::array<std::string_view, 5> kLevelTexts = {"Error", "Warn", "Info", "Debug", "Trace"};

/// The level with exactly this name, case included.
std::optional<LogLevel> levelNamed(std::string_view name) {
  const auto found = std::ranges::find(kLevelTexts, name);
  if (found == kLevelTexts.end()) {
    return std::nullopt;
  }
  return static_cast<LogLevel>(found - kLevelTexts.begin());
}

ActionOutcome setLogLevel(const std::string& name, Handleable& factory, MessageStream& message) {
  const auto out = std::back_inserter(message);
  const std::optional<LogLevel> level = levelNamed(name);
  if (!level) {
    fmt::format_to(out, "Invalid log level: {}, support values are Error/Info/Debug/Trace\n", name);
    return kFailedStop;
  }
  if (factory.setLogLevel(*level) != kSuccess) {
    fmt::format_to(out, "Set log level to {} failed\n", name);
    return kFailedStop;
  }
  fmt::format_to(out, "Successfully set log level to {}\n", name);
  return kDone;
}

ActionOutcome resetLogLevel(Handleable& factory, MessageStream& message) {
  const auto out = std::back_inserter(message);
  if (factory.resetLogLevel() != kSuccess) {
    fmt::format_to(out, "Reset log level to default failed\n");
    return kFailedStop;
  }
  fmt::format_to(out, "Successfully reset log level to default\n");
  return kDone;
}

}  // namespace

std::optional<std::string_view> logLevelName(LogLevel level) {
  const auto index = static_cast<std::size_t>(level);
  return index < kLevelTexts.size() ? std::optional(kLevelTexts[index]) : std::nullopt;
}

ActionOutcome runLogLevelCommand(const OptionParser& parser, Handleable& factory,
                                 MessageStream& message) {
  if (const auto name = parser.stringOf(kSetLogLevel)) {
    return setLogLevel(*name, factory, message);
  }
  if (parser.boolOf(kResetLogLevel)) {
    return resetLogLevel(factory, message);
  }
  return kNotGiven;
}

ActionOutcome runGetLogLevelCommand(const OptionParser& parser, Handleable& factory,
                                    MessageStream& message) {
  if (!parser.boolOf(kGetLogLevel).value_or(false)) {
    return kNotGiven;
  }
  fmt::format_to(std::back_inserter(message), "Log level: {}\n",
                 logLevelName(factory.getLogLevel()).value());
  return kDoneStop;
}

}  // namespace ostrel
