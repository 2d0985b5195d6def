#include <array>
#include <bit>
#include <filesystem>
#include <fstream>
#include <utility>

#include "fake_powershell.h"
#include "tool.h"

namespace end_to_end {
namespace {

// A copy of the tool in a directory that the test chooses; deleted when the test ends.
class CopiedTool {
 public:
  explicit CopiedTool(const std::wstring& program) : program_(program) {
    EXPECT_TRUE(::CopyFileW((ProgramDirectory() + L"\\ostrel.exe").c_str(), program.c_str(),
                            /*bFailIfExists=*/TRUE));
  }
  ~CopiedTool() { EXPECT_TRUE(::DeleteFileW(program_.c_str())); }
  CopiedTool(const CopiedTool&) = delete;
  CopiedTool& operator=(const CopiedTool&) = delete;

  [[nodiscard]] const std::wstring& Program() const { return program_; }

 private:
  std::wstring program_;
};

class LogCollectionTest : public ToolTest {
 protected:
  static std::wstring PowerShell() {
    return ProgramDirectory() + L"\\fake-powershell\\powershell.exe";
  }

  // Lets the tool find the stand-in for PowerShell, which prints this number of bytes.
  [[nodiscard]] Environment WithPowerShell(std::size_t outputSize, int status = 0) const {
    return {{L"PATH", std::filesystem::path(PowerShell()).parent_path().wstring()},
            {L"NoDefaultCurrentDirectoryInExePath", std::nullopt},
            {L"OSTREL_TEST_RECORD", record_},
            {L"OSTREL_TEST_SIZE", std::to_wstring(outputSize)},
            {L"OSTREL_TEST_STATUS", std::to_wstring(status)}};
  }

  // Collects in an environment with the stand-in. When Wine is busy, it sometimes gives up on a
  // process that has not begun to run, also on one that the interpreter starts. Then the test tries
  // again.
  [[nodiscard]] RunResult Collect(const Environment& environment,
                                  const std::wstring& directory = {},
                                  const std::wstring& program = ProgramDirectory() +
                                                                L"\\ostrel.exe") const {
    constexpr int kAttempts = 5;
    for (int attempt = 1;; ++attempt) {
      RunResult result = RunProgram(program, {L"-collectLog"}, environment, directory);
      if (WasStarted() || attempt == kAttempts) {
        return result;
      }
    }
  }

  // What the stand-in recorded about its start. It must have been started exactly once.
  [[nodiscard]] std::pair<std::wstring, std::wstring> Start() const {
    std::ifstream file(std::filesystem::path(record_), std::ios::binary);
    EXPECT_TRUE(file) << "not started";
    std::wstring text;
    for (std::array<char, sizeof(wchar_t)> bytes{}; file.read(bytes.data(), bytes.size());) {
      text += std::bit_cast<wchar_t>(bytes);
    }
    const std::size_t lineEnd = text.find(L'\n');
    return {text.substr(0, lineEnd), text.substr(lineEnd + 1)};
  }

  // Runs a copy of the tool, which must ask for this script.
  void ExpectScriptOfCopy(const std::wstring& program, const std::wstring& script) const {
    const CopiedTool tool(program);
    EXPECT_EQ(Collect(WithPowerShell(3), {}, tool.Program()), Printed(Pattern(3)));
    EXPECT_EQ(Start().first, CommandLine(script));
  }

  // The expected result if the script prints `output`: always followed by an empty message.
  static RunResult Printed(const std::string& output) { return {output + "\r\n", 0}; }

  static std::wstring CommandLine(const std::wstring& script) {
    return L"powershell.exe -ExecutionPolicy RemoteSigned -file \"" + script + L'"';
  }

  [[nodiscard]] bool WasStarted() const { return std::filesystem::exists(record_); }
  [[nodiscard]] const std::wstring& Directory() const { return directory_.Path(); }

 private:
  TemporaryDirectory directory_{L"collection"};
  std::wstring record_ = directory_.Path() + L"\\record";
};

class LogCollectionOutputTest : public LogCollectionTest,
                                public ::testing::WithParamInterface<std::size_t> {};

TEST_P(LogCollectionOutputTest, ArrivesWholeAndInOrder) {
  EXPECT_EQ(Collect(WithPowerShell(GetParam())), Printed(Pattern(GetParam())));
  EXPECT_TRUE(WasStarted());
}

// Sizes around that of the pieces in which the tool reads, and far more than a pipe holds.
INSTANTIATE_TEST_SUITE_P(Sizes, LogCollectionOutputTest,
                         ::testing::Values(0, 1, 1023, 1024, 1025, 100'000));

TEST_F(LogCollectionTest, AsksForTheScriptBesideTheTool) {
  EXPECT_EQ(Collect(WithPowerShell(10)), Printed(Pattern(10)));
  EXPECT_EQ(Start().first, CommandLine(ProgramDirectory() + L"\\collectLogs.ps1"));
  EXPECT_EQ(Registry(), Settings());
}

TEST_F(LogCollectionTest, AsksForTheScriptBesideTheToolWhateverTheCurrentDirectory) {
  EXPECT_EQ(Collect(WithPowerShell(10), Directory()), Printed(Pattern(10)));
  EXPECT_EQ(Start().first, CommandLine(ProgramDirectory() + L"\\collectLogs.ps1"));
}

TEST_F(LogCollectionTest, TakesADirectoryWithBlanks) {
  const TemporaryDirectory directory(L"Telemetry  Tools (x64) & more");
  ExpectScriptOfCopy(directory.Path() + L"\\ostrel copy.exe",
                     directory.Path() + L"\\collectLogs.ps1");
}

// Greek, Japanese and an emoji: no ANSI code page but UTF-8 has all of them.
TEST_F(LogCollectionTest, TakesADirectoryOutsideTheAnsiCodePage) {
  const TemporaryDirectory directory(L"\x03B5\x03BB \x65E5\x672C \xD83D\xDE00");
  ExpectScriptOfCopy(directory.Path() + L"\\ostrel.exe", directory.Path() + L"\\collectLogs.ps1");
}

// The directory of such a tool ends with the root's own separator, and the command adds one.
TEST_F(LogCollectionTest, TakesTheRootOfADrive) {
  const std::wstring root = std::filesystem::path(Directory()).root_path().wstring();
  ASSERT_EQ(root.size(), 3U);
  ExpectScriptOfCopy(root + L"ostrel-root-test.exe", root + L"\\collectLogs.ps1");
}

TEST_F(LogCollectionTest, IgnoresTheExitStatusOfTheScript) {
  EXPECT_EQ(Collect(WithPowerShell(5, 7)), Printed(Pattern(5)));
  EXPECT_TRUE(WasStarted());
}

TEST_F(LogCollectionTest, PrintsNothingWithoutPowerShell) {
  Environment environment = WithPowerShell(5);
  environment[L"PATH"] = Directory();
  EXPECT_EQ(RunTool({L"-collectLog"}, environment), Printed(""));
  EXPECT_FALSE(WasStarted());
}

TEST_F(LogCollectionTest, PrintsNothingWithoutCommandInterpreter) {
  Environment environment = WithPowerShell(5);
  environment[L"COMSPEC"] = Directory() + L"\\no-such-interpreter.exe";
  EXPECT_EQ(RunTool({L"-collectLog"}, environment), Printed(""));
  EXPECT_FALSE(WasStarted());
}

// The tool runs elevated and names PowerShell without its directory. With this variable the command
// interpreter of Windows looks for it in PATH alone, and not in the current directory before that.
// Wine's interpreter ignores the variable, so that what can be shown here is who receives it.
TEST_F(LogCollectionTest, KeepsTheInterpreterFromTheCurrentDirectory) {
  Environment environment = WithPowerShell(0);
  environment[L"COMSPEC"] = PowerShell();
  EXPECT_EQ(Collect(environment), Printed(""));
  const auto [commandLine, variable] = Start();
  EXPECT_TRUE(
      commandLine.ends_with(L" /c " + CommandLine(ProgramDirectory() + L"\\collectLogs.ps1")))
      << ::testing::PrintToString(commandLine);
  EXPECT_EQ(variable, L"1");
}

TEST_F(LogCollectionTest, KeepsWhatTheInterpreterStartsFromTheCurrentDirectory) {
  EXPECT_EQ(Collect(WithPowerShell(0)), Printed(""));
  EXPECT_EQ(Start().second, L"1");
}

}  // namespace
}  // namespace end_to_end
