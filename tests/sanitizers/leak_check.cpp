// Looks for leaks when the last test has run, and fails the run if there is one. The usual time,
// the end of the process, is too late: Wine's server ends a process that takes long over its end.
#include <windows.h>

#include <cstddef>
#include <sanitizer/lsan_interface.h>

#include <gtest/gtest.h>

namespace {

class LeakCheck : public ::testing::Environment {
 public:
  void TearDown() override {
    // LeakSanitizer does not know the stack of a program under Wine.
    const auto* here = static_cast<const std::byte*>(__builtin_frame_address(0));
    const auto* end = reinterpret_cast<const std::byte*>(
        reinterpret_cast<const NT_TIB*>(::NtCurrentTeb())->StackBase);
    __lsan_register_root_region(here, static_cast<std::size_t>(end - here));
    EXPECT_EQ(__lsan_do_recoverable_leak_check(), 0) << "memory leaked";
  }
};

[[maybe_unused]] const auto* const kLeakCheck =
    ::testing::AddGlobalTestEnvironment(std::make_unique<LeakCheck>().release());

}  // namespace
