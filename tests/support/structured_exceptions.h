// Raising structured exceptions, and seeing whether anything catches them.
#pragma once

#include <windows.h>

#include <functional>
#include <thread>

namespace testing_support {

/// Memory whose every access is an access violation.
class InaccessiblePage {
 public:
  InaccessiblePage() : page_(::VirtualAlloc(nullptr, 1, MEM_RESERVE | MEM_COMMIT, PAGE_NOACCESS)) {}
  ~InaccessiblePage() { ::VirtualFree(page_, 0, MEM_RELEASE); }
  InaccessiblePage(const InaccessiblePage&) = delete;
  InaccessiblePage& operator=(const InaccessiblePage&) = delete;

  void Touch() const { *static_cast<volatile char*>(page_) = 0; }

 private:
  void* page_;
};

/// Raises an exception after which execution can continue.
inline void RaiseSomeException() { ::RaiseException(0xE0001234, 0, 0, nullptr); }

inline int uncaughtExceptions = 0;

inline LONG WINAPI CountException(EXCEPTION_POINTERS* /*exception*/) {
  ++uncaughtExceptions;
  return EXCEPTION_CONTINUE_EXECUTION;
}

/// The number of structured exceptions that `action` raises and nothing catches. Execution
/// continues after each of them.
inline int CountUncaughtExceptions(const std::function<void()>& action) {
  uncaughtExceptions = 0;
  auto* previous = ::SetUnhandledExceptionFilter(&CountException);
  // On a thread of its own: the frames that call a test catch everything.
  std::thread(action).join();
  ::SetUnhandledExceptionFilter(previous);
  return uncaughtExceptions;
}

}  // namespace testing_support
