// The list of the settings and the watch of their changes, from the arguments to the exit status.
// What is read is modelled here; the tables and lines are made of it by the functions of the
// programs.
#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include <gtest/gtest.h>

#include "account.h"
#include "settings_tools/describe.h"
#include "settings_tools/list_settings.h"
#include "settings_tools/settings.h"
#include "settings_tools/settings_table.h"
#include "settings_tools/watch_settings.h"
#include "sweep.h"
#include "tessel/config/error.h"
#include "tool_model.h"

namespace faults {
namespace {

using settings_tools::Printable;
using settings_tools::Settings;
using testing_support::RawDword;
using testing_support::RawText;

using Main = int(int argc, const char* const* argv);

std::string RunMain(Main& run, const std::vector<const char*>& arguments) {
  std::vector<const char*> argv = {"C:\\Tools\\program.exe"};
  argv.insert(argv.end(), arguments.begin(), arguments.end());
  int status = -1;
  const std::string thrown =
      Counted([&] { status = run(static_cast<int>(argv.size()), argv.data()); });
  return Ended(thrown.empty() ? "exit " + std::to_string(status) : thrown,
               GetPlatform().Printed()) +
         GetPlatform().Errors();
}

std::error_code ErrorOf(const Fault& fault) {
  const long code = fault.failure.code;
  return code == ERROR_FILE_NOT_FOUND ? tessel::config::Error::not_found
                                      : std::error_code(code, std::system_category());
}
bool IsMissing(const Fault& fault) {
  return fault.failure.code == ERROR_FILE_NOT_FOUND || fault.failure.code == ERROR_KEY_DELETED;
}

// The keys in the order in which they are opened, and the values in which they are read.
const std::wstring kKeys[] = {kLogKey, kZoltKey, kLegacyKey};
struct Place {
  std::size_t key;
  std::wstring value;
  std::wstring text;  // empty for a value that is not stored
  /// How often it is read: with its size alone, then whole.
  [[nodiscard]] std::size_t Calls() const { return text.empty() ? 1 : 2; }
};
std::vector<Place> Places(const std::wstring& level) {
  return {{0, L"LogLevel", level},     {2, L"LogLevel", L"info"},
          {2, L"VerboseLevel", {}},    {2, L"kst_windows_log_verbose", {}},
          {0, L"MaxFileSize", L"5"},   {2, L"MaxLogSize", {}},
          {0, L"MaxTraceLogSize", {}}, {2, L"MaxTraceLogSize", {}},
          {0, L"MaxNumFiles", {}},     {2, L"MaxLogFiles", {}},
          {1, L"Disabled", {}}};
}
// One for each value, and another for each that is stored.
constexpr std::size_t kCallsOfPlaces = 11 + 3;

Contents Stored(const std::wstring& level = L"Info") {
  Contents contents;
  AddKey(contents, kLogKey);
  AddKey(contents, kLegacyKey);
  contents[kLogKey] = {{L"LogLevel", RawText(level)}, {L"MaxFileSize", RawDword(5)}};
  contents[kLegacyKey] = {{L"LogLevel", RawText(L"info")}};
  return contents;
}

void Prepare(const testing_support::RegistrySandbox& sandbox) {
  for (const auto& [key, values] : Stored()) {
    sandbox.CreateKey(key);
    for (const auto& [name, value] : values) {
      sandbox.Write(key, name, value);
    }
  }
}

// The settings as they are read with a fault in one of the calls, the first of which have these
// positions.
Settings SettingsWith(const Fault& fault, const std::wstring& level, std::size_t opening,
                      std::size_t reading) {
  Settings settings;
  std::vector<settings_tools::Reading> readings;
  std::optional<std::size_t> refusedKey;
  const auto addProblem = [&](const std::wstring& path) {
    settings.problems.push_back("cannot read HKLM\\" + Printable(path) + ": " +
                                settings_tools::Reason(ErrorOf(fault)));
  };
  for (std::size_t key = 0; key < std::size(kKeys); ++key) {
    const bool fails = fault.Is("RegOpenKeyExW", opening + key);
    if (fails && !IsMissing(fault)) {
      addProblem(kKeys[key]);
      refusedKey = key;
    } else if (fails || kKeys[key] == kZoltKey) {
      settings.missingKeys.push_back("HKLM\\" + Printable(kKeys[key]));
    }
  }
  for (const Place& place : Places(level)) {
    const std::size_t call = fault.Before("RegGetValueW");
    const bool isUnread = fault.function == "RegGetValueW" && call >= reading &&
                          call < reading + place.Calls() && fault.failure.code != ERROR_MORE_DATA;
    reading += place.Calls();
    if (isUnread && !IsMissing(fault)) {
      addProblem(kKeys[place.key] + L'\\' + place.value);
    }
    if (place.key == refusedKey || (isUnread && !IsMissing(fault))) {
      readings.push_back({settings_tools::Reading::State::Unreadable, "(unreadable)"});
    } else if (isUnread || place.text.empty()) {
      readings.emplace_back();
    } else {
      readings.push_back(
          {settings_tools::Reading::State::Stored, Printable(place.text), place.text});
    }
  }
  settings.settings = {{"log level", readings[0], readings[1]},
                       {"VerboseLevel", std::nullopt, readings[2]},
                       {"kst_windows_log_verbose", std::nullopt, readings[3]},
                       {"maxLogSize", readings[4], readings[5]},
                       {"maxTraceLogSize", readings[6], readings[7]},
                       {"maxLogFiles", readings[8], readings[9]},
                       {"ZOLT disabled", readings[10], std::nullopt}};
  return settings;
}

std::string Threw(const Fault& fault) {
  return fault.function == kAllocation
             ? kOutOfMemory
             : "threw std::system_error " + std::to_string(fault.failure.code) + "\n";
}
bool Throws(const Fault& fault) {
  return fault.function == kAllocation || fault.function == "WideCharToMultiByte";
}

std::string Lines(const std::string& program, const std::vector<std::string>& messages) {
  std::string lines;
  for (const std::string& message : messages) {
    lines.append(program).append(": ").append(message).append("\n");
  }
  return lines;
}

// A run in which no setting is read.
std::string Stopped(const std::string& program, const std::string& printed,
                    const std::string& message) {
  return Ended("exit 1", printed) + Lines(program, {message});
}

constexpr const char* kUnwritten = "cannot write the output";

std::string ListOutcome(const Fault& fault) {
  const std::string program = "ostrel_list_settings";
  const Settings settings = SettingsWith(fault, L"Info", 0, 0);
  std::string table = settings_tools::Table(settings);
  if (fault.function == "CompareStringW") {  // of the levels: they count as different
    table.insert(table.find('\n', table.find("log level")), "            differs");
  }
  if (Throws(fault)) {
    return Ended(Threw(fault), "");
  }
  if (fault.function == "RegCreateKeyExW") {
    return Stopped(program, "", "cannot open HKLM: " + settings_tools::Reason(ErrorOf(fault)));
  }
  if (fault.function == "fwrite" || fault.function == "fflush") {
    return Stopped(program, fault.function == "fwrite" ? "" : table, kUnwritten);
  }
  return Ended(settings.problems.empty() ? "exit 0" : "exit 1", table) +
         Lines(program, settings.problems);
}

TEST(SettingsFaults, List) {
  const std::string stored = Describe(Stored());
  Sweep({.prepare = Prepare,
         .run = [] { return RunMain(settings_tools::ListSettings, {}); },
         .unfaulted = ListOutcome({}) + stored,
         .expect = [=](const Fault& fault) { return ListOutcome(fault) + stored; }});
}

// Somebody changes the level during the first wait, and this one change ends the program.
std::string WatchOutcome(const Fault& fault) {
  const std::string program = "ostrel_watch_settings";
  const std::string first = "watching the settings of both layouts\n";
  const Settings before = SettingsWith(fault, L"Info", 1, 0);
  const Settings after = SettingsWith(fault, L"Warn", 5, kCallsOfPlaces);
  const std::string change = settings_tools::Changes(before, after).front() + '\n';
  const std::string printed[] = {"", first, first + change};
  if (Throws(fault)) {
    return Ended(Threw(fault), printed[fault.Before("fwrite")]);
  }
  if (fault.function == "RegCreateKeyExW") {
    return Stopped(program, "", "cannot open HKLM: " + settings_tools::Reason(ErrorOf(fault)));
  }
  if (fault.function == "fwrite" || fault.function == "fflush") {
    return Stopped(program, printed[fault.Before("fwrite")], kUnwritten);
  }
  // A key that has been deleted is looked for again; instead of a missing one the one above it is
  // watched.
  const bool isNearest = fault.Is("RegOpenKeyExW", 0) || fault.Is("RegOpenKeyExW", 4);
  const bool isWatch = isNearest || fault.function == "RegNotifyChangeKeyValue" ||
                       fault.function == "CreateEventW" || fault.function == "WaitForSingleObject";
  const long code = fault.failure.code;
  const bool goesOn = code == ERROR_KEY_DELETED || (isNearest && code == ERROR_FILE_NOT_FOUND);
  if (isWatch && !goesOn) {
    const std::error_code error(code, std::system_category());
    return Stopped(program, printed[fault.Before("fwrite")],
                   "cannot watch the settings: " + settings_tools::Reason(error));
  }
  return Ended("exit 0", printed[2]) + Lines(program, before.problems) +
         Lines(program, after.problems);
}

TEST(SettingsFaults, Watch) {
  const std::string changed = Describe(Stored(L"Warn"));
  Sweep({.prepare = Prepare,
         .run =
             [] {
               GetPlatform().OnWait([] {
                 ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, kLogKey.c_str(), L"LogLevel", REG_SZ,
                                   L"Warn", sizeof L"Warn");
               });
               return RunMain(settings_tools::WatchSettings, {"1"});
             },
         .unfaulted = WatchOutcome({}) + changed,
         .expect =
             [=](const Fault& fault) {
               const std::string outcome = WatchOutcome(fault);
               const bool isChanged =
                   fault.Before("WaitForSingleObject") != 0 || outcome.starts_with("exit 0");
               return outcome + (isChanged ? changed : Describe(Stored()));
             }});
}

}  // namespace
}  // namespace faults
