// Keeps a setting up to date for as long as it lives, whatever happens to the watch.
#pragma once

#include <windows.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>

#include "tessel/config/registry_storage.h"

namespace examples {

/// A thread of its own opens the storage, reads and waits. The slot does nothing but wake it up: so
/// a slot never waits for anything, and whoever stops the thread may wait for the slot.
class KeptSetting {
 public:
  /// What to open, again and again.
  using Open = std::function<
      tessel::expected<std::shared_ptr<tessel::config::RegistryStorage>, std::error_code>()>;
  /// Called by the thread with what was read: at first, after each change, and after the storage
  /// was opened anew.
  using Use =
      std::function<void(const tessel::expected<tessel::config::StorageValue, std::error_code>&)>;

  /// Begins at once. A pause between two tries to open is `firstPause` after a watch that worked,
  /// and twice as long as the last one otherwise, up to a minute.
  KeptSetting(Open open, std::wstring name, Use use,
              std::chrono::milliseconds firstPause = std::chrono::milliseconds(100));
  /// Waits until the thread has ended.
  ~KeptSetting();
  KeptSetting(const KeptSetting&) = delete;
  KeptSetting& operator=(const KeptSetting&) = delete;

 private:
  void Run();
  bool Watch();
  bool WaitForChange();

  Open open_;
  tessel::config::StoragePath path_;
  Use use_;
  std::chrono::milliseconds firstPause_;
  std::mutex mutex_;  // guards the flags
  std::condition_variable wakeUp_;
  bool changed_ = false;
  bool lost_ = false;
  bool stopped_ = false;
  std::thread thread_;  // the last member: it uses the others
};

}  // namespace examples
