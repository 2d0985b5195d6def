#include <utility>

#include "expected_settings.h"
#include "tool.h"

namespace end_to_end {
namespace {

using testing_support::RawDword;
using testing_support::RawText;
using testing_support::RawValue;

class ZoltTest : public ToolTest {};

RunResult State(const std::string& text) {
  return Success("ZOLT local disablement config: " + text + "\n");
}

TEST_F(ZoltTest, StoresInLowerCaseAndEchoesAsTyped) {
  const std::pair<std::wstring, std::wstring> values[] = {{L"true", L"true"},
                                                          {L"TRUE", L"true"},
                                                          {L"tRuE", L"true"},
                                                          {L"false", L"false"},
                                                          {L"fAlSe", L"false"}};
  for (const auto& [typed, stored] : values) {
    EXPECT_EQ(RunTool({L"-setZOLTDisabled", typed}),
              Success("Successfully set ZOLT disablement config to " + Utf8(typed) + "\n"));
    Settings settings;
    PutZoltDisabled(settings, stored);
    EXPECT_EQ(Registry(), settings);
    EXPECT_EQ(RunTool({L"-getZOLTDisabled"}), State(Utf8(stored)));
  }
}

TEST_F(ZoltTest, ARejectedValueCreatesNothing) {
  // The platform's comparison alone would take the one with the soft hyphen for "true".
  for (const wchar_t* const value :
       {L"yes", L"no", L"1", L"0", L"", L" true", L"true ", L"tru", L"truee", L"not configured",
        L"{}", L"*", L"tr\x00ADue", L"\xFF54\xFF52\xFF55", L"\xD83D\xDE00"}) {
    EXPECT_EQ(RunTool({L"-setZOLTDisabled", value}),
              Failure("Invalid argument: " + Utf8(value) + ", support values are: true/false\n"));
  }
  EXPECT_EQ(RunTool({L"-setZOLTDisabled"}),
            Failure("Too few value of argument: -setZOLTDisabled\n"));
  EXPECT_EQ(Registry(), Settings());
}

TEST_F(ZoltTest, ReadingCreatesTheKeyAndNoValue) {
  EXPECT_EQ(RunTool({L"-getZOLTDisabled"}), State("not configured"));
  EXPECT_EQ(Registry(), (Settings{{kZoltKey, {}}}));
}

TEST_F(ZoltTest, ReadsWhatIsStoredAndChangesNothing) {
  const std::pair<RawValue, std::string> values[] = {
      {RawText(L"true"), "true"},
      {RawText(L"TRUE"), "true"},
      {RawText(L"False"), "false"},
      {RawText(L"not configured"), "not configured"},
      {RawText(L"Not Configured"), "not configured"},
      {RawText(L"yes"), "not configured"},
      {RawText(L""), "not configured"},
      {RawText(L"true "), "not configured"},
      {RawText(L"tr\x00ADue"), "not configured"},
      {RawText(L"true", REG_EXPAND_SZ), "not configured"},
      // No data at all, and no terminator.
      {RawValue{REG_SZ, {}}, "not configured"},
      {RawValue{REG_SZ, {'t', 0, 'r', 0, 'u', 0, 'e', 0}}, "true"},
  };
  for (const auto& [stored, state] : values) {
    const Settings settings = {{kZoltKey, {{L"Disabled", stored}}}};
    Write(settings);
    EXPECT_EQ(RunTool({L"-getZOLTDisabled"}), State(state)) << ::testing::PrintToString(stored);
    EXPECT_EQ(Registry(), settings);
  }
}

TEST_F(ZoltTest, AStoredStateOfAnotherTypeEndsTheRunAbnormallyUntilItIsSet) {
  for (const auto& stored :
       {RawDword(1), RawValue{REG_QWORD, {1, 0, 0, 0, 0, 0, 0, 0}}, RawValue{REG_BINARY, {1}},
        RawValue{REG_NONE, {}}, RawText(L"true", REG_MULTI_SZ)}) {
    Write(kZoltKey, L"Disabled", stored);
    const RunResult result = RunTool({L"-getZOLTDisabled"});
    EXPECT_EQ(result.output, "") << ::testing::PrintToString(stored);
    EXPECT_GT(result.exitStatus, 1U);

    EXPECT_EQ(RunTool({L"-setZOLTDisabled", L"false"}),
              Success("Successfully set ZOLT disablement config to false\n"));
    EXPECT_EQ(Registry()[kZoltKey][L"Disabled"], RawText(L"false"));
  }
}

TEST_F(ZoltTest, SettingEndsTheRun) {
  Settings settings;
  PutZoltDisabled(settings, L"true");
  EXPECT_EQ(RunTool({L"-getZOLTDisabled", L"-setZOLTDisabled", L"true"}),
            Success("Successfully set ZOLT disablement config to true\n"));
  EXPECT_EQ(Registry(), settings);
}

TEST_F(ZoltTest, IsNotSetInARunThatGetsTheLogLevel) {
  EXPECT_EQ(RunTool({L"-setZOLTDisabled", L"true", L"-getLogLevel"}), Success("Log level: Info\n"));
  EXPECT_EQ(Registry(), (Settings{{kLogKey, {}}}));
}

TEST_F(ZoltTest, IsSetBehindTheOtherSettingsOfARun) {
  EXPECT_EQ(RunTool({L"-setZOLTDisabled", L"TRUE", L"-resetLogLevel", L"-resetLogConfiguration",
                     L"maxLogFiles"}),
            Success("Successfully reset log configuration for maxLogFiles\n"
                    "Successfully reset log level to default\n"
                    "Successfully set ZOLT disablement config to TRUE\n"));
  Settings settings;
  PutLogConfiguration(settings, L"maxLogFiles", 10);
  PutLogLevel(settings, L"Info");
  PutZoltDisabled(settings, L"true");
  EXPECT_EQ(Registry(), settings);

  EXPECT_EQ(RunTool({L"-setZOLTDisabled", L"maybe", L"-setLogLevel", L"Trace"}),
            Failure("Successfully set log level to Trace\n"
                    "Invalid argument: maybe, support values are: true/false\n"));
  PutLogLevel(settings, L"Trace");
  EXPECT_EQ(Registry(), settings);
}

}  // namespace
}  // namespace end_to_end
