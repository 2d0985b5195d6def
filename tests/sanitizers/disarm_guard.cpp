// Stands in for the library's disarm_guard.cpp, which needs a Windows compiler: the same call in a
// structured exception block of Wine's.
#include "disarm_guard.h"

#include <wine/exception.h>

extern "C" void TesselDisarmTimerGuarded(PTP_TIMER timer) {
  __TRY { ::SetThreadpoolTimer(timer, nullptr, 0, 0); }
  __EXCEPT_ALL {}
  __ENDTRY
}
