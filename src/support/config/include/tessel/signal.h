/// \file
/// The signal of a kind of storage of one's own.
#pragma once

#include "tessel/detail/signal.h"

namespace tessel {

/// What a class that derives from config::Storage keeps for its change events, in a
/// std::shared_ptr: `Connect` makes the connections that its ConnectStorageEvent returns, and
/// `Emit` calls the connected slots in the thread that calls it. Emit must be called without a lock
/// that a slot may want, and on a reference of the caller's own, because a slot may drop the last
/// reference to the storage. A slot must not cause an Emit of the signal that is calling it: that
/// is a deadlock.
///
/// ```cpp
/// expected<SignalConnection, std::error_code> ConnectStorageEvent(
///     std::function<void(StorageEvent)> slot) override {
///   return signal_->Connect(std::move(slot));
/// }
/// ```
template <class Event>
using Signal = detail::SignalImpl<Event>;

}  // namespace tessel
