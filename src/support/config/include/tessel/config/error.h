/// \file
/// The errors of the configuration storage.
///
/// No operation of the library throws for a failure of the operating system: results carry a
/// std::error_code. A code is either one of `Error`, in `ErrorCategory`, or the number of the
/// failed Win32 call, unchanged, in std::system_category(); Win32 error 2 (file not found) alone
/// always becomes Error::not_found. Reading a text as a number also gives std::errc, in
/// std::generic_category().
#pragma once

#include <string>
#include <system_error>
#include <type_traits>

/// The configuration storage: typed values under paths, iteration and change events.
namespace tessel::config {

/// The library's own errors. Codes are compared and printed by number: the numbers stay.
enum class Error : int {
  /// No error; no operation reports it.
  success = 0,
  /// A value that is no number was asked for one.
  invalid_value_conversion = 1,
  /// The kind of storage does not do this.
  unsupported_storage_operation = 2,
  /// For kinds of storage that only create; a RegistryStorage opens what is there.
  already_exists = 3,
  /// The key or the value does not exist.
  not_found = 4,
  /// A stored type that no alternative holds, or a value that the storage cannot hold.
  unsupported_storage_value = 5,
  /// For other kinds of storage: a RegistryStorage opened for reading gives system error 5.
  read_only = 6,
};

/// The category of `Error`. Error codes use one process-wide object of it, which is never
/// destroyed.
class ErrorCategory : public std::error_category {
 public:
  /// "tessel::config::Error".
  [[nodiscard]] const char* name() const noexcept override;
  /// The text of an error, "(unrecognized error)" for a number that is none.
  [[nodiscard]] std::string message(int value) const override;
};

/// The code of an error in the process-wide category; also what makes
/// `std::error_code code = Error::not_found` work.
[[nodiscard]] std::error_code make_error_code(Error error) noexcept;

}  // namespace tessel::config

template <>
struct std::is_error_code_enum<tessel::config::Error> : std::true_type {};
