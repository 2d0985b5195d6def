/// \file
/// The one platform call whose structured exceptions are ignored. All structured-exception code of
/// the library is in disarm_guard.cpp, because compilers differ in it.
#pragma once

#include <windows.h>

/// Calls SetThreadpoolTimer(timer, null, 0, 0), which disarms the timer. A structured exception
/// that is raised inside that call is swallowed, whatever it is.
extern "C" void TesselDisarmTimerGuarded(PTP_TIMER timer);
