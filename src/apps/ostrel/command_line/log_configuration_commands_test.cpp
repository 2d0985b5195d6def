#include "command_line/log_configuration_commands.h"

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

class LogConfigurationCommandTest : public ::testing::Test {
 protected:
  ActionRun run(const std::vector<std::string>& arguments) {
    return RunAction(runLogConfigurationCommand, handler, arguments);
  }
  ActionRun set(const std::string& name, const std::string& value) {
    return run({"-setLogConfiguration", name, value});
  }

  /// Expects that the value is accepted and stored as `number`.
  void expectStored(const std::string& name, const std::string& value, const std::string& number) {
    const ActionRun result = set(name, value);
    EXPECT_EQ(result.outcome, kDone);
    EXPECT_EQ(result.message,
              "Successfully set log configuration for " + name + " to " + value + "\n");
    EXPECT_THAT(handler.Calls(), ElementsAre("getConfigurationRange(" + name + ")",
                                             "setLogConfiguration(" + name + ", " + number + ")"));
  }
  /// Expects that the value is a number outside the range, which is shown as `range`, and that
  /// nothing is stored.
  void expectOutOfRange(const std::string& name, const std::string& value,
                        const std::string& range) {
    const ActionRun result = set(name, value);
    EXPECT_EQ(result.outcome, kFailedStop);
    EXPECT_EQ(result.message, "Input a valid integer [" + range + "] for " + name + "\n");
    EXPECT_THAT(handler.Calls(), ElementsAre("getConfigurationRange(" + name + ")"));
  }
  /// Expects that the value is no number, and that the factory is not called.
  void expectNoInteger(const std::string& value) {
    const ActionRun result = set("maxTraceLogSize", value);
    EXPECT_EQ(result.outcome, kFailedStop) << value;
    EXPECT_EQ(result.message,
              "Invalid argument: " + value + ", a integer is required for maxTraceLogSize\n");
    EXPECT_THAT(handler.Calls(), IsEmpty()) << value;
  }

  RecordingHandler handler;
};

std::vector<std::string> invalidNames() {
  return {"",
          "MaxLogSize",
          "maxlogsize",
          "MAXLOGSIZE",
          "maxLogSize ",
          " maxLogSize",
          "maxLogSiz",
          "maxLogSizes",
          "maxLogSize/maxLogFiles",
          "5",
          "{}",
          "{0:>99999}",
          "{",
          "}",
          "%s%n",
          "\xFF",
          std::string(100000, 'm')};
}

std::string invalidNameMessage(const std::string& name) {
  return "Invalid argument: " + name +
         ", support values are: maxLogSize/maxTraceLogSize/maxLogFiles\n";
}

TEST(IsConfigurationNameTest, KnowsTheThreeNamesExactly) {
  EXPECT_TRUE(isConfigurationName("maxLogSize"));
  EXPECT_TRUE(isConfigurationName("maxTraceLogSize"));
  EXPECT_TRUE(isConfigurationName("maxLogFiles"));
  for (const std::string& name : invalidNames()) {
    EXPECT_FALSE(isConfigurationName(name)) << name;
  }
  EXPECT_FALSE(isConfigurationName(std::string_view("maxLogSize\0", 11)));
}

TEST_F(LogConfigurationCommandTest, SetsValuesUpToBothBoundsAndNoneBeyond) {
  const std::pair<std::string, int> maxima[] = {
      {"maxLogSize", 50}, {"maxTraceLogSize", 50}, {"maxLogFiles", 30}};
  for (const auto& [name, maximum] : maxima) {
    expectStored(name, "1", "1");
    expectStored(name, std::to_string(maximum), std::to_string(maximum));
    for (const std::string& beyond :
         {std::string("0"), std::to_string(maximum + 1), std::string("2147483647"),
          std::string(" -5"), std::string(" -2147483648")}) {
      expectOutOfRange(name, beyond, "1.." + std::to_string(maximum));
    }
  }
}

TEST_F(LogConfigurationCommandTest, TakesTheRangeFromTheFactory) {
  handler.configurationRanges["maxLogFiles"] = {.defaultValue = 0, .minimum = 100, .maximum = 102};
  expectOutOfRange("maxLogFiles", "99", "100..102");
  expectStored("maxLogFiles", "100", "100");
  expectStored("maxLogFiles", "102", "102");
  expectOutOfRange("maxLogFiles", "103", "100..102");
}

TEST_F(LogConfigurationCommandTest, ComparesNumbersAndBoundsAsSignedOnes) {
  const auto setRange = [this](std::uint32_t minimum, std::uint32_t maximum) {
    handler.configurationRanges["maxLogSize"] = {
        .defaultValue = 0, .minimum = minimum, .maximum = maximum};
  };
  setRange(0, 0x7FFFFFFF);
  expectOutOfRange("maxLogSize", " -1", "0..2147483647");
  expectStored("maxLogSize", " -0", "0");
  expectStored("maxLogSize", "2147483647", "2147483647");
  // Bounds of 2^31 and more are negative numbers, as in the help.
  setRange(0xFFFFFFF0, 0xFFFFFFFB);
  expectOutOfRange("maxLogSize", " -17", "-16..-5");
  expectStored("maxLogSize", " -16", "4294967280");
  expectStored("maxLogSize", " -5", "4294967291");
  expectOutOfRange("maxLogSize", " -4", "-16..-5");
  expectOutOfRange("maxLogSize", "7", "-16..-5");
  setRange(0x80000000, 3);
  expectStored("maxLogSize", " -2147483648", "2147483648");
  expectStored("maxLogSize", "3", "3");
  expectOutOfRange("maxLogSize", "4", "-2147483648..3");
  setRange(0, 0xFFFFFFFF);
  expectOutOfRange("maxLogSize", "0", "0..-1");
  expectOutOfRange("maxLogSize", " -1", "0..-1");
}

TEST_F(LogConfigurationCommandTest, EchoesTheNumberAsItWasTyped) {
  const std::pair<std::string, std::string> numbers[] = {
      {"+7", "7"},
      {"007", "7"},
      {"010", "10"},
      {"08", "8"},
      {" 7", "7"},
      {" \t\n\v\f\r+07", "7"},
      {std::string(100000, '0') + "7", "7"},
      {std::string(100000, ' ') + "7", "7"},
  };
  for (const auto& [typed, stored] : numbers) {
    expectStored("maxLogSize", typed, stored);
  }
}

TEST_F(LogConfigurationCommandTest, RejectsWhatIsNoInteger) {
  for (const char* const value :
       {"",     " ",      "\t",  "abc",  "5MB", "5 ",  "5\t",   "5\n",  "0x10",
        "0X1",  "0b1",    "1e1", "5.0",  "5,0", "5 6", "+",     " -",   "+-5",
        " -+5", "++5",    "+ 5", " - 5", "$5",  "5L",  "5u",    "{}",   "{",
        "}",    "{0:>9}", "%d",  "inf",  "0x",  "1_0", "1'000", "\xFF", "5\xFF"}) {
    expectNoInteger(value);
  }
}

TEST_F(LogConfigurationCommandTest, RejectsDigitsAndBlanksOfOtherScripts) {
  expectNoInteger("\xD9\xA5");      // arabic-indic
  expectNoInteger("\xE0\xA5\xAB");  // devanagari
  expectNoInteger("\xEF\xBC\x95");  // fullwidth
  expectNoInteger("\xC2\xB2");      // superscript
  expectNoInteger(
      "\xC2\xA0"
      "5");  // no-break space
  expectNoInteger(
      "\xE3\x80\x80"
      "5");  // ideographic space
  expectNoInteger(
      "\xA0"
      "5");  // a no-break space in western code pages
  expectNoInteger(
      "\xE2\x88\x92"
      "5");  // minus sign
}

TEST_F(LogConfigurationCommandTest, RejectsWhatDoesNotFitIn32Bits) {
  for (const char* const value :
       {"2147483648", "+2147483648", " -2147483649", "4294967295", "4294967296", "4294967301",
        "99999999999", "9223372036854775807", "9223372036854775808", "18446744073709551615",
        "18446744073709551616", "18446744073709551621", " -9223372036854775809"}) {
    expectNoInteger(value);
  }
  expectNoInteger(std::string(100000, '9'));
}

TEST_F(LogConfigurationCommandTest, RejectsAnUnknownNameBeforeItReadsTheNumber) {
  for (const std::string& name : invalidNames()) {
    for (const char* const value : {"5", "abc"}) {
      const ActionRun result = set(name, value);
      EXPECT_EQ(result.outcome, kFailedStop) << name;
      EXPECT_EQ(result.message, invalidNameMessage(name));
      EXPECT_THAT(handler.Calls(), IsEmpty()) << name;
    }
  }
}

TEST_F(LogConfigurationCommandTest, ReportsAValueThatCannotBeStored) {
  for (const HandlerStatus status : {kUnsupported, kWriteFailed, 0xFFFFFFFFU}) {
    handler.statuses["setLogConfiguration"] = status;
    const ActionRun result = set("maxLogSize", "007");
    EXPECT_EQ(result.outcome, kFailedStop);
    EXPECT_EQ(result.message, "Set log configuration for maxLogSize to 007 failed\n");
    EXPECT_THAT(handler.Calls(), ElementsAre("getConfigurationRange(maxLogSize)",
                                             "setLogConfiguration(maxLogSize, 7)"));
  }
}

TEST_F(LogConfigurationCommandTest, RaisesAnExceptionForARangeThatIsNotThere) {
  handler.configurationRanges.clear();
  EXPECT_THROW(set("maxLogSize", "5"), std::bad_optional_access);
  EXPECT_THAT(handler.Calls(), ElementsAre("getConfigurationRange(maxLogSize)"));
}

TEST_F(LogConfigurationCommandTest, IgnoresFurtherValues) {
  const ActionRun result = run({"-setLogConfiguration", "maxLogSize", "5", "maxLogFiles", "3"});
  EXPECT_EQ(result.outcome, kDone);
  EXPECT_EQ(result.message, "Successfully set log configuration for maxLogSize to 5\n");
  EXPECT_THAT(handler.Calls(), ElementsAre("getConfigurationRange(maxLogSize)",
                                           "setLogConfiguration(maxLogSize, 5)"));
}

TEST_F(LogConfigurationCommandTest, NeverResetsWhenAValueIsGiven) {
  const std::vector<std::string> set = {"-setLogConfiguration", "maxLogSize", "5",
                                        "-resetLogConfiguration", "maxLogFiles"};
  const std::vector<std::string> reversed = {"-resetLogConfiguration", "maxLogFiles",
                                             "-setLogConfiguration", "maxLogSize", "5"};
  for (const auto& arguments : {set, reversed}) {
    EXPECT_EQ(run(arguments).message, "Successfully set log configuration for maxLogSize to 5\n");
    EXPECT_THAT(handler.Calls(), ElementsAre("getConfigurationRange(maxLogSize)",
                                             "setLogConfiguration(maxLogSize, 5)"));
  }
  EXPECT_EQ(
      run({"-setLogConfiguration", "bogus", "5", "-resetLogConfiguration", "maxLogFiles"}).outcome,
      kFailedStop);
  EXPECT_THAT(handler.Calls(), IsEmpty());
}

TEST_F(LogConfigurationCommandTest, ResetsEachConfiguration) {
  for (const std::string name : {"maxLogSize", "maxTraceLogSize", "maxLogFiles"}) {
    const ActionRun result = run({"-resetLogConfiguration", name});
    EXPECT_EQ(result.outcome, kDone);
    EXPECT_EQ(result.message, "Successfully reset log configuration for " + name + "\n");
    EXPECT_THAT(handler.Calls(), ElementsAre("resetLogConfiguration(" + name + ")"));
  }
}

TEST_F(LogConfigurationCommandTest, ResetsTheFirstOfSeveralNames) {
  const ActionRun result = run({"-resetLogConfiguration", "maxLogFiles", "maxLogSize"});
  EXPECT_EQ(result.message, "Successfully reset log configuration for maxLogFiles\n");
  EXPECT_THAT(handler.Calls(), ElementsAre("resetLogConfiguration(maxLogFiles)"));
}

TEST_F(LogConfigurationCommandTest, RejectsAnUnknownNameToReset) {
  for (const std::string& name : invalidNames()) {
    const ActionRun result = run({"-resetLogConfiguration", name});
    EXPECT_EQ(result.outcome, kFailedStop) << name;
    EXPECT_EQ(result.message, invalidNameMessage(name));
    EXPECT_THAT(handler.Calls(), IsEmpty()) << name;
  }
}

TEST_F(LogConfigurationCommandTest, ReportsAResetThatFails) {
  handler.statuses["resetLogConfiguration"] = kWriteFailed;
  const ActionRun result = run({"-resetLogConfiguration", "maxLogFiles"});
  EXPECT_EQ(result.outcome, kFailedStop);
  EXPECT_EQ(result.message, "Reset log configuration for maxLogFiles failed\n");
  EXPECT_THAT(handler.Calls(), ElementsAre("resetLogConfiguration(maxLogFiles)"));
}

TEST_F(LogConfigurationCommandTest, LeavesConfigurationsAloneWhenNotAsked) {
  const ActionRun result = run({"-getLogLevel", "-resetLogLevel"});
  EXPECT_EQ(result.outcome, kNotGiven);
  EXPECT_EQ(result.message, "");
  EXPECT_THAT(handler.Calls(), IsEmpty());
}

}  // namespace
}  // namespace ostrel
