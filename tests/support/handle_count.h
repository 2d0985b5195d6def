// That nothing leaves a handle open.
#pragma once

#include <windows.h>

#include <gtest/gtest.h>

namespace testing_support {

/// The open handles of this process.
inline DWORD HandleCount() {
  DWORD count = 0;
  EXPECT_TRUE(::GetProcessHandleCount(::GetCurrentProcess(), &count));
  return count;
}

/// Expects that no handle is left of calling `use` many times. The platform may keep some of the
/// first call.
template <class Use>
void ExpectNoHandleLeft(int times, const Use& use) {
  use();
  const DWORD before = HandleCount();
  for (int i = 0; i < times; ++i) {
    use();
  }
  EXPECT_EQ(HandleCount(), before);
}

}  // namespace testing_support
