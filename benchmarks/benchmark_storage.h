// A storage for benchmarks.
#pragma once

#include <windows.h>

#include <memory>

#include "tessel/config/registry_storage.h"

namespace benchmarks {

/// A storage below HKEY_CURRENT_USER. The destructor deletes the content of its key.
class BenchmarkStorage {
 public:
  BenchmarkStorage()
      : storage_(tessel::config::RegistryStorage::Create(
                     HKEY_CURRENT_USER, tessel::config::StoragePath(kRoot, L'\\'), nullptr)
                     .value()) {
    ::RegCreateKeyExW(HKEY_CURRENT_USER, kRoot, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key_,
                      nullptr);
  }
  ~BenchmarkStorage() {
    ::RegDeleteTreeW(key_, nullptr);
    ::RegCloseKey(key_);
  }
  BenchmarkStorage(const BenchmarkStorage&) = delete;
  BenchmarkStorage& operator=(const BenchmarkStorage&) = delete;

  tessel::config::RegistryStorage* operator->() const { return storage_.get(); }
  /// The same key for the platform's own calls.
  [[nodiscard]] HKEY Key() const { return key_; }

 private:
  static constexpr const wchar_t* kRoot = L"Software\\ostrel benchmark";

  std::shared_ptr<tessel::config::RegistryStorage> storage_;
  HKEY key_ = nullptr;
};

}  // namespace benchmarks
