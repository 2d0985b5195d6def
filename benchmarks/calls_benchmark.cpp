// The platform calls of the tool's commands, against those of the floor.
#include <windows.h>

#include <shlobj.h>
#include <shlwapi.h>
#include <winternl.h>

#include <cstddef>
#include <cstdio>
#include <map>
#include <string>

#include <fmt/format.h>
#include <gtest/gtest.h>

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

template <class... Counted>
struct CountedCalls : Counted... {
  explicit CountedCalls(Calls& calls) : Counted(calls)... {}
};

// All that the product calls, but for the last error, which the runtime asks for as well.
using PlatformCalls = CountedCalls<
    CountedCall<"AcquireSRWLockExclusive", decltype(::AcquireSRWLockExclusive)>,
    CountedCall<"AcquireSRWLockShared", decltype(::AcquireSRWLockShared)>,
    CountedCall<"AreFileApisANSI", decltype(::AreFileApisANSI)>,
    CountedCall<"CloseHandle", decltype(::CloseHandle)>,
    CountedCall<"CloseThreadpoolTimer", decltype(::CloseThreadpoolTimer)>,
    CountedCall<"CloseThreadpoolWait", decltype(::CloseThreadpoolWait)>,
    CountedCall<"CloseThreadpoolWork", decltype(::CloseThreadpoolWork)>,
    CountedCall<"CompareStringW", decltype(::CompareStringW)>,
    CountedCall<"CreateEventW", decltype(::CreateEventW)>,
    CountedCall<"CreateThreadpoolTimer", decltype(::CreateThreadpoolTimer)>,
    CountedCall<"CreateThreadpoolWait", decltype(::CreateThreadpoolWait)>,
    CountedCall<"CreateThreadpoolWork", decltype(::CreateThreadpoolWork)>,
    CountedCall<"DisassociateCurrentThreadFromCallback",
                decltype(::DisassociateCurrentThreadFromCallback)>,
    CountedCall<"ExpandEnvironmentStringsW", decltype(::ExpandEnvironmentStringsW)>,
    CountedCall<"GetModuleFileNameA", decltype(::GetModuleFileNameA)>,
    CountedCall<"IsUserAnAdmin", decltype(::IsUserAnAdmin)>,
    CountedCall<"MultiByteToWideChar", decltype(::MultiByteToWideChar)>,
    CountedCall<"NtQueryKey", decltype(::NtQueryKey)>,
    CountedCall<"RegCloseKey", decltype(::RegCloseKey)>,
    CountedCall<"RegCreateKeyExW", decltype(::RegCreateKeyExW)>,
    CountedCall<"RegEnumKeyExW", decltype(::RegEnumKeyExW)>,
    CountedCall<"RegEnumValueW", decltype(::RegEnumValueW)>,
    CountedCall<"RegGetValueW", decltype(::RegGetValueW)>,
    CountedCall<"RegNotifyChangeKeyValue", decltype(::RegNotifyChangeKeyValue)>,
    CountedCall<"RegOpenKeyExW", decltype(::RegOpenKeyExW)>,
    CountedCall<"RegSetKeyValueW", decltype(::RegSetKeyValueW)>,
    CountedCall<"ReleaseSRWLockExclusive", decltype(::ReleaseSRWLockExclusive)>,
    CountedCall<"ReleaseSRWLockShared", decltype(::ReleaseSRWLockShared)>,
    CountedCall<"SHRegDuplicateHKey", decltype(::SHRegDuplicateHKey)>,
    CountedCall<"SetEnvironmentVariableW", decltype(::SetEnvironmentVariableW)>,
    CountedCall<"SetThreadpoolTimer", decltype(::SetThreadpoolTimer)>,
    CountedCall<"SetThreadpoolWait", decltype(::SetThreadpoolWait)>,
    CountedCall<"SubmitThreadpoolWork", decltype(::SubmitThreadpoolWork)>,
    CountedCall<"WaitForThreadpoolTimerCallbacks", decltype(::WaitForThreadpoolTimerCallbacks)>,
    CountedCall<"WaitForThreadpoolWaitCallbacks", decltype(::WaitForThreadpoolWaitCallbacks)>,
    CountedCall<"WaitForThreadpoolWorkCallbacks", decltype(::WaitForThreadpoolWorkCallbacks)>,
    CountedCall<"WideCharToMultiByte", decltype(::WideCharToMultiByte)>,
    CountedCall<"_pclose", decltype(::_pclose)>, CountedCall<"_popen", decltype(::_popen)>,
    CountedCall<"fflush", decltype(std::fflush)>, CountedCall<"fread", decltype(std::fread)>>;

/// The calls that the tool's own code makes during `run`, by their names.
template <class Run>
Calls CountCalls(Run run) {
  Calls calls;
  const PlatformCalls counted(calls);
  // The output of the tool would stand between the messages of failed tests.
  using Write = std::size_t(const void*, std::size_t, std::size_t, std::FILE*);
  const testing_support::ImportHook<"fwrite", Write> write(
      [&calls](const void*, std::size_t, std::size_t count, std::FILE*) {
        ++calls["fwrite"];
        return count;
      });
  EXPECT_EQ(run(), 0);
  return calls;
}

std::size_t Sum(const Calls& calls) {
  std::size_t sum = 0;
  for (const auto& [name, count] : calls) {
    sum += count;
  }
  return sum;
}

TEST(Own, PlatformCalls) {
  for (const std::string command : {"-setLogLevel", "-getLogLevel", "-resetAllLogSettings"}) {
    std::string program = "ostrel";
    std::string option = command;
    std::string value = "Debug";
    char* argv[] = {program.data(), option.data(), value.data(), nullptr};
    const int argc = command == "-setLogLevel" ? 3 : 2;
    Calls ours = CountCalls([&] { return RunTool(argc, argv); });
    Calls floor = CountCalls([&] { return FloorRunTool(command.c_str()); });
    Report("platform calls, " + command, "tessel", Sum(ours));
    Report("platform calls, " + command, "platform", Sum(floor));
    for (const auto& calls : {ours, floor}) {
      for (const auto& [name, count] : calls) {
        EXPECT_EQ(ours[name], floor[name]) << command << ": " << name;
      }
    }
  }
}

}  // namespace
}  // namespace benchmarks
