#include "handlers/log_collection.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <string_view>

#include <fmt/format.h>

#include "text.h"

namespace ostrel {
namespace {

constexpr std::wstring_view kSeparators = L"\\/";

// The length of the root of a path: a drive or a server, and the separators after it.
std::size_t rootLength(std::wstring_view path) {
  std::size_t length = 0;
  if (path.size() >= 2 && path[1] == L':') {
    length = 2;
  } else if (path.find_first_not_of(kSeparators) == 2) {
    length = std::min(path.find_first_of(kSeparators, 2), path.size());
  }
  return std::min(path.find_first_not_of(kSeparators, length), path.size());
}

// The directory of a file by the standard rule for paths: without the file name and the separators
// before it, but never without its root ("C:\" of "C:\file"). std::filesystem could do this, but
// would add half the size of this program and has its own idea of the narrow encoding.
std::wstring_view parentPath(std::wstring_view path) {
  const std::size_t root = rootLength(path);
  std::size_t end = path.find_last_of(kSeparators);
  end = end == std::wstring_view::npos || end < root ? root : end;
  while (end > root && kSeparators.find(path[end - 1]) != std::wstring_view::npos) {
    --end;
  }
  return path.substr(0, end);
}

std::string executableDirectory() {
  std::array<char, 260> buffer{};
  // A path that is too long is cut, and on some versions of the platform has no terminating zero.
  ::GetModuleFileNameA(nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
  const std::string_view text(buffer.data(), buffer.size());
  const std::string_view path = text.substr(0, text.find('\0'));
  const unsigned int codePage = fileCodePage();
  return toNarrow(parentPath(toWide(path, codePage)), codePage);
}

}  // namespace

ProcessRunResult runCommand(const std::string& command) {
  // The command interpreter is intended here: it finds and starts the program.
  // NOLINTNEXTLINE(bugprone-command-processor,cert-env33-c)
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(::_popen(command.c_str(), "r"), &::_pclose);
  if (!pipe) {
    return 1;
  }
  CommandOutput result{};
  std::array<char, 1024> chunk;
  while (const std::size_t count = std::fread(chunk.data(), 1, chunk.size(), pipe.get())) {
    result.output.append(chunk.data(), count);
  }
  result.exitStatus = ::_pclose(pipe.release());
  return result;
}

void collectLog() {
  // The tool runs elevated, and the command below names its program without a directory: a program
  // of that name in the current directory must not be started.
  ::SetEnvironmentVariableW(L"NoDefaultCurrentDirectoryInExePath", L"1");
  const auto result = runCommand(
      fmt::format(R"(powershell.exe -ExecutionPolicy RemoteSigned -file "{}\collectLogs.ps1")",
                  executableDirectory()));
  if (result) {
    static_cast<void>(std::fwrite(result->output.data(), 1, result->output.size(), stdout));
  }
}

}  // namespace ostrel
