/// \file
/// What a storage reports about changes.
#pragma once

namespace tessel::config {

/// What happened to a watched storage.
enum class StorageEvent {
  /// A change was seen, but the storage could not go on watching: no event follows this one.
  WatchLost = 1,
  /// The storage's key, its values or something below it changed, or the key was deleted and has
  /// been created again, empty; the storage goes on watching.
  Changed = 2,
};

}  // namespace tessel::config
