// The platform calls of the tool's commands, against those of the floor.
#include <windows.h>

#include <shlobj.h>
#include <shlwapi.h>
#include <winternl.h>

#include <cstddef>
#include <cstdio>
#include <map>
#include <string>

#include "faults/tool_entry.h"
#include "floor.h"
#include "measure.h"

extern "C" NTSTATUS NTAPI NtQueryKey(HANDLE, int, PVOID, ULONG, PULONG);

namespace benchmarks {
namespace {

using Calls = std::map<std::string, std::size_t>;

template <testing_support::FunctionName Name, class Function>
class CountedCall {
 public:
  explicit CountedCall(Calls& calls)
      : hook_([&calls](auto... arguments) {
          ++calls[Name.text];
          return Hook::Original()(arguments...);
        }) {}

 private:
  using Hook = testing_support::ImportHook<Name, Function>;
  Hook hook_;
};

/// The calls that the tool's own code makes during `run`, by their names.
template <class Run>
Calls CountCalls(Run run) {
  Calls calls;
  const CountedCall<"IsUserAnAdmin", decltype(::IsUserAnAdmin)> isAdmin(calls);
  const CountedCall<"RegCreateKeyExW", decltype(::RegCreateKeyExW)> create(calls);
  const CountedCall<"RegOpenKeyExW", decltype(::RegOpenKeyExW)> open(calls);
  const CountedCall<"RegGetValueW", decltype(::RegGetValueW)> get(calls);
  const CountedCall<"RegSetKeyValueW", decltype(::RegSetKeyValueW)> set(calls);
  const CountedCall<"RegEnumKeyExW", decltype(::RegEnumKeyExW)> enumerateKeys(calls);
  const CountedCall<"RegEnumValueW", decltype(::RegEnumValueW)> enumerateValues(calls);
  const CountedCall<"RegNotifyChangeKeyValue", decltype(::RegNotifyChangeKeyValue)> notify(calls);
  const CountedCall<"RegCloseKey", decltype(::RegCloseKey)> close(calls);
  const CountedCall<"SHRegDuplicateHKey", decltype(::SHRegDuplicateHKey)> duplicate(calls);
  const CountedCall<"NtQueryKey", decltype(::NtQueryKey)> query(calls);
  const CountedCall<"AcquireSRWLockShared", decltype(::AcquireSRWLockShared)> acquire(calls);
  const CountedCall<"ReleaseSRWLockShared", decltype(::ReleaseSRWLockShared)> release(calls);
  const CountedCall<"AcquireSRWLockExclusive", decltype(::AcquireSRWLockExclusive)> exclude(calls);
  const CountedCall<"CompareStringW", decltype(::CompareStringW)> compare(calls);
  const CountedCall<"MultiByteToWideChar", decltype(::MultiByteToWideChar)> widen(calls);
  const CountedCall<"WideCharToMultiByte", decltype(::WideCharToMultiByte)> narrow(calls);
  const CountedCall<"ExpandEnvironmentStringsW", decltype(::ExpandEnvironmentStringsW)> expand(
      calls);
  const CountedCall<"CreateEventW", decltype(::CreateEventW)> createEvent(calls);
  const CountedCall<"CreateThreadpoolWait", decltype(::CreateThreadpoolWait)> createWait(calls);
  const CountedCall<"SetThreadpoolWait", decltype(::SetThreadpoolWait)> setWait(calls);
  const CountedCall<"fflush", decltype(std::fflush)> flush(calls);
  // Standard output is taken by the results.
  using Write = std::size_t(const void*, std::size_t, std::size_t, std::FILE*);
  const testing_support::ImportHook<"fwrite", Write> write(
      [&calls](const void*, std::size_t, std::size_t count, std::FILE*) {
        ++calls["fwrite"];
        return count;
      });
  run();
  return calls;
}

TEST_CASE("platform calls", "[own]") {
  for (const std::string command : {"-setLogLevel", "-getLogLevel", "-resetAllLogSettings"}) {
    std::string program = "ostrel";
    std::string option = command;
    std::string value = "Debug";
    char* argv[] = {program.data(), option.data(), value.data(), nullptr};
    const int argc = command == "-setLogLevel" ? 3 : 2;
    const Calls ours = CountCalls([&] { RunTool(argc, argv); });
    const Calls floor = CountCalls([&] { FloorRunTool(command.c_str()); });
    std::size_t sums[2] = {0, 0};
    for (const auto& [name, count] : ours) {
      sums[0] += count;
    }
    for (const auto& [name, count] : floor) {
      sums[1] += count;
    }
    Report("platform calls, " + command, "tessel", sums[0]);
    Report("platform calls, " + command, "platform", sums[1]);
    CHECK(ours == floor);
  }
}

}  // namespace
}  // namespace benchmarks
