// The example programs together with the tool: one process watches or lists what another writes.
#include "tool.h"

namespace end_to_end {
namespace {

using testing_support::RawDword;
using testing_support::RawText;

constexpr const wchar_t* kMakerPath = L"SOFTWARE/Kestrane, Inc./";

class ExamplesTest : public ToolTest {
 protected:
  static std::wstring Example(const std::wstring& name) {
    return ProgramDirectory() + L"\\" + name + L".exe";
  }
};

TEST_F(ExamplesTest, ListsBothLayoutsSideBySide) {
  ASSERT_EQ(RunTool({L"-setLogLevel", L"Trace"}).exitStatus, 0U);
  ASSERT_EQ(RunTool({L"-setLogConfiguration", L"maxLogSize", L"7"}).exitStatus, 0U);
  Write(kLegacyKey, L"MaxLogFiles", RawText(L"12"));
  EXPECT_EQ(RunProgram(Example(L"list_settings"), {}),
            (RunResult{"setting              current    legacy    \r\n"
                       "log level            \"Trace\"    \"trace\"   \r\n"
                       "log size, MB         7          \"7\"       \r\n"
                       "trace log size, MB   -          -         \r\n"
                       "log files            -          \"12\"       differ\r\n",
                       0}));
}

TEST_F(ExamplesTest, ListingCreatesNothing) {
  EXPECT_EQ(RunProgram(Example(L"list_settings"), {}).exitStatus, 0U);
  EXPECT_EQ(RunProgram(Example(L"list_settings"), {std::wstring(kMakerPath) + kLogKey}),
            (RunResult{"", 1}));
  EXPECT_EQ(Registry(), Settings());
}

TEST_F(ExamplesTest, ListsTheSubkeysAndValuesOfAKeyWithTheirTypes) {
  Write(L"key\\sub", L"v", RawDword(1));
  Write(L"key", L"bytes", {REG_BINARY, {0x01, 0xAB}});
  Write(L"key", L"list", RawText(std::wstring(L"a\0b\0", 4), REG_MULTI_SZ));
  Write(L"key", L"none", {REG_NONE, {}});
  Write(L"key", L"number", RawDword(4294967295));
  Write(L"key", L"resource", {REG_FULL_RESOURCE_DESCRIPTOR, {1}});
  Write(L"key", L"text", RawText(L"\x00E9"));
  Write(L"key", L"wide", {REG_QWORD, {1, 0, 0, 0, 1, 0, 0, 0}});
  const std::string key = R"(SOFTWARE\Kestrane, Inc.\key\)";
  EXPECT_EQ(RunProgram(Example(L"list_settings"), {std::wstring(kMakerPath) + L"key"}),
            (RunResult{"key          " + key + "sub = sub\r\n" +                  //
                           "REG_BINARY   " + key + "bytes = 01ab\r\n" +           //
                           "REG_MULTI_SZ " + key + "list = [\"a\", \"b\"]\r\n" +  //
                           "REG_NONE     " + key + "none = \r\n" +                //
                           "REG_DWORD    " + key + "number = 4294967295\r\n" +    //
                           "REG_SZ       " + key + "text = \"\xC3\xA9\"\r\n" +    //
                           "REG_QWORD    " + key + "wide = 4294967297\r\n",
                       0}));
}

TEST_F(ExamplesTest, WatchingReportsEachChangeOfAnotherProcessOnce) {
  ASSERT_EQ(RunTool({L"-setLogLevel", L"Warn"}).exitStatus, 0U);
  Write(kLogKey, L"A", {REG_FULL_RESOURCE_DESCRIPTOR, {1}});  // passed over
  RunningProgram watcher(Example(L"watch_settings"), {L"3"});
  EXPECT_EQ(watcher.ReadLine(),
            "watching HKLM\\SOFTWARE\\Kestrane, Inc.\\Kestrane Vantor Telemetry\\Service\\Config\\"
            "Log\r\n");

  // One change at a time: Wine loses a change that comes before the watch is registered again.
  ASSERT_EQ(RunTool({L"-setLogLevel", L"Debug"}).exitStatus, 0U);
  EXPECT_EQ(watcher.ReadLine(), "changed\r\n");
  EXPECT_EQ(watcher.ReadLine(), "  LogLevel: \"Warn\" -> \"Debug\"\r\n");

  ASSERT_EQ(RunTool({L"-setLogConfiguration", L"maxLogFiles", L"3"}).exitStatus, 0U);
  EXPECT_EQ(watcher.ReadLine(), "changed\r\n");
  EXPECT_EQ(watcher.ReadLine(), "  MaxNumFiles = 3\r\n");

  ASSERT_EQ(RunTool({L"-resetLogConfiguration", L"maxLogFiles"}).exitStatus, 0U);
  EXPECT_EQ(watcher.Finish(), (RunResult{"changed\r\n  MaxNumFiles: 3 -> 10\r\n", 0}));
}

TEST_F(ExamplesTest, KeepingPrintsTheSettingAndItsChange) {
  RunningProgram keeper(Example(L"keep_setting"), {L"3"});
  EXPECT_EQ(keeper.ReadLine(), "not set\r\n");
  ASSERT_EQ(RunTool({L"-setLogLevel", L"Warn"}).exitStatus, 0U);
  EXPECT_EQ(keeper.ReadLine(), "Warn\r\n");
  ASSERT_EQ(RunTool({L"-setLogLevel", L"Debug"}).exitStatus, 0U);
  EXPECT_EQ(keeper.Finish(), (RunResult{"Debug\r\n", 0}));
}

TEST_F(ExamplesTest, WatchingSurvivesThatAnotherProcessDeletesTheKey) {
  // Wine does not signal that the watched key itself was deleted, only that a subkey was. So there
  // is a subkey, and the watcher is held until the key is deleted as well.
  const Settings subkey = {{std::wstring(kLogKey) + L"\\subkey", {}}};
  const auto deleteKey = [] {
    const std::wstring key = L"SOFTWARE\\Kestrane, Inc.\\" + std::wstring(kLogKey);
    EXPECT_EQ(::RegDeleteTreeW(HKEY_LOCAL_MACHINE, key.c_str()), ERROR_SUCCESS);
  };
  Write(subkey);
  ASSERT_EQ(RunTool({L"-setLogLevel", L"Warn"}).exitStatus, 0U);
  RunningProgram watcher(Example(L"watch_settings"), {L"5"});
  watcher.ReadLine();

  watcher.Freeze(deleteKey);
  EXPECT_EQ(watcher.ReadLine(), "changed\r\n");
  EXPECT_EQ(watcher.ReadLine(), "  LogLevel removed\r\n");
  EXPECT_EQ(watcher.ReadLine(), "  subkey removed\r\n");
  EXPECT_EQ(Registry()[kLogKey], Values());

  ASSERT_EQ(RunTool({L"-setLogLevel", L"Error"}).exitStatus, 0U);
  EXPECT_EQ(watcher.ReadLine(), "changed\r\n");
  EXPECT_EQ(watcher.ReadLine(), "  LogLevel = \"Error\"\r\n");

  Write(subkey);
  EXPECT_EQ(watcher.ReadLine(), "changed\r\n");
  EXPECT_EQ(watcher.ReadLine(), "  subkey = subkey\r\n");

  // Now the tool creates the key before the watcher notices that it was deleted.
  watcher.Freeze([&] {
    deleteKey();
    ASSERT_EQ(RunTool({L"-setLogLevel", L"Debug"}).exitStatus, 0U);
  });
  EXPECT_EQ(watcher.ReadLine(), "changed\r\n");
  EXPECT_EQ(watcher.ReadLine(), "  LogLevel: \"Error\" -> \"Debug\"\r\n");
  EXPECT_EQ(watcher.ReadLine(), "  subkey removed\r\n");

  ASSERT_EQ(RunTool({L"-resetLogLevel"}).exitStatus, 0U);
  EXPECT_EQ(watcher.Finish(), (RunResult{"changed\r\n  LogLevel: \"Debug\" -> \"Info\"\r\n", 0}));
}

TEST_F(ExamplesTest, RefuseArgumentsThatTheyDoNotKnow) {
  for (const Arguments& arguments :
       {Arguments{L"x"}, Arguments{L""}, Arguments{L"1x"}, Arguments{L"1", L"2"}}) {
    EXPECT_EQ(RunProgram(Example(L"watch_settings"), arguments), (RunResult{"", 2}));
  }
  EXPECT_EQ(RunProgram(Example(L"list_settings"), {L"a", L"b"}), (RunResult{"", 2}));
}

}  // namespace
}  // namespace end_to_end
