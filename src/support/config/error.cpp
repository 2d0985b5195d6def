#include "tessel/config/error.h"

#include <cstddef>
#include <new>

namespace tessel::config {

const char* ErrorCategory::name() const noexcept { return "tessel::config::Error"; }

std::string ErrorCategory::message(int value) const {
  switch (static_cast<Error>(value)) {
    case Error::success:
      return "success";
    case Error::invalid_value_conversion:
      return "invalid value conversion";
    case Error::unsupported_storage_operation:
      return "unsupported storage operation";
    case Error::already_exists:
      return "already exists";
    case Error::not_found:
      return "not found";
    case Error::unsupported_storage_value:
      return "unsupported storage value";
    case Error::read_only:
      return "read only";
  }
  return "(unrecognized error)";
}

std::error_code make_error_code(Error error) noexcept {
  // Never destroyed: code that runs while static objects are destroyed may still make error codes.
  alignas(ErrorCategory) static std::byte place[sizeof(ErrorCategory)];
  static const ErrorCategory& kCategory = *::new (place) ErrorCategory;
  return {static_cast<int>(error), kCategory};
}

}  // namespace tessel::config
