#include "support/import_hook.h"

#include <windows.h>

#include <stdexcept>

#include <gtest/gtest.h>

namespace testing_support {
namespace {

DWORD CallGetCurrentProcessId() { return ::GetCurrentProcessId(); }

// Called through this pointer: within one function the compiler may load the import slot once,
// before it is replaced.
DWORD (*volatile processId)() = &CallGetCurrentProcessId;

TEST(ImportHookTest, ReplacesTheCallForItsLifetime) {
  const DWORD real = processId();
  {
    const ImportHook<"GetCurrentProcessId", decltype(::GetCurrentProcessId)> hook(
        [] { return 7U; });
    EXPECT_EQ(processId(), 7U);
    EXPECT_EQ(hook.Original()(), real);
  }
  EXPECT_EQ(processId(), real);
}

TEST(ImportHookTest, RefusesAFunctionThatIsNotImported) {
  EXPECT_THROW(FindImportSlot("NoSuchFunction"), std::runtime_error);
}

}  // namespace
}  // namespace testing_support
