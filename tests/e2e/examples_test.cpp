// The example programs together with the tool: one process keeps or lists what another writes.
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

TEST_F(ExamplesTest, ListingAKeyThatDoesNotExistCreatesNothing) {
  EXPECT_EQ(RunProgram(Example(L"list_key"), {std::wstring(kMakerPath) + kLogKey}),
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
  EXPECT_EQ(RunProgram(Example(L"list_key"), {std::wstring(kMakerPath) + L"key"}),
            (RunResult{"key          " + key + "sub = sub\r\n" +                  //
                           "REG_BINARY   " + key + "bytes = 01ab\r\n" +           //
                           "REG_MULTI_SZ " + key + "list = [\"a\", \"b\"]\r\n" +  //
                           "REG_NONE     " + key + "none = \r\n" +                //
                           "REG_DWORD    " + key + "number = 4294967295\r\n" +    //
                           "REG_SZ       " + key + "text = \"\xC3\xA9\"\r\n" +    //
                           "REG_QWORD    " + key + "wide = 4294967297\r\n",
                       0}));
}

TEST_F(ExamplesTest, KeepingPrintsTheSettingAndItsChange) {
  RunningProgram keeper(Example(L"keep_setting"), {L"3"});
  EXPECT_EQ(keeper.ReadLine(), "not set\r\n");
  ASSERT_EQ(RunTool({L"-setLogLevel", L"Warn"}).exitStatus, 0U);
  EXPECT_EQ(keeper.ReadLine(), "Warn\r\n");
  ASSERT_EQ(RunTool({L"-setLogLevel", L"Debug"}).exitStatus, 0U);
  EXPECT_EQ(keeper.Finish(), (RunResult{"Debug\r\n", 0}));
}

TEST_F(ExamplesTest, RefuseArgumentsThatTheyDoNotKnow) {
  for (const Arguments& arguments : {Arguments{L"x"}, Arguments{L""}, Arguments{L"1x"},
                                     Arguments{L"0"}, Arguments{L"1", L"2"}}) {
    EXPECT_EQ(RunProgram(Example(L"keep_setting"), arguments), (RunResult{"", 2}));
  }
  EXPECT_EQ(RunProgram(Example(L"list_key"), {}), (RunResult{"", 2}));
  EXPECT_EQ(RunProgram(Example(L"list_key"), {L"a", L"b"}), (RunResult{"", 2}));
}

}  // namespace
}  // namespace end_to_end
