#include "command_line/option_table.h"

#include <cstdint>

#include <gmock/gmock-matchers.h>
#include <gtest/gtest.h>

#include "support/command_line_run.h"
#include "support/expected_help.h"
#include "support/expected_options.h"

namespace ostrel {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using testing_support::RecordingHandler;

std::string helpOf(Handleable& factory) {
  MessageStream message;
  buildOptionTable(factory).printHelp(message);
  return fmt::to_string(message);
}

TEST(OptionTableTest, PrintsTheHelp) {
  RecordingHandler handler;
  EXPECT_EQ(helpOf(handler), testing_support::kExpectedHelp);
}

TEST(OptionTableTest, TakesTheNumbersOfTheHelpFromTheFactory) {
  RecordingHandler handler;
  handler.defaultLogLevel = LogLevel::Warn;
  handler.maxLogSizeRange = {.defaultValue = 11, .minimum = 12, .maximum = 13};
  handler.maxTraceLogSizeRange = {.defaultValue = 21, .minimum = 22, .maximum = 23};
  handler.maxLogFilesRange = {.defaultValue = 31, .minimum = 32, .maximum = 33};
  const OptionParser parser = buildOptionTable(handler);
  EXPECT_EQ(parser.findOption("-resetLogLevel").value().description,
            "Reset the log level to default: Warn");
  EXPECT_EQ(
      parser.findOption("-setLogConfiguration").value().description,
      "\n    maxLogSize\t\tSet the maximum size of a log file in MB, the range is 12..13."
      "\n    maxTraceLogSize\tSet the maximum size of a trace log file in MB, the range is 22..23."
      "\n    maxLogFiles\t\tSet the maximum number of historical log files to keep, the range is "
      "32..33.");
  EXPECT_EQ(
      parser.findOption("-resetLogConfiguration").value().description,
      "\n    maxLogSize\t\tReset maximum size of a log file to default: 11 MB."
      "\n    maxTraceLogSize\tReset maximum size of a trace log file to default: 21 MB."
      "\n    maxLogFiles\t\tReset maximum number of historical log-files to keep to default: 31.");
}

TEST(OptionTableTest, ShowsNumbersAsSignedOnes) {
  RecordingHandler handler;
  const auto range = [](std::int32_t defaultValue, std::int32_t minimum, std::int32_t maximum) {
    return ConfigRange{.defaultValue = static_cast<std::uint32_t>(defaultValue),
                       .minimum = static_cast<std::uint32_t>(minimum),
                       .maximum = static_cast<std::uint32_t>(maximum)};
  };
  handler.maxLogSizeRange = range(-1, INT32_MIN, -2);
  handler.maxTraceLogSizeRange = range(-3, -5, -4);
  handler.maxLogFilesRange = range(-6, -8, -7);
  const OptionParser parser = buildOptionTable(handler);
  EXPECT_THAT(parser.findOption("-setLogConfiguration").value().description,
              AllOf(HasSubstr("the range is -2147483648..-2."), HasSubstr("the range is -5..-4."),
                    HasSubstr("the range is -8..-7.")));
  EXPECT_THAT(parser.findOption("-resetLogConfiguration").value().description,
              AllOf(HasSubstr("to default: -1 MB."), HasSubstr("to default: -3 MB."),
                    HasSubstr("to default: -6.")));
}

TEST(OptionTableTest, AsksTheFactoryOnceForEachPlaceholder) {
  RecordingHandler handler;
  buildOptionTable(handler);
  EXPECT_THAT(handler.Calls(), ElementsAre("getDefaultLogLevel()", "getMaxLogSizeRange()",
                                           "getMaxTraceLogSizeRange()", "getMaxLogFilesRange()"));
}

TEST(OptionTableTest, RaisesAnExceptionForADefaultLevelWithoutAName) {
  RecordingHandler handler;
  handler.defaultLogLevel = static_cast<LogLevel>(5);
  EXPECT_THROW(buildOptionTable(handler), std::bad_optional_access);
}

TEST(OptionTableTest, KnowsHowManyValuesEachOptionTakes) {
  RecordingHandler handler;
  const OptionParser parser = buildOptionTable(handler);
  for (const auto& [name, valueCount] : testing_support::kExpectedOptions) {
    const std::optional<Option> option = parser.findOption(name);
    ASSERT_TRUE(option.has_value()) << name;
    EXPECT_THAT(option->names, ElementsAre(name));
    EXPECT_EQ(static_cast<std::size_t>(option->valueCount), valueCount) << name;
    EXPECT_EQ(std::any_cast<bool>(option->implicitValue), true) << name;
    EXPECT_FALSE(option->parsed) << name;
    EXPECT_TRUE(option->values.empty()) << name;
  }
}

}  // namespace
}  // namespace ostrel
