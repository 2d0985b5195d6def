#include "settings_tools/nearest_key_watch.h"

#include <windows.h>

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "support/error_codes.h"
#include "support/import_hook.h"
#include "support/registry_sandbox.h"

namespace settings_tools {
namespace {

using testing_support::ImportHook;
using testing_support::RawDword;
using testing_support::SystemError;

using OpenHook = ImportHook<"RegOpenKeyExW", decltype(::RegOpenKeyExW)>;
using EventHook = ImportHook<"CreateEventW", decltype(::CreateEventW)>;
using WaitHook = ImportHook<"WaitForSingleObject", decltype(::WaitForSingleObject)>;
using NotifyHook = ImportHook<"RegNotifyChangeKeyValue", decltype(::RegNotifyChangeKeyValue)>;

class NearestKeyWatchTest : public ::testing::Test {
 protected:
  // Watches A/B. After each look but the last one a step changes something, which brings the next.
  static std::error_code Watch(const std::vector<std::function<void()>>& steps) {
    std::size_t next = 0;
    return WatchNearestKey(L"A/B", [&] {
      if (next == steps.size()) {
        return false;
      }
      steps[next++]();
      return true;
    });
  }

  testing_support::RegistrySandbox sandbox;
};

TEST_F(NearestKeyWatchTest, LooksOnceWithoutAChange) {
  sandbox.CreateKey(L"A\\B");
  EXPECT_EQ(Watch({}), std::error_code());
}

TEST_F(NearestKeyWatchTest, LooksAfterEachChangeOfTheKeyAndBelow) {
  sandbox.CreateKey(L"A\\B");
  EXPECT_EQ(Watch({[&] { sandbox.Write(L"A\\B", L"v", RawDword(1)); },
                   [&] { sandbox.Write(L"A\\B", L"v", RawDword(2)); },
                   [&] { sandbox.Write(L"A\\B\\C", L"v", RawDword(3)); },
                   [&] { sandbox.Write(L"A\\B\\C", L"v", RawDword(4)); }}),
            std::error_code());
}

TEST_F(NearestKeyWatchTest, OpensTheNearestKeyAndNoOther) {
  std::vector<std::wstring> opened;
  const OpenHook hook([&](HKEY root, LPCWSTR path, DWORD options, REGSAM access, PHKEY key) {
    EXPECT_EQ(access, REGSAM{KEY_NOTIFY});
    opened.emplace_back(path);
    return hook.Original()(root, path, options, access, key);
  });
  EXPECT_EQ(Watch({}), std::error_code());
  EXPECT_EQ(opened, (std::vector<std::wstring>{L"A\\B", L"A", L"", L"A"}));
  opened.clear();
  sandbox.CreateKey(L"A");
  opened.clear();
  EXPECT_EQ(Watch({}), std::error_code());
  EXPECT_EQ(opened, (std::vector<std::wstring>{L"A\\B", L"A", L"A\\B"}));
}

TEST_F(NearestKeyWatchTest, WatchesAllBelowTheKeyButOnlyNamesInOneAboveIt) {
  std::vector<std::pair<BOOL, DWORD>> watched;
  const NotifyHook hook([&](HKEY key, BOOL subtree, DWORD filter, HANDLE event, BOOL asynchronous) {
    watched.emplace_back(subtree, filter);
    return hook.Original()(key, subtree, filter, event, asynchronous);
  });
  EXPECT_EQ(Watch({}), std::error_code());
  sandbox.CreateKey(L"A\\B");
  EXPECT_EQ(Watch({}), std::error_code());
  const DWORD everything = REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_ATTRIBUTES |
                           REG_NOTIFY_CHANGE_LAST_SET | REG_NOTIFY_CHANGE_SECURITY;
  EXPECT_EQ(watched, (std::vector<std::pair<BOOL, DWORD>>{{FALSE, REG_NOTIFY_CHANGE_NAME},
                                                          {TRUE, everything}}));
}

TEST_F(NearestKeyWatchTest, SeesKeysComeAndGoAndCreatesNone) {
  const auto removeAll = [&] {
    // Wine does not signal that the watched key itself was deleted, only that its subkey was.
    sandbox.CreateKey(L"A\\B\\C");
    EXPECT_EQ(::RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"A"), ERROR_SUCCESS);
  };
  EXPECT_EQ(Watch({[&] { sandbox.CreateKey(L"A"); },     //
                   [&] { sandbox.CreateKey(L"A\\B"); },  //
                   removeAll,                            //
                   [&] {
                     EXPECT_TRUE(sandbox.Empty());
                     sandbox.CreateKey(L"A\\B");
                   },
                   removeAll}),
            std::error_code());
  EXPECT_TRUE(sandbox.Empty());
}

TEST_F(NearestKeyWatchTest, GoesOnWhenTheKeyIsDeletedBeforeItIsWatched) {
  sandbox.CreateKey(L"A\\B");
  int registrations = 0;
  const NotifyHook hook([&](HKEY key, BOOL subtree, DWORD filter, HANDLE event, BOOL asynchronous) {
    if (++registrations == 1) {
      EXPECT_EQ(::RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"A"), ERROR_SUCCESS);
    }
    return hook.Original()(key, subtree, filter, event, asynchronous);
  });
  EXPECT_EQ(Watch({[&] { sandbox.CreateKey(L"A"); }}), std::error_code());
  EXPECT_GE(registrations, 2);
}

TEST_F(NearestKeyWatchTest, SeesAKeyThatIsMadeBeforeTheOneAboveItIsWatched) {
  int registrations = 0;
  const NotifyHook hook([&](HKEY key, BOOL subtree, DWORD filter, HANDLE event, BOOL asynchronous) {
    if (++registrations == 1) {
      sandbox.CreateKey(L"A\\B");
    }
    return hook.Original()(key, subtree, filter, event, asynchronous);
  });
  EXPECT_EQ(Watch({[&] { sandbox.Write(L"A\\B", L"v", RawDword(1)); },
                   [&] { sandbox.Write(L"A\\B", L"v", RawDword(2)); }}),
            std::error_code());
}

TEST_F(NearestKeyWatchTest, EndsWithTheErrorOfThePlatform) {
  sandbox.CreateKey(L"A\\B");
  int looks = 0;
  const auto look = [&] {
    ++looks;
    return true;
  };
  {
    const OpenHook hook(
        [](HKEY, LPCWSTR, DWORD, REGSAM, PHKEY) { return LSTATUS{ERROR_ACCESS_DENIED}; });
    EXPECT_EQ(WatchNearestKey(L"A/B", look), SystemError(ERROR_ACCESS_DENIED));
  }
  {
    const OpenHook hook([](HKEY, LPCWSTR, DWORD, REGSAM, PHKEY) {
      return LSTATUS{ERROR_FILE_NOT_FOUND};  // not even the root
    });
    EXPECT_EQ(WatchNearestKey(L"A/B", look), SystemError(ERROR_FILE_NOT_FOUND));
  }
  {
    const NotifyHook hook(
        [](HKEY, BOOL, DWORD, HANDLE, BOOL) { return LSTATUS{ERROR_ACCESS_DENIED}; });
    EXPECT_EQ(WatchNearestKey(L"A/B", look), SystemError(ERROR_ACCESS_DENIED));
  }
  {
    const EventHook hook([](LPSECURITY_ATTRIBUTES, BOOL, BOOL, LPCWSTR) {
      ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
      return HANDLE{nullptr};
    });
    EXPECT_EQ(WatchNearestKey(L"A/B", look), SystemError(ERROR_NOT_ENOUGH_MEMORY));
  }
  EXPECT_EQ(looks, 0);
  {
    const WaitHook hook([](HANDLE, DWORD) -> DWORD {
      ::SetLastError(ERROR_INVALID_HANDLE);
      return WAIT_FAILED;
    });
    EXPECT_EQ(WatchNearestKey(L"A/B", look), SystemError(ERROR_INVALID_HANDLE));
  }
  EXPECT_EQ(looks, 1);
}

}  // namespace
}  // namespace settings_tools
