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
using testing_support::RawValue;

class HostileRegistryTest : public ToolTest {
 protected:
  static Settings WriteLogLevel() {
    Settings settings;
    PutLogLevel(settings, L"Error");
    Write(settings);
    return settings;
  }
};

// Leaves a key to everybody for reading alone, for as long as this lives.
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
    // The tool opens the key for writing also to read it.
    EXPECT_EQ(RunTool({L"-getLogLevel"}), Success("Log level: Info\n"));
  }
  // The older layout is written in spite of it.
  Settings expected;
  PutLogDefaults(expected);
  expected[kLogKey] = settings[kLogKey];
  EXPECT_EQ(Registry(), expected);
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

}  // namespace
}  // namespace end_to_end
