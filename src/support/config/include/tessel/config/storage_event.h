/// \file
/// What a storage reports about changes.
#pragma once

namespace tessel::config {

/// What happened to a watched storage.
enum class StorageEvent {
  /// Something changed, but the storage cannot watch any longer: no event follows this one.
  WatchLost = 1,
  /// The storage's key, its values or something below the key changed. Or the key was deleted, and
  /// the storage has created it again, or opened the one that is there now. The storage goes on
  /// watching; but it cannot, and no event follows, where the registry denies it (system error 5).
  Changed = 2,
};

}  // namespace tessel::config
