// Holds the manual page against the program: its options, its messages with their exit statuses,
// its ranges, and what it writes into the registry.
#include <windows.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include <gmock/gmock-more-matchers.h>
#include <gtest/gtest.h>

#include "command_line/log_level_commands.h"
#include "command_line/option_table.h"
#include "command_line/run_command_line.h"
#include "handlers/handler_factory.h"
#include "handlers/legacy_windows_handler.h"
#include "handlers/windows_handler.h"
#include "settings_tools/list_settings.h"
#include "settings_tools/watch_settings.h"
#include "support/command_line_run.h"
#include "support/console_output.h"
#include "support/import_hook.h"
#include "support/ostrel_printers.h"
#include "support/registry_sandbox.h"

namespace ostrel {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAreArray;
using testing_support::RecordingHandler;

// The tests run in the root of the tree.
std::string Page() {
  std::ifstream file("docs/ostrel.md");
  if (!file) {
    throw std::runtime_error("cannot read docs/ostrel.md");
  }
  return {std::istreambuf_iterator<char>(file), {}};
}

using Row = std::vector<std::string>;

/// The cells of a table's row, as they are written.
Row Cells(const std::string& line) {
  Row cells;
  std::istringstream stream(line.substr(1));
  for (std::string cell; std::getline(stream, cell, '|');) {
    const std::size_t begin = cell.find_first_not_of(' ');
    cells.push_back(begin == std::string::npos
                        ? ""
                        : cell.substr(begin, cell.find_last_not_of(' ') + 1 - begin));
  }
  return cells;
}

/// The rows of the first table behind `start`, without its head.
std::vector<Row> TableBehind(const std::string& start) {
  const std::string text = Page();
  const std::size_t place = text.find(start);
  if (place == std::string::npos) {
    throw std::runtime_error("not in the page: " + start);
  }
  std::istringstream lines(text.substr(place + start.size()));
  std::vector<Row> rows;
  for (std::string line; std::getline(lines, line) && (rows.empty() || line.starts_with('|'));) {
    if (line.starts_with('|')) {
      rows.push_back(Cells(line));
    }
  }
  if (rows.size() < 3) {
    throw std::runtime_error("no table behind " + start);
  }
  rows.erase(rows.begin(), rows.begin() + 2);
  return rows;
}

std::string Code(const std::string& text) { return '`' + text + '`'; }

std::string WithoutCode(const std::string& text) { return text.substr(1, text.size() - 2); }

/// The rests of the lines that begin so.
std::vector<std::string> LinesBehind(const std::string& start, const std::string& text) {
  std::vector<std::string> rests;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(start)) {
      rests.push_back(line.substr(start.size()));
    }
  }
  return rests;
}

/// The first words of these rests, of code or not.
std::vector<std::string> WordsBehind(const std::string& start, const std::string& text) {
  std::vector<std::string> words = LinesBehind(start, text);
  for (std::string& word : words) {
    word.erase(std::min(word.find_first_of(" `"), word.size()));
  }
  return words;
}

std::string Help() {
  RecordingHandler handler;
  MessageStream message;
  buildOptionTable(handler).printHelp(message);
  return fmt::to_string(message);
}

/// The names of the option table, as the help lists them, without their dash.
std::vector<std::string> Options() { return WordsBehind("-", Help()); }

TEST(ManualPageTest, ShowsTheHelp) { EXPECT_THAT(Page(), HasSubstr("```text\n" + Help() + "```")); }

TEST(ManualPageTest, DescribesEveryOptionAndNoOther) {
  EXPECT_THAT(Options(), SizeIs(10));
  EXPECT_THAT(WordsBehind("### `-", Page()), UnorderedElementsAreArray(Options()));
  EXPECT_THAT(WordsBehind("    ostrel -", Page()), UnorderedElementsAreArray(Options()));
}

// Whatever looks like an option of this tool is one. PowerShell's begin with a capital letter, but
// for one of the command line that runs the script.
TEST(ManualPageTest, MentionsNoUnknownOption) {
  std::vector<std::string> known = Options();
  known.emplace_back("file");
  const std::string text = Page();
  for (std::size_t dash = text.find('-', 1); dash != std::string::npos;
       dash = text.find('-', dash + 1)) {
    const auto begin = text.begin() + static_cast<std::ptrdiff_t>(dash) + 1;
    const std::string option(begin,
                             std::find_if_not(begin, text.end(), [](unsigned char character) {
                               return character == '-' || std::isalnum(character) != 0;
                             }));
    const bool isFirst = std::string_view(" `(\n").find(text[dash - 1]) != std::string_view::npos;
    if (isFirst && !option.empty() && std::isupper(static_cast<unsigned char>(option[0])) == 0) {
      EXPECT_THAT(known, Contains(option));
    }
  }
}

TEST(ManualPageTest, NamesEveryLevelInOrder) {
  std::vector<std::string> names;
  for (const Row& row : TableBehind("\n### `-setLogLevel LEVEL`\n")) {
    names.push_back(row.at(0).substr(0, row.at(0).rfind('`') + 1));
  }
  std::vector<std::string> expected;
  for (std::uint32_t level = 0; logLevelName(static_cast<LogLevel>(level)); ++level) {
    expected.push_back(Code(std::string(*logLevelName(static_cast<LogLevel>(level)))));
  }
  EXPECT_EQ(names, expected);
}

TEST(ManualPageTest, GivesTheRangeOfEveryConfiguration) {
  const std::vector<Row> rows = TableBehind("\n### `-setLogConfiguration NAME VALUE`\n");
  EXPECT_THAT(rows, SizeIs(3));
  WindowsHandler handler;
  for (const Row& row : rows) {
    const auto range = handler.getConfigurationRange(WithoutCode(row.at(0)));
    ASSERT_TRUE(range) << row.at(0);
    EXPECT_EQ(row.at(1), std::to_string(range->minimum)) << row.at(0);
    EXPECT_EQ(row.at(2), std::to_string(range->maximum)) << row.at(0);
    EXPECT_EQ(row.at(3), std::to_string(range->defaultValue)) << row.at(0);
  }
}

// --- messages ---------------------------------------------------------------------------------

/// One row of the page's table.
struct Message {
  std::string text;
  int status = 0;
};

std::vector<Message> PageMessages() {
  std::vector<Message> messages;
  for (const Row& row : TableBehind("\n## Messages\n")) {
    messages.push_back({WithoutCode(row.at(0)), std::stoi(row.at(1))});
  }
  return messages;
}

/// A run that prints one message.
struct CommandRun {
  std::vector<std::string> arguments;
  /// What the words in capitals of the page stand for.
  std::map<std::string, std::string> words = {};
  /// The operation of the handler that fails, if any.
  std::string failing = {};
};

const std::map<std::string, std::string> kSize = {{"NAME", "maxLogSize"}, {"VALUE", "7"}};

const CommandRun kRuns[] = {
    {{"-bogus"}, {{"ARGUMENT", "-bogus"}}},
    {{"-setLogLevel"}, {{"OPTION", "-setLogLevel"}}},
    {{"-getLogLevel", "-getLogLevel"}, {{"OPTION", "-getLogLevel"}}},
    {{"-getLogLevel"}, {{"LEVEL", "Info"}}},
    {{"-setLogLevel", "DEBUG"}, {{"LEVEL", "DEBUG"}}},
    {{"-setLogLevel", "Debug"}, {{"LEVEL", "Debug"}}},
    {{"-setLogLevel", "Debug"}, {{"LEVEL", "Debug"}}, "setLogLevel"},
    {{"-resetLogLevel"}},
    {{"-resetLogLevel"}, {}, "resetLogLevel"},
    {{"-setLogConfiguration", "maxLogSize", "7"}, kSize},
    {{"-setLogConfiguration", "maxLogSize", "7"}, kSize, "setLogConfiguration"},
    {{"-setLogConfiguration", "bogus", "7"}, {{"NAME", "bogus"}}},
    {{"-setLogConfiguration", "maxLogSize", "x"}, {{"NAME", "maxLogSize"}, {"VALUE", "x"}}},
    {{"-setLogConfiguration", "maxLogSize", "51"},
     {{"NAME", "maxLogSize"}, {"MINIMUM", "1"}, {"MAXIMUM", "50"}}},
    {{"-resetLogConfiguration", "maxLogSize"}, kSize},
    {{"-resetLogConfiguration", "maxLogSize"}, kSize, "resetLogConfiguration"},
    {{"-resetAllLogSettings"}},
    {{"-resetAllLogSettings"}, {}, "resetAllLogSettings"},
    {{"-setZOLTDisabled", "true"}, {{"STATE", "true"}}},
    {{"-setZOLTDisabled", "maybe"}, {{"STATE", "maybe"}}},
    {{"-setZOLTDisabled", "true"}, {}, "setZOLTDisabled"},
    {{"-getZOLTDisabled"}, {{"STATE", "not configured"}}},
};

/// What a message of the page looks like when this run prints it.
std::string Printed(std::string text, const CommandRun& run) {
  for (const auto& [word, meaning] : run.words) {
    if (const std::size_t place = text.find(word); place != std::string::npos) {
      text.replace(place, word.size(), meaning);
    }
  }
  return text;
}

TEST(ManualPageTest, GivesEveryMessageWithItsExitStatus) {
  std::vector<Message> unseen = PageMessages();
  for (const CommandRun& run : kRuns) {
    RecordingHandler handler;
    handler.statuses[run.failing] = kWriteFailed;
    const auto argv = testing_support::ArgumentVector(run.arguments);
    const CommandResult result =
        runCommandLine(static_cast<int>(argv.size()), argv.data(), handler);
    const std::string line = result.message.substr(0, result.message.find('\n'));
    EXPECT_EQ(std::erase_if(unseen,
                            [&](const Message& message) {
                              return line == Printed(message.text, run) &&
                                     message.status == (result.success ? 0 : 1);
                            }),
              1U)
        << "rows of the page for " << line << " with success " << result.success;
  }
  // Printed by the program's entry, before there is a command line.
  ASSERT_THAT(unseen, SizeIs(1));
  EXPECT_EQ(unseen[0].text, "This tool should run as admin");
  EXPECT_EQ(unseen[0].status, 1);
}

// --- registry ---------------------------------------------------------------------------------

/// The names and types of values, by the path of their key.
using Types = std::map<std::string, std::map<std::string, std::string>>;

std::string Ascii(const std::wstring& text) {
  std::string narrow;
  for (const wchar_t character : text) {
    narrow += static_cast<char>(character);
  }
  return narrow;
}

void Collect(HKEY parent, const std::wstring& path, Types& types) {
  HKEY key = nullptr;
  ASSERT_EQ(::RegOpenKeyExW(parent, path.c_str(), 0, KEY_READ, &key), ERROR_SUCCESS);
  std::array<wchar_t, 256> name{};
  for (DWORD index = 0;; ++index) {
    auto length = static_cast<DWORD>(name.size());
    DWORD type = 0;
    if (::RegEnumValueW(key, index, name.data(), &length, nullptr, &type, nullptr, nullptr) !=
        ERROR_SUCCESS) {
      break;
    }
    types[Ascii(path)][Ascii({name.data(), length})] = type == REG_SZ      ? "REG_SZ"
                                                       : type == REG_DWORD ? "REG_DWORD"
                                                                           : "unknown";
  }
  for (DWORD index = 0;; ++index) {
    auto length = static_cast<DWORD>(name.size());
    if (::RegEnumKeyExW(key, index, name.data(), &length, nullptr, nullptr, nullptr, nullptr) !=
        ERROR_SUCCESS) {
      break;
    }
    Collect(parent, path + L'\\' + std::wstring(name.data(), length), types);
  }
  ::RegCloseKey(key);
}

TEST(ManualPageTest, ListsEveryValueOfBothLayoutsAndNoOther) {
  const testing_support::RegistrySandbox sandbox;
  HandlerFactory factory(std::make_unique<WindowsHandler>(),
                         std::make_unique<LegacyWindowsHandler>());
  ASSERT_EQ(factory.resetAllLogSettings(), kSuccess);
  ASSERT_EQ(factory.setZOLTDisabled(ZoltDisabledState::Disabled), kSuccess);
  Types written;
  Collect(HKEY_LOCAL_MACHINE, L"SOFTWARE", written);
  EXPECT_THAT(written, SizeIs(3));

  Types listed;
  for (const std::string& line : LinesBehind("`SOFTWARE", Page())) {
    for (const Row& row : TableBehind("\n`SOFTWARE" + line + "\n")) {
      listed["SOFTWARE" + line.substr(0, line.find('`'))][WithoutCode(row.at(0))] =
          WithoutCode(row.at(1));
    }
  }
  EXPECT_EQ(listed, written);
}

// --- the programs that look at the settings ---------------------------------------------------

constexpr const wchar_t* kPageLogKey =
    L"SOFTWARE\\Kestrane, Inc.\\Kestrane Vantor Telemetry\\Service\\Config\\Log";
constexpr const wchar_t* kPageZoltKey =
    L"SOFTWARE\\Kestrane, Inc.\\Kestrane Vantor Telemetry\\ZOLT";

using Program = int (*)(int argc, const char* const* argv);

struct ProgramRun {
  int status;
  std::string output;
  std::string errors;
};

ProgramRun RunProgram(Program program, const std::vector<std::string>& arguments = {}) {
  const testing_support::ConsoleOutput console;
  const auto argv = testing_support::ArgumentVector(arguments);
  const int status = program(static_cast<int>(argv.size()), argv.data());
  return {status, console.output, console.errors};
}

TEST(ManualPageTest, ShowsTheHelpOfTheProgramsThatLook) {
  const std::string version = LinesBehind("OVERVIEW: ostrel ", Help()).at(0);
  for (std::string help :
       {settings_tools::ListSettingsHelp(), settings_tools::WatchSettingsHelp()}) {
    const std::size_t place = help.find(' ' + version + '\n');
    ASSERT_NE(place, std::string::npos);
    help.replace(place + 1, version.size(), "VERSION");
    EXPECT_THAT(Page(), HasSubstr("```text\n" + help + "```"));
  }
}

TEST(ManualPageTest, ShowsTheTableOfTheSettings) {
  const testing_support::RegistrySandbox sandbox;
  WindowsHandler current;
  LegacyWindowsHandler older;
  current.setLogLevel(LogLevel::Debug);
  older.setLogLevel(LogLevel::Trace);
  current.setMaxLogSize(7);
  older.setMaxLogSize(7);
  sandbox.Write(kPageLogKey, L"MaxTraceLogSize", testing_support::RawText(L"20"));
  older.setMaxTraceLogSize(20);
  older.setMaxLogFiles(12);
  const ProgramRun run = RunProgram(settings_tools::ListSettings);
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(Page(), HasSubstr("```text\n" + run.output + "```"));
}

TEST(ManualPageTest, ShowsChangesOfTheSettings) {
  const testing_support::RegistrySandbox sandbox;
  HandlerFactory factory(std::make_unique<WindowsHandler>(),
                         std::make_unique<LegacyWindowsHandler>());
  factory.setLogLevel(LogLevel::Info);
  factory.setZOLTDisabled(ZoltDisabledState::Disabled);
  int looks = 0;
  const testing_support::ImportHook<"fflush", int(std::FILE*)> hook([&](std::FILE*) {
    if (++looks == 1) {
      factory.setLogLevel(LogLevel::Trace);
      EXPECT_EQ(::RegDeleteTreeW(HKEY_LOCAL_MACHINE, kPageZoltKey), ERROR_SUCCESS);
    }
    return 0;
  });
  const ProgramRun run = RunProgram(settings_tools::WatchSettings, {"5"});
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(Page(), HasSubstr("```text\n" + run.output + "```"));
}

TEST(ManualPageTest, GivesEveryMessageOfTheProgramsThatLook) {
  using OpenHook = testing_support::ImportHook<"RegOpenKeyExW", decltype(::RegOpenKeyExW)>;
  using FlushHook = testing_support::ImportHook<"fflush", int(std::FILE*)>;
  using CreateHook = testing_support::ImportHook<"RegCreateKeyExW", decltype(::RegCreateKeyExW)>;
  const testing_support::RegistrySandbox sandbox;
  std::vector<ProgramRun> runs = {RunProgram(settings_tools::ListSettings, {"x"}),
                                  RunProgram(settings_tools::WatchSettings, {"x"})};
  {
    const OpenHook hook(
        [](HKEY, LPCWSTR, DWORD, REGSAM, PHKEY) { return LSTATUS{ERROR_ACCESS_DENIED}; });
    runs.push_back(RunProgram(settings_tools::ListSettings));
    runs.push_back(RunProgram(settings_tools::WatchSettings));
  }
  {
    const CreateHook hook([](HKEY, LPCWSTR, DWORD, LPWSTR, DWORD, REGSAM,
                             const LPSECURITY_ATTRIBUTES, PHKEY,
                             LPDWORD) { return LSTATUS{ERROR_ACCESS_DENIED}; });
    runs.push_back(RunProgram(settings_tools::ListSettings));
  }
  {
    const FlushHook hook([](std::FILE* /*stream*/) { return EOF; });
    runs.push_back(RunProgram(settings_tools::ListSettings));
  }
  std::vector<Row> unseen = TableBehind("\n### Messages of both\n");
  for (const ProgramRun& run : runs) {
    const std::size_t name = run.errors.find(": ") + 2;
    const std::string line = run.errors.substr(name, run.errors.find('\n') - name);
    EXPECT_EQ(std::erase_if(unseen,
                            [&](const Row& row) {
                              // What stands in front of what varies.
                              const std::string text = WithoutCode(row.at(0));
                              const std::size_t end =
                                  std::min(text.find("KEY"), text.find("REASON"));
                              return line.starts_with(text.substr(0, end)) &&
                                     (end != std::string::npos || line == text) &&
                                     row.at(1) == std::to_string(run.status);
                            }),
              1U)
        << line << " with status " << run.status;
  }
  EXPECT_THAT(unseen, IsEmpty());
}

/// Every type that has a name, and one that has none.
const std::map<std::string, DWORD> kTypes = {
    {"`REG_NONE`", REG_NONE},
    {"`REG_SZ`", REG_SZ},
    {"`REG_EXPAND_SZ`", REG_EXPAND_SZ},
    {"`REG_BINARY`", REG_BINARY},
    {"`REG_DWORD`", REG_DWORD},
    {"`REG_DWORD_BIG_ENDIAN`", REG_DWORD_BIG_ENDIAN},
    {"`REG_LINK`", REG_LINK},
    {"`REG_MULTI_SZ`", REG_MULTI_SZ},
    {"`REG_RESOURCE_LIST`", REG_RESOURCE_LIST},
    {"`REG_FULL_RESOURCE_DESCRIPTOR`", REG_FULL_RESOURCE_DESCRIPTOR},
    {"`REG_RESOURCE_REQUIREMENTS_LIST`", REG_RESOURCE_REQUIREMENTS_LIST},
    {"`REG_QWORD`", REG_QWORD},
    {"any other", 12},
};

/// What reading does, as the page says it, with a value that holds `text` as this type.
template <class Read>
std::string ReadingOf(DWORD type, std::wstring text, Read read) {
  text += L'\0';
  // Wine's registry refuses some of the types that that of Windows hands out.
  const testing_support::ImportHook<"RegGetValueW", decltype(::RegGetValueW)> hook(
      [&](HKEY, LPCWSTR, LPCWSTR, DWORD, LPDWORD stored, PVOID data, LPDWORD size) {
        const auto length = static_cast<DWORD>(text.size() * sizeof(wchar_t));
        *stored = type;
        const bool fits = *size >= length;
        if (data != nullptr && fits) {
          std::copy_n(reinterpret_cast<const char*>(text.data()), length, static_cast<char*>(data));
        }
        *size = length;
        return LSTATUS{data == nullptr || fits ? ERROR_SUCCESS : ERROR_MORE_DATA};
      });
  WindowsHandler handler;
  try {
    return read(handler) ? "prints the name that the text is, or else `Info` or `not configured`"
                         : "prints `Info` or `not configured`";
  } catch (const std::bad_variant_access&) {
    return "ends abnormally";
  }
}

TEST(ManualPageTest, SaysWhatEachStoredTypeReadsAs) {
  const testing_support::RegistrySandbox sandbox;
  std::map<std::string, DWORD> unlisted = kTypes;
  for (const Row& row : TableBehind("\n### The run ends abnormally\n")) {
    std::istringstream names(row.at(0));
    for (std::string name; std::getline(names >> std::ws, name, ',');) {
      const auto type = unlisted.extract(name);
      ASSERT_FALSE(type.empty()) << name;
      const std::string level = ReadingOf(type.mapped(), L"Trace", [](WindowsHandler& handler) {
        return handler.getLogLevel() == LogLevel::Trace;
      });
      const std::string state = ReadingOf(type.mapped(), L"true", [](WindowsHandler& handler) {
        return handler.getZOLTDisabled() == ZoltDisabledState::Disabled;
      });
      EXPECT_EQ(level, state) << name;
      EXPECT_EQ(row.at(1).substr(0, row.at(1).find(", whatever")), level) << name;
    }
  }
  EXPECT_THAT(unlisted, IsEmpty());
}

}  // namespace
}  // namespace ostrel
