#include "command_line/run_command_line.h"

#include <array>
#include <iterator>
#include <string_view>

#include <fmt/format.h>

#include "command_line/log_configuration_commands.h"
#include "command_line/log_level_commands.h"
#include "command_line/option_parser.h"
#include "command_line/option_table.h"
#include "command_line/zolt_commands.h"

namespace ostrel {
namespace {

/// The actions that may share a run, in the order in which they run.
constexpr std::array kActions = {&runLogConfigurationCommand, &runLogLevelCommand,
                                 &runGetLogLevelCommand, &runSetZOLTDisabledCommand,
                                 &runGetZOLTDisabledCommand};

bool isGiven(const OptionParser& parser, std::string_view name) {
  return parser.boolOf(name).value_or(false);
}

void reportParseError(const ParseResult& error, MessageStream& message) {
  const auto out = std::back_inserter(message);
  switch (error.code) {
    case ParseError::UnknownArgument:
      fmt::format_to(out, "Unknown argument: {}\n", error.argument);
      break;
    case ParseError::TooFewValues:
      fmt::format_to(out, "Too few value of argument: {}\n", error.argument);
      break;
    case ParseError::DuplicatedArgument:
      fmt::format_to(out, "Duplicated argument: {}\n", error.argument);
      break;
    case ParseError::None:
      break;
  }
}

bool resetAllLogSettings(Handleable& factory, MessageStream& message) {
  const auto out = std::back_inserter(message);
  const bool success = factory.resetAllLogSettings() == kSuccess;
  if (success) {
    fmt::format_to(out, "Successfully reset all log settings\n");
  } else {
    fmt::format_to(out, "Reset all log settings failed\n");
  }
  return success;
}

/// Runs what the parsed options ask for and returns whether that succeeded.
bool dispatch(const OptionParser& parser, Handleable& factory, MessageStream& message) {
  if (isGiven(parser, kHelp)) {
    parser.printHelp(message);
    return true;
  }
  if (isGiven(parser, kCollectLog)) {
    factory.collectLog();
    return true;
  }
  if (isGiven(parser, kResetAllLogSettings)) {
    return resetAllLogSettings(factory, message);
  }
  for (const auto action : kActions) {
    const ActionOutcome outcome = action(parser, factory, message);
    if (outcome.finished) {
      return outcome.succeeded;
    }
  }
  return true;
}

}  // namespace

CommandResult runCommandLine(int argc, const char* const* argv, Handleable& factory) {
  OptionParser parser = buildOptionTable(factory);
  MessageStream message;
  bool success = true;
  if (argc == 1) {
    parser.printHelp(message);
  } else if (const ParseResult result = parser.parseArguments(argc, argv);
             result.code != ParseError::None) {
    reportParseError(result, message);
    success = false;
  } else {
    success = dispatch(parser, factory, message);
  }
  return {.success = success, .message = fmt::to_string(message)};
}

}  // namespace ostrel
