#include <gtest/gtest.h>

#include "support/ostrel_printers.h"
#include "support/tessel_printers.h"

namespace testing_support {
namespace {

using ::testing::PrintToString;

TEST(PrintersTest, NameEnumerators) {
  EXPECT_EQ(PrintToString(tessel::config::Error::not_found), "tessel::config::Error:4");
  EXPECT_EQ(PrintToString(tessel::config::StorageEvent::WatchLost), "WatchLost");
  EXPECT_EQ(PrintToString(tessel::config::StorageEvent::Changed), "Changed");
  EXPECT_EQ(PrintToString(ostrel::LogLevel::Trace), "Trace");
  EXPECT_EQ(PrintToString(static_cast<ostrel::LogLevel>(5)), "no enumerator: 5");
  EXPECT_EQ(PrintToString(ostrel::ZoltDisabledState::NotDisabled), "NotDisabled");
}

TEST(PrintersTest, ShowEachMember) {
  EXPECT_EQ(PrintToString(ostrel::ParseResult{"-a", ostrel::ParseError::DuplicatedArgument}),
            "DuplicatedArgument \"-a\"");
  EXPECT_EQ(PrintToString(ostrel::ConfigRange{.defaultValue = 2, .minimum = 1, .maximum = 3}),
            "2 in 1..3");
  EXPECT_EQ(PrintToString(ostrel::kFailedStop), "failed, finished");
  EXPECT_EQ(PrintToString(ostrel::kDone), "succeeded, goes on");
}

}  // namespace
}  // namespace testing_support
