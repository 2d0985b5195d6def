// The kernel's name of an open registry key.
#pragma once

#include <windows.h>

#include <optional>

#include "tessel/config/storage_path.h"

namespace tessel::config {

/// The full name of the key's place in the kernel, with separator '\' (::NtQueryKey); nothing when
/// the query fails, as it does for a deleted key and for a name of more than 254 characters.
[[nodiscard]] std::optional<StoragePath> QueryKernelName(HKEY key);

}  // namespace tessel::config
