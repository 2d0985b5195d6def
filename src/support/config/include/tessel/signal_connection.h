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
  /// Used by signals: `connection` was made by `signal`.
  SignalConnection(std::weak_ptr<detail::SignalBase> signal, std::shared_ptr<void> connection)
      : signal_(std::move(signal)), connection_(std::move(connection)) {}
  /// Disconnects the slot and waits for a call of it that is running.
  ~SignalConnection() { Disconnect(); }

  /// Takes over the connection; the other object is left with none.
  SignalConnection(SignalConnection&& other) noexcept = default;
  /// Disconnects the connection that is held, then takes over the other one.
  SignalConnection& operator=(SignalConnection&& other) noexcept {
    if (this != &other) {
      Disconnect();
      signal_ = std::move(other.signal_);
      connection_ = std::move(other.connection_);
    }
    return *this;
  }
  SignalConnection(const SignalConnection&) = delete;
  SignalConnection& operator=(const SignalConnection&) = delete;

  /// Disconnects the slot, if it still is connected; see the destructor.
  void Disconnect() {
    if (!connection_) {
      return;
    }
    if (const auto signal = signal_.lock()) {
      signal->Disconnect(std::move(connection_));
    }
  }

 private:
  std::weak_ptr<detail::SignalBase> signal_;
  std::shared_ptr<void> connection_;
};

}  // namespace tessel
