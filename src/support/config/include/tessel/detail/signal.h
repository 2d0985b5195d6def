/// \file
/// The signal behind change events.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include "tessel/signal_connection.h"

namespace tessel::detail {

/// Calls the connected slots, in the order in which they were connected, with an event.
///
/// Always held by std::shared_ptr; every operation may be called from any thread. A slot runs with
/// its own connection's mutex held and without the signal's, so it may connect slots and disconnect
/// other connections, and disconnecting from another thread waits until a running call of the slot
/// has returned. A slot must not disconnect its own connection, nor may two slots that run at the
/// same time disconnect each other: they would wait for themselves.
///
/// Emitting works on the connections that there are when it begins: a slot connected meanwhile
/// misses the event, one disconnected meanwhile is skipped.
template <class E>
class SignalImpl final : public SignalBase {
 public:
  /// Connects `slot` until the result is destroyed or disconnected.
  [[nodiscard]] SignalConnection Connect(std::function<void(E)> slot) {
    auto connection = std::make_shared<SignalConnectionImpl>();
    connection->slot = std::move(slot);
    auto list = std::make_shared<Connections>();  // in the end the old one, freed after unlocking
    {
      const std::lock_guard lock(mutex);
      if (connections) {
        list->reserve(connections->size() + 1);
        list->assign(connections->begin(), connections->end());
      }
      list->push_back(connection);
      connections.swap(list);
    }
    return {this->weak_from_this(), std::move(connection)};
  }

  /// Calls each connected slot. A slot that throws ends the round; an empty one throws
  /// std::bad_function_call.
  void Emit(E event) {
    std::shared_ptr<Connections> snapshot;
    {
      const std::lock_guard lock(mutex);
      snapshot = connections;
    }
    if (!snapshot) {
      return;
    }
    for (const auto& entry : *snapshot) {
      // Declared before the lock, so that it outlives the mutex that is locked.
      const auto connection = entry.lock();
      if (!connection) {
        continue;
      }
      const std::lock_guard lock(connection->mutex);
      if (!connection->disconnected) {
        connection->slot(event);
      }
    }
  }

  void Disconnect(std::shared_ptr<void> connection) override {
    const auto disconnected = std::static_pointer_cast<SignalConnectionImpl>(std::move(connection));
    try {
      Remove(disconnected);
    } catch (const std::bad_alloc&) {
      // Destructors disconnect. The entry stays in the list, and is skipped from now on.
    }
    const std::lock_guard lock(disconnected->mutex);
    disconnected->disconnected = true;
  }

 private:
  struct SignalConnectionImpl {
    std::mutex mutex;
    bool disconnected = false;
    std::function<void(E)> slot;
  };
  // Once published never changed in place: emitting goes through it without the lock.
  using Connections = std::vector<std::weak_ptr<SignalConnectionImpl>>;

  void Remove(const std::shared_ptr<SignalConnectionImpl>& connection) {
    std::shared_ptr<Connections> list;  // in the end the old one, freed after unlocking
    const std::lock_guard lock(mutex);
    if (connections) {
      list = std::make_shared<Connections>(*connections);
      // By owner: locking an entry could make this thread the last to hold it, and destroy a slot
      // under the mutex. Expired entries have other owners and stay.
      std::erase_if(*list, [&](const auto& entry) {
        return !entry.owner_before(connection) && !connection.owner_before(entry);
      });
      connections.swap(list);
    }
  }

  std::mutex mutex;
  std::shared_ptr<Connections> connections;
};

}  // namespace tessel::detail
