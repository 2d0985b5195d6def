#include "registry_key.h"

namespace tessel::config {

void RegistryKeyPolicy::close(HKEY key) noexcept { ::RegCloseKey(key); }

LSTATUS OpenOrCreateKey(HKEY root, const StoragePath& path, StorageOptions options,
                        UniqueRegistryKey& key) {
  constexpr REGSAM kReadWriteAccess = KEY_READ | KEY_SET_VALUE | KEY_CREATE_SUB_KEY;
  const REGSAM access = (options & kReadOnly) != 0 ? KEY_READ : kReadWriteAccess;
  return ::RegCreateKeyExW(root, path.Text().c_str(), /*Reserved=*/0, /*lpClass=*/nullptr,
                           REG_OPTION_NON_VOLATILE, access, /*lpSecurityAttributes=*/nullptr,
                           key.put(), /*lpdwDisposition=*/nullptr);
}

}  // namespace tessel::config
