// The one mapping from the status of a failed Win32 call to the error of a storage operation.
#pragma once

#include <windows.h>

#include <system_error>

namespace tessel::config {

/// Error::not_found for error 2 (file not found). Every other number, unchanged, as a system error.
[[nodiscard]] std::error_code MakeWin32Error(LSTATUS status) noexcept;

}  // namespace tessel::config
