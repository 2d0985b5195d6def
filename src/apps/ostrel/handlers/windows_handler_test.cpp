#include "handlers/windows_handler.h"

#include <shlwapi.h>

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
using testing_support::RawValue;
using CreateHook = ImportHook<"RegCreateKeyExW", decltype(::RegCreateKeyExW)>;
using SetHook = ImportHook<"RegSetKeyValueW", decltype(::RegSetKeyValueW)>;

const std::wstring kMaker = L"SOFTWARE\\Kestrane, Inc.";
const std::wstring kLog = kMaker + L"\\Kestrane Vantor Telemetry\\Service\\Config\\Log";
const std::wstring kZolt = kMaker + L"\\Kestrane Vantor Telemetry\\ZOLT";

class WindowsHandlerTest : public ::testing::Test {
 protected:
  testing_support::RegistrySandbox sandbox;
  WindowsHandler handler;
};

TEST_F(WindowsHandlerTest, StoresEachLevelByItsName) {
  const std::pair<LogLevel, std::wstring> levels[] = {{LogLevel::Error, L"Error"},
                                                      {LogLevel::Warn, L"Warn"},
                                                      {LogLevel::Info, L"Info"},
                                                      {LogLevel::Debug, L"Debug"},
                                                      {LogLevel::Trace, L"Trace"}};
  for (const auto& [level, name] : levels) {
    EXPECT_EQ(handler.setLogLevel(level), kSuccess);
    EXPECT_EQ(sandbox.Read(kLog, L"LogLevel"), RawText(name));
    EXPECT_EQ(handler.getLogLevel(), level);
  }
}

TEST_F(WindowsHandlerTest, ReadsALevelWhateverItsCase) {
  const std::pair<std::wstring, LogLevel> texts[] = {
      {L"trace", LogLevel::Trace}, {L"DEBUG", LogLevel::Debug}, {L"wArN", LogLevel::Warn}};
  for (const auto& [text, level] : texts) {
    sandbox.Write(kLog, L"LogLevel", RawText(text));
    EXPECT_EQ(handler.getLogLevel(), level);
  }
}

TEST_F(WindowsHandlerTest, ReadsAnUnknownLevelAsTheDefault) {
  // The last one has another length than "Debug", though it is equal to it in the locale.
  for (const auto& text : {std::wstring(L"Verbose"), std::wstring(), std::wstring(L"Debug "),
                           std::wstring(L"Deb\x00ADug")}) {
    sandbox.Write(kLog, L"LogLevel", RawText(text));
    EXPECT_EQ(handler.getLogLevel(), LogLevel::Info);
  }
}

TEST_F(WindowsHandlerTest, ReadingCreatesTheKeyAndNoValue) {
  EXPECT_EQ(handler.getLogLevel(), LogLevel::Info);
  EXPECT_TRUE(sandbox.KeyExists(kLog));
  EXPECT_TRUE(sandbox.ValueNames(kLog).empty());
  EXPECT_FALSE(sandbox.KeyExists(kZolt));
  EXPECT_EQ(handler.getZOLTDisabled(), ZoltDisabledState::NotConfigured);
  EXPECT_TRUE(sandbox.KeyExists(kZolt));
  EXPECT_TRUE(sandbox.ValueNames(kZolt).empty());
}

TEST_F(WindowsHandlerTest, RefusesALevelWithoutAName) {
  sandbox.Write(kLog, L"LogLevel", RawText(L"Debug"));
  EXPECT_EQ(handler.setLogLevel(static_cast<LogLevel>(5)), kWriteFailed);
  EXPECT_EQ(handler.setLogLevel(static_cast<LogLevel>(0xFFFFFFFF)), kWriteFailed);
  EXPECT_EQ(sandbox.Read(kLog, L"LogLevel"), RawText(L"Debug"));
}

TEST_F(WindowsHandlerTest, OpensTheKeyBeforeItRefuses) {
  EXPECT_EQ(handler.setLogLevel(static_cast<LogLevel>(5)), kWriteFailed);
  EXPECT_TRUE(sandbox.KeyExists(kLog));
  EXPECT_EQ(handler.setZOLTDisabled(static_cast<ZoltDisabledState>(3)), kWriteFailed);
  EXPECT_TRUE(sandbox.KeyExists(kZolt));
  EXPECT_TRUE(sandbox.ValueNames(kZolt).empty());
}

TEST_F(WindowsHandlerTest, StoresTheConfigurationsAsNumbers) {
  EXPECT_EQ(handler.setMaxLogSize(5), kSuccess);
  EXPECT_EQ(handler.setMaxTraceLogSize(0xFFFFFFFF), kSuccess);
  EXPECT_EQ(handler.setMaxLogFiles(100), kSuccess);
  EXPECT_EQ(sandbox.ValueNames(kLog),
            (std::vector<std::wstring>{L"MaxFileSize", L"MaxNumFiles", L"MaxTraceLogSize"}));
  EXPECT_EQ(sandbox.Read(kLog, L"MaxFileSize"), RawDword(5));
  EXPECT_EQ(sandbox.Read(kLog, L"MaxTraceLogSize"), RawDword(0xFFFFFFFF));
  EXPECT_EQ(sandbox.Read(kLog, L"MaxNumFiles"), RawDword(100));
}

TEST_F(WindowsHandlerTest, StoresTheZoltStateAsText) {
  const std::pair<ZoltDisabledState, std::wstring> states[] = {
      {ZoltDisabledState::Disabled, L"true"},
      {ZoltDisabledState::NotDisabled, L"false"},
      {ZoltDisabledState::NotConfigured, L"not configured"}};
  for (const auto& [state, text] : states) {
    EXPECT_EQ(handler.setZOLTDisabled(state), kSuccess);
    EXPECT_EQ(sandbox.Read(kZolt, L"Disabled"), RawText(text));
    EXPECT_EQ(handler.getZOLTDisabled(), state);
  }
}

TEST_F(WindowsHandlerTest, ReadsTheZoltStateWhateverItsCase) {
  const std::pair<std::wstring, ZoltDisabledState> texts[] = {
      {L"TRUE", ZoltDisabledState::Disabled},
      {L"False", ZoltDisabledState::NotDisabled},
      {L"Not Configured", ZoltDisabledState::NotConfigured},
      {L"yes", ZoltDisabledState::NotConfigured},
      {L"", ZoltDisabledState::NotConfigured}};
  for (const auto& [text, state] : texts) {
    sandbox.Write(kZolt, L"Disabled", RawText(text));
    EXPECT_EQ(handler.getZOLTDisabled(), state);
  }
}

TEST_F(WindowsHandlerTest, AValueThatIsNoTextThrows) {
  for (const RawValue& value : {RawDword(3), RawValue{REG_BINARY, {1}}, RawValue{REG_NONE, {}},
                                RawText(std::wstring(L"Debug\0", 6), REG_MULTI_SZ),
                                RawValue{REG_QWORD, {1, 0, 0, 0, 0, 0, 0, 0}}}) {
    sandbox.Write(kLog, L"LogLevel", value);
    sandbox.Write(kZolt, L"Disabled", value);
    try {
      static_cast<void>(handler.getLogLevel());
      ADD_FAILURE() << "type " << value.type;
    } catch (const std::bad_variant_access& exception) {
      EXPECT_STREQ(exception.what(), "bad variant access");
    }
    EXPECT_THROW(static_cast<void>(handler.getZOLTDisabled()), std::bad_variant_access);
  }
}

TEST_F(WindowsHandlerTest, AValueWithoutAnAlternativeReadsAsTheDefault) {
  const ImportHook<"RegGetValueW", decltype(::RegGetValueW)> hook(
      [](HKEY, LPCWSTR, LPCWSTR, DWORD, LPDWORD type, PVOID, LPDWORD size) {
        *type = REG_RESOURCE_LIST;
        *size = 0;
        return LSTATUS{ERROR_SUCCESS};
      });
  EXPECT_EQ(handler.getLogLevel(), LogLevel::Info);
  EXPECT_EQ(handler.getZOLTDisabled(), ZoltDisabledState::NotConfigured);
}

TEST_F(WindowsHandlerTest, ATextToBeExpandedMatchesNothing) {
  sandbox.Write(kLog, L"LogLevel", RawText(L"Debug", REG_EXPAND_SZ));
  sandbox.Write(kZolt, L"Disabled", RawText(L"true", REG_EXPAND_SZ));
  EXPECT_EQ(handler.getLogLevel(), LogLevel::Info);
  EXPECT_EQ(handler.getZOLTDisabled(), ZoltDisabledState::NotConfigured);
}

TEST_F(WindowsHandlerTest, AFailedReadIsTheDefault) {
  LSTATUS status = ERROR_ACCESS_DENIED;
  const ImportHook<"RegGetValueW", decltype(::RegGetValueW)> hook(
      [&](auto&&...) { return status; });
  for (status = 1; status < 10; ++status) {
    EXPECT_EQ(handler.getLogLevel(), LogLevel::Info);
    EXPECT_EQ(handler.getZOLTDisabled(), ZoltDisabledState::NotConfigured);
  }
}

TEST_F(WindowsHandlerTest, AZoltKeyThatCannotBeOpenedFailsTheWriteAndReadsAsNotConfigured) {
  const CreateHook hook([](auto&&...) { return LSTATUS{ERROR_ACCESS_DENIED}; });
  EXPECT_EQ(handler.setZOLTDisabled(ZoltDisabledState::Disabled), kWriteFailed);
  EXPECT_EQ(handler.getZOLTDisabled(), ZoltDisabledState::NotConfigured);
}

TEST_F(WindowsHandlerTest, ARefusedZoltStateCountsAsSuccess) {
  const SetHook hook([](auto&&...) { return LSTATUS{ERROR_ACCESS_DENIED}; });
  EXPECT_EQ(handler.setZOLTDisabled(ZoltDisabledState::Disabled), kSuccess);
}

TEST_F(WindowsHandlerTest, StoresTheZoltStateThroughTheProcessWideExecutor) {
  const auto executor = tessel::task::GetDefaultTaskExecutor();
  const auto before = executor.use_count();
  const SetHook hook([&](auto&&...) {
    EXPECT_EQ(executor.use_count(), before + 1);
    return LSTATUS{ERROR_SUCCESS};
  });
  EXPECT_EQ(handler.setZOLTDisabled(ZoltDisabledState::Disabled), kSuccess);
  EXPECT_EQ(executor.use_count(), before);
}

TEST_F(WindowsHandlerTest, ResetsAllSettingsInOrderAndLeavesZoltAlone) {
  std::vector<std::wstring> names;
  SetHook hook([&](HKEY key, LPCWSTR path, LPCWSTR name, DWORD type, LPCVOID data, DWORD size) {
    names.emplace_back(name);
    return hook.Original()(key, path, name, type, data, size);
  });
  EXPECT_EQ(handler.resetAllLogSettings(), kSuccess);
  EXPECT_EQ(names, (std::vector<std::wstring>{L"LogLevel", L"MaxFileSize", L"MaxTraceLogSize",
                                              L"MaxNumFiles"}));
  EXPECT_EQ(sandbox.Read(kLog, L"LogLevel"), RawText(L"Info"));
  EXPECT_EQ(sandbox.Read(kLog, L"MaxFileSize"), RawDword(1));
  EXPECT_EQ(sandbox.Read(kLog, L"MaxTraceLogSize"), RawDword(10));
  EXPECT_EQ(sandbox.Read(kLog, L"MaxNumFiles"), RawDword(10));
  EXPECT_FALSE(sandbox.KeyExists(kZolt));
}

TEST_F(WindowsHandlerTest, OpensAnyKeyForReadingAndWriting) {
  REGSAM opened = 0;
  CreateHook hook([&](HKEY root, LPCWSTR path, DWORD reserved, LPWSTR keyClass, DWORD options,
                      REGSAM access, const LPSECURITY_ATTRIBUTES security, PHKEY key,
                      LPDWORD disposition) {
    opened = access;
    EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
    return hook.Original()(root, path, reserved, keyClass, options, access, security, key,
                           disposition);
  });
  const auto storage = handler.openStorage(L"A/B");
  ASSERT_TRUE(storage);
  EXPECT_EQ((*storage)->DisplayName(), L"HKLM\\A\\B");
  EXPECT_EQ(opened, 0x2001FU);
  EXPECT_TRUE(sandbox.KeyExists(L"A\\B"));
}

// A read opens the key with the same rights as a write: a key without the right to write reads as
// the default.
TEST_F(WindowsHandlerTest, OpensItsKeysForReadingAndWritingInEveryOperation) {
  std::vector<REGSAM> opened;
  CreateHook hook([&](HKEY root, LPCWSTR path, DWORD reserved, LPWSTR keyClass, DWORD options,
                      REGSAM access, const LPSECURITY_ATTRIBUTES security, PHKEY key,
                      LPDWORD disposition) {
    opened.push_back(access);
    return hook.Original()(root, path, reserved, keyClass, options, access, security, key,
                           disposition);
  });
  static_cast<void>(handler.getLogLevel());
  static_cast<void>(handler.setLogLevel(LogLevel::Debug));
  static_cast<void>(handler.setMaxLogSize(2));
  static_cast<void>(handler.setMaxTraceLogSize(3));
  static_cast<void>(handler.setMaxLogFiles(4));
  static_cast<void>(handler.getZOLTDisabled());
  static_cast<void>(handler.setZOLTDisabled(ZoltDisabledState::Disabled));
  EXPECT_EQ(opened, std::vector<REGSAM>(7, 0x2001F));
}

// A derived handler whose openStorage opens another key: that moves the ZOLT state and no log
// setting.
TEST_F(WindowsHandlerTest, OpensTheZoltKeyAloneThroughTheVirtualOperation) {
  class Redirected : public WindowsHandler {
   public:
    StorageResult openStorage(const std::wstring& keyPath) override {
      opened.push_back(keyPath);
      return WindowsHandler::openStorage(L"elsewhere");
    }
    std::vector<std::wstring> opened;
  };
  Redirected redirected;
  EXPECT_EQ(redirected.setLogLevel(LogLevel::Debug), kSuccess);
  EXPECT_EQ(redirected.getLogLevel(), LogLevel::Debug);
  EXPECT_EQ(redirected.resetLogLevel(), kSuccess);
  EXPECT_EQ(redirected.setMaxLogSize(2), kSuccess);
  EXPECT_EQ(redirected.setMaxTraceLogSize(3), kSuccess);
  EXPECT_EQ(redirected.setMaxLogFiles(4), kSuccess);
  EXPECT_EQ(redirected.setLogConfiguration("maxLogSize", 5), kSuccess);
  EXPECT_EQ(redirected.resetLogConfiguration("maxLogSize"), kSuccess);
  EXPECT_EQ(redirected.resetAllLogSettings(), kSuccess);
  EXPECT_EQ(redirected.getConfigurationRange("maxLogSize"), redirected.getMaxLogSizeRange());
  EXPECT_TRUE(redirected.opened.empty());
  EXPECT_FALSE(sandbox.KeyExists(L"elsewhere"));

  EXPECT_EQ(redirected.setZOLTDisabled(ZoltDisabledState::Disabled), kSuccess);
  EXPECT_EQ(redirected.getZOLTDisabled(), ZoltDisabledState::Disabled);
  EXPECT_EQ(sandbox.Read(L"elsewhere", L"Disabled"), RawText(L"true"));
  EXPECT_EQ(redirected.opened, std::vector<std::wstring>(
                                   2, L"SOFTWARE/Kestrane, Inc./Kestrane Vantor Telemetry/ZOLT"));
}

// Each operation opens a key and a duplicate of the root, and closes both.
TEST_F(WindowsHandlerTest, LeavesNoKeyOpen) {
  int created = 0;
  int duplicated = 0;
  int closed = 0;
  CreateHook create([&](HKEY root, LPCWSTR path, DWORD reserved, LPWSTR keyClass, DWORD options,
                        REGSAM access, const LPSECURITY_ATTRIBUTES security, PHKEY key,
                        LPDWORD disposition) {
    ++created;
    return create.Original()(root, path, reserved, keyClass, options, access, security, key,
                             disposition);
  });
  ImportHook<"SHRegDuplicateHKey", decltype(::SHRegDuplicateHKey)> duplicate([&](HKEY key) {
    ++duplicated;
    return duplicate.Original()(key);
  });
  ImportHook<"RegCloseKey", decltype(::RegCloseKey)> close([&](HKEY key) {
    ++closed;
    return close.Original()(key);
  });
  const auto expectReleased = [&](auto operation) {
    operation();
    EXPECT_EQ(created, 1);
    EXPECT_EQ(duplicated, 1);
    EXPECT_EQ(closed, 2);
    created = duplicated = closed = 0;
  };
  expectReleased([&] { handler.setLogLevel(LogLevel::Debug); });
  expectReleased([&] { handler.setLogLevel(static_cast<LogLevel>(5)); });
  expectReleased([&] { static_cast<void>(handler.getLogLevel()); });
  expectReleased([&] { handler.setMaxLogSize(1); });
  expectReleased([&] { handler.setZOLTDisabled(ZoltDisabledState::Disabled); });
  expectReleased([&] { static_cast<void>(handler.getZOLTDisabled()); });
}

}  // namespace
}  // namespace ostrel
