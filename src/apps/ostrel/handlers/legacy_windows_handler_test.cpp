#include "handlers/legacy_windows_handler.h"

#include <string>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include "support/import_hook.h"
#include "support/ostrel_printers.h"
#include "support/registry_sandbox.h"
#include "tessel/task/default_task_executor.h"

namespace ostrel {
namespace {

using testing_support::ImportHook;
using testing_support::RawDword;
using testing_support::RawText;
using CreateHook = ImportHook<"RegCreateKeyExW", decltype(::RegCreateKeyExW)>;
using SetHook = ImportHook<"RegSetKeyValueW", decltype(::RegSetKeyValueW)>;

const std::wstring kKey =
    L"SOFTWARE\\Kestrane, Inc.\\Kestrane Harlen Telemetry\\Service\\Configuration\\Logging";
const std::vector<std::wstring> kLevelValues = {L"LogLevel", L"VerboseLevel",
                                                L"kst_windows_log_verbose"};

class LegacyWindowsHandlerTest : public ::testing::Test {
 protected:
  testing_support::RegistrySandbox sandbox;
  LegacyWindowsHandler handler;
};

TEST_F(LegacyWindowsHandlerTest, StoresEachLevelAsThreeTexts) {
  const struct {
    LogLevel level;
    std::wstring name;
    std::wstring verboseLevel;
    std::wstring verbose;
  } levels[] = {{LogLevel::Error, L"error", L"0", L"false"},
                {LogLevel::Warn, L"warn", L"0", L"false"},
                {LogLevel::Info, L"info", L"0", L"false"},
                {LogLevel::Debug, L"debug", L"0", L"false"},
                {LogLevel::Trace, L"trace", L"3", L"true"}};
  for (const auto& level : levels) {
    EXPECT_EQ(handler.setLogLevel(level.level), kSuccess);
    EXPECT_EQ(sandbox.Read(kKey, L"LogLevel"), RawText(level.name));
    EXPECT_EQ(sandbox.Read(kKey, L"VerboseLevel"), RawText(level.verboseLevel));
    EXPECT_EQ(sandbox.Read(kKey, L"kst_windows_log_verbose"), RawText(level.verbose));
  }
  EXPECT_EQ(sandbox.ValueNames(kKey), kLevelValues);
}

TEST_F(LegacyWindowsHandlerTest, WritesALevelInOrderWithOneOpenKey) {
  std::vector<std::wstring> names;
  int opened = 0;
  const SetHook set([&](HKEY, LPCWSTR, LPCWSTR name, DWORD, LPCVOID, DWORD) {
    names.emplace_back(name);
    return LSTATUS{ERROR_ACCESS_DENIED};
  });
  CreateHook create([&](HKEY root, LPCWSTR path, DWORD reserved, LPWSTR keyClass, DWORD options,
                        REGSAM access, const LPSECURITY_ATTRIBUTES security, PHKEY key,
                        LPDWORD disposition) {
    ++opened;
    EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
    EXPECT_EQ(access, 0x2001FU);
    return create.Original()(root, path, reserved, keyClass, options, access, security, key,
                             disposition);
  });
  // A refused write does not stop the later ones, and the result is a success.
  EXPECT_EQ(handler.setLogLevel(LogLevel::Trace), kSuccess);
  EXPECT_EQ(names, kLevelValues);
  EXPECT_EQ(opened, 1);
}

TEST_F(LegacyWindowsHandlerTest, RefusesALevelWithoutANameAfterOpeningTheKey) {
  EXPECT_EQ(handler.setLogLevel(static_cast<LogLevel>(5)), kWriteFailed);
  EXPECT_TRUE(sandbox.KeyExists(kKey));
  EXPECT_TRUE(sandbox.ValueNames(kKey).empty());
}

TEST_F(LegacyWindowsHandlerTest, StoresTheConfigurationsAsDecimalText) {
  EXPECT_EQ(handler.setMaxLogSize(5), kSuccess);
  EXPECT_EQ(handler.setMaxTraceLogSize(4294967295), kSuccess);
  EXPECT_EQ(handler.setMaxLogFiles(12), kSuccess);
  EXPECT_EQ(sandbox.ValueNames(kKey),
            (std::vector<std::wstring>{L"MaxLogFiles", L"MaxLogSize", L"MaxTraceLogSize"}));
  EXPECT_EQ(sandbox.Read(kKey, L"MaxLogSize"), RawText(L"5"));
  EXPECT_EQ(sandbox.Read(kKey, L"MaxTraceLogSize"), RawText(L"4294967295"));
  EXPECT_EQ(sandbox.Read(kKey, L"MaxLogFiles"), RawText(L"12"));
}

TEST_F(LegacyWindowsHandlerTest, ReadsTheCodesOfTheOlderService) {
  const std::pair<std::wstring, LogLevel> codes[] = {
      {L"0", LogLevel::Error}, {L"1", LogLevel::Error}, {L"2", LogLevel::Error},
      {L"3", LogLevel::Warn},  {L"4", LogLevel::Info},  {L"5", LogLevel::Debug},
      {L"6", LogLevel::Trace}};
  for (const auto& [code, level] : codes) {
    sandbox.Write(kKey, L"LogLevel", RawText(code));
    EXPECT_EQ(handler.getLogLevel(), level);
  }
}

TEST_F(LegacyWindowsHandlerTest, ReadsWhatIsNoCodeAsTheDefault) {
  for (const wchar_t* text :
       {L"Error", L"error", L"debug", L"trace", L"7", L"-1", L"00", L" 6", L""}) {
    sandbox.Write(kKey, L"LogLevel", RawText(text));
    EXPECT_EQ(handler.getLogLevel(), LogLevel::Info) << text;
  }
}

TEST_F(LegacyWindowsHandlerTest, ReadsAMissingValueAsTheDefault) {
  EXPECT_EQ(handler.getLogLevel(), LogLevel::Info);
  EXPECT_TRUE(sandbox.KeyExists(kKey));
}

TEST_F(LegacyWindowsHandlerTest, AValueThatIsNoTextThrows) {
  sandbox.Write(kKey, L"LogLevel", RawDword(6));
  EXPECT_THROW(static_cast<void>(handler.getLogLevel()), std::bad_variant_access);
}

TEST_F(LegacyWindowsHandlerTest, KnowsNeitherZoltNorTheCollection) {
  for (std::uint32_t state = 0; state < 4; ++state) {
    EXPECT_EQ(handler.setZOLTDisabled(static_cast<ZoltDisabledState>(state)), kUnsupported);
  }
  EXPECT_EQ(handler.getZOLTDisabled(), ZoltDisabledState::NotConfigured);
  testing::internal::CaptureStdout();
  handler.collectLog();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_TRUE(sandbox.Empty());
}

TEST_F(LegacyWindowsHandlerTest, ResetsAllSettingsInOrder) {
  std::vector<std::wstring> names;
  SetHook hook([&](HKEY key, LPCWSTR path, LPCWSTR name, DWORD type, LPCVOID data, DWORD size) {
    names.emplace_back(name);
    return hook.Original()(key, path, name, type, data, size);
  });
  EXPECT_EQ(handler.resetAllLogSettings(), kSuccess);
  EXPECT_EQ(names,
            (std::vector<std::wstring>{L"LogLevel", L"VerboseLevel", L"kst_windows_log_verbose",
                                       L"MaxLogSize", L"MaxTraceLogSize", L"MaxLogFiles"}));
  EXPECT_EQ(sandbox.Read(kKey, L"LogLevel"), RawText(L"info"));
  EXPECT_EQ(sandbox.Read(kKey, L"MaxLogSize"), RawText(L"1"));
  EXPECT_EQ(sandbox.Read(kKey, L"MaxTraceLogSize"), RawText(L"10"));
  EXPECT_EQ(sandbox.Read(kKey, L"MaxLogFiles"), RawText(L"10"));
}

}  // namespace
}  // namespace ostrel
