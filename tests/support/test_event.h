// An event that one thread of a test sets and another awaits; also a kernel object to wait on.
#pragma once

#include <windows.h>

#include <gtest/gtest.h>

namespace testing_support {

class TestEvent {
 public:
  TestEvent() : handle_(::CreateEventW(nullptr, /*bManualReset=*/TRUE, FALSE, nullptr)) {}
  ~TestEvent() { ::CloseHandle(handle_); }
  TestEvent(const TestEvent&) = delete;
  TestEvent& operator=(const TestEvent&) = delete;

  [[nodiscard]] HANDLE Handle() const { return handle_; }
  void Set() const { ::SetEvent(handle_); }
  void Reset() const { ::ResetEvent(handle_); }
  [[nodiscard]] bool IsSet() const { return Wait(0); }

  /// Blocks until the event is set. Returns false if it never is.
  [[nodiscard]] bool WaitUntilSet() const { return Wait(kLimitMilliseconds); }
  /// The same for a test, which fails with what was missing, and goes on so that it ends.
  void Await(const char* what) const { EXPECT_TRUE(WaitUntilSet()) << "never happened: " << what; }

 private:
  static constexpr DWORD kLimitMilliseconds = 60'000;

  [[nodiscard]] bool Wait(DWORD milliseconds) const {
    return ::WaitForSingleObject(handle_, milliseconds) == WAIT_OBJECT_0;
  }

  HANDLE handle_;
};

}  // namespace testing_support
