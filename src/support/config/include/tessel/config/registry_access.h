/// \file
/// How a storage opens its registry key, and who owns an open key.
#pragma once

#include <windows.h>

#include <cstdint>

#include "tessel/unique_any.h"

namespace tessel::config {

/// Flags for opening a storage.
using StorageOptions = std::uint32_t;
/// Opens the key for reading only. The storage refuses writes with system error 5.
inline constexpr StorageOptions kReadOnly = 1U << 0;

/// How registry keys are closed: `RegCloseKey`.
struct RegistryKeyPolicy {
  /// An open key; null stands for none.
  using pointer = HKEY;
  /// Whether there is a key to close.
  static bool is_valid(HKEY key) noexcept { return key != nullptr; }
  /// Closes the key; a failure is ignored.
  static void close(HKEY key) noexcept;
};
/// Owns an open registry key.
using UniqueRegistryKey = unique_any_t<RegistryKeyPolicy>;

}  // namespace tessel::config
