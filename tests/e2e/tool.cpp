#include "tool.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <future>
#include <memory>
#include <ostream>
#include <sddl.h>
#include <stdexcept>
#include <string_view>
#include <system_error>

// Exported by ntdll.dll. No header declares them, and no documented function suspends all threads
// of a process at once.
extern "C" LONG NTAPI NtSuspendProcess(HANDLE process);
extern "C" LONG NTAPI NtResumeProcess(HANDLE process);

namespace end_to_end {
namespace {

using testing_support::RawValue;

constexpr const wchar_t* kMakerKey = L"SOFTWARE\\Kestrane, Inc.";
constexpr DWORD kLimitInMilliseconds = 60'000;

constexpr UINT kTerminated = 99;

void Check(bool succeeded, const char* what) {
  if (!succeeded) {
    throw std::runtime_error(std::string(what) + ": " + std::to_string(::GetLastError()));
  }
}

// Quoted by the rules of the C runtime that parses it: backslashes are special only before a quote.
std::wstring Quoted(const std::wstring& argument) {
  std::wstring quoted = L"\"";
  std::size_t backslashes = 0;
  for (const wchar_t character : argument) {
    if (character == L'"') {
      quoted.append(backslashes + 1, L'\\');
    }
    backslashes = character == L'\\' ? backslashes + 1 : 0;
    quoted += character;
  }
  quoted.append(backslashes, L'\\');
  return quoted + L'"';
}

// The environment block of this program with the changes.
std::wstring Block(const Environment& changes) {
  Environment environment;
  wchar_t* const own = ::GetEnvironmentStringsW();
  for (const wchar_t* entry = own; *entry != L'\0'; entry += std::wstring_view(entry).size() + 1) {
    const std::wstring text = entry;
    // The name of a variable of the command interpreter may begin with the separator.
    const std::size_t separator = text.find(L'=', 1);
    environment[text.substr(0, separator)] = text.substr(separator + 1);
  }
  ::FreeEnvironmentStringsW(own);
  for (const auto& [name, value] : changes) {
    environment[name] = value;
  }
  std::wstring block;
  for (const auto& [name, value] : environment) {
    if (value) {
      block.append(name).append(1, L'=').append(*value).append(1, L'\0');
    }
  }
  return block + L'\0';
}

// When Wine is busy, it sometimes gives up on a process that has not begun to run, with this error,
// which Windows does not give here. Only then the test tries again.
template <class StartOnce>
bool Start(const StartOnce& startOnce) {
  constexpr int kAttempts = 5;
  for (int attempt = 1; !startOnce(); ++attempt) {
    if (attempt == kAttempts || ::GetLastError() != ERROR_INTERNAL_ERROR) {
      return false;
    }
  }
  return true;
}

std::string ReadToEnd(HANDLE pipe) {
  std::string output;
  std::array<char, 4096> chunk;
  DWORD count = 0;
  while (::ReadFile(pipe, chunk.data(), chunk.size(), &count, nullptr) && count > 0) {
    output.append(chunk.data(), count);
  }
  return output;
}

void Collect(HKEY key, const std::wstring& path, Settings& settings) {
  DWORD subkeys = 0;
  DWORD values = 0;
  ::RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, &values, nullptr,
                     nullptr, nullptr, nullptr);
  std::array<wchar_t, 256> name;
  if (subkeys == 0 || values != 0) {
    settings[path];
  }
  for (DWORD index = 0; index < values; ++index) {
    RawValue value{};
    value.data.resize(1U << 20U);
    auto length = static_cast<DWORD>(name.size());
    auto size = static_cast<DWORD>(value.data.size());
    Check(::RegEnumValueW(key, index, name.data(), &length, nullptr, &value.type, value.data.data(),
                          &size) == ERROR_SUCCESS,
          "read a value");
    value.data.resize(size);
    settings[path][std::wstring(name.data(), length)] = value;
  }
  for (DWORD index = 0; index < subkeys; ++index) {
    auto length = static_cast<DWORD>(name.size());
    HKEY subkey = nullptr;
    Check(::RegEnumKeyExW(key, index, name.data(), &length, nullptr, nullptr, nullptr, nullptr) ==
                  ERROR_SUCCESS &&
              ::RegOpenKeyExW(key, name.data(), 0, KEY_READ, &subkey) == ERROR_SUCCESS,
          "read a key");
    std::wstring subkeyPath = path;
    if (!subkeyPath.empty()) {
      subkeyPath += L'\\';
    }
    Collect(subkey, subkeyPath.append(name.data(), length), settings);
    ::RegCloseKey(subkey);
  }
}

std::string WithPlatformLineEnds(const std::string& message) {
  std::string text;
  for (const char character : message) {
    text += character == '\n' ? std::string("\r\n") : std::string(1, character);
  }
  return text + "\r\n";
}

}  // namespace

void HandleCloser::operator()(HANDLE handle) const { ::CloseHandle(handle); }

void PrintTo(const RunResult& result, std::ostream* stream) {
  *stream << "status " << result.exitStatus << ", output "
          << ::testing::PrintToString(result.output);
}

std::wstring ProgramDirectory() {
  std::array<wchar_t, 1024> path{};
  ::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
  const std::wstring program = path.data();
  return program.substr(0, program.rfind(L'\\'));
}

std::string Utf8(const std::wstring& text) {
  const auto convert = [&text](char* buffer, int size) {
    return ::WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), buffer,
                                 size, nullptr, nullptr);
  };
  std::string narrow(static_cast<std::size_t>(convert(nullptr, 0)), '\0');
  convert(narrow.data(), static_cast<int>(narrow.size()));
  return narrow;
}

TemporaryDirectory::TemporaryDirectory(const std::wstring& name) {
  std::array<wchar_t, MAX_PATH + 1> temporary{};
  Check(::GetTempPathW(static_cast<DWORD>(temporary.size()), temporary.data()) != 0,
        "find the directory of temporary files");
  static int number = 0;
  root_ = std::wstring(temporary.data()) + L"ostrel-" + std::to_wstring(::GetCurrentProcessId()) +
          L"-" + std::to_wstring(++number);
  path_ = (root_ / name).wstring();
  std::filesystem::remove_all(root_);
  std::filesystem::create_directories(path_);
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(root_, ignored);
}

RunningProgram::RunningProgram(const std::wstring& program, const Arguments& arguments,
                               const Environment& environment, const std::wstring& directory,
                               ErrorMessages errorMessages) {
  std::wstring commandLine = Quoted(program);
  for (const std::wstring& argument : arguments) {
    commandLine += L' ' + Quoted(argument);
  }
  std::wstring block = Block(environment);

  SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
  HANDLE readEnd = nullptr;
  HANDLE writeEnd = nullptr;
  Check(::CreatePipe(&readEnd, &writeEnd, &inheritable, 0) != 0, "make a pipe");
  reader_.reset(readEnd);
  const Handle writer(writeEnd);
  ::SetHandleInformation(readEnd, HANDLE_FLAG_INHERIT, 0);

  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = ::GetStdHandle(STD_INPUT_HANDLE);
  startup.hStdOutput = writeEnd;
  startup.hStdError =
      errorMessages == ErrorMessages::InOutput ? writeEnd : ::GetStdHandle(STD_ERROR_HANDLE);
  PROCESS_INFORMATION information{};
  const auto startOnce = [&] {
    return ::CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr,
                            /*bInheritHandles=*/TRUE, CREATE_UNICODE_ENVIRONMENT, block.data(),
                            directory.empty() ? nullptr : directory.c_str(), &startup,
                            &information) != 0;
  };
  Check(Start(startOnce), "start the program");
  process_.reset(information.hProcess);
  ::CloseHandle(information.hThread);
}

RunningProgram::~RunningProgram() {
  // Has no effect on a program that has ended.
  ::TerminateProcess(process_.get(), kTerminated);
}

std::string RunningProgram::ReadLine() {
  const auto readLine = [this] {
    std::string line;
    char character = 0;
    DWORD count = 0;
    while (!line.ends_with('\n') &&
           ::ReadFile(reader_.get(), &character, 1, &count, nullptr) != FALSE && count == 1) {
      line += character;
    }
    return line;
  };
  auto line = std::async(std::launch::async, readLine);
  if (line.wait_for(std::chrono::milliseconds(kLimitInMilliseconds)) != std::future_status::ready) {
    ADD_FAILURE() << "the program printed no line";
    ::TerminateProcess(process_.get(), kTerminated);  // which ends the reading too
  }
  return line.get();
}

void RunningProgram::Freeze(const std::function<void()>& action) {
  Check(NtSuspendProcess(process_.get()) == 0, "suspend the program");
  action();
  Check(NtResumeProcess(process_.get()) == 0, "resume the program");
}

RunResult RunningProgram::Finish() {
  auto output = std::async(std::launch::async, ReadToEnd, reader_.get());
  if (::WaitForSingleObject(process_.get(), kLimitInMilliseconds) != WAIT_OBJECT_0) {
    ADD_FAILURE() << "the program did not end";
    ::TerminateProcess(process_.get(), kTerminated);
    ::WaitForSingleObject(process_.get(), INFINITE);
  }
  RunResult result{output.get(), 0};
  ::GetExitCodeProcess(process_.get(), &result.exitStatus);
  return result;
}

RunResult RunProgram(const std::wstring& program, const Arguments& arguments,
                     const Environment& environment, const std::wstring& directory,
                     ErrorMessages errorMessages) {
  return RunningProgram(program, arguments, environment, directory, errorMessages).Finish();
}

RunResult RunTool(const Arguments& arguments, const Environment& environment,
                  const std::wstring& directory) {
  return RunProgram(ProgramDirectory() + L"\\ostrel.exe", arguments, environment, directory);
}

RunResult Success(const std::string& message) { return {WithPlatformLineEnds(message), 0}; }
RunResult Failure(const std::string& message) { return {WithPlatformLineEnds(message), 1}; }

RestrictedKey::RestrictedKey(const std::wstring& path, const wchar_t* rights) {
  const std::wstring wholePath = std::wstring(kMakerKey) + (path.empty() ? L"" : L"\\") + path;
  EXPECT_EQ(
      ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, wholePath.c_str(), 0, READ_CONTROL | WRITE_DAC, &key_),
      ERROR_SUCCESS);
  Grant(rights);
}

RestrictedKey::~RestrictedKey() {
  Grant(L"D:P(A;;KA;;;WD)");
  ::RegCloseKey(key_);
}

void RestrictedKey::Grant(const wchar_t* rights) const {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  EXPECT_TRUE(::ConvertStringSecurityDescriptorToSecurityDescriptorW(rights, SDDL_REVISION_1,
                                                                     &descriptor, nullptr));
  EXPECT_EQ(::RegSetKeySecurity(key_, DACL_SECURITY_INFORMATION, descriptor), ERROR_SUCCESS);
  ::LocalFree(descriptor);
}

ToolTest::ToolTest() { Clear(); }
ToolTest::~ToolTest() { Clear(); }

void ToolTest::Clear() { ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, kMakerKey); }

void ToolTest::Write(const std::wstring& key, const std::wstring& value, const RawValue& content) {
  const std::wstring path = std::wstring(kMakerKey) + L'\\' + key;
  // After a text without a terminator the platform looks for one, and would store it too.
  std::vector<std::uint8_t> data = content.data;
  data.insert(data.end(), sizeof(wchar_t), 0xFF);
  Check(::RegSetKeyValueW(HKEY_LOCAL_MACHINE, path.c_str(), value.c_str(), content.type,
                          data.data(), static_cast<DWORD>(content.data.size())) == ERROR_SUCCESS,
        "write a value");
}

void ToolTest::Write(const Settings& settings) {
  for (const auto& [key, values] : settings) {
    HKEY created = nullptr;
    Check(::RegCreateKeyExW(HKEY_LOCAL_MACHINE, (std::wstring(kMakerKey) + L'\\' + key).c_str(), 0,
                            nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr, &created,
                            nullptr) == ERROR_SUCCESS,
          "create a key");
    ::RegCloseKey(created);
    for (const auto& [value, content] : values) {
      Write(key, value, content);
    }
  }
}

Settings ToolTest::Registry() {
  Settings settings;
  HKEY key = nullptr;
  if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, kMakerKey, 0, KEY_READ, &key) == ERROR_SUCCESS) {
    Collect(key, L"", settings);
    ::RegCloseKey(key);
  }
  return settings;
}

}  // namespace end_to_end
