// What the headers of mingw-w64 and of GCC want of a compiler that says that it is MSVC; it is
// included before everything else.
#pragma once

#define __STRICT_ANSI__ 1  // as GCC has it where its extensions are off
#define __INTRIN_H         // clang's own intrin.h contradicts the one of mingw-w64

// This one has to take it for GCC: MSVC gets no identifiers of interfaces from it.
#pragma push_macro("_MSC_VER")
#undef _MSC_VER
#include <_mingw.h>
#pragma pop_macro("_MSC_VER")
#define __MINGW_IMPORT extern  // which it takes from a compiler whose __declspec is no macro
// In this mode clang 22 does not take the immediate functions of {fmt} 10.
#define FMT_CONSTEVAL
