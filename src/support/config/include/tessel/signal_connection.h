/// \file
/// What a caller holds of a connection to a signal.
#pragma once

#include <memory>
#include <utility>

namespace tessel {
/// The library's own; not part of its interface.
namespace detail {

/// The part of a signal that its connections need. Always held by std::shared_ptr.
class SignalBase : public std::enable_shared_from_this<SignalBase> {
 public:
  SignalBase() = default;
  virtual ~SignalBase() = default;
  SignalBase(const SignalBase&) = delete;
  SignalBase& operator=(const SignalBase&) = delete;

  /// Ends a connection that this signal made: its slot is not called again. Waits for a call of the
  /// slot that is running in another thread.
  virtual void Disconnect(std::shared_ptr<void> connection) = 0;
};

}  // namespace detail

/// Keeps a slot connected to a signal for as long as it lives.
///
/// Destroying it disconnects the slot: it waits until a call of the slot that is running in another
/// thread has returned, and the slot is not called again. For the same reason a slot must not
/// destroy or disconnect its own connection, nor wait for a thread that does: that is an error of
/// the caller. When the call is just over, the slot itself may be destroyed in that thread a moment
/// later. A connection may outlive its signal. It may be moved to another thread; one object is not
/// used by two threads at a time.
class [[nodiscard]] SignalConnection {
 public:
  /// A connection to nothing.
  SignalConnection() = default;
  /// Used by signals: `maker` is the signal that has `made` the connection.
  SignalConnection(std::weak_ptr<detail::SignalBase> maker, std::shared_ptr<void> made)
      : signal(std::move(maker)), connection(std::move(made)) {}
  /// Disconnects the slot and waits for a call of it that is running.
  ~SignalConnection() { Disconnect(); }

  /// Takes over the connection; the other object is left with none.
  SignalConnection(SignalConnection&& other) noexcept = default;
  /// Disconnects the connection that is held, then takes over the other one.
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

  /// Disconnects the slot, if it still is connected; see the destructor.
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
