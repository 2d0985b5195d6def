// These tests also replace calls of the C runtime. For that the program must import them, and so
// use a C runtime that is a DLL.
#include "handlers/log_collection.h"

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock-more-matchers.h>
#include <gtest/gtest.h>

#include "support/import_hook.h"

namespace ostrel {
namespace {

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing_support::ImportHook;

using OpenHook = ImportHook<"_popen", std::FILE*(const char*, const char*)>;
using ReadHook = ImportHook<"fread", std::size_t(void*, std::size_t, std::size_t, std::FILE*)>;
using CloseHook = ImportHook<"_pclose", int(std::FILE*)>;
using WriteHook =
    ImportHook<"fwrite", std::size_t(const void*, std::size_t, std::size_t, std::FILE*)>;
using ModuleNameHook = ImportHook<"GetModuleFileNameA", decltype(::GetModuleFileNameA)>;
using FileApisHook = ImportHook<"AreFileApisANSI", decltype(::AreFileApisANSI)>;
using ToWideHook = ImportHook<"MultiByteToWideChar", decltype(::MultiByteToWideChar)>;
using ToNarrowHook = ImportHook<"WideCharToMultiByte", decltype(::WideCharToMultiByte)>;

constexpr const wchar_t* kSearchSetting = L"NoDefaultCurrentDirectoryInExePath";

// Stands for a pipe; nothing looks into it.
std::FILE* const kPipe = stdin;

std::string command(const std::string& directory) {
  return "powershell.exe -ExecutionPolicy RemoteSigned -file \"" + directory +
         "\\collectLogs.ps1\"";
}

// The command interpreter, the pipe to it and standard output are the test's.
class FakedCommandTest : public ::testing::Test {
 protected:
  // The data of each read, in order; then nothing.
  std::vector<std::string> pieces;
  int exitStatus = 0;
  bool opens = true;
  // Whether the interpreter was started in an environment that keeps it from searching the current
  // directory.
  bool skipsCurrentDirectory = false;
  // The calls, in order, with their arguments.
  std::vector<std::string> calls;
  // What was written to standard output.
  std::string printed;

 private:
  OpenHook open_{[this](const char* command, const char* mode) {
    calls.push_back(std::string("open ") + mode + ' ' + command);
    skipsCurrentDirectory = ::GetEnvironmentVariableW(kSearchSetting, nullptr, 0) != 0;
    return opens ? kPipe : nullptr;
  }};
  ReadHook read_{[this](void* buffer, std::size_t size, std::size_t count, std::FILE* pipe) {
    EXPECT_EQ(pipe, kPipe);
    EXPECT_EQ(size, 1U);
    calls.push_back("read " + std::to_string(count));
    if (pieces.empty()) {
      return std::size_t{0};
    }
    const std::string piece = std::exchange(pieces.front(), {});
    pieces.erase(pieces.begin());
    EXPECT_LE(piece.size(), count);
    std::memcpy(buffer, piece.data(), piece.size());
    return piece.size();
  }};
  CloseHook close_{[this](std::FILE* pipe) {
    EXPECT_EQ(pipe, kPipe);
    calls.emplace_back("close");
    return exitStatus;
  }};
  WriteHook write_{
      [this](const void* data, std::size_t size, std::size_t count, std::FILE* stream) {
        if (stream != stdout) {
          return WriteHook::Original()(data, size, count, stream);
        }
        calls.push_back("write " + std::to_string(size * count));
        printed.append(static_cast<const char*>(data), size * count);
        return count;
      }};
};

using RunCommandTest = FakedCommandTest;

TEST_F(RunCommandTest, ReadsTheCommandsOutputToItsEnd) {
  // A short read is not the end of the output, also not the first one.
  pieces = {std::string(1024, 'a'), "b", std::string(1023, 'c'), std::string(1024, 'd')};
  exitStatus = 7;
  const auto result = runCommand("some command");
  ASSERT_TRUE(result);
  EXPECT_EQ(result->output,
            std::string(1024, 'a') + "b" + std::string(1023, 'c') + std::string(1024, 'd'));
  EXPECT_EQ(result->exitStatus, 7);
  EXPECT_THAT(calls, ElementsAre("open r some command", "read 1024", "read 1024", "read 1024",
                                 "read 1024", "read 1024", "close"));
}

TEST_F(RunCommandTest, KeepsEveryByte) {
  std::string bytes;
  for (int byte = 255; byte >= 0; --byte) {
    bytes += static_cast<char>(byte);
  }
  pieces = {bytes, std::string(3, '\0')};
  const auto result = runCommand("some command");
  ASSERT_TRUE(result);
  EXPECT_EQ(result->output, bytes + std::string(3, '\0'));
}

TEST_F(RunCommandTest, ACommandMayPrintNothing) {
  exitStatus = -1;
  const auto result = runCommand("");
  ASSERT_TRUE(result);
  EXPECT_EQ(result->output, "");
  EXPECT_EQ(result->exitStatus, -1);
  EXPECT_THAT(calls, ElementsAre("open r ", "read 1024", "close"));
}

TEST_F(RunCommandTest, ACommandThatCannotBeStartedGivesTheCodeOne) {
  opens = false;
  const auto result = runCommand("some command");
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error(), 1);
  EXPECT_THAT(calls, ElementsAre("open r some command"));
}

TEST(RunRealCommandTest, GivesOutputAndExitStatus) {
  const auto result = runCommand("echo one& echo two& exit 5");
  ASSERT_TRUE(result);
  EXPECT_EQ(result->output, "one\ntwo\n");
  EXPECT_EQ(result->exitStatus, 5);
}

// The executable lies where the test says.
class CollectLogTest : public FakedCommandTest {
 protected:
  // The path as GetModuleFileNameA gives it, which fills the buffer with as much as fits.
  std::string executable = "C:\\Tools\\ostrel.exe";

  // The command line for an executable of this path.
  std::string commandFor(const std::string& path) {
    executable = path;
    calls.clear();
    collectLog();
    EXPECT_THAT(calls, Not(IsEmpty()));
    return calls.empty() ? "" : calls.front().substr(std::strlen("open r "));
  }

 private:
  ModuleNameHook moduleName_{[this](HMODULE module, char* buffer, DWORD size) {
    EXPECT_EQ(module, nullptr);
    EXPECT_EQ(size, 260U);
    EXPECT_EQ(std::count(buffer, buffer + size, '\0'), 260);
    const std::size_t length = std::min<std::size_t>(executable.size(), size);
    std::memcpy(buffer, executable.data(), length);
    return static_cast<DWORD>(length);
  }};
};

TEST_F(CollectLogTest, PrintsInOnePieceWhenTheScriptHasEnded) {
  pieces = {std::string(1024, 'a'), std::string("\0\r\n", 3)};
  exitStatus = 1;
  collectLog();
  EXPECT_EQ(printed, std::string(1024, 'a') + std::string("\0\r\n", 3));
  EXPECT_THAT(calls, ElementsAre("open r " + command("C:\\Tools"), "read 1024", "read 1024",
                                 "read 1024", "close", "write 1027"));
}

TEST_F(CollectLogTest, PrintsNothingWhenTheScriptDoes) {
  collectLog();
  EXPECT_EQ(printed, "");
}

TEST_F(CollectLogTest, PrintsNothingWhenTheInterpreterDoesNotStart) {
  opens = false;
  collectLog();
  EXPECT_THAT(calls, ElementsAre("open r " + command("C:\\Tools")));
}

TEST_F(CollectLogTest, AsksForTheScriptInTheExecutablesDirectory) {
  const std::pair<std::string, std::string> directories[] = {
      {R"(C:\Tools\ostrel.exe)", R"(C:\Tools)"},
      {R"(C:\Program Files\Some  Tools\ostrel.exe)", R"(C:\Program Files\Some  Tools)"},
      // Braces and characters with a meaning for the interpreter are not changed.
      {R"(C:\{}{0}\%PATH% & x\ostrel.exe)", R"(C:\{}{0}\%PATH% & x)"},
      // Both kinds of separator count, and a run of them before the name is removed.
      {"C:/Tools/Telemetry/ostrel.exe", "C:/Tools/Telemetry"},
      {R"(C:\Tools/ostrel.exe)", R"(C:\Tools)"},
      {R"(C:/Tools\ostrel.exe)", "C:/Tools"},
      {R"(C:\Tools\/\ostrel.exe)", R"(C:\Tools)"},
      {R"(C:\a\\b\ostrel.exe)", R"(C:\a\\b)"},
      // The root of a drive keeps its separator; a drive alone has none.
      {R"(C:\ostrel.exe)", R"(C:\)"},
      {"C:/ostrel.exe", "C:/"},
      {"C:ostrel.exe", "C:"},
      {R"(C:Tools\ostrel.exe)", "C:Tools"},
      {R"(\ostrel.exe)", R"(\)"},
      // So does the root of a server.
      {R"(\\server\share\ostrel.exe)", R"(\\server\share)"},
      {R"(\\server\share\Tools\ostrel.exe)", R"(\\server\share\Tools)"},
      {"//server/share/ostrel.exe", "//server/share"},
      {R"(\\server\ostrel.exe)", R"(\\server\)"},
      {R"(\\?\C:\Tools\ostrel.exe)", R"(\\?\C:\Tools)"},
      {"ostrel.exe", ""},
      {"", ""},
  };
  for (const auto& [path, directory] : directories) {
    EXPECT_EQ(commandFor(path), command(directory)) << path;
  }
}

TEST_F(CollectLogTest, UsesAPathThatFillsTheBufferWithoutATerminator) {
  const std::string directory = "C:\\" + std::string(250, 'x');
  ASSERT_EQ(directory.size() + std::strlen("\\ostrel"), 260U);
  // A path as long as the buffer, and longer ones, whose end is lost.
  EXPECT_EQ(commandFor(directory + "\\ostrel"), command(directory));
  EXPECT_EQ(commandFor(directory + "\\ostrel.exe"), command(directory));
  // The separator is the last that fits.
  const std::string longer = "C:\\" + std::string(256, 'x');
  ASSERT_EQ(longer.size() + 1, 260U);
  EXPECT_EQ(commandFor(longer + "\\ostrel.exe"), command(longer));
  // The name of the file is cut off altogether.
  EXPECT_EQ(commandFor("C:\\Tools\\" + std::string(260, 'y') + "\\ostrel.exe"),
            command("C:\\Tools"));
}

TEST_F(CollectLogTest, ThePathEndsAtTheFirstZero) {
  EXPECT_EQ(commandFor(std::string("C:\\Tools\\ostrel.exe\0\\x\\y", 24)), command("C:\\Tools"));
}

TEST_F(CollectLogTest, ConvertsTheDirectoryInTheCodePageOfTheFileFunctionsBothWays) {
  for (const auto& [isAnsi, codePage] : {std::pair(TRUE, CP_ACP), std::pair(FALSE, CP_OEMCP)}) {
    std::vector<UINT> toWide;
    std::vector<UINT> toNarrow;
    const FileApisHook fileApis([answer = isAnsi] { return answer; });
    // Both conversions use code page 850, so that only the right order of the two gives the same
    // text.
    const ToWideHook wide(
        [&](UINT page, DWORD flags, const char* text, int length, wchar_t* buffer, int size) {
          toWide.push_back(page);
          return ToWideHook::Original()(850, flags, text, length, buffer, size);
        });
    const ToNarrowHook narrow([&](UINT page, DWORD flags, const wchar_t* text, int length,
                                  char* buffer, int size, const char* byDefault, BOOL* used) {
      toNarrow.push_back(page);
      return ToNarrowHook::Original()(850, flags, text, length, buffer, size, byDefault, used);
    });
    EXPECT_EQ(commandFor("C:\\\x81\x84\\ostrel.exe"), command("C:\\\x81\x84"));
    EXPECT_THAT(toWide, AllOf(Not(IsEmpty()), Each(static_cast<UINT>(codePage))));
    EXPECT_THAT(toNarrow, AllOf(Not(IsEmpty()), Each(static_cast<UINT>(codePage))));
  }
}

// In some code pages of East Asia the second byte of a character may look like a backslash.
TEST_F(CollectLogTest, TakesNoHalfOfACharacterForASeparator) {
  const ToWideHook wide(
      [&](UINT, DWORD flags, const char* text, int length, wchar_t* buffer, int size) {
        return ToWideHook::Original()(932, flags, text, length, buffer, size);
      });
  const ToNarrowHook narrow([&](UINT, DWORD flags, const wchar_t* text, int length, char* buffer,
                                int size, const char* byDefault, BOOL* used) {
    return ToNarrowHook::Original()(932, flags, text, length, buffer, size, byDefault, used);
  });
  EXPECT_EQ(commandFor("C:\\Tools\\\x95\x5C.exe"), command("C:\\Tools"));
  EXPECT_EQ(commandFor("C:\\\x95\x5C\\ostrel.exe"), command("C:\\\x95\x5C"));
}

TEST_F(CollectLogTest, KeepsTheInterpreterFromTheCurrentDirectory) {
  ::SetEnvironmentVariableW(kSearchSetting, nullptr);
  collectLog();
  EXPECT_TRUE(skipsCurrentDirectory);
  ::SetEnvironmentVariableW(kSearchSetting, nullptr);
}

}  // namespace
}  // namespace ostrel
