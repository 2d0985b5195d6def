// The errors that tests expect, as the library reports them.
#pragma once

#include <windows.h>

#include <optional>
#include <system_error>

#include "support/tessel_printers.h"

namespace testing_support {

inline std::error_code SystemError(int number) { return {number, std::system_category()}; }
inline std::error_code EndOfIteration() { return SystemError(ERROR_NO_MORE_ITEMS); }

/// The error of a result, or none when it holds a value, of which error() must not be asked.
template <class Result>
std::optional<std::error_code> ErrorOf(const Result& result) {
  return result ? std::nullopt : std::optional(result.error());
}

}  // namespace testing_support
