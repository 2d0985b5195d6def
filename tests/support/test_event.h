// An event that one thread of a test sets and another awaits; also a kernel object to wait on.
#pragma once

#include <windows.h>

#include <cstdio>
#include <cstdlib>

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

  /// Blocks until the event is set. If it never is, the program ends with a message that says what
  /// was missing. The test cannot simply fail: the thread that hangs still uses objects of the
  /// test.
  void Await(const char* what) const {
    if (!Wait(kLimitMilliseconds)) {
      std::fprintf(stderr, "never happened: %s\n", what);
      std::fflush(stderr);
      std::_Exit(EXIT_FAILURE);
    }
  }

 private:
  static constexpr DWORD kLimitMilliseconds = 60'000;

  [[nodiscard]] bool Wait(DWORD milliseconds) const {
    return ::WaitForSingleObject(handle_, milliseconds) == WAIT_OBJECT_0;
  }

  HANDLE handle_;
};

}  // namespace testing_support
