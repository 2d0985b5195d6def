// A storage that keeps its values in memory. It serves tests of code that takes a Storage, without
// a registry, and shows how to derive a kind of storage.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <utility>

#include "tessel/config/storage.h"
#include "tessel/signal.h"

namespace examples {

using tessel::expected;
using tessel::SignalConnection;
using tessel::config::StorageEvent;
using tessel::config::StorageIterator;
using tessel::config::StoragePath;
using tessel::config::StorageValue;

/// Every operation may be called from any thread. Names are compared exactly, case included. Every
/// alternative can be written, and comes back as it is.
class MemoryStorage final : public tessel::config::Storage {
 public:
  /// Calls the slots in the thread that writes, after each write.
  expected<SignalConnection, std::error_code> ConnectStorageEvent(
      std::function<void(StorageEvent)> slot) override {
    return signal_->Connect(std::move(slot));
  }

  expected<StorageIterator, std::error_code> Iterate(const StoragePath& path) override;
  expected<StorageValue, std::error_code> GetValue(const StoragePath& path) override;
  expected<void, std::error_code> SetValue(const StoragePath& path,
                                           const StorageValue& value) override;

 private:
  std::shared_ptr<tessel::Signal<StorageEvent>> signal_ =
      std::make_shared<tessel::Signal<StorageEvent>>();
  std::mutex mutex_;                             // guards what follows
  std::map<std::wstring, StorageValue> values_;  // by paths with the separator '/'
};

}  // namespace examples
