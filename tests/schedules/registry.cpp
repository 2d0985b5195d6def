#include "registry.h"

#include <windows.h>

#include <cstdlib>
#include <cstring>
#include <deque>
#include <optional>
#include <utility>

#include "kernel_name.h"
#include "scheduler.h"
#include "thread_pool.h"

namespace schedules {
namespace {

struct Handle {
  int key;  // the number of the creation that made the key; 0 for another key
  bool isOpen = true;
  Event* registered = nullptr;
};

struct KernelEvent : Event {
  bool isOpen = true;
};

std::deque<Handle> handles;
std::deque<KernelEvent> events;
int currentKey = 1;
bool isKeyThere = true;
bool failsToOpen = false;

HKEY Open(int key) {
  handles.push_back({key});
  return reinterpret_cast<HKEY>(&handles.back());
}

/// Null for a null key.
Handle* Use(HKEY key) {
  auto* handle = reinterpret_cast<Handle*>(key);
  if (handle != nullptr) {
    Check(handle->isOpen, "a closed key is used");
  }
  return handle;
}

bool IsDeleted(const Handle& handle) {
  return handle.key != 0 && (handle.key != currentKey || !isKeyThere);
}

void Signal(Handle& handle) {
  if (Event* const event = std::exchange(handle.registered, nullptr)) {
    event->Set();  // the registration refers to the event even if its handle is closed
  }
}

/// The handles of the key that exists now.
void SignalAll() {
  for (Handle& handle : handles) {
    if (handle.isOpen && handle.key == currentKey) {
      Signal(handle);
    }
  }
}

}  // namespace

void ChangeKey() {
  const InPlatform platform;
  Before({"changes the key"});
  if (isKeyThere) {
    SignalAll();
  }
}

void DeleteKey() {
  const InPlatform platform;
  Before({"deletes the key"});
  isKeyThere = false;
  SignalAll();
}

void FailKeys() { failsToOpen = true; }

void ResetRegistry() {
  handles.clear();
  events.clear();
  currentKey = 1;
  isKeyThere = true;
  failsToOpen = false;
}

void CheckRegistry() {
  for (const Handle& handle : handles) {
    Check(!handle.isOpen, "a key is left open");
  }
  for (const KernelEvent& event : events) {
    Check(!event.isOpen, "an event is left open");
  }
}

}  // namespace schedules

using schedules::Before;
using schedules::InPlatform;

namespace tessel::config {

// Replaces the product's own function: the host's headers declare the platform's one differently.
std::optional<StoragePath> QueryKernelName(HKEY key) {
  const InPlatform platform;
  Before({"asks for the key's name"});
  const schedules::Handle* const handle = schedules::Use(key);
  if (handle == nullptr || schedules::IsDeleted(*handle)) {
    return std::nullopt;
  }
  return StoragePath(L"NAME", L'\\');
}

}  // namespace tessel::config

#define CALLER __builtin_return_address(0)

extern "C" {

LSTATUS WINAPI RegCreateKeyExW(HKEY /*root*/, LPCWSTR /*path*/, DWORD /*reserved*/,
                               LPWSTR /*class*/, DWORD /*options*/, REGSAM /*access*/,
                               SECURITY_ATTRIBUTES* /*security*/, PHKEY result,
                               LPDWORD /*disposition*/) {
  const InPlatform platform(CALLER);
  Before({"opens the key"});
  if (schedules::failsToOpen) {
    return ERROR_ACCESS_DENIED;
  }
  if (!std::exchange(schedules::isKeyThere, true)) {
    ++schedules::currentKey;
  }
  *result = schedules::Open(schedules::currentKey);
  return ERROR_SUCCESS;
}

HKEY WINAPI SHRegDuplicateHKey(HKEY /*key*/) {
  const InPlatform platform(CALLER);
  return schedules::Open(0);
}

LSTATUS WINAPI RegCloseKey(HKEY key) {
  const InPlatform platform(CALLER);
  Before({"closes a key"});
  schedules::Handle* const handle = schedules::Use(key);
  handle->isOpen = false;
  schedules::Signal(*handle);
  return ERROR_SUCCESS;
}

LSTATUS WINAPI RegNotifyChangeKeyValue(HKEY key, BOOL /*subtree*/, DWORD /*filter*/, HANDLE event,
                                       BOOL /*asynchronous*/) {
  const InPlatform platform(CALLER);
  Before({"registers for changes"});
  schedules::Handle* const handle = schedules::Use(key);
  if (handle == nullptr) {
    return ERROR_INVALID_HANDLE;
  }
  if (schedules::IsDeleted(*handle)) {
    return ERROR_KEY_DELETED;
  }
  handle->registered = static_cast<schedules::Event*>(event);
  return ERROR_SUCCESS;
}

LSTATUS WINAPI RegGetValueW(HKEY key, LPCWSTR /*path*/, LPCWSTR /*name*/, DWORD /*flags*/,
                            LPDWORD type, PVOID data, LPDWORD size) {
  constexpr DWORD kValue = 1;
  const InPlatform platform(CALLER);
  Before({"begins to read the value"});
  static_cast<void>(schedules::Use(key));
  Before({"ends to read the value"});
  if (schedules::IsDeleted(*schedules::Use(key))) {
    return ERROR_KEY_DELETED;
  }
  const bool fits = *size >= sizeof kValue;
  if (data != nullptr && fits) {
    std::memcpy(data, &kValue, sizeof kValue);
  }
  *type = REG_DWORD;
  *size = sizeof kValue;
  return data == nullptr || fits ? ERROR_SUCCESS : ERROR_MORE_DATA;
}

HANDLE WINAPI CreateEventW(SECURITY_ATTRIBUTES* /*security*/, BOOL /*isManual*/, BOOL /*isSet*/,
                           LPCWSTR /*name*/) {
  const InPlatform platform(CALLER);
  return schedules::events.emplace_back().Handle();
}

BOOL WINAPI CloseHandle(HANDLE handle) {
  const InPlatform platform(CALLER);
  Before({"closes an event"});
  auto* event = static_cast<schedules::KernelEvent*>(static_cast<schedules::Event*>(handle));
  schedules::Check(event->isOpen, "an event is closed twice");
  schedules::Check(!schedules::IsAwaited(*event), "an event is closed that is waited for");
  event->isOpen = false;
  return TRUE;
}

DWORD WINAPI GetLastError() { return ERROR_NOT_ENOUGH_MEMORY; }

// No encounter calls these.
LSTATUS WINAPI RegEnumKeyExW(HKEY, DWORD, LPWSTR, LPDWORD, LPDWORD, LPWSTR, LPDWORD, FILETIME*) {
  std::abort();
}
LSTATUS WINAPI RegEnumValueW(HKEY, DWORD, LPWSTR, LPDWORD, LPDWORD, LPDWORD, LPBYTE, LPDWORD) {
  std::abort();
}
LSTATUS WINAPI RegOpenKeyExW(HKEY, LPCWSTR, DWORD, REGSAM, PHKEY) { std::abort(); }
LSTATUS WINAPI RegSetKeyValueW(HKEY, LPCWSTR, LPCWSTR, DWORD, const void*, DWORD) { std::abort(); }
DWORD WINAPI ExpandEnvironmentStringsW(LPCWSTR, LPWSTR, DWORD) { std::abort(); }

}  // extern "C"
