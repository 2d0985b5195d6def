#include "expected_settings.h"
#include "tool.h"

namespace end_to_end {
namespace {

using testing_support::RawDword;
using testing_support::RawText;
using testing_support::RawValue;

class ResetAllTest : public ToolTest {};

const RunResult kIsReset = Success("Successfully reset all log settings\n");

// Both layouts to the last byte.
Settings Defaults() {
  const RawValue ten{REG_SZ, {'1', 0, '0', 0, 0, 0}};
  return {{kLogKey,
           {{L"LogLevel", {REG_SZ, {'I', 0, 'n', 0, 'f', 0, 'o', 0, 0, 0}}},
            {L"MaxFileSize", {REG_DWORD, {1, 0, 0, 0}}},
            {L"MaxTraceLogSize", {REG_DWORD, {10, 0, 0, 0}}},
            {L"MaxNumFiles", {REG_DWORD, {10, 0, 0, 0}}}}},
          {kLegacyKey,
           {{L"LogLevel", {REG_SZ, {'i', 0, 'n', 0, 'f', 0, 'o', 0, 0, 0}}},
            {L"VerboseLevel", {REG_SZ, {'0', 0, 0, 0}}},
            {L"kst_windows_log_verbose", {REG_SZ, {'f', 0, 'a', 0, 'l', 0, 's', 0, 'e', 0, 0, 0}}},
            {L"MaxLogSize", {REG_SZ, {'1', 0, 0, 0}}},
            {L"MaxTraceLogSize", ten},
            {L"MaxLogFiles", ten}}}};
}

TEST_F(ResetAllTest, WritesBothLayoutsOnAnEmptyRegistry) {
  EXPECT_EQ(RunTool({L"-resetAllLogSettings"}), kIsReset);
  EXPECT_EQ(Registry(), Defaults());
}

TEST_F(ResetAllTest, ReplacesValuesOfAnyTypeAndLeavesZoltAlone) {
  const RawValue binary{REG_BINARY, {0, 255, 1}};
  const RawValue none{REG_NONE, {}};
  const Values untouched = {{L"Disabled", RawDword(7)}, {L"Other", RawText(L"x")}};
  Write(Settings{{kLogKey,
                  {{L"LogLevel", RawDword(3)},
                   {L"MaxFileSize", RawText(L"a long text that is no number")},
                   {L"MaxTraceLogSize", {REG_QWORD, {1, 2, 3, 4, 5, 6, 7, 8}}},
                   {L"MaxNumFiles", RawText(L"one", REG_MULTI_SZ)}}},
                 {kLegacyKey,
                  {{L"LogLevel", RawText(L"6")},
                   {L"VerboseLevel", RawDword(3)},
                   {L"kst_windows_log_verbose", RawText(L"%PATH%", REG_EXPAND_SZ)},
                   {L"MaxLogSize", none},
                   {L"MaxTraceLogSize", binary},
                   {L"MaxLogFiles", {REG_DWORD_BIG_ENDIAN, {0, 0, 0, 9}}}}},
                 {kZoltKey, untouched}});
  EXPECT_EQ(RunTool({L"-resetAllLogSettings"}), kIsReset);
  Settings settings = Defaults();
  settings[kZoltKey] = untouched;
  EXPECT_EQ(Registry(), settings);
}

// Names that differ only in case are the same name for the platform: the stored spelling stays.
TEST_F(ResetAllTest, ReplacesValuesWhoseNamesAreSpelledInAnotherCase) {
  Write(kLogKey, L"LOGLEVEL", RawText(L"TRACE"));
  Write(kLegacyKey, L"maxlogfiles", RawText(L"99"));
  Write(kLogKey, L"Unrelated", RawDword(5));
  EXPECT_EQ(RunTool({L"-resetAllLogSettings"}), kIsReset);
  Settings settings = Defaults();
  Values& current = settings[kLogKey];
  current[L"LOGLEVEL"] = current.extract(L"LogLevel").mapped();
  current[L"Unrelated"] = RawDword(5);
  Values& legacy = settings[kLegacyKey];
  legacy[L"maxlogfiles"] = legacy.extract(L"MaxLogFiles").mapped();
  EXPECT_EQ(Registry(), settings);
  EXPECT_EQ(RunTool({L"-getLogLevel"}), Success("Log level: Info\n"));
}

TEST_F(ResetAllTest, RunsAlone) {
  EXPECT_EQ(RunTool({L"-setZOLTDisabled", L"true", L"-setLogLevel", L"Bogus", L"-getLogLevel",
                     L"-setLogConfiguration", L"maxLogSize", L"99", L"-getZOLTDisabled",
                     L"-resetAllLogSettings", L"-resetLogLevel"}),
            kIsReset);
  EXPECT_EQ(Registry(), Defaults());
}

}  // namespace
}  // namespace end_to_end
