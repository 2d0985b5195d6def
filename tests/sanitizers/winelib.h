// Included first in each file of the winelib build: bridges the differences between Wine's headers
// and C runtime and those of a Windows compiler. Precompiled, with the headers that most files
// include.
#pragma once

#include <algorithm>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

// The sources declare this one themselves, with other types.
#define NtQueryKey NtQueryKeyOfWine
#include <windows.h>

#include <winternl.h>
#undef NtQueryKey

// Linux' C runtime knows these by other names.
extern "C" std::FILE* _popen(const char* command, const char* mode) __asm__("popen");
extern "C" int _pclose(std::FILE* pipe) __asm__("pclose");

// Wine has this function, but does not declare it in its headers.
extern "C" BOOL WINAPI GetProcessHandleCount(HANDLE process, LPDWORD count);
