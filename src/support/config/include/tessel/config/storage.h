/// \file
/// The interface of a configuration storage.
#pragma once

#include <functional>
#include <memory>
#include <system_error>

#include "tessel/config/storage_event.h"
#include "tessel/config/storage_iterator.h"
#include "tessel/config/storage_path.h"
#include "tessel/config/storage_value.h"
#include "tessel/expected.h"
#include "tessel/signal_connection.h"

namespace tessel::config {

/// A store of typed settings, addressed by paths. It must be held by std::shared_ptr, because
/// values and iterators share its ownership.
///
/// Every operation may be called from any thread. This class itself supports none of them: each
/// fails with Error::unsupported_storage_operation. A kind of storage overrides those that it
/// supports.
///
/// ```cpp
/// std::uint32_t LimitOf(Storage& storage) {
///   return ToUInt32(storage.GetValue(L"Limits/Size")).value_or(10);
/// }
/// ```
class Storage : public std::enable_shared_from_this<Storage> {
 public:
  virtual ~Storage() = default;
  /// For derived classes.
  Storage() = default;
  Storage(const Storage&) = delete;
  Storage& operator=(const Storage&) = delete;

  /// Iterates over the subkeys and values of a key. The whole of `path` names the key.
  [[nodiscard]] virtual expected<StorageIterator, std::error_code> Iterate(const StoragePath& path);

  /// Reads one value. The last component of `path` names it.
  [[nodiscard]] virtual expected<StorageValue, std::error_code> GetValue(const StoragePath& path);

  /// Writes one value. The last component of `path` names it.
  virtual expected<void, std::error_code> SetValue(const StoragePath& path,
                                                   const StorageValue& value);

  /// Calls `slot` after each change of the storage until the connection or the storage is
  /// destroyed.
  [[nodiscard]] virtual expected<SignalConnection, std::error_code> ConnectStorageEvent(
      std::function<void(StorageEvent)> slot);
};

}  // namespace tessel::config
