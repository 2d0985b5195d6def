/// \file
/// The one platform call whose structured exceptions are ignored. All structured-exception code of
/// the library stands in disarm_guard.cpp, because each compiler needs its own.
#pragma once

#include <windows.h>

/// Calls ::SetThreadpoolTimer(timer, null, 0, 0), which disarms the timer. Every structured
/// exception that is raised inside that call is ignored, so that closing a task goes on.
extern "C" void TesselDisarmTimerGuarded(PTP_TIMER timer);
