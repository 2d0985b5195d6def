// Drops the callbacks of waits that are closed.
//
// Windows begins no callback of a wait that was disarmed, waited for and closed. Wine's pool does,
// if it saw the signal before the wait was disarmed. The record that the callback gets may be freed
// by then, and the record of another task may lie at its address.
//
// So this filter stands between a program and the pool. Instead of the record's address the pool
// gets a number that is never used again, and a callback whose number belongs to no open wait is
// dropped. A close waits for the callbacks of the wait that began in time, except for the one that
// closes it.
//
// Each test program that uses the platform's pool makes one filter first and destroys it last. A
// test may make another one over the calls that it has replaced.
#pragma once

#include <windows.h>

namespace testing_support {

/// Filters the callbacks of the waits that the program creates while the filter lives. No other
/// thread may create or close waits while the filter is made or destroyed.
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
  // The functions that were in the import slots before.
  decltype(&::CreateThreadpoolWait) create_;
  decltype(&::CloseThreadpoolWait) close_;
};

}  // namespace testing_support
