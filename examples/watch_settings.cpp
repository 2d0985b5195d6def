// Prints what changes in the current layout's log settings. usage:
//   watch_settings [COUNT]    ends after COUNT events; without it, when it is stopped
#include <windows.h>

#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "describe.h"
#include "tessel/config/error.h"
#include "tessel/config/registry_storage.h"
#include "tessel/task/default_task_executor.h"

namespace {

using tessel::config::Error;
using tessel::config::RegistryStorage;
using tessel::config::StorageEvent;
using tessel::config::StoragePath;

constexpr int kUsage = 2;

using Values = std::map<std::string, std::string>;

Values ReadAll(RegistryStorage& storage) {
  Values values;
  if (auto iterator = storage.Iterate(StoragePath())) {
    for (const auto& entry : *iterator) {
      if (entry) {
        values[examples::ToUtf8(entry->path.Text())] = examples::Describe(entry->value);
      } else if (entry.error() != Error::unsupported_storage_value) {
        break;  // the error would come again at each step
      }
    }
  }
  return values;
}

void PrintDifferences(const Values& before, const Values& after) {
  for (const auto& [name, value] : after) {
    const auto old = before.find(name);
    if (old == before.end()) {
      std::printf("  %s = %s\n", name.c_str(), value.c_str());
    } else if (old->second != value) {
      std::printf("  %s: %s -> %s\n", name.c_str(), old->second.c_str(), value.c_str());
    }
  }
  for (const auto& [name, value] : before) {
    if (!after.contains(name)) {
      std::printf("  %s removed\n", name.c_str());
    }
  }
}

/// Counts the events that a storage reports and prints what each of them changed.
class Watcher {
 public:
  explicit Watcher(RegistryStorage& storage) : storage_(storage), values_(ReadAll(storage)) {}

  // The slot. It runs on a thread of the pool, and never twice at the same time for one storage.
  void OnEvent(StorageEvent event) {
    const std::lock_guard lock(mutex_);
    PrintChanges(event == StorageEvent::Changed ? "changed" : "watch lost");
    ++count_;
    lost_ = lost_ || event == StorageEvent::WatchLost;
    counted_.notify_all();
  }

  // Says that the watch begins, and what changed before the slot was connected.
  void Start() {
    const std::lock_guard lock(mutex_);
    PrintChanges("watching " + examples::ToUtf8(storage_.DisplayName()));
  }

  // Waits for this many events and returns whether they came. No event follows a lost watch.
  bool WaitFor(unsigned long count) {
    std::unique_lock lock(mutex_);
    counted_.wait(lock, [&] { return lost_ || count_ >= count; });
    return count_ >= count;
  }

 private:
  // Reads before it prints: what changes after the line is the next event's.
  void PrintChanges(const std::string& line) {
    Values values = ReadAll(storage_);
    std::printf("%s\n", line.c_str());
    PrintDifferences(values_, values);
    std::fflush(stdout);
    values_ = std::move(values);
  }

  RegistryStorage& storage_;
  std::mutex mutex_;  // guards what follows, and the output
  Values values_;
  std::condition_variable counted_;
  unsigned long count_ = 0;
  bool lost_ = false;
};

}  // namespace

int main(int argc, char** argv) {
  const auto count = examples::ReadCount(argc, argv);
  if (!count) {
    std::fputs("usage: watch_settings [COUNT]\n", stderr);
    return kUsage;
  }

  const auto storage = RegistryStorage::Create(
      HKEY_LOCAL_MACHINE,
      StoragePath(L"SOFTWARE/Kestrane, Inc./Kestrane Vantor Telemetry/Service/Config/Log"),
      tessel::task::GetDefaultTaskExecutor(), {}, tessel::config::kReadOnly);
  if (!storage) {
    std::fprintf(stderr, "cannot open the settings: %s\n", storage.error().message().c_str());
    return EXIT_FAILURE;
  }
  // Declared before the connection and so destroyed after it: the slot refers to the watcher.
  Watcher watcher(**storage);
  const auto connection =
      (*storage)->ConnectStorageEvent([&](StorageEvent event) { watcher.OnEvent(event); });
  if (!connection) {
    std::fprintf(stderr, "cannot watch the settings: %s\n", connection.error().message().c_str());
    return EXIT_FAILURE;
  }
  watcher.Start();
  return watcher.WaitFor(*count) ? EXIT_SUCCESS : EXIT_FAILURE;
}
