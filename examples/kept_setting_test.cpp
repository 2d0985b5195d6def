#include "kept_setting.h"

#include <windows.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>

#include <gtest/gtest.h>

#include "support/import_hook.h"
#include "support/registry_sandbox.h"
#include "tessel/config/registry_storage.h"
#include "tessel/task/default_task_executor.h"

namespace examples {
namespace {

using tessel::config::RegistryStorage;
using tessel::task::GetDefaultTaskExecutor;
using namespace std::chrono_literals;

/// Keeps the text of A/Name and lets a test wait for it.
class KeptSettingTest : public ::testing::Test {
 protected:
  auto Open() {
    ++opened;
    return RegistryStorage::Create(HKEY_LOCAL_MACHINE, L"A", GetDefaultTaskExecutor());
  }
  KeptSetting Keep() {
    return {[this] { return Open(); }, L"Name",
            [this](const auto& value) {
              const std::lock_guard lock(mutex_);
              text_ = ToText(value).value_or(L"none");
              read_.notify_all();
            },
            1ms};
  }
  static void Write(const wchar_t* text) {
    ASSERT_TRUE(RegistryStorage::Create(HKEY_LOCAL_MACHINE, L"A", nullptr)
                    .value()
                    ->SetValue(L"Name", text));
  }
  void Await(const std::wstring& text) {
    std::unique_lock lock(mutex_);
    ASSERT_TRUE(read_.wait_for(lock, 60s, [&] { return text_ == text; }));
  }

  testing_support::RegistrySandbox sandbox;
  std::atomic<int> opened = 0;

 private:
  std::mutex mutex_;
  std::condition_variable read_;
  std::wstring text_;
};

TEST_F(KeptSettingTest, ReadsAtFirstAndAfterEachChange) {
  const KeptSetting kept = Keep();
  ASSERT_NO_FATAL_FAILURE(Await(L"none"));
  for (const wchar_t* text : {L"a", L"b", L"c"}) {
    Write(text);
    ASSERT_NO_FATAL_FAILURE(Await(text));
  }
  EXPECT_EQ(opened, 1);
}

TEST_F(KeptSettingTest, OpensAnewAfterALostWatchUntilItCanWatchAgain) {
  std::atomic<int> registered = 0;
  const testing_support::ImportHook<"RegNotifyChangeKeyValue", decltype(::RegNotifyChangeKeyValue)>
      hook([&](HKEY key, BOOL subtree, DWORD filter, HANDLE event, BOOL asynchronous) -> LSTATUS {
        const int number = ++registered;
        if (number >= 2 && number <= 5) {  // the first change, and three tries to begin anew
          return ERROR_OUTOFMEMORY;
        }
        return hook.Original()(key, subtree, filter, event, asynchronous);
      });
  const KeptSetting kept = Keep();
  ASSERT_NO_FATAL_FAILURE(Await(L"none"));
  Write(L"a");
  ASSERT_NO_FATAL_FAILURE(Await(L"a"));
  EXPECT_EQ(opened, 5);
  Write(L"b");
  ASSERT_NO_FATAL_FAILURE(Await(L"b"));
}

TEST_F(KeptSettingTest, OpensAgainWhenItCouldNot) {
  std::atomic<int> tries = 0;
  std::mutex mutex;
  std::condition_variable enough;
  {
    const KeptSetting kept(
        [&]() -> tessel::expected<std::shared_ptr<RegistryStorage>, std::error_code> {
          const std::lock_guard lock(mutex);
          ++tries;
          enough.notify_all();
          return std::error_code(ERROR_ACCESS_DENIED, std::system_category());
        },
        L"Name", [](const auto& /*value*/) { ADD_FAILURE() << "there is nothing to read"; }, 1ms);
    std::unique_lock lock(mutex);
    ASSERT_TRUE(enough.wait_for(lock, 60s, [&] { return tries >= 3; }));
  }
}

TEST_F(KeptSettingTest, StopsWhileTheSettingChanges) {
  std::atomic<bool> stopped = false;
  std::thread writing([&] {
    while (!stopped) {
      Write(L"x");
    }
  });
  for (int round = 0; round < 20; ++round) {
    const KeptSetting kept = Keep();
    Await(L"x");
  }
  stopped = true;
  writing.join();
}

}  // namespace
}  // namespace examples
