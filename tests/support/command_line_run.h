// Command lines for tests of the front end.
#pragma once

#include <string>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "command_line/command_result.h"
#include "command_line/option_parser.h"
#include "command_line/option_table.h"
#include "support/ostrel_printers.h"
#include "support/recording_handler.h"

namespace testing_support {

/// The argument vector of a program that was called with these arguments. They must outlive it.
inline std::vector<const char*> ArgumentVector(const std::vector<std::string>& arguments) {
  std::vector<const char*> vector = {"C:\\Tools\\ostrel.exe"};
  for (const std::string& argument : arguments) {
    vector.push_back(argument.c_str());
  }
  return vector;
}

/// Parses these arguments.
inline ostrel::ParseResult Parse(ostrel::OptionParser& parser,
                                 const std::vector<std::string>& arguments) {
  const std::vector<const char*> argv = ArgumentVector(arguments);
  return parser.parseArguments(static_cast<int>(argv.size()), argv.data());
}

/// The result of running one action on a command line.
struct ActionRun {
  ostrel::ActionOutcome outcome;
  std::string message;
};

/// Runs one action on the tool's option table and arguments that parse. The handler's calls are
/// those of the action alone.
template <class Action>
ActionRun RunAction(const Action& action, RecordingHandler& handler,
                    const std::vector<std::string>& arguments) {
  ostrel::OptionParser parser = ostrel::buildOptionTable(handler);
  EXPECT_EQ(Parse(parser, arguments).code, ostrel::ParseError::None);
  handler.ClearCalls();
  // NOLINTNEXTLINE(misc-const-correctness): the action writes it
  ostrel::MessageStream message;
  const ostrel::ActionOutcome outcome = action(parser, handler, message);
  return {outcome, fmt::to_string(message)};
}

}  // namespace testing_support
