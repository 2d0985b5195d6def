#include "floor.h"

#include <shlobj.h>
#include <shlwapi.h>
#include <winternl.h>

#include <stdio.h>
#include <string.h>
#include <wchar.h>

NTSTATUS NTAPI NtQueryKey(HANDLE key, int informationClass, PVOID information, ULONG length,
                          PULONG resultLength);

#define LOG_KEY L"SOFTWARE\\Kestrane, Inc.\\Kestrane Vantor Telemetry\\Service\\Config\\Log"
#define LEGACY_KEY \
  L"SOFTWARE\\Kestrane, Inc.\\Kestrane Harlen Telemetry\\Service\\Configuration\\Logging"

typedef struct {
  HKEY root;
  HKEY key;
  SRWLOCK lock;
} Storage;

static LSTATUS Open(HKEY root, const wchar_t* path, Storage* storage) {
  char name[512];
  ULONG length = 0;
  const REGSAM access = KEY_READ | KEY_SET_VALUE | KEY_CREATE_SUB_KEY;
  const LSTATUS status = RegCreateKeyExW(root, path, 0, NULL, REG_OPTION_NON_VOLATILE, access, NULL,
                                         &storage->key, NULL);
  if (status != ERROR_SUCCESS) {
    return status;
  }
  storage->root = SHRegDuplicateHKey(root);
  NtQueryKey(storage->key, /*KeyNameInformation*/ 3, name, sizeof name, &length);
  InitializeSRWLock(&storage->lock);
  return ERROR_SUCCESS;
}

static void Close(Storage* storage) {
  RegCloseKey(storage->key);
  RegCloseKey(storage->root);
}

static HKEY Key(Storage* storage) {
  AcquireSRWLockShared(&storage->lock);
  const HKEY key = storage->key;
  ReleaseSRWLockShared(&storage->lock);
  return key;
}

static void WriteText(Storage* storage, const wchar_t* name, const wchar_t* text) {
  RegSetKeyValueW(Key(storage), L"", name, REG_SZ, text,
                  (DWORD)((wcslen(text) + 1) * sizeof(wchar_t)));
}

static void WriteCurrentText(const wchar_t* name, const wchar_t* text) {
  Storage storage;
  if (Open(HKEY_LOCAL_MACHINE, LOG_KEY, &storage) == ERROR_SUCCESS) {
    WriteText(&storage, name, text);
    Close(&storage);
  }
}

static void WriteCurrentNumber(const wchar_t* name, DWORD number) {
  Storage storage;
  if (Open(HKEY_LOCAL_MACHINE, LOG_KEY, &storage) == ERROR_SUCCESS) {
    RegSetKeyValueW(Key(&storage), L"", name, REG_DWORD, &number, sizeof number);
    Close(&storage);
  }
}

static void WriteLegacyText(const wchar_t* name, const wchar_t* text) {
  Storage storage;
  if (Open(HKEY_LOCAL_MACHINE, LEGACY_KEY, &storage) == ERROR_SUCCESS) {
    WriteText(&storage, name, text);
    Close(&storage);
  }
}

static void WriteLegacyLevel(const wchar_t* level) {
  Storage storage;
  if (Open(HKEY_LOCAL_MACHINE, LEGACY_KEY, &storage) == ERROR_SUCCESS) {
    WriteText(&storage, L"LogLevel", level);
    WriteText(&storage, L"VerboseLevel", L"0");
    WriteText(&storage, L"kst_windows_log_verbose", L"false");
    Close(&storage);
  }
}

static const char* GetLogLevel(void) {
  static const wchar_t* const kWideNames[] = {L"Error", L"Warn", L"Info", L"Debug", L"Trace"};
  static const char* const kNames[] = {"Error", "Warn", "Info", "Debug", "Trace"};
  Storage storage;
  wchar_t text[64] = L"";
  int level = 2;
  if (Open(HKEY_LOCAL_MACHINE, LOG_KEY, &storage) != ERROR_SUCCESS) {
    return kNames[level];
  }
  if (FloorGetValue(Key(&storage), L"", L"LogLevel", text, sizeof text - sizeof *text) != 0) {
    const size_t length = wcslen(text);
    for (int index = 0; index < 5; ++index) {
      if (length == wcslen(kWideNames[index]) &&
          CompareStringW(LOCALE_SYSTEM_DEFAULT, NORM_IGNORECASE, text, (int)length,
                         kWideNames[index], (int)length) == CSTR_EQUAL) {
        level = index;
        break;
      }
    }
  }
  Close(&storage);
  return kNames[level];
}

int FloorRunTool(const char* command) {
  char message[64] = "Log level: ";
  if (!IsUserAnAdmin()) {
    return 1;
  }
  if (strcmp(command, "-getLogLevel") == 0) {
    strcat(message, GetLogLevel());
    strcat(message, "\n");
  } else if (strcmp(command, "-setLogLevel") == 0) {
    WriteCurrentText(L"LogLevel", L"Debug");
    WriteLegacyLevel(L"debug");
    strcpy(message, "Successfully set log level to Debug\n");
  } else {
    WriteCurrentText(L"LogLevel", L"Info");
    WriteCurrentNumber(L"MaxFileSize", 1);
    WriteCurrentNumber(L"MaxTraceLogSize", 10);
    WriteCurrentNumber(L"MaxNumFiles", 10);
    WriteLegacyLevel(L"info");
    WriteLegacyText(L"MaxLogSize", L"1");
    WriteLegacyText(L"MaxTraceLogSize", L"10");
    WriteLegacyText(L"MaxLogFiles", L"10");
    strcpy(message, "Successfully reset all log settings\n");
  }
  fwrite(message, 1, strlen(message), stdout);
  fwrite("\n", 1, 1, stdout);
  fflush(stdout);
  return 0;
}

LSTATUS FloorOpen(HKEY root, const wchar_t* path) {
  Storage storage;
  const LSTATUS status = Open(root, path, &storage);
  if (status == ERROR_SUCCESS) {
    Close(&storage);
  }
  return status;
}

DWORD FloorGetValue(HKEY key, const wchar_t* path, const wchar_t* name, void* buffer,
                    DWORD capacity) {
  DWORD type = 0;
  DWORD size = 0;
  if (RegGetValueW(key, path, name, RRF_RT_ANY | RRF_NOEXPAND, &type, NULL, &size) !=
          ERROR_SUCCESS ||
      size == 0 || size > capacity ||
      RegGetValueW(key, path, name, RRF_RT_ANY | RRF_NOEXPAND, &type, buffer, &size) !=
          ERROR_SUCCESS) {
    return 0;
  }
  return size;
}

DWORD FloorGetExpanded(HKEY key, const wchar_t* path, const wchar_t* name, wchar_t* expanded) {
  wchar_t text[512];
  FloorGetValue(key, path, name, text, sizeof text);
  return ExpandEnvironmentStringsW(text, expanded, ExpandEnvironmentStringsW(text, NULL, 0));
}

size_t FloorEnumerate(HKEY key) {
  wchar_t name[16384];
  BYTE data[256];
  DWORD subkeys = 0;
  for (DWORD length = 16383;
       RegEnumKeyExW(key, subkeys, name, &length, NULL, NULL, NULL, NULL) == ERROR_SUCCESS;
       length = 16383) {
    ++subkeys;
  }
  DWORD values = 0;
  for (;;) {
    DWORD length = 16383;
    DWORD size = sizeof data;
    DWORD type = 0;
    if (RegEnumValueW(key, values, name, &length, NULL, &type, data, &size) != ERROR_SUCCESS) {
      return (size_t)subkeys + values;
    }
    ++values;
  }
}

static VOID CALLBACK ReportTimer(PTP_CALLBACK_INSTANCE instance, PVOID ran, PTP_TIMER timer) {
  (void)instance;
  (void)timer;
  SetEvent(ran);
}

void FloorRunTimer(HANDLE ran) {
  FILETIME now = {0, 0};
  const PTP_TIMER timer = CreateThreadpoolTimer(ReportTimer, ran, NULL);
  SetThreadpoolTimer(timer, &now, 0, 0);
  WaitForSingleObject(ran, INFINITE);
  SetThreadpoolTimer(timer, NULL, 0, 0);
  WaitForThreadpoolTimerCallbacks(timer, TRUE);
  CloseThreadpoolTimer(timer);
}

static VOID CALLBACK ReportWait(PTP_CALLBACK_INSTANCE instance, PVOID ran, PTP_WAIT wait,
                                TP_WAIT_RESULT result) {
  (void)instance;
  (void)wait;
  (void)result;
  SetEvent(ran);
}

void FloorRunWait(HANDLE signal, HANDLE ran) {
  const PTP_WAIT wait = CreateThreadpoolWait(ReportWait, ran, NULL);
  SetThreadpoolWait(wait, signal, NULL);
  SetEvent(signal);
  WaitForSingleObject(ran, INFINITE);
  SetThreadpoolWait(wait, NULL, NULL);
  WaitForThreadpoolWaitCallbacks(wait, TRUE);
  CloseThreadpoolWait(wait);
}

static VOID CALLBACK IncrementCounter(PTP_CALLBACK_INSTANCE instance, PVOID context,
                                      PTP_WORK work) {
  FloorQueue* const queue = context;
  (void)instance;
  (void)work;
  EnterCriticalSection(&queue->lock);
  LONG* const counter = queue->counters[queue->first++ % kFloorQueueLength];
  LeaveCriticalSection(&queue->lock);
  InterlockedIncrement(counter);
}

void FloorOpenQueue(FloorQueue* queue) {
  queue->first = queue->end = 0;
  InitializeCriticalSectionAndSpinCount(&queue->lock, 4000);
}

void FloorCloseQueue(FloorQueue* queue) { DeleteCriticalSection(&queue->lock); }

PTP_WORK FloorCreateWork(FloorQueue* queue) {
  return CreateThreadpoolWork(IncrementCounter, queue, NULL);
}

void FloorSubmit(SRWLOCK* taskLock, PTP_WORK work) {
  AcquireSRWLockShared(taskLock);
  SubmitThreadpoolWork(work);
  ReleaseSRWLockShared(taskLock);
}

void FloorSubmitCounter(SRWLOCK* taskLock, FloorQueue* queue, PTP_WORK work, LONG* counter) {
  EnterCriticalSection(&queue->lock);
  queue->counters[queue->end++ % kFloorQueueLength] = counter;
  LeaveCriticalSection(&queue->lock);
  FloorSubmit(taskLock, work);
}
