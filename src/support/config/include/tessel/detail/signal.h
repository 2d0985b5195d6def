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

/// Calls the connected slots with an event, in the order in which they were connected.
///
/// A signal must be held by std::shared_ptr. Every operation may be called from any thread.
///
/// A slot runs with the mutex of its own connection held and without the signal's. So it may
/// connect slots and disconnect other connections, and a disconnect from another thread waits until
/// a running call of the slot has returned. A slot must not disconnect its own connection nor cause
/// an Emit of its own signal, and two slots that run at the same time must not disconnect each
/// other: that is a deadlock.
///
/// Emitting works on the connections that exist when it begins. A slot that is connected meanwhile
/// misses the event. A slot that is disconnected meanwhile is skipped.
template <class E>
class SignalImpl final : public SignalBase {
 public:
  /// Connects `slot` until the result is destroyed or disconnected.
  [[nodiscard]] SignalConnection Connect(std::function<void(E)> slot) {
    auto connection = std::make_shared<SignalConnectionImpl>();
    connection->slot = std::move(slot);
    // The swap leaves the old list in it. Declared before the lock, it frees that after unlocking.
    auto list = std::make_shared<Connections>();
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

  /// Calls each connected slot. An exception of a slot passes through, and the slots after it are
  /// not called. An empty slot throws std::bad_function_call.
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
      // Declared before the lock, so that the mutex still exists when it is unlocked.
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
      // Destructors disconnect, and must not throw. The entry stays in the list and is skipped.
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
  // A published list is never changed in place: emitting walks it without holding the mutex.
  using Connections = std::vector<std::weak_ptr<SignalConnectionImpl>>;

  void Remove(const std::shared_ptr<SignalConnectionImpl>& connection) {
    // The swap leaves the old list in it. Declared before the lock, it frees that after unlocking.
    std::shared_ptr<Connections> list;
    const std::lock_guard lock(mutex);
    if (connections) {
      list = std::make_shared<Connections>(*connections);
      // Compared by owner. Locking an entry could make this thread the last one to hold it, and
      // then destroy a slot while the mutex is held. Expired entries have other owners and stay.
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
