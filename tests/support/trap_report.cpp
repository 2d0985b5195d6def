// Names the place of undefined behaviour, which this build turns into an illegal instruction:
// addr2line -Cfie PROGRAM ADDRESS gives the line.
#include <windows.h>

#include <cstdio>

namespace {

constexpr UINT kUndefinedBehaviourStatus = 88;

LONG CALLBACK ReportTrap(EXCEPTION_POINTERS* exception) {
  if (exception->ExceptionRecord->ExceptionCode != EXCEPTION_ILLEGAL_INSTRUCTION) {
    return EXCEPTION_CONTINUE_SEARCH;
  }
  std::fprintf(stderr, "undefined behaviour at %p\n", exception->ExceptionRecord->ExceptionAddress);
  std::fflush(stderr);
  ::TerminateProcess(::GetCurrentProcess(), kUndefinedBehaviourStatus);
  return EXCEPTION_CONTINUE_SEARCH;
}

[[maybe_unused]] const void* const kHandler = ::AddVectoredExceptionHandler(1, ReportTrap);

}  // namespace
