// Registry data to storage values and back.
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

/// Converts what the registry stores. Data shorter than its type counts as zero-extended, longer
/// data as cut, a text ends at its first zero or with the data: nothing past the data is read.
/// REG_EXPAND_SZ is expanded for this process (::ExpandEnvironmentStringsW).
[[nodiscard]] expected<StorageValue, std::error_code> FromRegistry(
    DWORD type, std::span<const std::uint8_t> data, const std::shared_ptr<Storage>& owner);

/// A value as the registry takes it. Numbers, texts and bytes stay where the value holds them; only
/// a list is built in `list`.
struct RegistryData {
  DWORD type = REG_NONE;
  const void* bytes = nullptr;
  DWORD size = 0;
  std::vector<wchar_t> list;
};

/// Data that lies at `bytes`; Error::unsupported_storage_value for a size that the registry cannot
/// count.
[[nodiscard]] expected<RegistryData, std::error_code> MakeRegistryData(DWORD type,
                                                                       const void* bytes,
                                                                       std::size_t size);

/// Converts `value`, which must outlive the result. Values that the registry cannot hold give
/// Error::unsupported_storage_value.
[[nodiscard]] expected<RegistryData, std::error_code> ToRegistry(const StorageValue& value);

}  // namespace tessel::config
