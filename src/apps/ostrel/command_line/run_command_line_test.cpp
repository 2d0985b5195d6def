#include "command_line/run_command_line.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include <gmock/gmock-more-matchers.h>
#include <gtest/gtest.h>

#include "support/command_line_run.h"

namespace ostrel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using testing_support::ArgumentVector;
using testing_support::RecordingHandler;

class RunCommandLineTest : public ::testing::Test {
 protected:
  /// Runs with these arguments after the program's path.
  CommandResult run(const std::vector<std::string>& arguments) {
    const std::vector<const char*> argv = ArgumentVector(arguments);
    handler.ClearCalls();
    return runCommandLine(static_cast<int>(argv.size()), argv.data(), handler);
  }

  /// The calls of the last run, without those that build the option table at its beginning.
  std::vector<std::string> commandCalls() {
    RecordingHandler asked;
    buildOptionTable(asked);
    const std::vector<std::string>& calls = handler.Calls();
    const auto ofTheTable = std::min(asked.Calls().size(), calls.size());
    return {calls.begin() + static_cast<std::ptrdiff_t>(ofTheTable), calls.end()};
  }

  void expectRun(const std::vector<std::string>& arguments, bool success,
                 const std::string& message, const std::vector<std::string>& calls) {
    const CommandResult result = run(arguments);
    EXPECT_EQ(result.success, success) << ::testing::PrintToString(arguments);
    EXPECT_EQ(result.message, message);
    EXPECT_EQ(commandCalls(), calls) << ::testing::PrintToString(arguments);
  }

  std::string help() {
    MessageStream message;
    buildOptionTable(handler).printHelp(message);
    return fmt::to_string(message);
  }

  RecordingHandler handler;
};

TEST_F(RunCommandLineTest, PrintsTheHelpWithoutArguments) {
  EXPECT_THAT(help(), StartsWith("OVERVIEW: ostrel " OSTREL_VERSION "\n"));
  expectRun({}, true, help(), {});
}

TEST_F(RunCommandLineTest, SaysNothingWithoutEvenThePath) {
  const CommandResult nothing = runCommandLine(0, nullptr, handler);
  EXPECT_TRUE(nothing.success);
  EXPECT_EQ(nothing.message, "");
  EXPECT_THAT(commandCalls(), IsEmpty());
}

TEST_F(RunCommandLineTest, TakesTheArgumentsOfMain) {
  std::string path = "ostrel";
  std::string option = "-getLogLevel";
  const std::array<char*, 3> argv = {path.data(), option.data(), nullptr};
  EXPECT_EQ(runCommandLine(2, argv.data(), handler).message, "Log level: Info\n");
}

TEST_F(RunCommandLineTest, ShowsTheFactorysNumbersInTheHelp) {
  handler.maxLogSizeRange = {.defaultValue = 71, .minimum = 72, .maximum = 73};
  EXPECT_THAT(run({}).message, ::testing::HasSubstr("the range is 72..73."));
  EXPECT_THAT(run({"-help"}).message, ::testing::HasSubstr("to default: 71 MB."));
}

TEST_F(RunCommandLineTest, ReportsUnknownArguments) {
  const std::vector<std::string> unknown = {"-bogus",
                                            "Info",
                                            "help",
                                            "-HELP",
                                            "-h",
                                            "--help",
                                            "/help",
                                            "",
                                            " ",
                                            "-",
                                            "-help ",
                                            "-5",
                                            "{}",
                                            "-{}",
                                            "{0:>9}",
                                            "{",
                                            "}",
                                            "%s%n",
                                            "-\xFF\xFE",
                                            "\xC3\xBC",
                                            std::string(100000, 'x'),
                                            "-" + std::string(100000, 'x')};
  for (const std::string& argument : unknown) {
    expectRun({argument}, false, "Unknown argument: " + argument + "\n", {});
  }
}

TEST_F(RunCommandLineTest, ReportsValuesOfOptionsThatTakeNone) {
  for (const char* const name : {"-help", "-getLogLevel", "-resetLogLevel", "-resetAllLogSettings",
                                 "-collectLog", "-getZOLTDisabled"}) {
    expectRun({name, "Info"}, false, "Unknown argument: Info\n", {});
    expectRun({name, ""}, false, "Unknown argument: \n", {});
  }
}

TEST_F(RunCommandLineTest, ReportsDuplicatedArguments) {
  for (const char* const name : {"-help", "-getLogLevel", "-resetLogLevel", "-resetAllLogSettings",
                                 "-collectLog", "-getZOLTDisabled"}) {
    expectRun({name, name}, false, "Duplicated argument: " + std::string(name) + "\n", {});
  }
  expectRun({"-setLogLevel", "Info", "-setLogLevel"}, false, "Duplicated argument: -setLogLevel\n",
            {});
  expectRun({"-setLogLevel", "Info", "-getLogLevel", "-setLogLevel", "Debug"}, false,
            "Duplicated argument: -setLogLevel\n", {});
}

TEST_F(RunCommandLineTest, ReportsTooFewValues) {
  for (const std::string name :
       {"-setLogLevel", "-setLogConfiguration", "-resetLogConfiguration", "-setZOLTDisabled"}) {
    const std::string message = "Too few value of argument: " + name + "\n";
    expectRun({name}, false, message, {});
    expectRun({name, "-getLogLevel"}, false, message, {});
    expectRun({name, "-Info"}, false, message, {});
  }
  const std::string message = "Too few value of argument: -setLogConfiguration\n";
  expectRun({"-setLogConfiguration", "maxLogSize"}, false, message, {});
  expectRun({"-setLogConfiguration", "maxLogSize", "-5"}, false, message, {});
  expectRun({"-setLogConfiguration", "maxLogSize", "-getLogLevel"}, false, message, {});
}

TEST_F(RunCommandLineTest, ReportsParseErrorsBeforeAnythingRuns) {
  expectRun({"-help", "-bogus"}, false, "Unknown argument: -bogus\n", {});
  expectRun({"-collectLog", "-bogus"}, false, "Unknown argument: -bogus\n", {});
  expectRun({"-resetAllLogSettings", "-bogus"}, false, "Unknown argument: -bogus\n", {});
  expectRun({"-setLogLevel", "Debug", "-bogus"}, false, "Unknown argument: -bogus\n", {});
}

TEST_F(RunCommandLineTest, RunsTheHelpAlone) {
  const std::string text = help();
  expectRun({"-help"}, true, text, {});
  expectRun({"-help", "-setLogLevel", "Bogus"}, true, text, {});
  expectRun({"-setLogLevel", "Debug", "-help"}, true, text, {});
  expectRun({"-collectLog", "-help"}, true, text, {});
  expectRun({"-resetAllLogSettings", "-collectLog", "-help"}, true, text, {});
}

TEST_F(RunCommandLineTest, RunsTheCollectionAloneAndSaysNothing) {
  expectRun({"-collectLog"}, true, "", {"collectLog()"});
  expectRun({"-resetAllLogSettings", "-collectLog"}, true, "", {"collectLog()"});
  expectRun({"-setLogLevel", "Bogus", "-collectLog"}, true, "", {"collectLog()"});
  expectRun({"-collectLog", "-getLogLevel"}, true, "", {"collectLog()"});
}

TEST_F(RunCommandLineTest, ResetsAllSettingsAlone) {
  const std::string message = "Successfully reset all log settings\n";
  expectRun({"-resetAllLogSettings"}, true, message, {"resetAllLogSettings()"});
  expectRun({"-resetAllLogSettings", "-setLogLevel", "Bogus"}, true, message,
            {"resetAllLogSettings()"});
  expectRun({"-setZOLTDisabled", "true", "-resetAllLogSettings", "-getLogLevel"}, true, message,
            {"resetAllLogSettings()"});
}

TEST_F(RunCommandLineTest, ReportsAResetOfAllSettingsThatFails) {
  for (const HandlerStatus status : {kUnsupported, kWriteFailed, 0xFFFFFFFFU}) {
    handler.statuses["resetAllLogSettings"] = status;
    expectRun({"-resetAllLogSettings"}, false, "Reset all log settings failed\n",
              {"resetAllLogSettings()"});
  }
}

TEST_F(RunCommandLineTest, RunsEachCommandByItself) {
  handler.logLevel = LogLevel::Trace;
  handler.zoltDisabled = ZoltDisabledState::Disabled;
  expectRun({"-setLogLevel", "Warn"}, true, "Successfully set log level to Warn\n",
            {"setLogLevel(1)"});
  expectRun({"-resetLogLevel"}, true, "Successfully reset log level to default\n",
            {"resetLogLevel()"});
  expectRun({"-getLogLevel"}, true, "Log level: Trace\n", {"getLogLevel()"});
  expectRun({"-setLogConfiguration", "maxLogFiles", "30"}, true,
            "Successfully set log configuration for maxLogFiles to 30\n",
            {"getConfigurationRange(maxLogFiles)", "setLogConfiguration(maxLogFiles, 30)"});
  expectRun({"-resetLogConfiguration", "maxTraceLogSize"}, true,
            "Successfully reset log configuration for maxTraceLogSize\n",
            {"resetLogConfiguration(maxTraceLogSize)"});
  expectRun({"-setZOLTDisabled", "TRUE"}, true,
            "Successfully set ZOLT disablement config to TRUE\n", {"setZOLTDisabled(1)"});
  expectRun({"-getZOLTDisabled"}, true, "ZOLT local disablement config: true\n",
            {"getZOLTDisabled()"});
}

TEST_F(RunCommandLineTest, SetsTheConfigurationBeforeTheLevel) {
  expectRun({"-setLogLevel", "Debug", "-setLogConfiguration", "maxLogSize", "5"}, true,
            "Successfully set log configuration for maxLogSize to 5\n"
            "Successfully set log level to Debug\n",
            {"getConfigurationRange(maxLogSize)", "setLogConfiguration(maxLogSize, 5)",
             "setLogLevel(3)"});
}

TEST_F(RunCommandLineTest, RunsTheWholeChainUpToTheFirstThatFinishes) {
  expectRun({"-getZOLTDisabled", "-setZOLTDisabled", "true", "-getLogLevel", "-resetLogLevel",
             "-resetLogConfiguration", "maxLogFiles"},
            true,
            "Successfully reset log configuration for maxLogFiles\n"
            "Successfully reset log level to default\n"
            "Log level: Info\n",
            {"resetLogConfiguration(maxLogFiles)", "resetLogLevel()", "getLogLevel()"});
}

TEST_F(RunCommandLineTest, PrintsTheLevelAndLeavesZoltAlone) {
  expectRun({"-setZOLTDisabled", "true", "-getLogLevel"}, true, "Log level: Info\n",
            {"getLogLevel()"});
  expectRun({"-getLogLevel", "-getZOLTDisabled"}, true, "Log level: Info\n", {"getLogLevel()"});
}

TEST_F(RunCommandLineTest, PrintsTheLevelAfterItWasSetOrReset) {
  handler.logLevel = LogLevel::Error;  // the level that is read differs from the typed one
  expectRun({"-getLogLevel", "-setLogLevel", "Debug"}, true,
            "Successfully set log level to Debug\nLog level: Error\n",
            {"setLogLevel(3)", "getLogLevel()"});
  expectRun({"-resetLogLevel", "-getLogLevel"}, true,
            "Successfully reset log level to default\nLog level: Error\n",
            {"resetLogLevel()", "getLogLevel()"});
}

TEST_F(RunCommandLineTest, EndsTheRunWhenZoltIsSet) {
  expectRun({"-setZOLTDisabled", "true", "-getZOLTDisabled"}, true,
            "Successfully set ZOLT disablement config to true\n", {"setZOLTDisabled(1)"});
  expectRun({"-setZOLTDisabled", "yes", "-getZOLTDisabled"}, false,
            "Invalid argument: yes, support values are: true/false\n", {});
}

TEST_F(RunCommandLineTest, GoesOnToZoltAfterTheLevel) {
  expectRun({"-setZOLTDisabled", "false", "-setLogLevel", "Info"}, true,
            "Successfully set log level to Info\n"
            "Successfully set ZOLT disablement config to false\n",
            {"setLogLevel(2)", "setZOLTDisabled(2)"});
  expectRun({"-getZOLTDisabled", "-resetLogLevel"}, true,
            "Successfully reset log level to default\n"
            "ZOLT local disablement config: not configured\n",
            {"resetLogLevel()", "getZOLTDisabled()"});
}

TEST_F(RunCommandLineTest, KeepsWhatWasDoneBeforeAFailure) {
  expectRun({"-setLogLevel", "Bogus", "-setLogConfiguration", "maxLogSize", "5"}, false,
            "Successfully set log configuration for maxLogSize to 5\n"
            "Invalid log level: Bogus, support values are Error/Info/Debug/Trace\n",
            {"getConfigurationRange(maxLogSize)", "setLogConfiguration(maxLogSize, 5)"});
}

TEST_F(RunCommandLineTest, StopsAtTheFirstFailure) {
  expectRun({"-setLogConfiguration", "maxLogSize", "99", "-setLogLevel", "Debug"}, false,
            "Input a valid integer [1..50] for maxLogSize\n",
            {"getConfigurationRange(maxLogSize)"});
  handler.statuses["setLogLevel"] = kWriteFailed;
  expectRun({"-setLogLevel", "Debug", "-getLogLevel"}, false, "Set log level to Debug failed\n",
            {"setLogLevel(3)"});
  handler.statuses["resetLogLevel"] = kWriteFailed;
  expectRun({"-resetLogLevel", "-setZOLTDisabled", "true"}, false,
            "Reset log level to default failed\n", {"resetLogLevel()"});
}

TEST_F(RunCommandLineTest, RejectsALevelInLowerCase) {
  expectRun({"-setLogLevel", "debug"}, false,
            "Invalid log level: debug, support values are Error/Info/Debug/Trace\n", {});
  expectRun({"-setLogLevel", "{}"}, false,
            "Invalid log level: {}, support values are Error/Info/Debug/Trace\n", {});
}

TEST_F(RunCommandLineTest, TakesHundredsOfArguments) {
  std::vector<std::string> values = {"-setLogLevel", "Info"};
  values.insert(values.end(), 300, "Debug");
  expectRun(values, true, "Successfully set log level to Info\n", {"setLogLevel(2)"});
  expectRun(std::vector<std::string>(300, "-getLogLevel"), false,
            "Duplicated argument: -getLogLevel\n", {});
  expectRun(std::vector<std::string>(300, ""), false, "Unknown argument: \n", {});
}

TEST_F(RunCommandLineTest, LetsExceptionsThrough) {
  handler.logLevel = static_cast<LogLevel>(5);
  EXPECT_THROW(run({"-setLogConfiguration", "maxLogSize", "5", "-getLogLevel"}),
               std::bad_optional_access);
  EXPECT_THAT(commandCalls(), ElementsAre("getConfigurationRange(maxLogSize)",
                                          "setLogConfiguration(maxLogSize, 5)", "getLogLevel()"));
  handler.configurationRanges.clear();
  EXPECT_THROW(run({"-setLogConfiguration", "maxLogSize", "5"}), std::bad_optional_access);
  handler.defaultLogLevel = static_cast<LogLevel>(5);
  EXPECT_THROW(run({}), std::bad_optional_access);
}

}  // namespace
}  // namespace ostrel
