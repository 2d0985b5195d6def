#include "tessel/config/storage.h"

#include "tessel/config/error.h"

namespace tessel::config {

expected<StorageIterator, std::error_code> Storage::Iterate(const StoragePath& /*path*/) {
  return Error::unsupported_storage_operation;
}

expected<StorageValue, std::error_code> Storage::GetValue(const StoragePath& /*path*/) {
  return Error::unsupported_storage_operation;
}

expected<void, std::error_code> Storage::SetValue(const StoragePath& /*path*/,
                                                  const StorageValue& /*value*/) {
  return Error::unsupported_storage_operation;
}

expected<SignalConnection, std::error_code> Storage::ConnectStorageEvent(
    std::function<void(StorageEvent)> /*slot*/) {
  return Error::unsupported_storage_operation;
}

}  // namespace tessel::config
