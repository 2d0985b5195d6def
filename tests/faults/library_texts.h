// The results of the library as texts, for comparison.
#pragma once

#include <functional>
#include <string>
#include <system_error>

#include "fault.h"
#include "tessel/config/storage_value.h"
#include "tessel/expected.h"

namespace faults {

/// An error code: its category and its number.
std::string Text(const std::error_code& error);
std::string Text(const tessel::config::StorageValue& value);

template <class Value>
std::string Text(const tessel::expected<Value, std::error_code>& result) {
  return result ? Text(*result) : Text(result.error());
}

/// The error that stands for a Win32 code in the library.
std::string ErrorText(long code);
inline std::string ErrorText(const Fault& fault) { return ErrorText(fault.failure.code); }

/// The text in a line of its own.
inline std::string Line(const std::string& text) { return text + '\n'; }

}  // namespace faults
