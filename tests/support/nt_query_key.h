// What ntdll.dll exports and the headers for programs do not declare: the name of an open key.
#pragma once

#include <windows.h>

#include <winternl.h>

extern "C" NTSTATUS NTAPI NtQueryKey(HANDLE key, int informationClass, PVOID information,
                                     ULONG length, PULONG resultLength);
