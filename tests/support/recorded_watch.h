// Records what a storage does with its keys, its event, its wait task and its lock.
//
// A call is recorded as its name and arguments. Handles have names: "caller's" is the root that the
// storage is opened on, "root" its duplicate, "key1" the first key created, "event1" the first
// event. Calls with handles that are not the storage's are left out. "locked " stands before a call
// that was made with the lock held, exclusively or not.
//
// Everything reaches the platform unless the test has prepared an answer. For one thread.
#pragma once

#include <windows.h>

#include <shlwapi.h>

#include <cstdio>
#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/import_hook.h"
#include "support/manual_wait_executor.h"
#include "support/nt_query_key.h"

namespace testing_support {

class RecordedWatch {
 public:
  /// Records the operations of `executor` among the calls. `root` is none of the predefined keys,
  /// whose duplicates are the keys themselves.
  RecordedWatch(ManualWaitExecutor& executor, HKEY root) {
    names_[root] = "caller's";
    executor.OnCall([this](const std::string& operation, void* handle) {
      Note(operation + "(" + Name(handle) + ")");
    });
  }

  /// Tells which object contains the lock. Other locks must be left out: a mutex of the C++ library
  /// may be an SRWLOCK too.
  template <class Storage>
  void LockIn(const Storage& storage) {
    storage_ = {reinterpret_cast<const char*>(&storage), sizeof storage};
  }

  /// The calls since the last time.
  std::vector<std::string> TakeCalls() { return std::exchange(calls_, {}); }
  /// Records an event of the test itself among the calls.
  void Note(const std::string& event) {
    calls_.push_back((sharedHolds_ + exclusiveHolds_ != 0 ? "locked " : "") + event);
    if (onCall) {
      onCall(event);
    }
  }
  /// How the lock was taken since the last time, "shared" or "exclusive" for each.
  std::vector<std::string> TakeLocks() { return std::exchange(locks_, {}); }
  [[nodiscard]] int OpenKeys() const { return openKeys_; }

  // The results that calls give instead of the platform's, in order.
  std::deque<LSTATUS> registrations;  // RegNotifyChangeKeyValue
  std::deque<LSTATUS> creations;      // RegCreateKeyExW: failures
  struct FailedEvent {
    HANDLE event;
    DWORD error;
  };
  std::optional<FailedEvent> failedEvent;  // CreateEventW, once
  // NtQueryKey, for as long as it is set: the name, or null for a failure.
  std::optional<const wchar_t*> kernelName;
  bool failDuplication = false;  // SHRegDuplicateHKey
  // Called after each call was recorded, with the call.
  std::function<void(const std::string&)> onCall;
  // Called once, after the lock was held exclusively and is free again.
  std::function<void()> onRelease;

 private:
  static std::string Hex(DWORD number) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%x", static_cast<unsigned int>(number));
    return text;
  }
  static std::string Flag(BOOL flag) { return flag != FALSE ? "TRUE" : "FALSE"; }
  static std::string Null(const void* pointer) { return pointer == nullptr ? "null" : "?"; }
  std::string Name(const void* handle) {
    if (handle == nullptr) {
      return "null";
    }
    const auto name = names_.find(handle);
    return name == names_.end() ? "?" : name->second;
  }
  bool IsNamed(const void* handle) const { return names_.contains(handle); }

  template <class Value>
  static std::optional<Value> Take(std::deque<Value>& prepared) {
    if (prepared.empty()) {
      return std::nullopt;
    }
    const Value value = prepared.front();
    prepared.pop_front();
    return value;
  }

  bool IsStorages(PSRWLOCK lock) const {
    const std::less_equal<> isBefore;
    const auto* const place = reinterpret_cast<const char*>(lock);
    return isBefore(storage_.data(), place) && !isBefore(storage_.data() + storage_.size(), place);
  }

  std::string_view storage_;
  std::map<const void*, std::string> names_;
  std::vector<std::string> calls_;
  std::vector<std::string> locks_;
  int keys_ = 0;
  int openKeys_ = 0;
  int events_ = 0;
  int sharedHolds_ = 0;
  int exclusiveHolds_ = 0;

  ImportHook<"CreateEventW", decltype(::CreateEventW)> createEvent_{
      [this](LPSECURITY_ATTRIBUTES attributes, BOOL manualReset, BOOL initialState, LPCWSTR name) {
        Note("CreateEventW(" + Null(attributes) + ", " + Flag(manualReset) + ", " +
             Flag(initialState) + ", " + Null(name) + ")");
        if (const auto failed = std::exchange(failedEvent, std::nullopt)) {
          ::SetLastError(failed->error);
          return failed->event;
        }
        const HANDLE event = createEvent_.Original()(attributes, manualReset, initialState, name);
        names_[event] = "event" + std::to_string(++events_);
        return event;
      }};
  ImportHook<"CloseHandle", decltype(::CloseHandle)> closeHandle_{[this](HANDLE handle) {
    if (IsNamed(handle) || handle == nullptr || handle == INVALID_HANDLE_VALUE) {
      Note("CloseHandle(" + Name(handle) + ")");
      names_.erase(handle);
    }
    return closeHandle_.Original()(handle);
  }};
  ImportHook<"RegCreateKeyExW", decltype(::RegCreateKeyExW)> createKey_{
      [this](HKEY root, LPCWSTR path, DWORD reserved, LPWSTR keyClass, DWORD options, REGSAM access,
             const LPSECURITY_ATTRIBUTES security, PHKEY key, LPDWORD disposition) -> LSTATUS {
        const auto create = [&] {
          return createKey_.Original()(root, path, reserved, keyClass, options, access, security,
                                       key, disposition);
        };
        if (!IsNamed(root) && root != nullptr) {
          return create();  // not the storage's
        }
        std::string narrowPath;
        for (const wchar_t character : std::wstring_view(path)) {
          narrowPath += static_cast<char>(character);
        }
        Note("RegCreateKeyExW(" + Name(root) + ", " + narrowPath + ", " + std::to_string(reserved) +
             ", " + Null(keyClass) + ", " + std::to_string(options) + ", " + Hex(access) + ", " +
             Null(security) + ", key, " + Null(disposition) + ")");
        if (const auto prepared = Take(creations)) {
          return *prepared;
        }
        const LSTATUS status = create();
        names_[*key] = "key" + std::to_string(++keys_);
        ++openKeys_;
        return status;
      }};
  ImportHook<"SHRegDuplicateHKey", decltype(::SHRegDuplicateHKey)> duplicateKey_{[this](HKEY key) {
    if (failDuplication) {
      return HKEY{nullptr};
    }
    const HKEY duplicate = duplicateKey_.Original()(key);
    names_[duplicate] = "root";
    ++openKeys_;
    return duplicate;
  }};
  ImportHook<"RegCloseKey", decltype(::RegCloseKey)> closeKey_{[this](HKEY key) {
    if (IsNamed(key)) {
      Note("RegCloseKey(" + Name(key) + ")");
      names_.erase(key);
      --openKeys_;
    }
    return closeKey_.Original()(key);
  }};
  ImportHook<"RegNotifyChangeKeyValue", decltype(::RegNotifyChangeKeyValue)> notify_{
      [this](HKEY key, BOOL subtree, DWORD filter, HANDLE event, BOOL asynchronous) {
        Note("RegNotifyChangeKeyValue(" + Name(key) + ", " + Flag(subtree) + ", " + Hex(filter) +
             ", " + Name(event) + ", " + Flag(asynchronous) + ")");
        const auto prepared = Take(registrations);
        return prepared ? *prepared : notify_.Original()(key, subtree, filter, event, asynchronous);
      }};
  ImportHook<"NtQueryKey", decltype(::NtQueryKey)> queryKey_{
      [this](HANDLE key, int informationClass, PVOID buffer, ULONG length, PULONG resultLength) {
        Note("NtQueryKey(" + Name(key) + ")");
        if (!kernelName) {
          return queryKey_.Original()(key, informationClass, buffer, length, resultLength);
        }
        if (*kernelName == nullptr) {
          return static_cast<NTSTATUS>(0xC000017C);  // STATUS_KEY_DELETED
        }
        const std::wstring name(*kernelName);
        const auto size = static_cast<ULONG>(name.size() * sizeof(wchar_t));
        std::memcpy(buffer, &size, sizeof size);
        std::memcpy(static_cast<char*>(buffer) + sizeof size, name.data(), size);
        return static_cast<NTSTATUS>(0);
      }};
  ImportHook<"AcquireSRWLockShared", decltype(::AcquireSRWLockShared)> acquireShared_{
      [this](PSRWLOCK lock) {
        acquireShared_.Original()(lock);
        if (IsStorages(lock)) {
          ++sharedHolds_;
          locks_.emplace_back("shared");
        }
      }};
  ImportHook<"ReleaseSRWLockShared", decltype(::ReleaseSRWLockShared)> releaseShared_{
      [this](PSRWLOCK lock) {
        sharedHolds_ -= IsStorages(lock) ? 1 : 0;
        releaseShared_.Original()(lock);
      }};
  ImportHook<"AcquireSRWLockExclusive", decltype(::AcquireSRWLockExclusive)> acquireExclusive_{
      [this](PSRWLOCK lock) {
        acquireExclusive_.Original()(lock);
        if (IsStorages(lock)) {
          ++exclusiveHolds_;
          locks_.emplace_back("exclusive");
        }
      }};
  ImportHook<"ReleaseSRWLockExclusive", decltype(::ReleaseSRWLockExclusive)> releaseExclusive_{
      [this](PSRWLOCK lock) {
        const bool isStorages = IsStorages(lock);
        exclusiveHolds_ -= isStorages ? 1 : 0;
        releaseExclusive_.Original()(lock);
        if (const auto action = isStorages ? std::exchange(onRelease, nullptr) : nullptr) {
          action();
        }
      }};
};

}  // namespace testing_support
