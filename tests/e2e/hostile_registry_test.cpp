// Settings as other programs and policies leave them.
#include <windows.h>

#include <string>

#include <gtest/gtest.h>

#include "expected_settings.h"
#include "tool.h"

namespace end_to_end {
namespace {

using testing_support::RawText;

class HostileRegistryTest : public ToolTest {
 protected:
  static Settings WriteLogLevel() {
    Settings settings;
    PutLogLevel(settings, L"Error");
    Write(settings);
    return settings;
  }

  // Has the platform's own tool delete a key below the maker's, or the maker's, with all it holds.
  static void DeleteInAnotherProcess(const std::wstring& path = L"") {
    const std::wstring key = L"HKLM\\SOFTWARE\\Kestrane, Inc." + path;
    EXPECT_EQ(RunProgram(L"C:\\windows\\system32\\reg.exe", {L"delete", key, L"/f"}).exitStatus,
              0U);
  }
};

TEST_F(HostileRegistryTest, AKeyForReadingAloneRefusesEachWrite) {
  Settings settings = WriteLogLevel();
  {
    const RestrictedKey key(kLogKey, kReadingAlone);
    EXPECT_EQ(RunTool({L"-setLogLevel", L"Debug"}), Failure("Set log level to Debug failed\n"));
    EXPECT_EQ(RunTool({L"-resetLogLevel"}), Failure("Reset log level to default failed\n"));
    EXPECT_EQ(RunTool({L"-setLogConfiguration", L"maxLogFiles", L"5"}),
              Failure("Set log configuration for maxLogFiles to 5 failed\n"));
    EXPECT_EQ(RunTool({L"-resetLogConfiguration", L"maxLogFiles"}),
              Failure("Reset log configuration for maxLogFiles failed\n"));
    EXPECT_EQ(RunTool({L"-resetAllLogSettings"}), Failure("Reset all log settings failed\n"));
    // The tool opens the key for writing even if it only reads.
    EXPECT_EQ(RunTool({L"-getLogLevel"}), Success("Log level: Info\n"));
  }
  // The older layout is written nevertheless.
  Settings expected;
  PutLogDefaults(expected);
  expected[kLogKey] = settings[kLogKey];
  EXPECT_EQ(Registry(), expected);
}

TEST_F(HostileRegistryTest, AResetThatFailsResetsTheOlderLayoutAllTheSame) {
  Settings settings;
  PutLogLevel(settings, L"Trace");
  for (const LogConfiguration& configuration : kLogConfigurations) {
    PutLogConfiguration(settings, configuration.name, configuration.maximum);
  }
  Write(settings);
  Settings defaults;
  PutLogDefaults(defaults);
  {
    const RestrictedKey key(kLogKey, kReadingAlone);
    EXPECT_EQ(RunTool({L"-resetAllLogSettings"}), Failure("Reset all log settings failed\n"));
  }
  settings[kLegacyKey] = defaults[kLegacyKey];
  EXPECT_EQ(settings[kLegacyKey].size(), 6U);
  EXPECT_EQ(Registry(), settings);
  EXPECT_EQ(RunTool({L"-resetAllLogSettings"}), Success("Successfully reset all log settings\n"));
  EXPECT_EQ(Registry(), defaults);
}

TEST_F(HostileRegistryTest, AnOlderLayoutForReadingAloneFailsNothing) {
  Settings settings = WriteLogLevel();
  {
    const RestrictedKey key(kLegacyKey, kReadingAlone);
    EXPECT_EQ(RunTool({L"-setLogLevel", L"Debug"}),
              Success("Successfully set log level to Debug\n"));
    EXPECT_EQ(RunTool({L"-getLogLevel"}), Success("Log level: Debug\n"));
  }
  settings[kLogKey][L"LogLevel"] = RawText(L"Debug");
  EXPECT_EQ(Registry(), settings);
}

TEST_F(HostileRegistryTest, AZoltKeyForReadingAloneRefusesTheWrite) {
  Settings settings;
  PutZoltDisabled(settings, L"false");
  Write(settings);
  {
    const RestrictedKey key(kZoltKey, kReadingAlone);
    EXPECT_EQ(RunTool({L"-setZOLTDisabled", L"true"}), Failure("Set ZOLT local config failed\n"));
    EXPECT_EQ(RunTool({L"-getZOLTDisabled"}),
              Success("ZOLT local disablement config: not configured\n"));
  }
  EXPECT_EQ(Registry(), settings);
}

// The way back to this state that the manual page gives: no option writes it.
TEST_F(HostileRegistryTest, AZoltStateThatIsDeletedIsNotConfigured) {
  ASSERT_EQ(RunTool({L"-setZOLTDisabled", L"true"}).exitStatus, 0U);
  const std::wstring key = std::wstring(L"HKLM\\SOFTWARE\\Kestrane, Inc.\\") + kZoltKey;
  EXPECT_EQ(
      RunProgram(L"C:\\windows\\system32\\reg.exe", {L"delete", key, L"/v", L"Disabled", L"/f"})
          .exitStatus,
      0U);
  EXPECT_EQ(RunTool({L"-getZOLTDisabled"}),
            Success("ZOLT local disablement config: not configured\n"));
  EXPECT_EQ(Registry(), (Settings{{kZoltKey, {}}}));
}

TEST_F(HostileRegistryTest, ReadsAndReplacesTextsOfAMebibyte) {
  const std::wstring text(512 * 1024 - 1, L'D');
  Settings settings;
  settings[kLogKey][L"LogLevel"] = RawText(text);
  settings[kZoltKey][L"Disabled"] = RawText(text);
  Write(settings);
  EXPECT_EQ(RunTool({L"-getLogLevel"}), Success("Log level: Info\n"));
  EXPECT_EQ(RunTool({L"-getZOLTDisabled"}),
            Success("ZOLT local disablement config: not configured\n"));
  EXPECT_EQ(RunTool({L"-setLogLevel", L"Debug", L"-setZOLTDisabled", L"true"}),
            Success("Successfully set log level to Debug\n"
                    "Successfully set ZOLT disablement config to true\n"));
  PutLogLevel(settings, L"Debug");
  PutZoltDisabled(settings, L"true");
  EXPECT_EQ(Registry(), settings);
}

TEST_F(HostileRegistryTest, KeysThatAnotherProcessDeletesBetweenTwoRunsAreMadeAgain) {
  ASSERT_EQ(RunTool({L"-setLogLevel", L"Debug", L"-setZOLTDisabled", L"true"}).exitStatus, 0U);
  DeleteInAnotherProcess();
  EXPECT_EQ(Registry(), Settings());
  EXPECT_EQ(RunTool({L"-getLogLevel"}), Success("Log level: Info\n"));
  EXPECT_EQ(Registry(), (Settings{{kLogKey, {}}}));
  DeleteInAnotherProcess();
  EXPECT_EQ(RunTool({L"-setLogLevel", L"Warn"}), Success("Successfully set log level to Warn\n"));
  Settings settings;
  PutLogLevel(settings, L"Warn");
  EXPECT_EQ(Registry(), settings);
}

// The example keeps a storage as long as its watch lives. The test suspends it between two of its
// calls.
TEST_F(HostileRegistryTest, KeysThatAnotherProcessDeletesBetweenTwoCallsAreMadeAgain) {
  WriteLogLevel();
  Write({{std::wstring(kLogKey) + L"\\subkey", {}}});  // Wine signals that this one is deleted
  RunningProgram keeper(ProgramDirectory() + L"\\keep_setting.exe", {L"3"});
  EXPECT_EQ(keeper.ReadLine(), "Error\r\n");
  keeper.Freeze([] {
    DeleteInAnotherProcess(L"\\Kestrane Vantor Telemetry");
    EXPECT_FALSE(Registry().contains(kLogKey));
  });
  EXPECT_EQ(keeper.ReadLine(), "not set\r\n");
  EXPECT_EQ(Registry()[kLogKey], Values());
  ASSERT_EQ(RunTool({L"-setLogLevel", L"Debug"}).exitStatus, 0U);
  EXPECT_EQ(keeper.Finish(), (RunResult{"Debug\r\n", 0}));
}

}  // namespace
}  // namespace end_to_end
