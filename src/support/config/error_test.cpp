#include "tessel/config/error.h"

#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "support/tessel_printers.h"

namespace tessel::config {
namespace {

TEST(ErrorTest, EachErrorHasItsNumberAndText) {
  const std::pair<Error, std::pair<int, std::string>> errors[] = {
      {Error::success, {0, "success"}},
      {Error::invalid_value_conversion, {1, "invalid value conversion"}},
      {Error::unsupported_storage_operation, {2, "unsupported storage operation"}},
      {Error::already_exists, {3, "already exists"}},
      {Error::not_found, {4, "not found"}},
      {Error::unsupported_storage_value, {5, "unsupported storage value"}},
      {Error::read_only, {6, "read only"}},
  };
  for (const auto& [error, expected] : errors) {
    const std::error_code code = error;
    EXPECT_EQ(code.value(), expected.first);
    EXPECT_EQ(code.message(), expected.second);
    EXPECT_STREQ(code.category().name(), "tessel::config::Error");
  }
}

TEST(ErrorTest, OtherNumbersAreUnrecognised) {
  EXPECT_EQ(ErrorCategory().message(7), "(unrecognized error)");
  EXPECT_EQ(ErrorCategory().message(-1), "(unrecognized error)");
}

TEST(ErrorTest, AllCodesShareOneCategory) {
  EXPECT_EQ(&make_error_code(Error::read_only).category(),
            &make_error_code(Error::not_found).category());
  // Categories compare by identity, as those of the standard do.
  EXPECT_NE(make_error_code(Error::not_found), std::error_code(4, ErrorCategory()));
}

TEST(ErrorTest, CodesAreEquivalentToTheirOwnConditionOnly) {
  const std::error_code code = Error::not_found;
  EXPECT_EQ(code.default_error_condition().value(), 4);
  EXPECT_EQ(&code.default_error_condition().category(), &code.category());
  EXPECT_TRUE(code.category().equivalent(code, 4));
  EXPECT_FALSE(code.category().equivalent(code, 3));
  EXPECT_TRUE(code.category().equivalent(4, code.default_error_condition()));
  EXPECT_FALSE(code.category().equivalent(3, code.default_error_condition()));
}

TEST(ErrorTest, SystemErrorsOfTheSameNumberDiffer) {
  EXPECT_NE(std::error_code(5, std::system_category()), std::error_code(Error::read_only));
  EXPECT_NE(std::error_code(6, std::system_category()), std::error_code(Error::read_only));
  EXPECT_NE(std::error_code(2, std::system_category()), std::error_code(Error::not_found));
}

}  // namespace
}  // namespace tessel::config
