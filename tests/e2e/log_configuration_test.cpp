#include <utility>

#include "expected_settings.h"
#include "tool.h"

namespace end_to_end {
namespace {

using testing_support::RawDword;
using testing_support::RawText;
using testing_support::RawValue;

class LogConfigurationTest : public ToolTest {};

RunResult Set(const std::wstring& name, const std::wstring& value) {
  return RunTool({L"-setLogConfiguration", name, value});
}

RunResult Reset(const std::wstring& name) { return RunTool({L"-resetLogConfiguration", name}); }

RunResult IsSet(const std::wstring& name, const std::wstring& value) {
  return Success("Successfully set log configuration for " + Utf8(name) + " to " + Utf8(value) +
                 "\n");
}

RunResult IsReset(const std::wstring& name) {
  return Success("Successfully reset log configuration for " + Utf8(name) + "\n");
}

RunResult IsUnknownName(const std::wstring& name) {
  return Failure("Invalid argument: " + Utf8(name) +
                 ", support values are: maxLogSize/maxTraceLogSize/maxLogFiles\n");
}

RunResult IsNoInteger(const std::wstring& name, const std::wstring& value) {
  return Failure("Invalid argument: " + Utf8(value) + ", a integer is required for " + Utf8(name) +
                 "\n");
}

RunResult IsOutOfRange(const LogConfiguration& configuration) {
  return Failure("Input a valid integer [" + std::to_string(configuration.minimum) + ".." +
                 std::to_string(configuration.maximum) + "] for " + Utf8(configuration.name) +
                 "\n");
}

TEST_F(LogConfigurationTest, SetsEachUpToItsBoundsInBothLayouts) {
  Settings settings;
  for (const LogConfiguration& configuration : kLogConfigurations) {
    for (const std::uint32_t number : {configuration.minimum, configuration.maximum}) {
      const std::wstring value = std::to_wstring(number);
      EXPECT_EQ(Set(configuration.name, value), IsSet(configuration.name, value));
      PutLogConfiguration(settings, configuration.name, number);
      EXPECT_EQ(Registry(), settings);
    }
  }
}

TEST_F(LogConfigurationTest, ANumberBeyondTheBoundsCreatesNothing) {
  for (const LogConfiguration& configuration : kLogConfigurations) {
    for (const std::wstring& value :
         {std::to_wstring(configuration.minimum - 1), std::to_wstring(configuration.maximum + 1)}) {
      EXPECT_EQ(Set(configuration.name, value), IsOutOfRange(configuration));
    }
  }
  // Both ends of 32 bits, and a negative number: without the blank it would be an option.
  for (const wchar_t* const value : {L"2147483647", L" -2147483648", L" -5", L"+0"}) {
    EXPECT_EQ(Set(L"maxLogSize", value), IsOutOfRange(kLogConfigurations[0]));
  }
  EXPECT_EQ(Registry(), Settings());
}

TEST_F(LogConfigurationTest, WhatIsNoIntegerCreatesNothing) {
  const wchar_t* const values[] = {
      L"abc", L"5MB", L"0x10", L"0b1", L"5.0", L"1e1", L"1,0", L"5;", L"{}", L"*",
      // Blanks may stand only before the number, and no blank between the sign and the digits.
      L"", L" ", L"5 ", L"5\t", L"5 6", L"+", L" -", L"++5", L"+-5", L"+ 5",
      // Beyond 32 bits and beyond 64; the second and the third would be 1 without their upper half.
      L"2147483648", L"4294967297", L"18446744073709551617", L"99999999999", L" -2147483649",
      L" -4294967295", L"100000000000000000000000000000000000000000",
      // Five in Arabic, in Devanagari, as a full-width digit, and as a superscript.
      L"\x0665", L"\x096B", L"\xFF15", L"\x2075"};
  for (const wchar_t* const value : values) {
    EXPECT_EQ(Set(L"maxLogSize", value), IsNoInteger(L"maxLogSize", value));
  }
  EXPECT_EQ(Set(L"maxLogFiles", L"x"), IsNoInteger(L"maxLogFiles", L"x"));
  EXPECT_EQ(Registry(), Settings());
}

TEST_F(LogConfigurationTest, EchoesTheValueAsTypedAndStoresTheNumber) {
  const std::pair<std::wstring, std::uint32_t> values[] = {
      {L"007", 7}, {L"010", 10},  {L"+7", 7},
      {L" 8", 8},  {L" \t+9", 9}, {L"00000000000000000000000000000000000000000000000005", 5}};
  for (const auto& [value, number] : values) {
    EXPECT_EQ(Set(L"maxTraceLogSize", value), IsSet(L"maxTraceLogSize", value));
    Settings settings;
    PutLogConfiguration(settings, L"maxTraceLogSize", number);
    EXPECT_EQ(Registry(), settings);
  }
}

TEST_F(LogConfigurationTest, AnUnknownNameCreatesNothing) {
  for (const wchar_t* const name :
       {L"MaxLogSize", L"maxlogsize", L"maxLogSize ", L"maxLogSiz", L"maxLogFilesX", L"MaxFileSize",
        L"", L"{}", L"5", L"m\x0430xLogSize"}) {
    EXPECT_EQ(Set(name, L"5"), IsUnknownName(name));
    EXPECT_EQ(Reset(name), IsUnknownName(name));
  }
  // The name is checked first.
  EXPECT_EQ(Set(L"bogus", L"abc"), IsUnknownName(L"bogus"));
  EXPECT_EQ(Registry(), Settings());
}

TEST_F(LogConfigurationTest, ASetThatLacksItsValueCreatesNothing) {
  EXPECT_EQ(RunTool({L"-setLogConfiguration"}),
            Failure("Too few value of argument: -setLogConfiguration\n"));
  EXPECT_EQ(RunTool({L"-setLogConfiguration", L"maxLogSize", L"-resetLogLevel", L"5"}),
            Failure("Too few value of argument: -setLogConfiguration\n"));
  EXPECT_EQ(RunTool({L"-resetLogConfiguration"}),
            Failure("Too few value of argument: -resetLogConfiguration\n"));
  EXPECT_EQ(Registry(), Settings());
}

TEST_F(LogConfigurationTest, ResetsEachToItsDefaultInBothLayouts) {
  Settings settings;
  for (const LogConfiguration& configuration : kLogConfigurations) {
    EXPECT_EQ(Reset(configuration.name), IsReset(configuration.name));
    PutLogConfiguration(settings, configuration.name, configuration.defaultNumber);
    EXPECT_EQ(Registry(), settings);
  }
}

TEST_F(LogConfigurationTest, ReplacesValuesOfAnyTypeAndLeavesTheOthers) {
  const Settings odd = {{kLogKey,
                         {{L"LogLevel", RawDword(3)},
                          {L"MaxFileSize", RawText(L"7")},
                          {L"MaxTraceLogSize", RawValue{REG_BINARY, {1, 2, 3}}},
                          {L"MaxNumFiles", RawDword(0xFFFFFFFF)},
                          {L"SomethingElse", RawText(L"")}}},
                        {kLegacyKey,
                         {{L"MaxLogSize", RawDword(7)},
                          {L"MaxTraceLogSize", RawText(L"%PATH%", REG_EXPAND_SZ)},
                          {L"MaxLogFiles", RawValue{REG_NONE, {}}},
                          {L"VerboseLevel", RawText(L"odd")}}}};
  for (const LogConfiguration& configuration : kLogConfigurations) {
    for (const bool isReset : {true, false}) {
      Clear();
      Write(odd);
      Settings settings = odd;
      PutLogConfiguration(settings, configuration.name, isReset ? configuration.defaultNumber : 12);
      EXPECT_EQ(isReset ? Reset(configuration.name) : Set(configuration.name, L"12"),
                isReset ? IsReset(configuration.name) : IsSet(configuration.name, L"12"));
      EXPECT_EQ(Registry(), settings);
    }
  }
}

TEST_F(LogConfigurationTest, IgnoresValuesBeyondTheLastThatItNeeds) {
  Settings settings;
  EXPECT_EQ(RunTool({L"-setLogConfiguration", L"maxLogSize", L"5", L"maxLogFiles", L"3"}),
            IsSet(L"maxLogSize", L"5"));
  PutLogConfiguration(settings, L"maxLogSize", 5);
  EXPECT_EQ(RunTool({L"-resetLogConfiguration", L"maxLogFiles", L"maxTraceLogSize"}),
            IsReset(L"maxLogFiles"));
  PutLogConfiguration(settings, L"maxLogFiles", 10);
  EXPECT_EQ(Registry(), settings);
}

TEST_F(LogConfigurationTest, SettingOneHidesResettingAnother) {
  Settings settings;
  PutLogConfiguration(settings, L"maxLogSize", 5);
  for (const wchar_t* const other : {L"maxLogFiles", L"bogus"}) {
    EXPECT_EQ(
        RunTool({L"-resetLogConfiguration", other, L"-setLogConfiguration", L"maxLogSize", L"5"}),
        IsSet(L"maxLogSize", L"5"));
    EXPECT_EQ(Registry(), settings);
  }
  EXPECT_EQ(RunTool({L"-setLogConfiguration", L"maxLogSize", L"51", L"-resetLogConfiguration",
                     L"maxLogFiles"}),
            IsOutOfRange(kLogConfigurations[0]));
  EXPECT_EQ(Registry(), settings);
}

TEST_F(LogConfigurationTest, ComesBeforeTheLogLevelInEitherOrder) {
  Settings settings;
  PutLogConfiguration(settings, L"maxLogSize", 5);
  EXPECT_EQ(RunTool({L"-setLogLevel", L"Bogus", L"-setLogConfiguration", L"maxLogSize", L"5"}),
            Failure("Successfully set log configuration for maxLogSize to 5\n"
                    "Invalid log level: Bogus, support values are Error/Info/Debug/Trace\n"));
  EXPECT_EQ(Registry(), settings);

  EXPECT_EQ(RunTool({L"-setLogLevel", L"Debug", L"-setLogConfiguration", L"maxLogSize", L"99"}),
            IsOutOfRange(kLogConfigurations[0]));
  EXPECT_EQ(Registry(), settings);

  EXPECT_EQ(RunTool({L"-getLogLevel", L"-setLogLevel", L"Debug", L"-setLogConfiguration",
                     L"maxLogFiles", L"3"}),
            Success("Successfully set log configuration for maxLogFiles to 3\n"
                    "Successfully set log level to Debug\n"
                    "Log level: Debug\n"));
  PutLogConfiguration(settings, L"maxLogFiles", 3);
  PutLogLevel(settings, L"Debug");
  EXPECT_EQ(Registry(), settings);
}

}  // namespace
}  // namespace end_to_end
