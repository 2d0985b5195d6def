#include "command_line/zolt_commands.h"

#include <windows.h>

#include <system_error>

#include <gmock/gmock-more-matchers.h>
#include <gtest/gtest.h>

#include "support/command_line_run.h"
#include "support/import_hook.h"

namespace ostrel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing_support::ActionRun;
using testing_support::ImportHook;
using testing_support::RecordingHandler;
using testing_support::RunAction;

using ToWideHook = ImportHook<"MultiByteToWideChar", decltype(::MultiByteToWideChar)>;
using ToNarrowHook = ImportHook<"WideCharToMultiByte", decltype(::WideCharToMultiByte)>;

class ZoltCommandTest : public ::testing::Test {
 protected:
  ActionRun runSet(const std::vector<std::string>& arguments) {
    return RunAction(runSetZOLTDisabledCommand, handler, arguments);
  }
  ActionRun runGet(const std::vector<std::string>& arguments) {
    return RunAction(runGetZOLTDisabledCommand, handler, arguments);
  }

  RecordingHandler handler;
};

TEST_F(ZoltCommandTest, SetsTheStateInAnyCaseAndEchoesWhatWasTyped) {
  const std::vector<std::pair<const char*, const char*>> values = {
      {"true", "1"}, {"TRUE", "1"}, {"fAlSe", "2"}, {"True", "1"}, {"false", "2"}, {"FALSE", "2"}};
  for (const auto& [value, state] : values) {
    const ActionRun run = runSet({"-setZOLTDisabled", value});
    EXPECT_EQ(run.outcome, kDoneStop) << value;
    EXPECT_EQ(run.message,
              "Successfully set ZOLT disablement config to " + std::string(value) + "\n");
    EXPECT_THAT(handler.Calls(), ElementsAre("setZOLTDisabled(" + std::string(state) + ")"));
  }
}

TEST_F(ZoltCommandTest, ReportsAStateThatCannotBeStored) {
  for (const HandlerStatus status : {kUnsupported, kWriteFailed, 0xFFFFFFFFU}) {
    handler.statuses["setZOLTDisabled"] = status;
    const ActionRun run = runSet({"-setZOLTDisabled", "false"});
    EXPECT_EQ(run.outcome, kFailedStop);
    EXPECT_EQ(run.message, "Set ZOLT local config failed\n");
    EXPECT_THAT(handler.Calls(), ElementsAre("setZOLTDisabled(2)"));
  }
}

TEST_F(ZoltCommandTest, RejectsEverythingElse) {
  const std::vector<std::string> invalid = {"",
                                            "yes",
                                            "no",
                                            "1",
                                            "0",
                                            "not configured",
                                            "true ",
                                            " true",
                                            "tru",
                                            "trues",
                                            "truefalse",
                                            "{}",
                                            "{",
                                            "}",
                                            "{0:>99999}",
                                            "%s%n",
                                            "tr\xC2\xADue",  // a soft hyphen, which has no weight
                                            "\xEF\xBD\x94rue",   // a fullwidth t
                                            "tr\xFFue",          // invalid bytes
                                            "\xC3",              // a sequence that the end cuts off
                                            "\xFF\xFE\xFD\xFC",  // as long as "true"
                                            std::string(100000, 't')};
  for (const std::string& value : invalid) {
    const ActionRun run = runSet({"-setZOLTDisabled", value});
    EXPECT_EQ(run.outcome, kFailedStop) << value;
    EXPECT_EQ(run.message, "Invalid argument: " + value + ", support values are: true/false\n");
    EXPECT_THAT(handler.Calls(), IsEmpty()) << value;
  }
}

TEST_F(ZoltCommandTest, UsesTheFirstOfSeveralValues) {
  EXPECT_EQ(runSet({"-setZOLTDisabled", "false", "true"}).message,
            "Successfully set ZOLT disablement config to false\n");
  EXPECT_THAT(handler.Calls(), ElementsAre("setZOLTDisabled(2)"));
}

TEST_F(ZoltCommandTest, ConvertsTheValueFromUtf8) {
  // The sizes of the buffers: 0 to ask for the length, then the room for the text.
  std::vector<int> sizes;
  const ToWideHook hook(
      [&](UINT codePage, DWORD flags, LPCCH text, int length, LPWSTR buffer, int size) {
        sizes.push_back(size);
        EXPECT_EQ(codePage, 65001U);
        EXPECT_EQ(flags, 0U);
        EXPECT_EQ(std::string(text, text + length), "true");
        return ToWideHook::Original()(codePage, flags, text, length, buffer, size);
      });
  EXPECT_EQ(runSet({"-setZOLTDisabled", "true"}).outcome, kDoneStop);
  EXPECT_THAT(sizes, ElementsAre(0, 4));
}

TEST_F(ZoltCommandTest, RaisesAnExceptionForAValueThatCannotBeConverted) {
  const ToWideHook hook([](UINT, DWORD, LPCCH, int, LPWSTR, int) {
    ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return 0;
  });
  EXPECT_THROW(runSet({"-setZOLTDisabled", "true"}), std::system_error);
  EXPECT_THAT(handler.Calls(), IsEmpty());
}

TEST_F(ZoltCommandTest, LeavesTheStateAloneWhenNotAsked) {
  const ActionRun run = runSet({"-getZOLTDisabled", "-resetLogLevel"});
  EXPECT_EQ(run.outcome, kNotGiven);
  EXPECT_EQ(run.message, "");
  EXPECT_THAT(handler.Calls(), IsEmpty());
}

TEST_F(ZoltCommandTest, PrintsEachState) {
  const std::vector<std::pair<ZoltDisabledState, const char*>> states = {
      {ZoltDisabledState::NotConfigured, "not configured"},
      {ZoltDisabledState::Disabled, "true"},
      {ZoltDisabledState::NotDisabled, "false"}};
  for (const auto& [state, text] : states) {
    handler.zoltDisabled = state;
    const ActionRun run = runGet({"-getZOLTDisabled"});
    EXPECT_EQ(run.outcome, kDoneStop);
    EXPECT_EQ(run.message, "ZOLT local disablement config: " + std::string(text) + "\n");
    EXPECT_THAT(handler.Calls(), ElementsAre("getZOLTDisabled()"));
  }
}

TEST_F(ZoltCommandTest, RaisesAnExceptionForAStateWithoutAText) {
  for (const std::uint32_t state : {3U, 0xFFFFFFFFU}) {
    handler.zoltDisabled = static_cast<ZoltDisabledState>(state);
    EXPECT_THROW(runGet({"-getZOLTDisabled"}), std::bad_optional_access);
  }
}

TEST_F(ZoltCommandTest, ConvertsTheTextToUtf8) {
  handler.zoltDisabled = ZoltDisabledState::NotDisabled;
  std::vector<int> sizes;
  const ToNarrowHook hook([&](UINT codePage, DWORD flags, LPCWCH text, int length, LPSTR buffer,
                              int size, LPCCH defaultCharacter, LPBOOL usedDefault) {
    sizes.push_back(size);
    EXPECT_EQ(codePage, 65001U);
    EXPECT_EQ(flags, 0U);
    EXPECT_EQ(std::wstring(text, text + length), L"false");
    return ToNarrowHook::Original()(codePage, flags, text, length, buffer, size, defaultCharacter,
                                    usedDefault);
  });
  EXPECT_EQ(runGet({"-getZOLTDisabled"}).outcome, kDoneStop);
  EXPECT_THAT(sizes, ElementsAre(0, 5));
}

TEST_F(ZoltCommandTest, RaisesAnExceptionForATextThatCannotBeConverted) {
  const ToNarrowHook hook([](UINT, DWORD, LPCWCH, int, LPSTR, int, LPCCH, LPBOOL) {
    ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return 0;
  });
  EXPECT_THROW(runGet({"-getZOLTDisabled"}), std::system_error);
}

TEST_F(ZoltCommandTest, ReadsNoStateForAnOptionThatStandsForFalse) {
  OptionParser parser("", "", "", "");
  Option get;
  get.names = {"-getZOLTDisabled"};
  get.implicitValue = false;
  parser.addOption(get);
  ASSERT_EQ(testing_support::Parse(parser, {"-getZOLTDisabled"}).code, ParseError::None);
  MessageStream message;
  EXPECT_EQ(runGetZOLTDisabledCommand(parser, handler, message), kNotGiven);
  EXPECT_THAT(handler.Calls(), IsEmpty());
}

TEST_F(ZoltCommandTest, ReadsNoStateWhenNotAsked) {
  const ActionRun run = runGet({"-setZOLTDisabled", "true"});
  EXPECT_EQ(run.outcome, kNotGiven);
  EXPECT_EQ(run.message, "");
  EXPECT_THAT(handler.Calls(), IsEmpty());
}

}  // namespace
}  // namespace ostrel
