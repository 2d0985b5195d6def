// Holds the manual page against the program: its options, its messages with their exit statuses,
// its ranges, and what it writes into the registry.
#include <windows.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <regex>
#include <set>
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
#include "support/command_line_run.h"
#include "support/import_hook.h"
#include "support/registry_sandbox.h"

namespace ostrel {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing_support::RecordingHandler;

std::string readFile(const std::filesystem::path& path) {
  std::ifstream file(path);
  if (!file) {
    throw std::runtime_error("cannot read " + path.string());
  }
  return {std::istreambuf_iterator<char>(file), {}};
}

std::filesystem::path sourceDirectory() { return OSTREL_SOURCE_DIRECTORY; }

const std::string& page() {
  static const std::string kPage = readFile(sourceDirectory() / "docs" / "ostrel.md");
  return kPage;
}

using Row = std::vector<std::string>;

/// The cells of a table's row, as they are written.
Row cells(const std::string& line) {
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
std::vector<Row> tableBehind(const std::string& start) {
  const std::size_t place = page().find(start);
  if (place == std::string::npos) {
    throw std::runtime_error("not in the page: " + start);
  }
  std::istringstream lines(page().substr(place + start.size()));
  std::vector<Row> rows;
  for (std::string line; std::getline(lines, line) && (rows.empty() || line.starts_with('|'));) {
    if (line.starts_with('|')) {
      rows.push_back(cells(line));
    }
  }
  if (rows.size() < 3) {
    throw std::runtime_error("no table behind " + start);
  }
  rows.erase(rows.begin(), rows.begin() + 2);
  return rows;
}

std::string code(const std::string& text) { return '`' + text + '`'; }

std::vector<std::string> matches(const std::string& text, const std::string& pattern) {
  const std::regex regex(pattern);
  std::vector<std::string> matches;
  for (std::sregex_iterator match(text.begin(), text.end(), regex), end; match != end; ++match) {
    matches.push_back((*match)[1]);
  }
  return matches;
}

std::string help() {
  RecordingHandler handler;
  MessageStream message;
  buildOptionTable(handler).printHelp(message);
  return fmt::to_string(message);
}

/// The names of the option table, as the help lists them.
std::set<std::string> options() {
  const std::vector<std::string> names = matches(help(), "\n(-\\w+)");
  return {names.begin(), names.end()};
}

TEST(ManualPageTest, ShowsTheHelp) { EXPECT_THAT(page(), HasSubstr("```text\n" + help() + "```")); }

TEST(ManualPageTest, DescribesEveryOptionAndNoOther) {
  const std::vector<std::string> headings = matches(page(), "\n### `(-\\w+)[^\n]*`\n");
  EXPECT_THAT(options(), SizeIs(10));
  EXPECT_EQ(std::set<std::string>(headings.begin(), headings.end()), options());
  EXPECT_THAT(headings, SizeIs(10));
  const std::vector<std::string> synopsis = matches(page(), "\n    ostrel (-\\w+)");
  EXPECT_EQ(std::set<std::string>(synopsis.begin(), synopsis.end()), options());
}

// Whatever looks like an option of this tool is one. PowerShell's begin with a capital letter, but
// for one of the command line that runs the script.
TEST(ManualPageTest, MentionsNoUnknownOption) {
  std::set<std::string> known = options();
  known.insert("-file");
  for (const std::string& option : matches(page(), "[ `(\n](--?[a-z]\\w+)")) {
    EXPECT_THAT(known, Contains(option));
  }
}

TEST(ManualPageTest, NamesEveryLevelInOrder) {
  std::vector<std::string> names;
  for (const Row& row : tableBehind("\n### `-setLogLevel LEVEL`\n")) {
    names.push_back(row.at(0).substr(0, row.at(0).rfind('`') + 1));
  }
  std::vector<std::string> expected;
  for (std::uint32_t level = 0; logLevelName(static_cast<LogLevel>(level)); ++level) {
    expected.push_back(code(std::string(*logLevelName(static_cast<LogLevel>(level)))));
  }
  EXPECT_EQ(names, expected);
}

TEST(ManualPageTest, GivesTheRangeOfEveryConfiguration) {
  const std::vector<Row> rows = tableBehind("\n### `-setLogConfiguration NAME VALUE`\n");
  EXPECT_THAT(rows, SizeIs(3));
  WindowsHandler handler;
  for (const Row& row : rows) {
    const auto range = handler.getConfigurationRange(row.at(0).substr(1, row.at(0).size() - 2));
    ASSERT_TRUE(range) << row.at(0);
    EXPECT_EQ(row.at(1), std::to_string(range->minimum)) << row.at(0);
    EXPECT_EQ(row.at(2), std::to_string(range->maximum)) << row.at(0);
    EXPECT_EQ(row.at(3), std::to_string(range->defaultValue)) << row.at(0);
  }
}

// --- messages ---------------------------------------------------------------------------------

/// One row of the page's table: a message with words in capitals for what varies, and its status.
struct Message {
  std::string text;
  int status = 0;
};

constexpr const char* kRefusal = "This tool should run as admin";

std::vector<std::string> texts(const std::vector<Message>& messages) {
  std::vector<std::string> texts(messages.size());
  std::ranges::transform(messages, texts.begin(),
                         [](const Message& message) { return message.text; });
  return texts;
}

std::vector<Message> pageMessages() {
  std::vector<Message> messages;
  for (const Row& row : tableBehind("\n## Messages\n")) {
    messages.push_back({row.at(0).substr(1, row.at(0).size() - 2), std::stoi(row.at(1))});
  }
  return messages;
}

/// The text of the literals that stand one behind the other at `place` of a source.
std::string literalAt(const std::string& source, std::size_t place) {
  std::string text;
  while (place < source.size() && source[place] == '"') {
    for (++place; source.at(place) != '"'; ++place) {
      if (source[place] == '\\') {
        ++place;
        text += source.at(place) == 'n' ? '\n' : source.at(place);
      } else {
        text += source[place];
      }
    }
    place = source.find_first_not_of(" \n", place + 1);
  }
  return text;
}

/// The format strings of all messages, from the sources of the command line. What option_parser.cpp
/// writes is the help.
std::set<std::string> messageFormats() {
  std::set<std::string> formats;
  const auto directory = sourceDirectory() / "src" / "apps" / "ostrel" / "command_line";
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    const std::string name = entry.path().filename().string();
    if (!name.ends_with(".cpp") || name.ends_with("_test.cpp") || name == "option_parser.cpp") {
      continue;
    }
    const std::string source = readFile(entry.path());
    const std::string call = "format_to(";
    for (std::size_t place = source.find(call); place != std::string::npos;
         place = source.find(call, place + 1)) {
      formats.insert(literalAt(source, source.find('"', place)));
    }
  }
  return formats;
}

/// How a format string stands in the page.
std::regex pagePattern(const std::string& format) {
  std::string pattern;
  for (std::size_t place = 0; place + 1 < format.size(); ++place) {  // without the line feed
    if (format.compare(place, 2, "{}") == 0) {
      pattern += "[A-Z]+";
      ++place;
    } else {
      if (std::ispunct(static_cast<unsigned char>(format[place])) != 0) {
        pattern += '\\';
      }
      pattern += format[place];
    }
  }
  return std::regex(pattern);
}

TEST(ManualPageTest, ListsEveryMessageOfTheSourcesAndNoOther) {
  const std::set<std::string> formats = messageFormats();
  std::vector<Message> unmatched = pageMessages();
  EXPECT_THAT(formats, Not(IsEmpty()));
  for (const std::string& format : formats) {
    EXPECT_TRUE(format.ends_with('\n')) << format;
    EXPECT_EQ(std::erase_if(unmatched,
                            [pattern = pagePattern(format)](const Message& message) {
                              return std::regex_match(message.text, pattern);
                            }),
              1U)
        << "rows of the page for " << format;
  }
  // The program's entry prints this one, in two pieces.
  ASSERT_THAT(texts(unmatched), ElementsAre(kRefusal));
  EXPECT_EQ(unmatched[0].status, 1);
  const std::string entry = readFile(sourceDirectory() / "src" / "apps" / "ostrel" / "main.cpp");
  EXPECT_THAT(entry, HasSubstr("print(\"This tool should run as \");\n    print(\"admin\");"));
}

/// A run that ends with one message.
struct CommandRun {
  std::vector<std::string> arguments;
  /// The operation of the handler that fails, if any.
  std::string failing = {};
};

const CommandRun kRuns[] = {
    {{"-bogus"}},
    {{"-setLogLevel"}},
    {{"-getLogLevel", "-getLogLevel"}},
    {{"-getLogLevel"}},
    {{"-setLogLevel", "DEBUG"}},
    {{"-setLogLevel", "Debug"}},
    {{"-setLogLevel", "Debug"}, "setLogLevel"},
    {{"-resetLogLevel"}},
    {{"-resetLogLevel"}, "resetLogLevel"},
    {{"-setLogConfiguration", "maxLogSize", "7"}},
    {{"-setLogConfiguration", "maxLogSize", "7"}, "setLogConfiguration"},
    {{"-setLogConfiguration", "bogus", "7"}},
    {{"-setLogConfiguration", "maxLogSize", "x"}},
    {{"-setLogConfiguration", "maxLogSize", "51"}},
    {{"-resetLogConfiguration", "maxLogSize"}},
    {{"-resetLogConfiguration", "maxLogSize"}, "resetLogConfiguration"},
    {{"-resetAllLogSettings"}},
    {{"-resetAllLogSettings"}, "resetAllLogSettings"},
    {{"-setZOLTDisabled", "true"}},
    {{"-setZOLTDisabled", "maybe"}},
    {{"-setZOLTDisabled", "true"}, "setZOLTDisabled"},
    {{"-getZOLTDisabled"}},
};

/// What a message of the page looks like when it is printed.
std::regex printedPattern(const std::string& text) {
  const std::string escaped = std::regex_replace(text, std::regex(R"([\[\]().*+?])"), R"(\$&)");
  return std::regex(std::regex_replace(escaped, std::regex(R"(\b(?!ZOLT\b)[A-Z]{4,}\b)"), ".+"));
}

TEST(ManualPageTest, GivesEveryMessageItsExitStatus) {
  std::vector<Message> unseen = pageMessages();
  for (const CommandRun& run : kRuns) {
    RecordingHandler handler;
    handler.statuses[run.failing] = kWriteFailed;
    const auto argv = testing_support::ArgumentVector(run.arguments);
    const CommandResult result =
        runCommandLine(static_cast<int>(argv.size()), argv.data(), handler);
    const std::string line = result.message.substr(0, result.message.find('\n'));
    EXPECT_EQ(std::erase_if(unseen,
                            [&](const Message& message) {
                              return std::regex_match(line, printedPattern(message.text)) &&
                                     message.status == (result.success ? 0 : 1);
                            }),
              1U)
        << "rows of the page for " << line << " with success " << result.success;
  }
  EXPECT_THAT(texts(unseen), ElementsAre(kRefusal));
}

// --- registry ---------------------------------------------------------------------------------

/// The names and types of values, by the path of their key.
using Types = std::map<std::string, std::map<std::string, std::string>>;

std::string ascii(const std::wstring& text) {
  std::string narrow;
  for (const wchar_t character : text) {
    narrow += static_cast<char>(character);
  }
  return narrow;
}

void collect(HKEY parent, const std::wstring& path, Types& types) {
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
    types[ascii(path)][ascii({name.data(), length})] = type == REG_SZ      ? "REG_SZ"
                                                       : type == REG_DWORD ? "REG_DWORD"
                                                                           : "unknown";
  }
  for (DWORD index = 0;; ++index) {
    auto length = static_cast<DWORD>(name.size());
    if (::RegEnumKeyExW(key, index, name.data(), &length, nullptr, nullptr, nullptr, nullptr) !=
        ERROR_SUCCESS) {
      break;
    }
    collect(parent, path + L'\\' + std::wstring(name.data(), length), types);
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
  collect(HKEY_LOCAL_MACHINE, L"SOFTWARE", written);
  EXPECT_THAT(written, SizeIs(3));

  Types listed;
  for (const std::string& key : matches(page(), "\n`(SOFTWARE[^`\n]*)`\n")) {
    for (const Row& row : tableBehind("\n`" + key + "`\n")) {
      ASSERT_GT(row.at(0).size(), 2U);
      listed[key][row.at(0).substr(1, row.at(0).size() - 2)] =
          row.at(1).substr(1, row.at(1).size() - 2);
    }
  }
  EXPECT_EQ(listed, written);
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
std::string readingOf(DWORD type, std::wstring text, Read read) {
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
  for (const Row& row : tableBehind("\n### The run ends abnormally\n")) {
    std::istringstream names(row.at(0));
    for (std::string name; std::getline(names >> std::ws, name, ',');) {
      const auto type = unlisted.extract(name);
      ASSERT_FALSE(type.empty()) << name;
      const std::string level = readingOf(type.mapped(), L"Trace", [](WindowsHandler& handler) {
        return handler.getLogLevel() == LogLevel::Trace;
      });
      const std::string state = readingOf(type.mapped(), L"true", [](WindowsHandler& handler) {
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
