/// \file
/// The caller's end of a connection between a slot and a signal.
#pragma once

#include <memory>
#include <utility>

namespace tessel {
/// Private to the library; callers must not use it.
namespace detail {

/// The part of a signal that its connections need. It must be held by std::shared_ptr.
class SignalBase : public std::enable_shared_from_this<SignalBase> {
 public:
  SignalBase() = default;
  virtual ~SignalBase() = default;
  SignalBase(const SignalBase&) = delete;
  SignalBase& operator=(const SignalBase&) = delete;

  /// Ends a connection that this signal made. Waits for a call of the slot that is running in
  /// another thread. The slot is not called again.
  virtual void Disconnect(std::shared_ptr<void> connection) = 0;
};

}  // namespace detail

/// Keeps a slot connected to a signal for as long as it lives.
///
/// Destroying the connection disconnects the slot: it waits until a call of the slot that is
/// running in another thread has returned, and the slot is not called again.
///
/// A slot must not destroy or disconnect its own connection, nor wait for a thread that does: it
/// would wait for its own end, which is a deadlock. For the same reason a thread that destroys or
/// disconnects a connection must not hold a lock that the slot takes.
///
/// Lifetime: a connection may outlive its signal. The slot, with what it captured, may be destroyed
/// in the thread that called it, a moment after the disconnect.
///
/// Threads: a connection may be moved to another thread. Two threads must not use one object at the
/// same time.
///
/// ```cpp
/// storage.SetValue(L"Name", L"changed").value();
/// const StorageEvent event = first.get_future().get();
/// connection.Disconnect();  // returns when the slot is not running and will not run again
/// ```
class [[nodiscard]] SignalConnection {
 public:
  /// A connection to nothing.
  SignalConnection() = default;
  /// For signals: `maker` is the signal that has `made` the connection.
  SignalConnection(std::weak_ptr<detail::SignalBase> maker, std::shared_ptr<void> made)
      : signal(std::move(maker)), connection(std::move(made)) {}
  /// Disconnects the slot and waits for a running call of it.
  ~SignalConnection() { Disconnect(); }

  /// Takes over the connection. The other object is left without one.
  SignalConnection(SignalConnection&& other) noexcept = default;
  /// Disconnects the connection held so far, then takes over the other one.
  SignalConnection& operator=(SignalConnection&& other) noexcept {
    if (this != &other) {
      Disconnect();
      signal = std::move(other.signal);
      connection = std::move(other.connection);
    }
    return *this;
  }
  SignalConnection(const SignalConnection&) = delete;
  SignalConnection& operator=(const SignalConnection&) = delete;

  /// Disconnects the slot if it is still connected, as the destructor does.
  void Disconnect() {
    if (!connection) {
      return;
    }
    if (const auto alive = signal.lock()) {
      alive->Disconnect(std::move(connection));
    }
  }

 private:
  std::weak_ptr<detail::SignalBase> signal;
  std::shared_ptr<void> connection;  // null when disconnected or moved from
};

}  // namespace tessel
