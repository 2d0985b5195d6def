#include "win32_error.h"

#include <gtest/gtest.h>

#include "support/tessel_printers.h"
#include "tessel/config/error.h"

namespace tessel::config {
namespace {

TEST(Win32ErrorTest, FileNotFoundAloneIsTheLibrarysError) {
  EXPECT_EQ(MakeWin32Error(ERROR_FILE_NOT_FOUND), Error::not_found);
  for (const LSTATUS status :
       {LSTATUS{ERROR_PATH_NOT_FOUND}, LSTATUS{ERROR_ACCESS_DENIED}, LSTATUS{ERROR_INVALID_HANDLE},
        LSTATUS{ERROR_ALREADY_EXISTS}, LSTATUS{ERROR_KEY_DELETED}, LSTATUS{ERROR_NO_MORE_ITEMS}}) {
    EXPECT_EQ(MakeWin32Error(status), std::error_code(status, std::system_category()));
  }
}

}  // namespace
}  // namespace tessel::config
