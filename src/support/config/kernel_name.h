// The kernel's name of an open registry key.
#pragma once

#include <windows.h>

#include <optional>

#include "tessel/config/storage_path.h"

namespace tessel::config {

/// The full name of the key's place in the kernel, with separator '\' (::NtQueryKey); nothing when
/// the query fails, as it does for a deleted key and for a path of more than 253 characters, which
/// with the separator before it are all that the query's buffer of 512 bytes has room for.
[[nodiscard]] std::optional<StoragePath> QueryKernelName(HKEY key);

}  // namespace tessel::config
