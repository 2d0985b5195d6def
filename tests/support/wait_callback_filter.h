// Drops the callbacks of waits that are closed.
//
// Windows begins no callback of a wait that was disarmed, waited for and closed. Wine's pool does
// when it had seen the signal before the disarming. By then what the callback is called with may be
// freed, and something else of its kind may lie at the address. So this stands between a program
// and the pool: the pool gets a number that is never used again in place of the address, and a
// callback whose number belongs to no open wait is dropped. A close waits for callbacks of the wait
// that began in time, but for the one that it is called in.
//
// In each test program that uses the platform's pool, made first and destroyed last. A test may
// make another one over the calls that it has replaced.
#pragma once

#include <windows.h>

namespace testing_support {

/// Filters the callbacks of the waits that the program creates while it lives. Make and destroy it
/// while no other thread creates or closes waits.
class WaitCallbackFilter {
 public:
  WaitCallbackFilter();
  ~WaitCallbackFilter();
  WaitCallbackFilter(const WaitCallbackFilter&) = delete;
  WaitCallbackFilter& operator=(const WaitCallbackFilter&) = delete;

 private:
  static PTP_WAIT WINAPI Create(PTP_WAIT_CALLBACK callback, PVOID context,
                                PTP_CALLBACK_ENVIRON environment);
  static VOID WINAPI Close(PTP_WAIT wait);

  static inline WaitCallbackFilter* innermost = nullptr;

  WaitCallbackFilter* outer_;
  void** createSlot_;
  void** closeSlot_;
  // What stood in the slots.
  decltype(&::CreateThreadpoolWait) create_;
  decltype(&::CloseThreadpoolWait) close_;
};

}  // namespace testing_support
