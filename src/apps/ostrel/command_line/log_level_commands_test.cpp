#include "command_line/log_level_commands.h"

#include <array>

#include <gmock/gmock-more-matchers.h>
#include <gtest/gtest.h>

#include "support/command_line_run.h"

namespace ostrel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing_support::ActionRun;
using testing_support::RecordingHandler;
using testing_support::RunAction;

struct NamedLevel {
  std::uint32_t level;
  const char* name;
};
constexpr auto kLevels =
    std::to_array<NamedLevel>({{0, "Error"}, {1, "Warn"}, {2, "Info"}, {3, "Debug"}, {4, "Trace"}});

class LogLevelCommandTest : public ::testing::Test {
 protected:
  ActionRun runSetOrReset(const std::vector<std::string>& arguments) {
    return RunAction(runLogLevelCommand, handler, arguments);
  }
  ActionRun runGet(const std::vector<std::string>& arguments) {
    return RunAction(runGetLogLevelCommand, handler, arguments);
  }

  RecordingHandler handler;
};

TEST(LogLevelNameTest, NamesFiveLevels) {
  for (const auto& [level, name] : kLevels) {
    EXPECT_EQ(logLevelName(static_cast<LogLevel>(level)), name);
  }
  EXPECT_EQ(logLevelName(static_cast<LogLevel>(5)), std::nullopt);
  EXPECT_EQ(logLevelName(static_cast<LogLevel>(0xFFFFFFFF)), std::nullopt);
}

TEST_F(LogLevelCommandTest, SetsEachLevel) {
  for (const auto& [level, name] : kLevels) {
    const ActionRun run = runSetOrReset({"-setLogLevel", name});
    EXPECT_EQ(run.outcome, kDone);
    EXPECT_EQ(run.message, "Successfully set log level to " + std::string(name) + "\n");
    EXPECT_THAT(handler.Calls(), ElementsAre("setLogLevel(" + std::to_string(level) + ")"));
  }
}

TEST_F(LogLevelCommandTest, ReportsALevelThatCannotBeStored) {
  for (const HandlerStatus status : {kUnsupported, kWriteFailed, 0xFFFFFFFFU}) {
    handler.statuses["setLogLevel"] = status;
    const ActionRun run = runSetOrReset({"-setLogLevel", "Warn"});
    EXPECT_EQ(run.outcome, kFailedStop);
    EXPECT_EQ(run.message, "Set log level to Warn failed\n");
    EXPECT_THAT(handler.Calls(), ElementsAre("setLogLevel(1)"));
  }
}

TEST_F(LogLevelCommandTest, RejectsWhatIsNotExactlyALevelName) {
  const std::vector<std::string> invalid = {
      "",       "debug",         "DEBUG",    "info",
      "INFO",   "Debug ",        " Debug",   "Debu",
      "Debugs", "Error|Info",    "3",        "Bogus",
      "{}",     "{0}{1:>99999}", "{",        "}",
      "%s%n",   "Deb\xC2\xADug", "\xFF\xFE", std::string(100000, 'x')};
  for (const std::string& name : invalid) {
    const ActionRun run = runSetOrReset({"-setLogLevel", name});
    EXPECT_EQ(run.outcome, kFailedStop) << name;
    EXPECT_EQ(run.message,
              "Invalid log level: " + name + ", support values are Error/Info/Debug/Trace\n");
    EXPECT_THAT(handler.Calls(), IsEmpty()) << name;
  }
}

TEST_F(LogLevelCommandTest, UsesTheFirstOfSeveralValues) {
  const ActionRun run = runSetOrReset({"-setLogLevel", "Info", "Debug"});
  EXPECT_EQ(run.message, "Successfully set log level to Info\n");
  EXPECT_THAT(handler.Calls(), ElementsAre("setLogLevel(2)"));
  EXPECT_EQ(runSetOrReset({"-setLogLevel", "Bogus", "Debug"}).outcome, kFailedStop);
}

TEST_F(LogLevelCommandTest, ResetsTheLevel) {
  const ActionRun run = runSetOrReset({"-resetLogLevel"});
  EXPECT_EQ(run.outcome, kDone);
  EXPECT_EQ(run.message, "Successfully reset log level to default\n");
  EXPECT_THAT(handler.Calls(), ElementsAre("resetLogLevel()"));
}

TEST_F(LogLevelCommandTest, ReportsAResetThatFails) {
  handler.statuses["resetLogLevel"] = kWriteFailed;
  const ActionRun run = runSetOrReset({"-resetLogLevel"});
  EXPECT_EQ(run.outcome, kFailedStop);
  EXPECT_EQ(run.message, "Reset log level to default failed\n");
  EXPECT_THAT(handler.Calls(), ElementsAre("resetLogLevel()"));
}

TEST_F(LogLevelCommandTest, NeverResetsWhenALevelIsGiven) {
  EXPECT_EQ(runSetOrReset({"-setLogLevel", "Trace", "-resetLogLevel"}).outcome, kDone);
  EXPECT_THAT(handler.Calls(), ElementsAre("setLogLevel(4)"));
  EXPECT_EQ(runSetOrReset({"-resetLogLevel", "-setLogLevel", "Trace"}).outcome, kDone);
  EXPECT_THAT(handler.Calls(), ElementsAre("setLogLevel(4)"));
  EXPECT_EQ(runSetOrReset({"-setLogLevel", "Bogus", "-resetLogLevel"}).outcome, kFailedStop);
  EXPECT_THAT(handler.Calls(), IsEmpty());
  EXPECT_EQ(runSetOrReset({"-resetLogLevel", "-setLogLevel", ""}).outcome, kFailedStop);
  EXPECT_THAT(handler.Calls(), IsEmpty());
}

TEST_F(LogLevelCommandTest, LeavesTheLevelAloneWhenNotAsked) {
  const ActionRun run = runSetOrReset({"-getLogLevel", "-getZOLTDisabled"});
  EXPECT_EQ(run.outcome, kNotGiven);
  EXPECT_EQ(run.message, "");
  EXPECT_THAT(handler.Calls(), IsEmpty());
}

TEST_F(LogLevelCommandTest, ResetsOnPresenceWhateverTheImplicitValue) {
  OptionParser parser("", "", "", "");
  Option reset;
  reset.names = {"-resetLogLevel"};
  reset.implicitValue = false;
  parser.addOption(reset);
  Option get;
  get.names = {"-getLogLevel"};
  get.implicitValue = false;
  parser.addOption(get);
  ASSERT_EQ(testing_support::Parse(parser, {"-resetLogLevel", "-getLogLevel"}).code,
            ParseError::None);
  MessageStream message;
  EXPECT_EQ(runLogLevelCommand(parser, handler, message), kDone);
  EXPECT_EQ(runGetLogLevelCommand(parser, handler, message), kNotGiven);
  EXPECT_THAT(handler.Calls(), ElementsAre("resetLogLevel()"));
}

TEST_F(LogLevelCommandTest, PrintsEachLevel) {
  for (const auto& [level, name] : kLevels) {
    handler.logLevel = static_cast<LogLevel>(level);
    const ActionRun run = runGet({"-getLogLevel"});
    EXPECT_EQ(run.outcome, kDoneStop);
    EXPECT_EQ(run.message, "Log level: " + std::string(name) + "\n");
    EXPECT_THAT(handler.Calls(), ElementsAre("getLogLevel()"));
  }
}

TEST_F(LogLevelCommandTest, RaisesAnExceptionForALevelWithoutAName) {
  for (const std::uint32_t level : {5U, 0xFFFFFFFFU}) {
    handler.logLevel = static_cast<LogLevel>(level);
    EXPECT_THROW(runGet({"-getLogLevel"}), std::bad_optional_access);
  }
}

TEST_F(LogLevelCommandTest, ReadsNoLevelWhenNotAsked) {
  const ActionRun run = runGet({"-setLogLevel", "Debug", "-resetLogLevel"});
  EXPECT_EQ(run.outcome, kNotGiven);
  EXPECT_EQ(run.message, "");
  EXPECT_THAT(handler.Calls(), IsEmpty());
}

}  // namespace
}  // namespace ostrel
