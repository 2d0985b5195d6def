#include "settings_tools/list_settings.h"

#include <windows.h>

#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock-more-matchers.h>
#include <gtest/gtest.h>

#include "settings_tools/settings.h"
#include "support/command_line_run.h"
#include "support/console_output.h"
#include "support/error_codes.h"
#include "support/import_hook.h"
#include "support/registry_sandbox.h"

namespace settings_tools {
namespace {

using testing::StartsWith;
using testing_support::ImportHook;
using testing_support::SystemError;

class ListSettingsTest : public ::testing::Test {
 protected:
  static int Run(const std::vector<std::string>& arguments = {}) {
    const auto argv = testing_support::ArgumentVector(arguments);
    return ListSettings(static_cast<int>(argv.size()), argv.data());
  }

  testing_support::RegistrySandbox sandbox;
  testing_support::ConsoleOutput console;
};

TEST_F(ListSettingsTest, PrintsTheTable) {
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(console.output, StartsWith("setting "));
  EXPECT_EQ(console.errors, "");
  EXPECT_TRUE(sandbox.Empty());
}

TEST_F(ListSettingsTest, PrintsItsHelp) {
  EXPECT_EQ(Run({"-help"}), 0);
  EXPECT_EQ(console.output, ListSettingsHelp());
  EXPECT_EQ(console.errors, "");
}

TEST_F(ListSettingsTest, WhatCannotBePrintedIsAFailure) {
  console.fails = true;
  EXPECT_EQ(Run(), 1);
  EXPECT_EQ(Run({"-help"}), 1);
  const std::string line = "ostrel_list_settings: cannot write the output\n";
  EXPECT_EQ(console.errors, line + line);
}

TEST_F(ListSettingsTest, WrongArgumentsArePrintedAboutAlone) {
  EXPECT_EQ(Run({"x"}), 2);
  EXPECT_EQ(console.output, "");
  EXPECT_EQ(console.errors, "ostrel_list_settings: takes nothing but -help\n");
}

TEST_F(ListSettingsTest, AMachineThatCannotBeOpenedIsAFailure) {
  const ImportHook<"RegCreateKeyExW", decltype(::RegCreateKeyExW)> hook(
      [](HKEY, LPCWSTR, DWORD, LPWSTR, DWORD, REGSAM, const LPSECURITY_ATTRIBUTES, PHKEY, LPDWORD) {
        return LSTATUS{ERROR_ACCESS_DENIED};
      });
  EXPECT_EQ(Run(), 1);
  EXPECT_EQ(console.output, "");
  EXPECT_EQ(console.errors, "ostrel_list_settings: cannot open HKLM: " +
                                Reason(SystemError(ERROR_ACCESS_DENIED)) + "\n");
}

TEST_F(ListSettingsTest, ProblemsComeBehindTheTable) {
  const ImportHook<"RegOpenKeyExW", decltype(::RegOpenKeyExW)> hook(
      [&](HKEY, LPCWSTR, DWORD, REGSAM, PHKEY) { return LSTATUS{ERROR_ACCESS_DENIED}; });
  EXPECT_EQ(Run(), 1);
  EXPECT_THAT(console.output, StartsWith("setting "));
  EXPECT_THAT(console.errors, StartsWith("ostrel_list_settings: cannot read HKLM\\SOFTWARE\\"));
  EXPECT_EQ(std::count(console.errors.begin(), console.errors.end(), '\n'), 3);
}

}  // namespace
}  // namespace settings_tools
