#include "win32_error.h"

#include "tessel/config/error.h"

namespace tessel::config {

std::error_code MakeWin32Error(LSTATUS status) noexcept {
  if (status == ERROR_FILE_NOT_FOUND) {
    return Error::not_found;
  }
  return {static_cast<int>(status), std::system_category()};
}

}  // namespace tessel::config
