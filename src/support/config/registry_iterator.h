// Iteration over a registry key: the state behind a StorageIterator. One thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <system_error>
#include <vector>

#include "tessel/config/registry_access.h"
#include "tessel/config/storage.h"
#include "tessel/config/storage_iterator.h"
#include "tessel/config/storage_path.h"
#include "tessel/expected.h"

namespace tessel::config {

/// Enumerates the subkeys of an open key (::RegEnumKeyExW), then its values (::RegEnumValueW). It
/// shares the key with the storage and keeps both alive.
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
  // Buffers for a name and for the data of a value. Each call of the registry overwrites their
  // beginning. The buffer for names never grows, that for data does when a value needs more room.
  std::unique_ptr<wchar_t[]> name_;
  std::vector<std::uint8_t> data_;
};

}  // namespace tessel::config
