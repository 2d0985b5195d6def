// Uses the libraries from several threads for some time, with changes from other processes, and
// checks that nothing is lost or left behind. usage: soak SECONDS
#include <windows.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "changes.h"
#include "resources.h"
#include "support/wait_callback_filter.h"
#include "tessel/config/registry_storage.h"
#include "tessel/task/windows_thread_pool_executor.h"
#include "totals.h"
#include "workers.h"

namespace soak {
namespace {

using tessel::task::WindowsThreadPoolExecutor;

HANDLE ToHandle(const wchar_t* number) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): a handle is a number.
  return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(std::wcstoull(number, nullptr, 10)));
}

// A pool with a fixed number of threads, so that a growing number of threads is a finding.
class FixedPool {
 public:
  FixedPool() : pool_(::CreateThreadpool(nullptr)) {
    constexpr DWORD kThreads = 4;
    ::SetThreadpoolThreadMaximum(pool_, kThreads);
    ::SetThreadpoolThreadMinimum(pool_, kThreads);
    ::InitializeThreadpoolEnvironment(&environment_);
    ::SetThreadpoolCallbackPool(&environment_, pool_);
  }
  ~FixedPool() { ::CloseThreadpool(pool_); }
  FixedPool(const FixedPool&) = delete;
  FixedPool& operator=(const FixedPool&) = delete;

  PTP_CALLBACK_ENVIRON Environment() { return &environment_; }

 private:
  PTP_POOL pool_;
  TP_CALLBACK_ENVIRON environment_{};
};

// One round: all threads for this time, with an executor of their own.
void Run(HKEY key, const std::wstring& path, FixedPool& pool, std::chrono::milliseconds time,
         Totals& totals) {
  const auto executor = std::make_shared<WindowsThreadPoolExecutor>(pool.Environment(), 0);
  Running running = true;
  const std::function<void()> tasks[] = {
      [&] { UseStorages(key, running, totals); },
      [&] { UseStorages(key, running, totals); },
      [&] { WatchChanges(key, path, executor, running, totals); },
      [&] { WatchChanges(key, path, executor, running, totals); },
      [&] { UseTimers(*executor, running, totals); },
      [&] { UseWaits(*executor, running, totals); },
      [&] { UseWork(*executor, running, totals); },
  };
  std::vector<std::thread> threads;
  for (const auto& task : tasks) {
    threads.emplace_back(task);
  }
  std::this_thread::sleep_for(time);
  running = false;
  for (std::thread& thread : threads) {
    thread.join();
  }
}

void Print(const char* when, const Resources& resources) {
  std::printf("%-22s %5zu handles %4zu threads %6zu blocks %8zu bytes; %zu KiB in all\n", when,
              resources.handles, resources.threads, resources.blocks, resources.bytes,
              PrivateBytes() / 1024);
  std::fflush(stdout);
}

// The platform ends idle threads of its own, with their handles, when it likes.
bool NotMoreThan(const Resources& before) {
  constexpr std::chrono::seconds kLimit(60);
  const auto end = std::chrono::steady_clock::now() + kLimit;
  for (;;) {
    const Resources now = Measure();
    if (now.handles <= before.handles && now.threads <= before.threads &&
        now.blocks == before.blocks && now.bytes == before.bytes) {
      return true;
    }
    if (std::chrono::steady_clock::now() > end) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
}

int Soak(std::chrono::seconds time) {
  constexpr const wchar_t* kKey = L"Software\\ostrel-soak";
  const std::wstring path = kKey + (L'\\' + std::to_wstring(::GetCurrentProcessId()));
  tessel::config::UniqueRegistryKey key;
  Require(::RegCreateKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                            key.put(), nullptr) == ERROR_SUCCESS,
          "the key of the soak is created");
  const testing_support::WaitCallbackFilter filter;
  FixedPool pool;
  Totals totals;
  Run(key.get(), path, pool, std::chrono::seconds(1), totals);
  const Resources before = Measure();
  Print("after the first second", before);
  Run(key.get(), path, pool, time, totals);
  const bool same = NotMoreThan(before);
  Print("at the end", Measure());
  ::RegDeleteKeyW(HKEY_CURRENT_USER, path.c_str());
  ::RegDeleteKeyW(HKEY_CURRENT_USER, kKey);  // fails, rightly, while another soak uses the key

  std::printf(
      "%llu storages opened, %llu values written and read, %llu entries iterated;\n"
      "%llu changes of other processes, each reported; %llu timers, %llu waits, %llu work items\n",
      totals.storages.load(), totals.values.load(), totals.entries.load(), totals.changes.load(),
      totals.timers.load(), totals.waits.load(), totals.items.load());
  std::printf(same ? "nothing is left behind\n" : "soak: failed: more is held than before\n");
  return same ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace
}  // namespace soak

extern "C" int wmain(int argc, wchar_t** argv);  // the entry with arguments in UTF-16

int wmain(int argc, wchar_t** argv) {
  if (argc == 5 && std::wcscmp(argv[1], L"change") == 0) {
    return soak::ChangeKey(argv[2], soak::ToHandle(argv[3]), soak::ToHandle(argv[4]));
  }
  wchar_t* rest = nullptr;
  const long seconds = argc == 2 ? std::wcstol(argv[1], &rest, 10) : 0;
  if (seconds <= 0 || *rest != L'\0') {
    std::fprintf(stderr, "usage: soak SECONDS\n");
    return EXIT_FAILURE;
  }
  return soak::Soak(std::chrono::seconds(seconds));
}
