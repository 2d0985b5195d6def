// Settings as other programs and policies leave them.
#include <windows.h>

#include <sddl.h>
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

// While this lives, everybody may only read a key.
class ReadOnlyKey {
 public:
  explicit ReadOnlyKey(const std::wstring& path) {
    const std::wstring wholePath = L"SOFTWARE\\Kestrane, Inc.\\" + path;
    EXPECT_EQ(
        ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, wholePath.c_str(), 0, READ_CONTROL | WRITE_DAC, &key_),
        ERROR_SUCCESS);
    Grant(L"D:P(A;;KR;;;WD)");
  }
  ~ReadOnlyKey() {
    Grant(L"D:P(A;;KA;;;WD)");
    ::RegCloseKey(key_);
  }
  ReadOnlyKey(const ReadOnlyKey&) = delete;
  ReadOnlyKey& operator=(const ReadOnlyKey&) = delete;

 private:
  void Grant(const wchar_t* rights) const {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    EXPECT_TRUE(::ConvertStringSecurityDescriptorToSecurityDescriptorW(rights, SDDL_REVISION_1,
                                                                       &descriptor, nullptr));
    EXPECT_EQ(::RegSetKeySecurity(key_, DACL_SECURITY_INFORMATION, descriptor), ERROR_SUCCESS);
    ::LocalFree(descriptor);
  }

  HKEY key_ = nullptr;
};

TEST_F(HostileRegistryTest, AKeyForReadingAloneRefusesEachWrite) {
  Settings settings = WriteLogLevel();
  {
    const ReadOnlyKey key(kLogKey);
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
    const ReadOnlyKey key(kLogKey);
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
    const ReadOnlyKey key(kLegacyKey);
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
    const ReadOnlyKey key(kZoltKey);
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

// The watcher has one storage as long as it runs. The test suspends it between two of its calls.
TEST_F(HostileRegistryTest, KeysThatAnotherProcessDeletesBetweenTwoCallsAreMadeAgain) {
  WriteLogLevel();
  Write({{std::wstring(kLogKey) + L"\\subkey", {}}});  // Wine signals that this one is deleted
  RunningProgram watcher(ProgramDirectory() + L"\\watch_settings.exe", {L"2"});
  watcher.ReadLine();
  watcher.Freeze([] {
    DeleteInAnotherProcess(L"\\Kestrane Vantor Telemetry");
    EXPECT_FALSE(Registry().contains(kLogKey));
  });
  EXPECT_EQ(watcher.ReadLine(), "changed\r\n");
  EXPECT_EQ(watcher.ReadLine(), "  LogLevel removed\r\n");
  EXPECT_EQ(watcher.ReadLine(), "  subkey removed\r\n");
  EXPECT_EQ(Registry()[kLogKey], Values());
  ASSERT_EQ(RunTool({L"-setLogLevel", L"Debug"}).exitStatus, 0U);
  EXPECT_EQ(watcher.Finish(), (RunResult{"changed\r\n  LogLevel = \"Debug\"\r\n", 0}));
}

}  // namespace
}  // namespace end_to_end
