/* What the platform itself costs: the calls that the tool and the library are bound to make, in
   plain C, and nothing else. */
#pragma once

#include <windows.h>

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* One run of the tool with -getLogLevel, -setLogLevel (to Debug) or -resetAllLogSettings. */
int FloorRunTool(const char* command);

/* Opens a storage and lets it go. */
LSTATUS FloorOpen(HKEY root, const wchar_t* path);

/* Reads a value into the buffer; returns its size, or 0 for one that has none or does not fit. */
DWORD FloorGetValue(HKEY key, const wchar_t* path, const wchar_t* name, void* buffer,
                    DWORD capacity);

/* Reads a text with variables, which are expanded; returns the number of characters. */
DWORD FloorGetExpanded(HKEY key, const wchar_t* path, const wchar_t* name, wchar_t* expanded);

/* Goes over the subkeys and the values of a key; returns how many there are. */
size_t FloorEnumerate(HKEY key);

/* Creates a timer that is due at once, waits for the event that it sets, and closes it. */
void FloorRunTimer(HANDLE ran);

/* The same for a wait on the event `signal`. */
void FloorRunWait(HANDLE signal, HANDLE ran);

/* Counters to be incremented by work items: what an argument costs at least. The lock is asked for
   a while before it is waited for in the kernel. */
enum { kFloorQueueLength = 1 << 16 };
typedef struct {
  CRITICAL_SECTION lock; /* guards the rest */
  unsigned first, end;
  LONG* counters[kFloorQueueLength]; /* a ring */
} FloorQueue;

void FloorOpenQueue(FloorQueue* queue);
void FloorCloseQueue(FloorQueue* queue);

/* Creates the work object of a queue. */
PTP_WORK FloorCreateWork(FloorQueue* queue);

/* Submits work under a lock that whoever closes the work would hold exclusively. */
void FloorSubmit(SRWLOCK* taskLock, PTP_WORK work);

/* The same for the work of a queue, which increments `counter`. There must be room. */
void FloorSubmitCounter(SRWLOCK* taskLock, FloorQueue* queue, PTP_WORK work, LONG* counter);

#ifdef __cplusplus
}
#endif
