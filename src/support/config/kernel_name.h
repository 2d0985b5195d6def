// The kernel's name of an open registry key.
#pragma once

#include <windows.h>

#include <optional>

#include "tessel/config/storage_path.h"

namespace tessel::config {

/// The full name of the key in the kernel (::NtQueryKey), with the separator '\'. Nothing when the
/// query fails, as it does for a deleted key and for a name that its buffer of 512 bytes cannot
/// hold: that is one of more than 253 characters, besides the separator before the first component.
[[nodiscard]] std::optional<StoragePath> QueryKernelName(HKEY key);

}  // namespace tessel::config
