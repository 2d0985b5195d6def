// ostrel_list_settings.exe and ostrel_watch_settings.exe as the help desk runs them.
#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include <gmock/gmock-more-matchers.h>

#include "expected_settings.h"
#include "tool.h"

namespace end_to_end {
namespace {

using testing::AnyOf;
using testing::Each;
using testing::EndsWith;
using testing::StartsWith;
using testing::UnorderedElementsAre;
using testing_support::RawDword;
using testing_support::RawText;

constexpr const wchar_t* kList = L"ostrel_list_settings";
constexpr const wchar_t* kWatch = L"ostrel_watch_settings";
constexpr const char* kHead = "setting                  current layout  older layout\r\n";

class SettingsToolsTest : public ToolTest {
 protected:
  static std::wstring Program(const wchar_t* name) {
    return ProgramDirectory() + L"\\" + name + L".exe";
  }
  // With the messages of errors, which come behind the table.
  static RunResult Run(const wchar_t* name, const Arguments& arguments = {}) {
    return RunProgram(Program(name), arguments, {}, {}, ErrorMessages::InOutput);
  }
  static void DeleteMakerKey() {
    EXPECT_EQ(::RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Kestrane, Inc."), ERROR_SUCCESS);
  }
  static Settings AllSettings() {
    Settings settings;
    PutLogDefaults(settings);
    PutZoltDisabled(settings, L"true");
    return settings;
  }
};

class RunningWatch : public RunningProgram {
 public:
  explicit RunningWatch(const Arguments& arguments)
      : RunningProgram(ProgramDirectory() + L"\\" + kWatch + L".exe", arguments, {}, {},
                       ErrorMessages::InOutput) {
    EXPECT_EQ(ReadLine(), "watching the settings of both layouts\r\n");
  }
  // The watch may read between two changes of others, so that lines come in any order.
  std::vector<std::string> ReadLines(std::size_t count) {
    std::vector<std::string> lines(count);
    std::ranges::generate(lines, [this] { return ReadLine(); });
    return lines;
  }
};

TEST_F(SettingsToolsTest, ListsWhatTheToolHasStored) {
  ASSERT_EQ(RunTool({L"-resetAllLogSettings"}).exitStatus, 0U);
  ASSERT_EQ(RunTool({L"-setLogLevel", L"Trace", L"-setZOLTDisabled", L"true"}).exitStatus, 0U);
  const Settings before = Registry();
  EXPECT_EQ(Run(kList), (RunResult{kHead + std::string(  //
                                               "log level                Trace           trace\r\n"
                                               "VerboseLevel             n/a             3\r\n"
                                               "kst_windows_log_verbose  n/a             true\r\n"
                                               "maxLogSize               1               1\r\n"
                                               "maxTraceLogSize          10              10\r\n"
                                               "maxLogFiles              10              10\r\n"
                                               "ZOLT disabled            true            n/a\r\n"),
                                   0}));
  EXPECT_EQ(Registry(), before);
}

TEST_F(SettingsToolsTest, ListsNothingOfAFreshMachineAndCreatesNothing) {
  EXPECT_EQ(
      Run(kList),
      (RunResult{kHead + std::string(  //
                             "log level                -               -\r\n"
                             "VerboseLevel             n/a             -\r\n"
                             "kst_windows_log_verbose  n/a             -\r\n"
                             "maxLogSize               -               -\r\n"
                             "maxTraceLogSize          -               -\r\n"
                             "maxLogFiles              -               -\r\n"
                             "ZOLT disabled            -               n/a\r\n"
                             "There is no key HKLM\\SOFTWARE\\Kestrane, Inc.\\Kestrane Vantor "
                             "Telemetry\\Service\\Config\\Log\r\n"
                             "There is no key HKLM\\SOFTWARE\\Kestrane, Inc.\\Kestrane Vantor "
                             "Telemetry\\ZOLT\r\n"
                             "There is no key HKLM\\SOFTWARE\\Kestrane, Inc.\\Kestrane Harlen "
                             "Telemetry\\Service\\Configuration\\Logging\r\n"),
                 0}));
  EXPECT_EQ(Registry(), Settings());
}

TEST_F(SettingsToolsTest, MarksWhatDiffersAndShowsUnexpectedTypes) {
  Settings settings = AllSettings();
  settings[kLogKey][L"LogLevel"] = RawText(L"Trace ");
  settings[kLogKey][L"MaxFileSize"] = RawText(L"1");
  settings[kLogKey][L"MaxNumFiles"] = RawDword(4294967295);
  settings[kLegacyKey].erase(L"MaxTraceLogSize");
  settings[kLegacyKey][L"VerboseLevel"] = RawDword(0);
  settings[kLegacyKey][L"MaxLogFiles"] = {REG_BINARY, {0x01, 0xAB}};
  settings[kZoltKey][L"Disabled"] = RawText(L"%windir%", REG_EXPAND_SZ);
  Write(settings);
  EXPECT_EQ(Run(kList),
            (RunResult{
                kHead + std::string(  //
                            "log level                \"Trace \"        info            differs\r\n"
                            "VerboseLevel             n/a             REG_DWORD 0     differs\r\n"
                            "kst_windows_log_verbose  n/a             false\r\n"
                            "maxLogSize               REG_SZ \"1\"      1               differs\r\n"
                            "maxTraceLogSize          10              -               differs\r\n"
                            "maxLogFiles              4294967295      REG_BINARY 01ab differs\r\n"
                            "ZOLT disabled            REG_EXPAND_SZ \"C:\\\\windows\" n/a\r\n"),
                0}));
  EXPECT_EQ(Registry(), settings);
}

TEST_F(SettingsToolsTest, ListsEverythingButAKeyThatIsRefused) {
  const Settings settings = AllSettings();
  Write(settings);
  {
    const RestrictedKey key(kLegacyKey, kNoAccess);
    const RunResult result = Run(kList);
    EXPECT_EQ(
        result,
        (RunResult{kHead + std::string(  //
                               "log level                Info            (unreadable)\r\n"
                               "VerboseLevel             n/a             (unreadable)\r\n"
                               "kst_windows_log_verbose  n/a             (unreadable)\r\n"
                               "maxLogSize               1               (unreadable)\r\n"
                               "maxTraceLogSize          10              (unreadable)\r\n"
                               "maxLogFiles              10              (unreadable)\r\n"
                               "ZOLT disabled            true            n/a\r\n"
                               "ostrel_list_settings: cannot read HKLM\\SOFTWARE\\Kestrane, "
                               "Inc.\\Kestrane Harlen Telemetry\\Service\\Configuration\\Logging: "
                               "Access denied (system error 5)\r\n"),
                   1}));
  }
  EXPECT_EQ(Registry(), settings);
}

TEST_F(SettingsToolsTest, ReadsKeysForReadingAlone) {
  Write(AllSettings());
  const RestrictedKey current(kLogKey, kReadingAlone);
  const RestrictedKey older(kLegacyKey, kReadingAlone);
  const RestrictedKey zolt(kZoltKey, kReadingAlone);
  const RestrictedKey maker(L"", kReadingAlone);
  EXPECT_EQ(Run(kList).exitStatus, 0U);
  RunningWatch watch({L"1"});
  {
    const RestrictedKey writable(kZoltKey, L"D:P(A;;KA;;;WD)");
    Write(kZoltKey, L"Disabled", RawText(L"false"));
  }
  EXPECT_EQ(watch.Finish(), (RunResult{"ZOLT disabled, current layout: true -> false\r\n", 0}));
}

TEST_F(SettingsToolsTest, AValueOfAnUnsupportedTypeIsAMessage) {
  Settings settings = AllSettings();
  settings[kZoltKey][L"Disabled"] = {REG_FULL_RESOURCE_DESCRIPTOR, {1}};
  Write(settings);
  const RunResult result = Run(kList);
  EXPECT_THAT(result.output,
              testing::HasSubstr("maxLogFiles              10              10\r\n"
                                 "ZOLT disabled            (unreadable)    n/a\r\n"
                                 "ostrel_list_settings: cannot read HKLM\\SOFTWARE\\Kestrane, "
                                 "Inc.\\Kestrane Vantor Telemetry\\ZOLT\\Disabled: "));
  EXPECT_EQ(result.exitStatus, 1U);
}

TEST_F(SettingsToolsTest, HelpSaysNameVersionAndStatuses) {
  for (const wchar_t* const name : {kList, kWatch}) {
    const RunResult result = Run(name, {L"-help"});
    EXPECT_THAT(result.output, StartsWith("OVERVIEW: " + Utf8(name) + ' ' + OSTREL_VERSION "\r\n"));
    EXPECT_THAT(result.output, EndsWith("\r\n2\twrong arguments\r\n"));
    EXPECT_EQ(result.exitStatus, 0U);
  }
  EXPECT_EQ(Registry(), Settings());
}

TEST_F(SettingsToolsTest, WrongArgumentsAreOneLine) {
  for (const Arguments& arguments :
       {Arguments{L"x"}, Arguments{L""}, Arguments{L"-Help"}, Arguments{L"-help", L"-help"}}) {
    EXPECT_EQ(Run(kList, arguments),
              (RunResult{"ostrel_list_settings: takes nothing but -help\r\n", 2}));
  }
  for (const Arguments& arguments :
       {Arguments{L"x"}, Arguments{L""}, Arguments{L"0"}, Arguments{L"+1"}, Arguments{L"1x"},
        Arguments{L"4294967296"}, Arguments{L"1", L"2"}, Arguments{L"-help", L"1"}}) {
    EXPECT_EQ(Run(kWatch, arguments),
              (RunResult{"ostrel_watch_settings: takes nothing but a number of changes from 1 to "
                         "4294967295, or -help\r\n",
                         2}));
  }
}

TEST_F(SettingsToolsTest, WatchesWhatTheToolChanges) {
  ASSERT_EQ(RunTool({L"-setLogLevel", L"Warn"}).exitStatus, 0U);
  RunningWatch watch({L"8"});
  ASSERT_EQ(RunTool({L"-setLogLevel", L"Trace"}).exitStatus, 0U);
  EXPECT_THAT(watch.ReadLines(4),
              UnorderedElementsAre("log level, current layout: Warn -> Trace\r\n",
                                   "log level, older layout: warn -> trace\r\n",
                                   "VerboseLevel, older layout: 0 -> 3\r\n",
                                   "kst_windows_log_verbose, older layout: false -> true\r\n"));
  ASSERT_EQ(RunTool({L"-setLogConfiguration", L"maxLogFiles", L"3"}).exitStatus, 0U);
  EXPECT_THAT(watch.ReadLines(2), UnorderedElementsAre("maxLogFiles, current layout: - -> 3\r\n",
                                                       "maxLogFiles, older layout: - -> 3\r\n"));
  ASSERT_EQ(RunTool({L"-setZOLTDisabled", L"true"}).exitStatus, 0U);
  EXPECT_EQ(watch.ReadLine(), "ZOLT disabled, current layout: - -> true\r\n");
  Write(kZoltKey, L"Other", RawDword(1));  // no setting, and no change of one
  Write(kZoltKey, L"Disabled", RawDword(1));
  EXPECT_EQ(watch.Finish(),
            (RunResult{"ZOLT disabled, current layout: true -> REG_DWORD 1\r\n", 0}));
}

TEST_F(SettingsToolsTest, EndsAfterExactlyTheCountEvenIfMoreHaveChanged) {
  RunningWatch watch({L"2"});
  watch.Freeze([] { EXPECT_EQ(RunTool({L"-setLogLevel", L"Debug"}).exitStatus, 0U); });
  EXPECT_EQ(watch.Finish(), (RunResult{"log level, current layout: - -> Debug\r\n"
                                       "log level, older layout: - -> debug\r\n",
                                       0}));
}

// Whatever is deleted stays deleted until somebody else makes it again.
TEST_F(SettingsToolsTest, WatchesKeysThatComeGoAndComeAgain) {
  RunningWatch watch({});
  EXPECT_EQ(Registry(), Settings());
  for (int turn = 0; turn < 2; ++turn) {
    Write(kZoltKey, L"Disabled", RawText(L"true"));
    EXPECT_EQ(watch.ReadLine(), "ZOLT disabled, current layout: - -> true\r\n");
    Write(kLegacyKey, L"MaxLogSize", RawText(L"7"));
    EXPECT_EQ(watch.ReadLine(), "maxLogSize, older layout: - -> 7\r\n");
    Write(kLogKey, L"MaxFileSize", RawDword(7));
    EXPECT_EQ(watch.ReadLine(), "maxLogSize, current layout: - -> 7\r\n");
    // Wine does not signal that the watched key itself was deleted, only that its subkeys were. So
    // the watch is held until all are.
    watch.Freeze(DeleteMakerKey);
    EXPECT_THAT(watch.ReadLines(3),
                UnorderedElementsAre("maxLogSize, current layout: 7 -> -\r\n",
                                     "maxLogSize, older layout: 7 -> -\r\n",
                                     "ZOLT disabled, current layout: true -> -\r\n"));
    EXPECT_EQ(Registry(), Settings());
  }
  // Deleted and made again before the watch notices.
  Write(AllSettings());
  EXPECT_THAT(watch.ReadLines(11), Each(testing::HasSubstr(": - -> ")));
  watch.Freeze([] {
    DeleteMakerKey();
    Write(kZoltKey, L"Disabled", RawText(L"false"));
  });
  EXPECT_THAT(watch.ReadLines(11), Each(AnyOf(EndsWith(" -> -\r\n"),
                                              "ZOLT disabled, current layout: true -> false\r\n")));
  Write(kZoltKey, L"Disabled", RawText(L"true"));
  EXPECT_EQ(watch.ReadLine(), "ZOLT disabled, current layout: false -> true\r\n");
  EXPECT_EQ(Registry(), (Settings{{kZoltKey, {{L"Disabled", RawText(L"true")}}}}));
}

TEST_F(SettingsToolsTest, AWatchThatIsRefusedEndsWithAMessage) {
  Write(AllSettings());
  RunningWatch watch({});
  const RestrictedKey key(L"", kNoAccess);
  Write(kZoltKey, L"Disabled", RawText(L"false"));
  EXPECT_EQ(watch.Finish(),
            (RunResult{"ostrel_watch_settings: cannot watch the settings: Access denied (system "
                       "error 5)\r\n",
                       1}));
  EXPECT_EQ(Run(kWatch),
            (RunResult{"ostrel_watch_settings: cannot watch the settings: Access denied (system "
                       "error 5)\r\n",
                       1}));
}

TEST_F(SettingsToolsTest, AnOutputThatCannotBeWrittenEndsTheWatch) {
  RunningWatch watch({});
  watch.CloseOutput();
  Write(kZoltKey, L"Disabled", RawText(L"false"));
  EXPECT_EQ(watch.Finish().exitStatus, 1U);
}

}  // namespace
}  // namespace end_to_end
