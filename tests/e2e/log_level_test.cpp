#include "expected_settings.h"
#include "tool.h"

namespace end_to_end {
namespace {

using testing_support::RawDword;
using testing_support::RawText;

TEST_F(ToolTest, SetsEachLogLevelInBothLayouts) {
  for (const wchar_t* const level : {L"Error", L"Warn", L"Info", L"Debug", L"Trace"}) {
    EXPECT_EQ(RunTool({L"-setLogLevel", level}),
              Success("Successfully set log level to " + Utf8(level) + "\n"));
    Settings settings;
    PutLogLevel(settings, level);
    EXPECT_EQ(Registry(), settings);
    EXPECT_EQ(RunTool({L"-getLogLevel"}), Success("Log level: " + Utf8(level) + "\n"));
  }
}

TEST_F(ToolTest, GettingTheLogLevelCreatesItsKeyAndNoValue) {
  EXPECT_EQ(RunTool({L"-getLogLevel"}), Success("Log level: Info\n"));
  EXPECT_EQ(Registry(), (Settings{{kLogKey, {}}}));
}

TEST_F(ToolTest, ReadsTheStoredLogLevelWhateverItsCase) {
  Write(kLogKey, L"LogLevel", RawText(L"trace"));
  EXPECT_EQ(RunTool({L"-getLogLevel"}), Success("Log level: Trace\n"));
  Write(kLogKey, L"LogLevel", RawText(L"DEBUG"));
  EXPECT_EQ(RunTool({L"-getLogLevel"}), Success("Log level: Debug\n"));
  Write(kLogKey, L"LogLevel", RawText(L"Verbose"));
  EXPECT_EQ(RunTool({L"-getLogLevel"}), Success("Log level: Info\n"));
}

TEST_F(ToolTest, DoesNotReadTheLegacyLayout) {
  Write(kLegacyKey, L"LogLevel", RawText(L"6"));
  EXPECT_EQ(RunTool({L"-getLogLevel"}), Success("Log level: Info\n"));
}

TEST_F(ToolTest, AStoredTextThatIsExpandedMatchesNoLevel) {
  Write(kLogKey, L"LogLevel", RawText(L"Debug", REG_EXPAND_SZ));
  EXPECT_EQ(RunTool({L"-getLogLevel"}), Success("Log level: Info\n"));
}

TEST_F(ToolTest, ResetsTheLogLevelAndReadsItBack) {
  Write(kLogKey, L"LogLevel", RawText(L"Error"));
  EXPECT_EQ(RunTool({L"-resetLogLevel", L"-getLogLevel"}),
            Success("Successfully reset log level to default\nLog level: Info\n"));
  Settings settings;
  PutLogLevel(settings, L"Info");
  EXPECT_EQ(Registry(), settings);
}

TEST_F(ToolTest, SetsAndReadsTheLogLevelInOneRun) {
  EXPECT_EQ(RunTool({L"-getLogLevel", L"-setLogLevel", L"Warn"}),
            Success("Successfully set log level to Warn\nLog level: Warn\n"));
}

TEST_F(ToolTest, SettingTheLogLevelHidesResettingIt) {
  EXPECT_EQ(RunTool({L"-setLogLevel", L"Trace", L"-resetLogLevel"}),
            Success("Successfully set log level to Trace\n"));
  EXPECT_EQ(RunTool({L"-setLogLevel", L"Bogus", L"-resetLogLevel"}),
            Failure("Invalid log level: Bogus, support values are Error/Info/Debug/Trace\n"));
  EXPECT_EQ(RunTool({L"-getLogLevel"}), Success("Log level: Trace\n"));
}

TEST_F(ToolTest, ReplacesAValueOfAnotherType) {
  Write(kLogKey, L"LogLevel", RawDword(3));
  EXPECT_EQ(RunTool({L"-setLogLevel", L"Error"}), Success("Successfully set log level to Error\n"));
  EXPECT_EQ(Registry()[kLogKey][L"LogLevel"], RawText(L"Error"));
}

TEST_F(ToolTest, ARejectedLevelCreatesNothing) {
  for (const wchar_t* level : {L"debug", L"INFO", L"Debug ", L"", L"{}", L"{0:x}", L"3"}) {
    EXPECT_EQ(RunTool({L"-setLogLevel", level}),
              Failure("Invalid log level: " + Utf8(level) +
                      ", support values are Error/Info/Debug/Trace\n"));
  }
  EXPECT_EQ(Registry(), Settings());
}

TEST_F(ToolTest, AStoredLevelOfAnotherTypeEndsTheRunAbnormally) {
  for (const auto& value :
       {RawDword(3), testing_support::RawValue{REG_BINARY, {1}},
        testing_support::RawValue{REG_NONE, {}}, RawText(L"Debug", REG_MULTI_SZ)}) {
    Write(kLogKey, L"LogLevel", value);
    const RunResult result = RunTool({L"-getLogLevel"});
    EXPECT_EQ(result.output, "");
    EXPECT_GT(result.exitStatus, 1U);
  }
}

TEST_F(ToolTest, AnAbnormalEndLosesTheMessagesButNotTheWrites) {
  Write(kLogKey, L"LogLevel", RawDword(3));
  const RunResult result = RunTool({L"-setLogConfiguration", L"maxLogSize", L"5", L"-getLogLevel"});
  EXPECT_EQ(result.output, "");
  EXPECT_GT(result.exitStatus, 1U);
  EXPECT_EQ(Registry()[kLogKey][L"MaxFileSize"], RawDword(5));
}

// The platform's own registry tool reads what ours wrote, and the other way round.
TEST_F(ToolTest, SharesTheRegistryWithThePlatformsOwnTool) {
  ASSERT_EQ(RunTool({L"-setLogLevel", L"Debug"}).exitStatus, 0U);
  const std::wstring reg = L"C:\\windows\\system32\\reg.exe";
  const std::wstring key = std::wstring(L"HKLM\\SOFTWARE\\Kestrane, Inc.\\") + kLogKey;
  const RunResult query = RunProgram(reg, {L"query", key, L"/v", L"LogLevel"});
  EXPECT_EQ(query.exitStatus, 0U);
  EXPECT_NE(query.output.find("    LogLevel    REG_SZ    Debug\r\n"), std::string::npos)
      << query.output;
  ASSERT_EQ(RunProgram(reg, {L"add", key, L"/v", L"LogLevel", L"/d", L"Error", L"/f"}).exitStatus,
            0U);
  EXPECT_EQ(RunTool({L"-getLogLevel"}), Success("Log level: Error\n"));
}

}  // namespace
}  // namespace end_to_end
