#include "settings_tools/watch_settings.h"

#include <windows.h>

#include <cstddef>
#include <cstdio>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "settings_tools/settings.h"
#include "support/command_line_run.h"
#include "support/console_output.h"
#include "support/error_codes.h"
#include "support/import_hook.h"
#include "support/registry_sandbox.h"

namespace settings_tools {
namespace {

using testing_support::ImportHook;
using testing_support::RawText;
using testing_support::SystemError;

using RefusedNotifyHook =
    ImportHook<"RegNotifyChangeKeyValue", decltype(::RegNotifyChangeKeyValue)>;

constexpr const wchar_t* kWatchedLogKey =
    L"SOFTWARE\\Kestrane, Inc.\\Kestrane Vantor Telemetry\\Service\\Config\\Log";
constexpr const wchar_t* kWatchedZoltKey =
    L"SOFTWARE\\Kestrane, Inc.\\Kestrane Vantor Telemetry\\ZOLT";
constexpr const char* kFirstLine = "watching the settings of both layouts\n";

class WatchSettingsTest : public ::testing::Test {
 protected:
  static int Run(const std::vector<std::string>& arguments = {}) {
    const auto argv = testing_support::ArgumentVector(arguments);
    return WatchSettings(static_cast<int>(argv.size()), argv.data());
  }

  testing_support::RegistrySandbox sandbox;
  testing_support::ConsoleOutput console;
};

// Does something after each look of the program, when it is flushed what was seen.
struct Steps {
  std::vector<std::function<void()>> steps;
  std::size_t next = 0;
  ImportHook<"fflush", int(std::FILE*)> hook{[this](std::FILE* /*stream*/) {
    if (next < steps.size()) {
      steps[next++]();
    }
    return 0;
  }};
};

TEST_F(WatchSettingsTest, PrintsChangesUntilItHasTheCount) {
  const auto write = [&](const wchar_t* text) {
    return [this, text] { sandbox.Write(kWatchedZoltKey, L"Disabled", RawText(text)); };
  };
  const Steps steps{{write(L"true"), write(L"false")}};
  EXPECT_EQ(Run({"2"}), 0);
  EXPECT_EQ(console.output, std::string(kFirstLine) +
                                "ZOLT disabled, current layout: - -> true\n"
                                "ZOLT disabled, current layout: true -> false\n");
  EXPECT_EQ(console.errors, "");
}

TEST_F(WatchSettingsTest, PrintsNoMoreThanTheCountOfWhatHasChangedAtOnce) {
  const Steps steps{{[this] {
    sandbox.Write(kWatchedLogKey, L"LogLevel", RawText(L"Info"));
    sandbox.Write(kWatchedZoltKey, L"Disabled", RawText(L"true"));
  }}};
  EXPECT_EQ(Run({"1"}), 0);
  EXPECT_EQ(console.output, std::string(kFirstLine) + "log level, current layout: - -> Info\n");
}

TEST_F(WatchSettingsTest, AProblemIsPrintedWhenItComes) {
  sandbox.Write(kWatchedZoltKey, L"Disabled", RawText(L"true"));
  bool isRefused = false;
  const ImportHook<"RegGetValueW", decltype(::RegGetValueW)> hook(
      [&](HKEY key, LPCWSTR path, LPCWSTR name, DWORD flags, LPDWORD type, PVOID data,
          LPDWORD size) {
        return isRefused && name == std::wstring_view(L"Disabled")
                   ? LSTATUS{ERROR_ACCESS_DENIED}
                   : hook.Original()(key, path, name, flags, type, data, size);
      });
  const auto write = [&](const wchar_t* level) {
    sandbox.Write(kWatchedLogKey, L"LogLevel", RawText(level));
  };
  const Steps steps{{[&] {
                       isRefused = true;
                       write(L"Warn");
                     },
                     [&] { write(L"Info"); },
                     [&] {
                       isRefused = false;
                       sandbox.Write(kWatchedZoltKey, L"Other", RawText(L""));
                     }}};
  EXPECT_EQ(Run({"4"}), 0);
  EXPECT_EQ(console.output, std::string(kFirstLine) +
                                "log level, current layout: - -> Warn\n"
                                "ZOLT disabled, current layout: true -> (unreadable)\n"
                                "log level, current layout: Warn -> Info\n"
                                "ZOLT disabled, current layout: (unreadable) -> true\n");
  EXPECT_EQ(console.errors,
            "ostrel_watch_settings: cannot read HKLM\\SOFTWARE\\Kestrane, Inc.\\Kestrane Vantor "
            "Telemetry\\ZOLT\\Disabled: " +
                Reason(SystemError(ERROR_ACCESS_DENIED)) + "\n");
}

TEST_F(WatchSettingsTest, PrintsItsHelp) {
  EXPECT_EQ(Run({"-help"}), 0);
  EXPECT_EQ(console.output, WatchSettingsHelp());
  EXPECT_EQ(console.errors, "");
}

TEST_F(WatchSettingsTest, WhatCannotBePrintedIsAFailure) {
  console.fails = true;
  EXPECT_EQ(Run(), 1);
  EXPECT_EQ(Run({"-help"}), 1);
  const std::string line = "ostrel_watch_settings: cannot write the output\n";
  EXPECT_EQ(console.errors, line + line);
}

TEST_F(WatchSettingsTest, WrongArgumentsArePrintedAboutAlone) {
  EXPECT_EQ(Run({"0"}), 2);
  EXPECT_EQ(Run({"1", "1"}), 2);
  EXPECT_EQ(console.output, "");
  const std::string line =
      "ostrel_watch_settings: takes nothing but a number of changes from 1 to 4294967295, or "
      "-help\n";
  EXPECT_EQ(console.errors, line + line);
}

TEST_F(WatchSettingsTest, AMachineThatCannotBeOpenedIsAFailure) {
  const ImportHook<"RegCreateKeyExW", decltype(::RegCreateKeyExW)> hook(
      [](HKEY, LPCWSTR, DWORD, LPWSTR, DWORD, REGSAM, const LPSECURITY_ATTRIBUTES, PHKEY, LPDWORD) {
        return LSTATUS{ERROR_ACCESS_DENIED};
      });
  EXPECT_EQ(Run(), 1);
  EXPECT_EQ(console.errors, "ostrel_watch_settings: cannot open HKLM: " +
                                Reason(SystemError(ERROR_ACCESS_DENIED)) + "\n");
}

TEST_F(WatchSettingsTest, AWatchThatIsRefusedIsAFailure) {
  const RefusedNotifyHook hook(
      [](HKEY, BOOL, DWORD, HANDLE, BOOL) { return LSTATUS{ERROR_ACCESS_DENIED}; });
  EXPECT_EQ(Run({"1"}), 1);
  EXPECT_EQ(console.output, "");
  EXPECT_EQ(console.errors, "ostrel_watch_settings: cannot watch the settings: " +
                                Reason(SystemError(ERROR_ACCESS_DENIED)) + "\n");
}

}  // namespace
}  // namespace settings_tools
