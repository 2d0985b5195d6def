/// \file
/// The exclusive owner of a handle.
///
/// `unique_any_t<Policy>` closes its handle when it is destroyed or is given another handle. The
/// policy says what a handle is and how it is closed:
///
///     struct EventPolicy {
///       using pointer = HANDLE;
///       static bool is_valid(pointer handle) noexcept;  // whether there is something to close
///       static void close(pointer handle) noexcept;     // called for valid handles only
///     };
#pragma once

#include <utility>

namespace tessel {

/// Owns one handle, or none (the value-initialised handle). Movable, not copyable. Two threads must
/// not use one object at the same time.
///
/// ```cpp
/// const tessel::config::UniqueEvent event(::CreateEventW(nullptr, /*bManualReset=*/FALSE,
///                                                        /*bInitialState=*/FALSE, nullptr));
/// ```
template <class Policy>
class unique_any_t {
 public:
  /// The type of the handle.
  using pointer = typename Policy::pointer;

  /// Owns nothing.
  unique_any_t() noexcept = default;
  /// Owns `handle` from now on.
  explicit unique_any_t(pointer handle) noexcept : handle_(handle) {}
  /// Takes the handle over. The other object is left without one.
  unique_any_t(unique_any_t&& other) noexcept : handle_(other.release()) {}
  /// Closes the handle owned so far and takes over the other one.
  unique_any_t& operator=(unique_any_t&& other) noexcept {
    reset(other.release());
    return *this;
  }
  unique_any_t(const unique_any_t&) = delete;
  unique_any_t& operator=(const unique_any_t&) = delete;
  /// Closes the handle, if there is one.
  ~unique_any_t() { reset(); }

  /// The handle, still owned.
  [[nodiscard]] pointer get() const noexcept { return handle_; }
  /// Whether there is a handle to close.
  explicit operator bool() const noexcept { return Policy::is_valid(handle_); }

  /// Closes the handle owned so far and owns `handle` instead.
  void reset(pointer handle = {}) noexcept {
    const pointer old = std::exchange(handle_, handle);
    if (old != handle && Policy::is_valid(old)) {
      Policy::close(old);
    }
  }
  /// Gives the handle up without closing it.
  [[nodiscard]] pointer release() noexcept { return std::exchange(handle_, pointer{}); }
  /// Closes the handle owned so far. Returns the place where a platform function may store another.
  [[nodiscard]] pointer* put() noexcept {
    reset();
    return &handle_;
  }

 private:
  pointer handle_{};
};

}  // namespace tessel
