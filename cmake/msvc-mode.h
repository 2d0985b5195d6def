// What the headers of mingw-w64 and of GCC need from a compiler that says that it is MSVC. Included
// before everything else.
#pragma once

#define __STRICT_ANSI__ 1  // as GCC has it where its extensions are off
#define __INTRIN_H         // clang's own intrin.h contradicts the one of mingw-w64

// _mingw.h must take the compiler for GCC: it gives MSVC no identifiers of interfaces.
#pragma push_macro("_MSC_VER")
#undef _MSC_VER
#include <_mingw.h>
#pragma pop_macro("_MSC_VER")
#define __MINGW_IMPORT extern  // which it takes from a compiler whose __declspec is no macro
