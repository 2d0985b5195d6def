#include "platform.h"

#include <windows.h>

#include <shlobj.h>
#include <shlwapi.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <list>
#include <type_traits>
#include <utility>
#include <vector>

#include "account.h"
#include "faulty_call.h"
#include "support/nt_query_key.h"

namespace faults {
namespace {

using CreateKey = FaultyCall<"RegCreateKeyExW", decltype(::RegCreateKeyExW)>;
using OpenKey = FaultyCall<"RegOpenKeyExW", decltype(::RegOpenKeyExW)>;
using CloseKey = FaultyCall<"RegCloseKey", decltype(::RegCloseKey)>;
using DuplicateKey = FaultyCall<"SHRegDuplicateHKey", decltype(::SHRegDuplicateHKey)>;
using QueryKey = FaultyCall<"NtQueryKey", decltype(::NtQueryKey)>;
using GetValue = FaultyCall<"RegGetValueW", decltype(::RegGetValueW)>;
using SetKeyValue = FaultyCall<"RegSetKeyValueW", decltype(::RegSetKeyValueW)>;
using EnumKey = FaultyCall<"RegEnumKeyExW", decltype(::RegEnumKeyExW)>;
using EnumValue = FaultyCall<"RegEnumValueW", decltype(::RegEnumValueW)>;
using Notify = FaultyCall<"RegNotifyChangeKeyValue", decltype(::RegNotifyChangeKeyValue)>;
using Expand = FaultyCall<"ExpandEnvironmentStringsW", decltype(::ExpandEnvironmentStringsW)>;
using CreateEventCall = FaultyCall<"CreateEventW", decltype(::CreateEventW)>;
using CloseHandleCall = FaultyCall<"CloseHandle", decltype(::CloseHandle)>;
using AwaitEvent = FaultyCall<"WaitForSingleObject", decltype(::WaitForSingleObject)>;
using CreateTimer = FaultyCall<"CreateThreadpoolTimer", decltype(::CreateThreadpoolTimer)>;
using CreateWait = FaultyCall<"CreateThreadpoolWait", decltype(::CreateThreadpoolWait)>;
using CreateWork = FaultyCall<"CreateThreadpoolWork", decltype(::CreateThreadpoolWork)>;
using SetTimerCall = FaultyCall<"SetThreadpoolTimer", decltype(::SetThreadpoolTimer)>;
using SetWait = FaultyCall<"SetThreadpoolWait", decltype(::SetThreadpoolWait)>;
using SubmitWork = FaultyCall<"SubmitThreadpoolWork", decltype(::SubmitThreadpoolWork)>;
using AwaitTimer =
    FaultyCall<"WaitForThreadpoolTimerCallbacks", decltype(::WaitForThreadpoolTimerCallbacks)>;
using AwaitWait =
    FaultyCall<"WaitForThreadpoolWaitCallbacks", decltype(::WaitForThreadpoolWaitCallbacks)>;
using AwaitWork =
    FaultyCall<"WaitForThreadpoolWorkCallbacks", decltype(::WaitForThreadpoolWorkCallbacks)>;
using CloseTimer = FaultyCall<"CloseThreadpoolTimer", decltype(::CloseThreadpoolTimer)>;
using CloseWait = FaultyCall<"CloseThreadpoolWait", decltype(::CloseThreadpoolWait)>;
using CloseWork = FaultyCall<"CloseThreadpoolWork", decltype(::CloseThreadpoolWork)>;
using Disassociate = FaultyCall<"DisassociateCurrentThreadFromCallback",
                                decltype(::DisassociateCurrentThreadFromCallback)>;
using ToWide = FaultyCall<"MultiByteToWideChar", decltype(::MultiByteToWideChar)>;
using ToNarrow = FaultyCall<"WideCharToMultiByte", decltype(::WideCharToMultiByte)>;
using Compare = FaultyCall<"CompareStringW", decltype(::CompareStringW)>;
using IsAdmin = FaultyCall<"IsUserAnAdmin", decltype(::IsUserAnAdmin)>;
using ModuleName = FaultyCall<"GetModuleFileNameA", decltype(::GetModuleFileNameA)>;
using FileApis = FaultyCall<"AreFileApisANSI", decltype(::AreFileApisANSI)>;
using SetVariable = FaultyCall<"SetEnvironmentVariableW", decltype(::SetEnvironmentVariableW)>;
using OpenPipe = FaultyCall<"_popen", std::FILE*(const char*, const char*)>;
using ClosePipe = FaultyCall<"_pclose", int(std::FILE*)>;
using ReadStream = FaultyCall<"fread", std::size_t(void*, std::size_t, std::size_t, std::FILE*)>;
using WriteStream =
    FaultyCall<"fwrite", std::size_t(const void*, std::size_t, std::size_t, std::FILE*)>;
using FlushStream = FaultyCall<"fflush", int(std::FILE*)>;

constexpr DWORD kRubbish = 0xABABABAB;

// Errors that a registry call may return. 2 and 5 are among them because the product treats them
// specially.
const std::vector<DWORD> kRegistryErrors = {
    ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED,       ERROR_INVALID_HANDLE, ERROR_NOT_ENOUGH_MEMORY,
    ERROR_OUTOFMEMORY,    ERROR_NO_SYSTEM_RESOURCES, ERROR_KEY_DELETED,    ERROR_INVALID_PARAMETER};
const std::vector<DWORD> kTextErrors = {ERROR_NOT_ENOUGH_MEMORY, ERROR_INVALID_PARAMETER,
                                        ERROR_INSUFFICIENT_BUFFER, ERROR_NO_UNICODE_TRANSLATION};

Failure Win32Failure(DWORD error) {
  return {"error " + std::to_string(error), static_cast<long>(error)};
}

/// The failures of returning each of the errors. `spoil` leaves rubbish in the output arguments.
template <class FailingCall, class Spoil>
std::vector<typename FailingCall::Fails> Returns(const std::vector<DWORD>& errors, Spoil spoil) {
  std::vector<typename FailingCall::Fails> fails;
  fails.reserve(errors.size());
  for (const DWORD error : errors) {
    fails.push_back({Win32Failure(error), [spoil, error](auto... arguments) {
                       spoil(arguments...);
                       return static_cast<LSTATUS>(error);
                     }});
  }
  return fails;
}
template <class FailingCall>
std::vector<typename FailingCall::Fails> Returns(const std::vector<DWORD>& errors) {
  return Returns<FailingCall>(errors, [](auto... /*arguments*/) {});
}

/// The failures of returning `result` with each of the errors as the thread's last error.
template <class FailingCall, class Result>
std::vector<typename FailingCall::Fails> Leaves(Result result, const std::vector<DWORD>& errors) {
  std::vector<typename FailingCall::Fails> fails;
  fails.reserve(errors.size());
  for (const DWORD error : errors) {
    fails.push_back({Win32Failure(error), [result, error](auto... /*arguments*/) {
                       ::SetLastError(error);
                       return result;
                     }});
  }
  return fails;
}

template <class... Lists>
auto Joined(Lists... lists) {
  std::common_type_t<Lists...> all;
  (all.insert(all.end(), lists.begin(), lists.end()), ...);
  return all;
}

void Opened(const char* kind, const void* handle) { CurrentAccount()->Opened({kind, handle}); }
void Closed(const char* kind, const void* handle) {
  const Pause pause;
  CurrentAccount()->Closed({kind, handle});
}

template <class FailingCall>
auto OpensKey() {
  return [](auto... arguments) {
    const LSTATUS status = FailingCall::Original()(arguments...);
    if (status == ERROR_SUCCESS) {
      PHKEY key = nullptr;
      // Finds the one argument of this type.
      (
          (void)[&]([[maybe_unused]] auto argument) {
            if constexpr (std::is_same_v<decltype(argument), PHKEY>) {
              key = argument;
            }
          }(arguments),
          ...);
      Opened("key", *key);
    }
    return status;
  };
}

const auto kSpoilValue = [](HKEY, LPCWSTR, LPCWSTR, DWORD, LPDWORD type, PVOID, LPDWORD size) {
  *type = kRubbish;
  *size = kRubbish;
};
const auto kSpoilName = [](HKEY, DWORD, LPWSTR name, LPDWORD length, auto...) {
  std::fill_n(name, *length, L'?');
  *length = kRubbish;
};
const auto kSpoilEntry = [](HKEY, DWORD, LPWSTR name, LPDWORD length, LPDWORD, LPDWORD type,
                            LPBYTE data, LPDWORD size) {
  std::fill_n(name, *length, L'?');
  std::fill_n(data, *size, std::uint8_t{0xAB});
  *length = *type = *size = kRubbish;
};

}  // namespace

struct Platform::Calls {
  // The pool's state of one object.
  struct PoolObject {
    std::function<void(PTP_CALLBACK_INSTANCE)> run;
    int pending = 0;  // pending runs; an armed object has one
    bool running = false;
  };

  template <class Handle, class Callback, class... Results>
  Handle Create(Callback callback, void* context, Results... results) {
    auto& object = objects.emplace_back();
    const auto handle = reinterpret_cast<Handle>(&object);
    object.run = [=](PTP_CALLBACK_INSTANCE instance) {
      callback(instance, context, handle, results...);
    };
    Opened(kPoolObject, handle);
    return handle;
  }
  // The object of a handle, which must be open; null for a null handle, which the product passes on
  // when a creation failed.
  PoolObject* Use(const void* handle) {
    if (handle == nullptr) {
      ++nullHandles;
      return nullptr;
    }
    if (!CurrentAccount()->IsOpen({kPoolObject, handle})) {
      CurrentAccount()->NoteViolation("used, but not open: object of the pool");
      return nullptr;
    }
    return static_cast<PoolObject*>(const_cast<void*>(handle));
  }
  void SetPending(const void* handle, int pending) {
    if (PoolObject* object = Use(handle)) {
      object->pending = pending;
    }
  }
  void Await(const void* handle, bool cancel) {
    if (PoolObject* object = Use(handle)) {
      if (object->running && !disassociated) {
        CurrentAccount()->NoteViolation("a callback waits for itself");
      }
      object->pending = cancel ? 0 : object->pending;
    }
  }
  void Close(const void* handle) {
    if (PoolObject* object = Use(handle)) {
      object->pending = 0;
      Closed(kPoolObject, handle);
    }
  }

  static constexpr const char* kPoolObject = "object of the pool";
  std::list<PoolObject> objects;
  int nullHandles = 0;
  bool disassociated = false;
  std::string printed;
  std::string errors;
  std::function<void()> happen;
  bool flushed = false;
  std::string command;
  std::string unread;
  bool disarmingRaises = false;

  // Stands for a pipe. Nothing uses its content.
  std::FILE* pipe = stdin;

  CreateKey createKey{OpensKey<CreateKey>(), Returns<CreateKey>(kRegistryErrors)};
  OpenKey openKey{OpensKey<OpenKey>(), Returns<OpenKey>(kRegistryErrors)};
  CloseKey closeKey{[](HKEY key) {
                      Closed("key", key);
                      return CloseKey::Original()(key);
                    },
                    Returns<CloseKey>({ERROR_INVALID_HANDLE}, [](HKEY key) {
                      Closed("key", key);
                      CloseKey::Original()(key);
                    })};
  DuplicateKey duplicateKey{[](HKEY key) {
                              const HKEY copy = DuplicateKey::Original()(key);
                              if (copy != nullptr) {
                                Opened("key", copy);
                              }
                              return copy;
                            },
                            Leaves<DuplicateKey>(HKEY{}, {ERROR_INVALID_HANDLE})};
  QueryKey queryKey{[](auto... arguments) { return QueryKey::Original()(arguments...); },
                    // Deleted, invalid handle, access denied, out of memory, and a name too long.
                    Returns<QueryKey>({0xC000017C, 0xC0000008, 0xC0000022, 0xC0000017, 0x80000005},
                                      [](HANDLE, int, PVOID name, ULONG size, PULONG length) {
                                        std::memset(name, 0xAB, size);
                                        *length = kRubbish;
                                      })};
  GetValue getValue{
      [](auto... arguments) { return GetValue::Original()(arguments...); },
      Joined(Returns<GetValue>(kRegistryErrors, kSpoilValue),
             // The value seems to be larger than it is. The next call sees its true size.
             Returns<GetValue>({ERROR_MORE_DATA}, [](HKEY, LPCWSTR, LPCWSTR, DWORD, LPDWORD type,
                                                     PVOID, LPDWORD size) {
               *type = kRubbish;
               *size = 5000;
             }))};
  SetKeyValue setKeyValue{[](auto... arguments) { return SetKeyValue::Original()(arguments...); },
                          Returns<SetKeyValue>(kRegistryErrors)};
  EnumKey enumKey{[](auto... arguments) { return EnumKey::Original()(arguments...); },
                  Joined(Returns<EnumKey>(kRegistryErrors, kSpoilName),
                         Returns<EnumKey>({ERROR_MORE_DATA, ERROR_NO_MORE_ITEMS}, kSpoilName))};
  EnumValue enumValue{
      [](auto... arguments) { return EnumValue::Original()(arguments...); },
      Joined(Returns<EnumValue>(kRegistryErrors, kSpoilEntry),
             Returns<EnumValue>({ERROR_NO_MORE_ITEMS}, kSpoilEntry),
             // First more data than the buffer has room for, then a name that does not fit.
             std::vector<EnumValue::Fails>{
                 {{"data does not fit", ERROR_MORE_DATA},
                  [](HKEY, DWORD, LPWSTR, LPDWORD length, LPDWORD, LPDWORD, LPBYTE, LPDWORD size) {
                    *length = 0;
                    *size += 1000;
                    return static_cast<LSTATUS>(ERROR_MORE_DATA);
                  }},
                 {{"name does not fit", ERROR_MORE_DATA},
                  [](HKEY, DWORD, LPWSTR, LPDWORD, LPDWORD, LPDWORD, LPBYTE, LPDWORD) {
                    return static_cast<LSTATUS>(ERROR_MORE_DATA);
                  }}})};
  Notify notify{[](auto... arguments) { return Notify::Original()(arguments...); },
                Returns<Notify>(kRegistryErrors)};
  Expand expand{[](auto... arguments) { return Expand::Original()(arguments...); },
                Leaves<Expand>(DWORD{0}, {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED,
                                          ERROR_NOT_ENOUGH_MEMORY, ERROR_MORE_DATA})};

  CreateEventCall createEvent{
      [](auto... arguments) {
        const HANDLE event = CreateEventCall::Original()(arguments...);
        if (event != nullptr) {
          Opened("event", event);
        }
        return event;
      },
      Joined(Leaves<CreateEventCall>(HANDLE{}, kRegistryErrors),
             Leaves<CreateEventCall>(INVALID_HANDLE_VALUE, {ERROR_NOT_ENOUGH_MEMORY}))};
  CloseHandleCall closeHandle{[](HANDLE event) {
                                Closed("event", event);
                                return CloseHandleCall::Original()(event);
                              },
                              {{Win32Failure(ERROR_INVALID_HANDLE), [](HANDLE event) {
                                  Closed("event", event);
                                  CloseHandleCall::Original()(event);
                                  ::SetLastError(ERROR_INVALID_HANDLE);
                                  return BOOL{FALSE};
                                }}}};

  AwaitEvent awaitEvent{[this](HANDLE /*event*/, DWORD /*milliseconds*/) {
                          happen();
                          return DWORD{WAIT_OBJECT_0};
                        },
                        Leaves<AwaitEvent>(WAIT_FAILED, {ERROR_INVALID_HANDLE})};

  CreateTimer createTimer{
      [this](PTP_TIMER_CALLBACK callback, PVOID context, PTP_CALLBACK_ENVIRON /*environment*/) {
        return Create<PTP_TIMER>(callback, context);
      },
      Leaves<CreateTimer>(PTP_TIMER{}, {ERROR_NOT_ENOUGH_MEMORY, ERROR_INVALID_HANDLE})};
  CreateWait createWait{
      [this](PTP_WAIT_CALLBACK callback, PVOID context, PTP_CALLBACK_ENVIRON /*environment*/) {
        return Create<PTP_WAIT>(callback, context, WAIT_OBJECT_0);
      },
      Leaves<CreateWait>(PTP_WAIT{}, {ERROR_NOT_ENOUGH_MEMORY, ERROR_INVALID_HANDLE})};
  CreateWork createWork{
      [this](PTP_WORK_CALLBACK callback, PVOID context, PTP_CALLBACK_ENVIRON /*environment*/) {
        return Create<PTP_WORK>(callback, context);
      },
      Leaves<CreateWork>(PTP_WORK{}, {ERROR_NOT_ENOUGH_MEMORY, ERROR_INVALID_HANDLE})};
  SetTimerCall setTimer{[this](PTP_TIMER timer, const FILETIME* due, DWORD, DWORD) {
                          SetPending(timer, due != nullptr ? 1 : 0);
                        },
                        {{{"raises a structured exception"},
                          [](auto...) { ::RaiseException(0xE0001234, 0, 0, nullptr); }}}};
  SetWait setWait{[this](PTP_WAIT wait, HANDLE handle, const FILETIME*) {
    SetPending(wait, handle != nullptr ? 1 : 0);
  }};
  SubmitWork submitWork{[this](PTP_WORK work) {
    if (PoolObject* object = Use(work)) {
      ++object->pending;
    }
  }};
  AwaitTimer awaitTimer{[this](PTP_TIMER timer, BOOL cancel) { Await(timer, cancel != FALSE); }};
  AwaitWait awaitWait{[this](PTP_WAIT wait, BOOL cancel) { Await(wait, cancel != FALSE); }};
  AwaitWork awaitWork{[this](PTP_WORK work, BOOL cancel) { Await(work, cancel != FALSE); }};
  CloseTimer closeTimer{[this](PTP_TIMER timer) { Close(timer); }};
  CloseWait closeWait{[this](PTP_WAIT wait) { Close(wait); }};
  CloseWork closeWork{[this](PTP_WORK work) { Close(work); }};
  Disassociate disassociate{[this](PTP_CALLBACK_INSTANCE) { disassociated = true; }};

  ToWide toWide{[](auto... arguments) { return ToWide::Original()(arguments...); },
                Leaves<ToWide>(0, kTextErrors)};
  ToNarrow toNarrow{[](auto... arguments) { return ToNarrow::Original()(arguments...); },
                    Leaves<ToNarrow>(0, kTextErrors)};
  Compare compare{[](auto... arguments) { return Compare::Original()(arguments...); },
                  Leaves<Compare>(0, {ERROR_INVALID_PARAMETER, ERROR_NOT_ENOUGH_MEMORY})};

  IsAdmin isAdmin{[] { return BOOL{TRUE}; },
                  Leaves<IsAdmin>(BOOL{FALSE}, {ERROR_NOT_ENOUGH_MEMORY})};
  ModuleName moduleName{[](HMODULE, LPSTR name, DWORD) {
                          constexpr char kTool[] = "C:\\Tools\\ostrel.exe";
                          std::memcpy(name, kTool, sizeof kTool);
                          return DWORD{sizeof kTool - 1};
                        },
                        Leaves<ModuleName>(DWORD{0}, {ERROR_NOT_ENOUGH_MEMORY})};
  FileApis fileApis{[] { return BOOL{TRUE}; }, Leaves<FileApis>(BOOL{FALSE}, {ERROR_SUCCESS})};
  SetVariable setVariable{[](auto... /*arguments*/) { return BOOL{TRUE}; },
                          Leaves<SetVariable>(BOOL{FALSE}, {ERROR_NOT_ENOUGH_MEMORY})};
  OpenPipe openPipe{[this](const char* text, const char* /*mode*/) {
                      command = text;
                      unread = kCommandOutput;
                      Opened("pipe", pipe);
                      return pipe;
                    },
                    {{{"no pipe"}, [this](const char* text, const char* /*mode*/) {
                        const Pause pause;
                        command = text;
                        return static_cast<std::FILE*>(nullptr);
                      }}}};
  ClosePipe closePipe{[](std::FILE* closed) {
                        Closed("pipe", closed);
                        return 0;
                      },
                      {{{"fails"}, [](std::FILE* closed) {
                          Closed("pipe", closed);
                          return -1;
                        }}}};
  ReadStream read{[this](void* buffer, std::size_t size, std::size_t count, std::FILE* /*stream*/) {
                    // In pieces, as from a slow command.
                    const std::size_t length = std::min({size * count, unread.size(), kReadLength});
                    std::memcpy(buffer, unread.data(), length);
                    unread.erase(0, length);
                    return length;
                  },
                  {{{"reads nothing"}, [](auto... /*arguments*/) { return std::size_t{0}; }}}};
  WriteStream write{
      [this](const void* data, std::size_t size, std::size_t count, std::FILE* stream) {
        const bool isOutput = stream == stdout;
        (isOutput ? printed : errors).append(static_cast<const char*>(data), size * count);
        flushed = flushed && !isOutput;
        return count;
      },
      {{{"writes nothing"}, [](auto... /*arguments*/) { return std::size_t{0}; }}}};
  FlushStream flush{[this](std::FILE* stream) {
                      flushed = stream == stdout;
                      return 0;
                    },
                    {{{"fails"}, [this](std::FILE* stream) {
                        flushed = stream == stdout;
                        return EOF;
                      }}}};
};

Platform::Platform() : calls_(std::make_unique<Calls>()) {
  calls_->setTimer.OnlyFor(
      [this](PTP_TIMER /*timer*/, const FILETIME* due, DWORD /*period*/, DWORD /*window*/) {
        return calls_->disarmingRaises && due == nullptr;
      });
}
Platform::~Platform() = default;

void Platform::Reset() {
  calls_->printed.clear();
  calls_->errors.clear();
  calls_->happen = nullptr;
  calls_->flushed = false;
  calls_->command.clear();
  calls_->unread.clear();
  calls_->objects.clear();
  calls_->nullHandles = 0;
  calls_->disarmingRaises = false;
}
bool Platform::RunLastObject() {
  if (calls_->objects.empty() || calls_->objects.back().pending == 0) {
    return false;
  }
  Calls::PoolObject& object = calls_->objects.back();
  --object.pending;
  object.running = true;
  calls_->disassociated = false;
  int instance = 0;
  object.run(reinterpret_cast<PTP_CALLBACK_INSTANCE>(&instance));
  object.running = false;
  return true;
}
int Platform::NullHandles() const { return calls_->nullHandles; }
const std::string& Platform::Printed() const { return calls_->printed; }
const std::string& Platform::Errors() const { return calls_->errors; }
void Platform::OnWait(std::function<void()> happen) { calls_->happen = std::move(happen); }
bool Platform::Flushed() const { return calls_->flushed; }
const std::string& Platform::Command() const { return calls_->command; }
void Platform::LetDisarmingRaise(bool raise) { calls_->disarmingRaises = raise; }

}  // namespace faults
