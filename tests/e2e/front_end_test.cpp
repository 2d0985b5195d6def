#include <cstddef>
#include <iterator>
#include <string>

#include "support/expected_help.h"
#include "tool.h"

namespace end_to_end {
namespace {

TEST_F(ToolTest, PrintsItsHelpWithoutTouchingTheRegistry) {
  EXPECT_EQ(RunTool({}), Success(testing_support::kExpectedHelp));
  EXPECT_EQ(RunTool({L"-help"}), Success(testing_support::kExpectedHelp));
  EXPECT_EQ(RunTool({L"-help", L"-setLogLevel", L"Bogus"}),
            Success(testing_support::kExpectedHelp));
  EXPECT_EQ(RunTool({L"-collectLog", L"-help", L"-resetAllLogSettings"}),
            Success(testing_support::kExpectedHelp));
  EXPECT_EQ(Registry(), Settings());
}

TEST_F(ToolTest, ReportsWhatItCannotParse) {
  EXPECT_EQ(RunTool({L"-help", L"-bogus"}), Failure("Unknown argument: -bogus\n"));
  EXPECT_EQ(RunTool({L"help"}), Failure("Unknown argument: help\n"));
  EXPECT_EQ(RunTool({L"-HELP"}), Failure("Unknown argument: -HELP\n"));
  EXPECT_EQ(RunTool({L"Info"}), Failure("Unknown argument: Info\n"));
  EXPECT_EQ(RunTool({L""}), Failure("Unknown argument: \n"));
  EXPECT_EQ(RunTool({L"{}"}), Failure("Unknown argument: {}\n"));
  EXPECT_EQ(RunTool({L"-getLogLevel", L"Info"}), Failure("Unknown argument: Info\n"));
  EXPECT_EQ(RunTool({L"-getLogLevel", L"-getLogLevel"}),
            Failure("Duplicated argument: -getLogLevel\n"));
  EXPECT_EQ(RunTool({L"-setLogLevel", L"Info", L"-setLogLevel"}),
            Failure("Duplicated argument: -setLogLevel\n"));
  EXPECT_EQ(RunTool({L"-setLogLevel"}), Failure("Too few value of argument: -setLogLevel\n"));
  EXPECT_EQ(RunTool({L"-setLogLevel", L"-getLogLevel"}),
            Failure("Too few value of argument: -setLogLevel\n"));
  EXPECT_EQ(RunTool({L"-setLogConfiguration", L"maxLogSize"}),
            Failure("Too few value of argument: -setLogConfiguration\n"));
  EXPECT_EQ(RunTool({L"-setLogConfiguration", L"maxLogSize", L"-5"}),
            Failure("Too few value of argument: -setLogConfiguration\n"));
  EXPECT_EQ(Registry(), Settings());
}

TEST_F(ToolTest, EchoesTextInUtf8) {
  EXPECT_EQ(RunTool({L"-setLogLevel", L"D\x00E9\x20AC\xD83D\xDE00"}),
            Failure("Invalid log level: D\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80, support values are "
                    "Error/Info/Debug/Trace\n"));
}

TEST_F(ToolTest, TakesACommandLineOfTheGreatestLengthAndManyArguments) {
  // The platform's limit for a command line, with its terminating zero. RunTool puts the program
  // and each argument into quotes.
  constexpr std::size_t kLimit = 32'767;
  const std::size_t others = ProgramDirectory().size() + std::size(L"\"\\ostrel.exe\" \"\"");
  const std::size_t length = kLimit - others;
  EXPECT_EQ(RunTool({std::wstring(length, L'x')}),
            Failure("Unknown argument: " + std::string(length, 'x') + "\n"));
  Arguments arguments = {L"-setLogLevel", L"Info"};
  arguments.resize(5'000, L"y");
  EXPECT_EQ(RunTool(arguments), Success("Successfully set log level to Info\n"));
}

TEST_F(ToolTest, IgnoresValuesBeyondTheFirst) {
  EXPECT_EQ(RunTool({L"-setLogLevel", L"Info", L"Debug"}),
            Success("Successfully set log level to Info\n"));
  EXPECT_EQ(RunTool({L"-getLogLevel"}), Success("Log level: Info\n"));
}

}  // namespace
}  // namespace end_to_end
