/// \file
/// The errors of the configuration storage.
///
/// No operation of the library throws for a failure of the operating system: results carry a
/// std::error_code. A code is one of these:
/// - a value of `Error`, in `ErrorCategory`;
/// - the number of a failed Win32 call, unchanged, in std::system_category(). Only Win32 error 2
///   (file not found) never appears there: it becomes Error::not_found;
/// - a std::errc, in std::generic_category(), when a text is read as a number.
#pragma once

#include <string>
#include <system_error>
#include <type_traits>

/// The configuration storage: typed values under paths, iteration and change events.
namespace tessel::config {

/// The library's own errors. Programs compare and print them by number: the numbers must not
/// change.
enum class Error : int {
  /// No error; no operation reports it.
  success = 0,
  /// The value is not of a type that converts to what was asked for.
  invalid_value_conversion = 1,
  /// This kind of storage does not support the operation.
  unsupported_storage_operation = 2,
  /// For kinds of storage that only create. A RegistryStorage opens a key that exists.
  already_exists = 3,
  /// The key or the value does not exist.
  not_found = 4,
  /// A stored type that no alternative holds, or a value that the storage cannot hold.
  unsupported_storage_value = 5,
  /// For other kinds of storage. A RegistryStorage that was opened read-only gives system error 5.
  read_only = 6,
};

/// The category of `Error`. Error codes refer to one process-wide object, which is never destroyed:
/// they stay usable while static objects are destroyed.
class ErrorCategory : public std::error_category {
 public:
  /// "tessel::config::Error".
  [[nodiscard]] const char* name() const noexcept override;
  /// The text of an error; "(unrecognized error)" for a number that is not an Error.
  [[nodiscard]] std::string message(int value) const override;
};

/// The code of an error in the process-wide category. The standard library finds this function for
/// `std::error_code code = Error::not_found`.
[[nodiscard]] std::error_code make_error_code(Error error) noexcept;

}  // namespace tessel::config

template <>
struct std::is_error_code_enum<tessel::config::Error> : std::true_type {};
