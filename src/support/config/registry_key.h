// How the storage opens its key.
#pragma once

#include <windows.h>

#include <memory>

#include "tessel/config/registry_storage.h"
#include "tessel/config/storage_path.h"

namespace tessel::config {

/// Opens `path` (separator '\') below `root` with the access that the options ask for, and creates
/// it when it is missing (::RegCreateKeyExW).
LSTATUS OpenOrCreateKey(HKEY root, const StoragePath& path, StorageOptions options,
                        UniqueRegistryKey& key);

/// The handle of a storage's open key; null when it has none.
[[nodiscard]] inline HKEY Handle(const std::shared_ptr<UniqueRegistryKey>& key) noexcept {
  return key ? key->get() : nullptr;
}

}  // namespace tessel::config
