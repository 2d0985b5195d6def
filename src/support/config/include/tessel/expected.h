/// \file
/// A value, or the reason why there is none.
///
/// `expected<T, E>` carries the result of an operation that does not throw: either a T, or an E
/// that says why there is no T. In the library E is always std::error_code.
///
/// Threads: a plain value. It may be moved between threads, and distinct objects may be used from
/// distinct threads.
///
/// ```cpp
/// const auto value = storage.GetValue(L"Missing");
/// if (!value) {
///   if (value.error() == Error::not_found) {
///     return true;  // the usual case: nothing was set
///   }
/// ```
#pragma once

#include <concepts>
#include <exception>
#include <memory>
#include <type_traits>
#include <utility>

/// The support library.
namespace tessel {

template <class E>
class bad_expected_access;

/// The base of what expected::value() throws, whatever the type of the error.
template <>
class bad_expected_access<void> : public std::exception {
 public:
  /// "bad_expected_access".
  [[nodiscard]] const char* what() const noexcept override { return "bad_expected_access"; }
};

/// Thrown by expected::value() when there is no value. Keeps a copy of the error.
template <class E>
class bad_expected_access : public bad_expected_access<void> {
 public:
  /// Keeps `reason`.
  explicit bad_expected_access(E reason) : error_(std::move(reason)) {}

  /// The error that the result held instead of a value.
  [[nodiscard]] const E& error() const noexcept { return error_; }

 private:
  E error_;
};

namespace detail {

/// A type that may be the error: copying and moving it must not throw.
template <class E>
concept ErrorType = std::is_object_v<E> && std::is_nothrow_copy_constructible_v<E> &&
                    std::is_nothrow_move_constructible_v<E>;

}  // namespace detail

/// Either a T or an E.
template <class T, detail::ErrorType E>
class [[nodiscard]] expected {
  static_assert(std::is_object_v<T> && !std::is_same_v<T, E>);

 public:
  /// The type of the value.
  using value_type = T;
  /// The type of the error.
  using error_type = E;

  /// Holds a value made from `value`.
  template <class U = T>
    requires(!std::same_as<std::remove_cvref_t<U>, expected> && std::convertible_to<U, T> &&
             !std::convertible_to<U, E>)
  expected(U&& value) {
    std::construct_at(std::addressof(value_), std::forward<U>(value));
  }

  /// Holds an error, given as an E or as something that converts to one (an error enumerator).
  template <class G = E>
    requires(!std::same_as<std::remove_cvref_t<G>, expected> && std::convertible_to<G, E>)
  expected(G&& reason) : has_value_(false) {
    std::construct_at(std::addressof(error_), std::forward<G>(reason));
  }

  /// Copies the value or the error; only for a T that can be copied.
  expected(const expected& other)
    requires std::is_copy_constructible_v<T>
  {
    ConstructFrom(other);
  }
  /// Moves the value or the error. The other object keeps its moved-from value or error.
  expected(expected&& other) noexcept(std::is_nothrow_move_constructible_v<T>) {
    ConstructFrom(std::move(other));
  }
  ~expected() { Destroy(); }

  /// Copies the value or the error; only for a T that can be copied. When copying the value throws,
  /// this object is unchanged.
  expected& operator=(const expected& other)
    requires std::is_copy_constructible_v<T>
  {
    if (this != &other) {
      *this = expected(other);
    }
    return *this;
  }

  /// Moves the value or the error. A value whose move constructor throws here ends the program.
  expected& operator=(expected&& other) noexcept {
    if (this != &other) {
      Destroy();
      ConstructFrom(std::move(other));
    }
    return *this;
  }

  /// Whether there is a value.
  [[nodiscard]] bool has_value() const noexcept { return has_value_; }
  /// As has_value().
  explicit operator bool() const noexcept { return has_value_; }

  ///@{
  /// The value; throws bad_expected_access with the error when there is none. An rvalue gives the
  /// value itself, not a reference, so that the range of
  /// `for (auto& entry : storage->Iterate(path).value())` does not dangle.
  [[nodiscard]] T& value() & { return Checked(*this); }
  [[nodiscard]] const T& value() const& { return Checked(*this); }
  [[nodiscard]] T value() && { return std::move(Checked(*this)); }
  ///@}

  ///@{
  /// The value, or `other` when there is none, which must convert to a value by itself.
  template <class U = T>
    requires std::convertible_to<U, T>
  [[nodiscard]] T value_or(U&& other) const& {
    return has_value_ ? value_ : static_cast<T>(std::forward<U>(other));
  }
  template <class U = T>
    requires std::convertible_to<U, T>
  [[nodiscard]] T value_or(U&& other) && {
    return has_value_ ? std::move(value_) : static_cast<T>(std::forward<U>(other));
  }
  ///@}

  /// The error. The result must not have a value; this is not checked.
  [[nodiscard]] const E& error() const noexcept { return error_; }

  ///@{
  /// The value, as value() gives it. The result must have one; this is not checked.
  [[nodiscard]] T& operator*() & noexcept { return value_; }
  [[nodiscard]] const T& operator*() const& noexcept { return value_; }
  [[nodiscard]] T operator*() && noexcept(std::is_nothrow_move_constructible_v<T>) {
    return std::move(value_);
  }
  [[nodiscard]] T* operator->() noexcept { return std::addressof(value_); }
  [[nodiscard]] const T* operator->() const noexcept { return std::addressof(value_); }
  ///@}

 private:
  template <class Self>
  static auto& Checked(Self& self) {
    if (!self.has_value_) {
      throw bad_expected_access<E>(self.error_);
    }
    return self.value_;
  }

  template <class Other>
  void ConstructFrom(Other&& other) {
    const bool hasValue = other.has_value_;
    if (hasValue) {
      std::construct_at(std::addressof(value_), std::forward<Other>(other).value_);
    } else {
      std::construct_at(std::addressof(error_), std::forward<Other>(other).error_);
    }
    has_value_ = hasValue;
  }

  void Destroy() noexcept {
    if (has_value_) {
      std::destroy_at(std::addressof(value_));
    } else {
      std::destroy_at(std::addressof(error_));
    }
  }

  bool has_value_ = true;
  union {
    T value_;
    E error_;
  };
};

/// Success, or an E.
template <detail::ErrorType E>
class [[nodiscard]] expected<void, E> {
 public:
  /// Success has no value.
  using value_type = void;
  /// The type of the error.
  using error_type = E;

  /// Success.
  expected() noexcept : error_() {}
  /// Holds an error, given as an E or as something that converts to one (an error enumerator).
  template <class G = E>
    requires(!std::same_as<std::remove_cvref_t<G>, expected> && std::convertible_to<G, E>)
  expected(G&& reason) : has_value_(false), error_(std::forward<G>(reason)) {}

  /// Whether the result is success.
  [[nodiscard]] bool has_value() const noexcept { return has_value_; }
  /// As has_value().
  explicit operator bool() const noexcept { return has_value_; }

  /// Throws bad_expected_access with the error when there is one.
  void value() const {
    if (!has_value_) {
      throw bad_expected_access<E>(error_);
    }
  }

  /// The error. The result must have failed; this is not checked.
  [[nodiscard]] const E& error() const noexcept { return error_; }

 private:
  bool has_value_ = true;
  E error_;
};

}  // namespace tessel
