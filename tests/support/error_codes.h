// The errors that tests expect, as the library reports them.
#pragma once

#include <windows.h>

#include <system_error>

namespace testing_support {

inline std::error_code SystemError(int number) { return {number, std::system_category()}; }
inline std::error_code EndOfIteration() { return SystemError(ERROR_NO_MORE_ITEMS); }

}  // namespace testing_support
