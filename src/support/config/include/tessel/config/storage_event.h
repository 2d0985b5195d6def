/// \file
/// What a storage reports about changes.
#pragma once

namespace tessel::config {

/// What happened to a watched storage.
enum class StorageEvent {
  /// A change was seen, but the storage could not go on watching: no event follows this one.
  WatchLost = 1,
  /// Something below the storage's key changed, and the storage goes on watching.
  Changed = 2,
};

}  // namespace tessel::config
