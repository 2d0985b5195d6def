// Iteration over a registry key.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "tessel/config/registry_storage.h"
#include "tessel/config/storage_iterator.h"

namespace tessel::config {

/// Enumerates an open key, which it shares (::RegEnumKeyExW, then ::RegEnumValueW).
class RegistryStorageIteratorContext final : public StorageIteratorContext {
 public:
  /// `basePath` (separator '\') is the key's path in the storage.
  RegistryStorageIteratorContext(std::shared_ptr<Storage> storage, StoragePath basePath,
                                 std::shared_ptr<UniqueRegistryKey> key);

  [[nodiscard]] expected<StorageEntry, std::error_code> Next() override;

 private:
  enum class Phase : std::uint32_t { Subkeys, Values, Finished };

  using Result = expected<StorageEntry, std::error_code>;
  Result NextSubkey();
  Result NextValue();
  void Enter(Phase phase);

  std::shared_ptr<Storage> storage_;
  StoragePath basePath_;
  std::shared_ptr<UniqueRegistryKey> key_;
  Phase phase_ = Phase::Subkeys;
  std::uint32_t index_ = 0;
  // Both stay at their full size: each call fills their beginning.
  std::wstring name_;
  std::vector<std::uint8_t> data_;
};

}  // namespace tessel::config
