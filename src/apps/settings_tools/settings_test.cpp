#include "settings_tools/settings.h"

#include <windows.h>

#include <map>
#include <string_view>
#include <utility>

#include <gmock/gmock-more-matchers.h>
#include <gtest/gtest.h>

#include "support/error_codes.h"
#include "support/import_hook.h"
#include "support/registry_sandbox.h"
#include "tessel/config/error.h"

namespace settings_tools {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing_support::ErrorOf;
using testing_support::ImportHook;
using testing_support::RawDword;
using testing_support::RawText;
using testing_support::SystemError;
using namespace std::string_literals;

using State = Reading::State;

constexpr const wchar_t* kLog =
    L"SOFTWARE\\Kestrane, Inc.\\Kestrane Vantor Telemetry\\Service\\Config\\Log";
constexpr const wchar_t* kZolt = L"SOFTWARE\\Kestrane, Inc.\\Kestrane Vantor Telemetry\\ZOLT";
constexpr const wchar_t* kOlder =
    L"SOFTWARE\\Kestrane, Inc.\\Kestrane Harlen Telemetry\\Service\\Configuration\\Logging";
constexpr const char* kZoltName = R"(HKLM\SOFTWARE\Kestrane, Inc.\Kestrane Vantor Telemetry\ZOLT)";
constexpr const char* kOlderName =
    R"(HKLM\SOFTWARE\Kestrane, Inc.\Kestrane Harlen Telemetry\Service\Configuration\Logging)";

class ReadSettingsTest : public ::testing::Test {
 protected:
  static Settings Read() { return ReadSettings(**OpenMachine()); }

  // The readings of all settings, as they are shown; empty for one that the layout does not have.
  static std::map<std::string, std::pair<std::string, std::string>> Shown(
      const Settings& settings) {
    std::map<std::string, std::pair<std::string, std::string>> shown;
    for (const Setting& setting : settings.settings) {
      shown[setting.name] = {setting.current ? setting.current->shown : "",
                             setting.older ? setting.older->shown : ""};
    }
    return shown;
  }

  // The state of the ZOLT setting, of this value.
  [[nodiscard]] Reading ZoltReading(const testing_support::RawValue& value) const {
    sandbox.Write(kZolt, L"Disabled", value);
    return *Read().settings.back().current;
  }

  testing_support::RegistrySandbox sandbox;
};

TEST_F(ReadSettingsTest, FindsNothingOnAFreshMachineAndCreatesNothing) {
  const Settings settings = Read();
  EXPECT_EQ(Shown(settings), (std::map<std::string, std::pair<std::string, std::string>>{
                                 {"log level", {"-", "-"}},
                                 {"VerboseLevel", {"", "-"}},
                                 {"kst_windows_log_verbose", {"", "-"}},
                                 {"maxLogSize", {"-", "-"}},
                                 {"maxTraceLogSize", {"-", "-"}},
                                 {"maxLogFiles", {"-", "-"}},
                                 {"ZOLT disabled", {"-", ""}},
                             }));
  EXPECT_EQ(settings.settings.front().name, "log level");
  EXPECT_THAT(settings.missingKeys,
              ElementsAre("HKLM\\SOFTWARE\\Kestrane, Inc.\\Kestrane Vantor Telemetry\\Service"
                          "\\Config\\Log",
                          kZoltName, kOlderName));
  EXPECT_THAT(settings.problems, IsEmpty());
  EXPECT_TRUE(sandbox.Empty());
}

TEST_F(ReadSettingsTest, ReadsEachValueAtItsPlace) {
  sandbox.Write(kLog, L"LogLevel", RawText(L"a"));
  sandbox.Write(kLog, L"MaxFileSize", RawDword(1));
  sandbox.Write(kLog, L"MaxTraceLogSize", RawDword(2));
  sandbox.Write(kLog, L"MaxNumFiles", RawDword(3));
  sandbox.Write(kZolt, L"Disabled", RawText(L"b"));
  sandbox.Write(kOlder, L"LogLevel", RawText(L"c"));
  sandbox.Write(kOlder, L"VerboseLevel", RawText(L"d"));
  sandbox.Write(kOlder, L"kst_windows_log_verbose", RawText(L"e"));
  sandbox.Write(kOlder, L"MaxLogSize", RawText(L"4"));
  sandbox.Write(kOlder, L"MaxTraceLogSize", RawText(L"5"));
  sandbox.Write(kOlder, L"MaxLogFiles", RawText(L"6"));
  const Settings settings = Read();
  EXPECT_EQ(Shown(settings), (std::map<std::string, std::pair<std::string, std::string>>{
                                 {"log level", {"a", "c"}},
                                 {"VerboseLevel", {"", "d"}},
                                 {"kst_windows_log_verbose", {"", "e"}},
                                 {"maxLogSize", {"1", "4"}},
                                 {"maxTraceLogSize", {"2", "5"}},
                                 {"maxLogFiles", {"3", "6"}},
                                 {"ZOLT disabled", {"b", ""}},
                             }));
  for (const Setting& setting : settings.settings) {
    for (const auto& reading : {setting.current, setting.older}) {
      if (reading) {
        EXPECT_EQ(reading->state, State::Stored);
        EXPECT_EQ(reading->content, std::wstring(reading->shown.begin(), reading->shown.end()));
      }
    }
  }
  EXPECT_THAT(settings.missingKeys, IsEmpty());
  EXPECT_THAT(settings.problems, IsEmpty());
}

TEST_F(ReadSettingsTest, ShowsATextInQuotesUnlessItIsAPlainWord) {
  EXPECT_EQ(ZoltReading(RawText(L"aZ09")).shown, "aZ09");
  for (const wchar_t* const text : {L"", L"-", L"n/a", L"true ", L"not configured", L"\x00E9"}) {
    const Reading reading = ZoltReading(RawText(text));
    EXPECT_TRUE(reading.shown.starts_with('"') && reading.shown.ends_with('"')) << reading.shown;
    EXPECT_EQ(reading.content, text);
  }
  for (const wchar_t* const text : {L"/", L":", L"@", L"[", L"`", L"{"}) {  // beside the ranges
    EXPECT_EQ(ZoltReading(RawText(text)).shown.size(), 3U);
  }
}

TEST_F(ReadSettingsTest, ShowsAnUnexpectedTypeAndDoesNotCompareIt) {
  const std::pair<testing_support::RawValue, std::string> cases[] = {
      {RawDword(3), "REG_DWORD 3"},
      {{REG_QWORD, {0, 0, 0, 0, 1, 0, 0, 0}}, "REG_QWORD 4294967296"},
      {{REG_BINARY, {0x01, 0xAB}}, "REG_BINARY 01ab"},
      {{REG_NONE, {}}, "REG_NONE "},
      {RawText(L"a", REG_EXPAND_SZ), "REG_EXPAND_SZ \"a\""},
      {RawText(L"a\0b\0"s, REG_MULTI_SZ), R"(REG_MULTI_SZ ["a", "b"])"},
  };
  for (const auto& [value, shown] : cases) {
    const Reading reading = ZoltReading(value);
    EXPECT_EQ(reading.state, State::Stored);
    EXPECT_EQ(reading.shown, shown);
    EXPECT_EQ(reading.content, std::nullopt);
  }
  sandbox.Write(kLog, L"MaxFileSize", RawText(L"7"));
  EXPECT_EQ(Shown(Read())["maxLogSize"].first, "REG_SZ \"7\"");
}

TEST_F(ReadSettingsTest, AKeyThatIsRefusedIsOneProblem) {
  sandbox.Write(kLog, L"LogLevel", RawText(L"Info"));
  sandbox.Write(kOlder, L"LogLevel", RawText(L"info"));
  sandbox.CreateKey(kZolt);
  const ImportHook<"RegOpenKeyExW", decltype(::RegOpenKeyExW)> hook(
      [&](HKEY key, LPCWSTR path, DWORD options, REGSAM access, PHKEY opened) {
        EXPECT_EQ(access, REGSAM{KEY_READ});
        return path == std::wstring_view(kOlder)
                   ? LSTATUS{ERROR_ACCESS_DENIED}
                   : hook.Original()(key, path, options, access, opened);
      });
  const Settings settings = Read();
  EXPECT_EQ(Shown(settings)["log level"],
            (std::pair<std::string, std::string>("Info", "(unreadable)")));
  EXPECT_EQ(Shown(settings)["maxLogFiles"],
            (std::pair<std::string, std::string>("-", "(unreadable)")));
  EXPECT_EQ(settings.settings.front().older->state, State::Unreadable);
  EXPECT_THAT(settings.missingKeys, IsEmpty());
  EXPECT_THAT(settings.problems, ElementsAre("cannot read " + std::string(kOlderName) + ": " +
                                             Reason(SystemError(ERROR_ACCESS_DENIED))));
}

TEST_F(ReadSettingsTest, AValueThatIsRefusedIsAProblemOfItsOwn) {
  sandbox.Write(kZolt, L"Disabled", RawText(L"true"));
  const ImportHook<"RegGetValueW", decltype(::RegGetValueW)> hook(
      [&](HKEY key, LPCWSTR path, LPCWSTR name, DWORD flags, LPDWORD type, PVOID data,
          LPDWORD size) {
        return name == std::wstring_view(L"Disabled")
                   ? LSTATUS{ERROR_ACCESS_DENIED}
                   : hook.Original()(key, path, name, flags, type, data, size);
      });
  const Settings settings = Read();
  EXPECT_EQ(Shown(settings)["ZOLT disabled"].first, "(unreadable)");
  EXPECT_EQ(settings.settings.back().current->state, State::Unreadable);
  EXPECT_THAT(settings.problems,
              ElementsAre("cannot read " + std::string(kZoltName) +
                          "\\Disabled: " + Reason(SystemError(ERROR_ACCESS_DENIED))));
}

TEST_F(ReadSettingsTest, AKeyThatIsDeletedMeanwhileIsMissing) {
  sandbox.Write(kZolt, L"Disabled", RawText(L"true"));
  const ImportHook<"RegGetValueW", decltype(::RegGetValueW)> valueHook(
      [](HKEY, LPCWSTR, LPCWSTR, DWORD, LPDWORD, PVOID, LPDWORD) -> LSTATUS {
        return ERROR_KEY_DELETED;
      });
  const ImportHook<"RegOpenKeyExW", decltype(::RegOpenKeyExW)> keyHook(
      [](HKEY, LPCWSTR, DWORD, REGSAM, PHKEY) -> LSTATUS { return ERROR_KEY_DELETED; });
  const Settings settings = Read();
  EXPECT_EQ(Shown(settings)["ZOLT disabled"].first, "-");
  EXPECT_EQ(settings.missingKeys.size(), 3U);
  EXPECT_THAT(settings.problems, IsEmpty());
}

// Wine's registry refuses this type before the library does.
TEST_F(ReadSettingsTest, AValueOfAnUnsupportedTypeIsAProblem) {
  sandbox.Write(kZolt, L"Disabled", RawText(L"true"));
  const ImportHook<"RegGetValueW", decltype(::RegGetValueW)> hook(
      [&](HKEY key, LPCWSTR path, LPCWSTR name, DWORD flags, LPDWORD type, PVOID data,
          LPDWORD size) {
        const LSTATUS status = hook.Original()(key, path, name, flags, type, data, size);
        *type = REG_RESOURCE_LIST;
        return status;
      });
  EXPECT_THAT(Read().problems, ElementsAre("cannot read " + std::string(kZoltName) +
                                           "\\Disabled: unsupported storage value"));
}

TEST(ReasonTest, HasTheNumberOfAnErrorOfTheSystem) {
  EXPECT_THAT(Reason(SystemError(ERROR_ACCESS_DENIED)), HasSubstr(" (system error 5)"));
  EXPECT_EQ(Reason(tessel::config::Error::unsupported_storage_value), "unsupported storage value");
}

TEST(OpenMachineTest, OpensTheRootForReadingAlone) {
  const testing_support::RegistrySandbox sandbox;
  int calls = 0;
  const ImportHook<"RegCreateKeyExW", decltype(::RegCreateKeyExW)> hook(
      [&](HKEY root, LPCWSTR path, DWORD reserved, LPWSTR type, DWORD options, REGSAM access,
          const LPSECURITY_ATTRIBUTES attributes, PHKEY key, LPDWORD disposition) {
        EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
        EXPECT_EQ(path, std::wstring_view());
        EXPECT_EQ(access, REGSAM{KEY_READ});
        return ++calls == 1 ? hook.Original()(root, path, reserved, type, options, access,
                                              attributes, key, disposition)
                            : LSTATUS{ERROR_ACCESS_DENIED};
      });
  EXPECT_TRUE(OpenMachine());
  EXPECT_EQ(ErrorOf(OpenMachine()), SystemError(ERROR_ACCESS_DENIED));
}

}  // namespace
}  // namespace settings_tools
