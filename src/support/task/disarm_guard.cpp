#include "disarm_guard.h"

#if defined(_MSC_VER)

extern "C" void TesselDisarmTimerGuarded(PTP_TIMER timer) {
  __try {
    ::SetThreadpoolTimer(timer, /*pftDueTime=*/nullptr, /*msPeriod=*/0, /*msWindowLength=*/0);
  } __except (EXCEPTION_EXECUTE_HANDLER) {
  }
}

#elif defined(__MINGW32__) && defined(__x86_64__)

// GCC has no __try. This is what a compiler that has it would emit. The call stands in a scope of
// __C_specific_handler, whose filter is the constant 1 (EXCEPTION_EXECUTE_HANDLER) and whose
// handler begins right after the call. The handler needs no register but the stack pointer, which
// the system restores. The nop keeps the call's return address inside the scope: the system looks
// that address up to find the handler.
asm(R"(
    .text
    .p2align 4
    .globl TesselDisarmTimerGuarded
    .def TesselDisarmTimerGuarded; .scl 2; .type 32; .endef
    .seh_proc TesselDisarmTimerGuarded
TesselDisarmTimerGuarded:
    subq $40, %rsp
    .seh_stackalloc 40
    .seh_endprologue
.Ltessel_disarm_begin:
    xorl %edx, %edx
    xorl %r8d, %r8d
    xorl %r9d, %r9d
    call *__imp_SetThreadpoolTimer(%rip)
    nop
.Ltessel_disarm_end:
    addq $40, %rsp
    ret
    .seh_handler __C_specific_handler, @except
    .seh_handlerdata
    .long 1
    .rva .Ltessel_disarm_begin, .Ltessel_disarm_end
    .long 1
    .rva .Ltessel_disarm_end
    .text
    .seh_endproc
)");

#else
#error "This compiler needs its own way of catching structured exceptions."
#endif
