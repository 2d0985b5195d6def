// Looks for leaks when the last test has run, and fails the run for one. Not when the process ends,
// as is usual: Wine's server ends a process that takes its time over that.
#include <gtest/gtest.h>
#include <sanitizer/lsan_interface.h>

namespace {

class LeakCheck : public ::testing::Environment {
 public:
  void TearDown() override { EXPECT_EQ(__lsan_do_recoverable_leak_check(), 0) << "memory leaked"; }
};

[[maybe_unused]] const auto* const kLeakCheck =
    ::testing::AddGlobalTestEnvironment(std::make_unique<LeakCheck>().release());

}  // namespace
