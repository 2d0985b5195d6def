// How a storage opens its key, and creates it again when it was deleted.
#pragma once

#include <windows.h>

#include <memory>

#include "tessel/config/registry_access.h"
#include "tessel/config/storage_path.h"

namespace tessel::config {

/// Opens the key at `path` (separator '\') below `root` with the access rights that the options ask
/// for, and creates it if it is missing (::RegCreateKeyExW).
LSTATUS OpenOrCreateKey(HKEY root, const StoragePath& path, StorageOptions options,
                        UniqueRegistryKey& key);

/// The handle of a storage's open key; null when it has none.
[[nodiscard]] inline HKEY Handle(const std::shared_ptr<UniqueRegistryKey>& key) noexcept {
  return key ? key->get() : nullptr;
}

}  // namespace tessel::config
