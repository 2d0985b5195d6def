// Conversion of registry data to storage values and back. Free functions without state, usable from
// any thread.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <system_error>
#include <vector>

#include "tessel/config/storage_value.h"
#include "tessel/expected.h"

namespace tessel::config {

/// Converts data of a registry type to a value that carries `owner`. The registry does not check
/// that data fits its type, so nothing after the end of the data is read: a number from too few
/// bytes is zero-extended, one from too many uses the leading bytes, and a text ends at its first
/// zero or at the end of the data. REG_EXPAND_SZ is expanded with the environment of this process
/// (::ExpandEnvironmentStringsW). Types without an alternative give
/// Error::unsupported_storage_value.
[[nodiscard]] expected<StorageValue, std::error_code> FromRegistry(
    DWORD type, std::span<const std::uint8_t> data, const std::shared_ptr<Storage>& owner);

/// A value as the registry takes it. `bytes` refers to the number, text or bytes inside the value
/// itself, or to `list`, in which a list of texts is built.
struct RegistryData {
  DWORD type = REG_NONE;
  const void* bytes = nullptr;
  DWORD size = 0;
  std::vector<wchar_t> list;
};

/// Describes the data at `bytes`. Error::unsupported_storage_value for a size that does not fit in
/// the 32 bits in which the registry counts.
[[nodiscard]] expected<RegistryData, std::error_code> MakeRegistryData(DWORD type,
                                                                       const void* bytes,
                                                                       std::size_t size);

/// Converts `value`, which must outlive the result. A value that the registry cannot hold gives
/// Error::unsupported_storage_value.
[[nodiscard]] expected<RegistryData, std::error_code> ToRegistry(const StorageValue& value);

}  // namespace tessel::config
