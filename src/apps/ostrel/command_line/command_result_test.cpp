#include "command_line/command_result.h"

#include <gtest/gtest.h>

namespace ostrel {
namespace {

TEST(ActionOutcomeTest, DiffersInEitherFlag) {
  EXPECT_EQ(kDone, (ActionOutcome{.succeeded = true, .finished = false}));
  EXPECT_NE(kDone, kNotGiven);
  EXPECT_NE(kDone, kDoneStop);
}

}  // namespace
}  // namespace ostrel
