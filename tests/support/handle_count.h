// That nothing leaves a handle open.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>

#include <gtest/gtest.h>

namespace testing_support {

/// The open handles of this process. They are counted by trying values, for Wine does not count
/// them: the smallest ones, which the platform gives first.
inline std::size_t HandleCount() {
  constexpr std::uintptr_t kLast = 0x4000;
  std::size_t count = 0;
  for (std::uintptr_t value = 4; value <= kLast; value += 4) {
    DWORD flags = 0;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): a handle is a number.
    count += ::GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags) != FALSE ? 1U : 0U;
  }
  return count;
}

/// Expects that no handle is left of calling `use` many times. The platform may keep some of the
/// first call.
template <class Use>
void ExpectNoHandleLeft(const Use& use) {
  use();
  const std::size_t before = HandleCount();
  for (int i = 0; i < 100; ++i) {
    use();
  }
  EXPECT_EQ(HandleCount(), before);
}

}  // namespace testing_support
