#include "changes.h"

#include <cstdint>
#include <string>
#include <utility>

#include "tessel/config/registry_storage.h"

namespace soak {
namespace {

using tessel::config::RegistryStorage;
using tessel::config::StorageEvent;
using tessel::config::StoragePath;
using tessel::config::UniqueEvent;

constexpr const wchar_t* kValue = L"number";
constexpr DWORD kLimitMilliseconds = 60'000;

UniqueEvent MakeInheritableEvent(BOOL manualReset) {
  SECURITY_ATTRIBUTES attributes{sizeof attributes, nullptr, TRUE};
  return UniqueEvent(::CreateEventW(&attributes, manualReset, FALSE, nullptr));
}

std::wstring Number(HANDLE handle) {
  return std::to_wstring(reinterpret_cast<std::uintptr_t>(handle));
}

// Starts this program as the other process.
HANDLE StartChanges(const std::wstring& path, HANDLE reported, HANDLE stop) {
  wchar_t program[MAX_PATH];
  ::GetModuleFileNameW(nullptr, program, MAX_PATH);
  std::wstring command = L"soak change \"" + path + L"\" " + Number(reported) + L' ' + Number(stop);
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  const BOOL started =
      ::CreateProcessW(program, command.data(), nullptr, nullptr,
                       /*bInheritHandles=*/TRUE, 0, nullptr, nullptr, &startup, &process);
  Require(started != FALSE, "the other process starts");
  ::CloseHandle(process.hThread);
  return process.hProcess;
}

}  // namespace

void WatchChanges(HKEY parent, const std::wstring& path,
                  const std::shared_ptr<tessel::task::WaitTaskExecutor>& executor,
                  const Running& running, Totals& totals) {
  const std::wstring name = L"watched" + std::to_wstring(::GetCurrentThreadId());
  const UniqueEvent reported = MakeInheritableEvent(/*manualReset=*/FALSE);
  const UniqueEvent stop = MakeInheritableEvent(/*manualReset=*/TRUE);
  const UniqueEvent enough = MakeInheritableEvent(/*manualReset=*/TRUE);
  auto storage = *RegistryStorage::Create(parent, StoragePath(name), executor);
  std::uint32_t seen = 0;
  auto connection = storage->ConnectStorageEvent([&](StorageEvent event) {
    Require(event == StorageEvent::Changed, "the watch goes on");
    const auto value = storage->GetValue(StoragePath(kValue));
    // A second report of the same change may come. It is ignored.
    if (value && std::get<std::uint32_t>(value->Payload()) == seen + 1) {
      ++seen;
      ++totals.changes;
      ::SetEvent(running ? reported.get() : enough.get());
    }
  });
  Require(connection.has_value(), "the key is watched");

  const HANDLE other = StartChanges(path + L'\\' + name, reported.get(), stop.get());
  // The other process ends by itself if it waits too long for a report.
  const HANDLE ends[] = {enough.get(), other};
  Require(::WaitForMultipleObjects(2, ends, FALSE, INFINITE) == WAIT_OBJECT_0,
          "each change is reported to the process that made it");
  ::SetEvent(stop.get());
  Require(::WaitForSingleObject(other, kLimitMilliseconds) == WAIT_OBJECT_0,
          "the other process ends");
  DWORD status = EXIT_FAILURE;
  ::GetExitCodeProcess(other, &status);
  ::CloseHandle(other);
  Require(status == EXIT_SUCCESS, "the other process saw no failure");
  connection->Disconnect();
  storage.reset();
  ::RegDeleteTreeW(parent, name.c_str());
}

int ChangeKey(const wchar_t* path, HANDLE reported, HANDLE stop) {
  const HANDLE events[] = {stop, reported};
  for (std::uint32_t number = 1;; ++number) {
    if (::RegSetKeyValueW(HKEY_CURRENT_USER, path, kValue, REG_DWORD, &number, sizeof number) !=
        ERROR_SUCCESS) {
      return EXIT_FAILURE;
    }
    const DWORD event = ::WaitForMultipleObjects(2, events, FALSE, kLimitMilliseconds);
    if (event != WAIT_OBJECT_0 + 1) {
      return event == WAIT_OBJECT_0 ? EXIT_SUCCESS : EXIT_FAILURE;
    }
  }
}

}  // namespace soak
