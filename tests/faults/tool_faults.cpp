// Every command of the tool, from its entry to its exit status, over both layouts.
#include <windows.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "account.h"
#include "handlers/legacy_windows_handler.h"
#include "library_texts.h"
#include "support/expected_help.h"
#include "sweep.h"
#include "tool_entry.h"
#include "tool_model.h"

namespace faults {
namespace {

using testing_support::RawDword;
using testing_support::RawText;

std::string RunOstrel(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "C:\\Tools\\ostrel.exe");
  std::vector<char*> argv;
  argv.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) {
    argv.push_back(argument.data());
  }
  argv.push_back(nullptr);
  int status = -1;
  const std::string thrown =
      Counted([&] { status = RunTool(static_cast<int>(argv.size()) - 1, argv.data()); });
  const std::string exited =
      "exit " + std::to_string(status) + (GetPlatform().Flushed() ? "" : " without a flush");
  return Ended(thrown.empty() ? exited : thrown, GetPlatform().Printed() + GetPlatform().Errors());
}

void Store(const testing_support::RegistrySandbox& sandbox, const Contents& stored) {
  for (const auto& [key, values] : stored) {
    sandbox.CreateKey(key);
    for (const auto& [name, value] : values) {
      sandbox.Write(key, name, value);
    }
  }
}

std::string Refused() { return Ended("exit 1", "This tool should run as admin\n"); }

Operation MakeOperation(const Command& command) {
  return {
      .prepare = [command](const auto& sandbox) { Store(sandbox, command.stored); },
      .run = [command] { return RunOstrel(command.arguments); },
      .unfaulted = Expected(command, nullptr),
      .expect =
          [command](const Fault& fault) {
            return fault.function == "IsUserAnAdmin" ? Refused() + Describe(command.stored)
                                                     : Expected(command, &fault);
          },
  };
}

void SweepCommand(const Command& command) { Sweep(MakeOperation(command)); }

Change SetsLevel(const std::wstring& name, const std::wstring& legacyName, std::string done,
                 std::string failed) {
  const bool isTrace = name == L"Trace";
  return {{{kLogKey, {{L"LogLevel", RawText(name)}}}},
          {{kLegacyKey,
            {{L"LogLevel", RawText(legacyName)},
             {L"VerboseLevel", RawText(isTrace ? L"3" : L"0")},
             {L"kst_windows_log_verbose", RawText(isTrace ? L"true" : L"false")}}}},
          std::move(done),
          std::move(failed)};
}

struct Configuration {
  std::string name;
  std::wstring value;
  std::wstring legacyValue;
  unsigned defaultNumber;
};
const Configuration kConfigurations[] = {
    {"maxLogSize", L"MaxFileSize", L"MaxLogSize", 1},
    {"maxTraceLogSize", L"MaxTraceLogSize", L"MaxTraceLogSize", 10},
    {"maxLogFiles", L"MaxNumFiles", L"MaxLogFiles", 10}};

Change SetsConfiguration(const Configuration& configuration, unsigned number, std::string done,
                         std::string failed) {
  return {{{kLogKey, {{configuration.value, RawDword(number)}}}},
          {{kLegacyKey, {{configuration.legacyValue, RawText(std::to_wstring(number))}}}},
          std::move(done),
          std::move(failed)};
}

// Settings that differ from everything that the commands write.
Contents SomeSettings() {
  return {{L"SOFTWARE", {}},
          {L"SOFTWARE\\Kestrane, Inc.", {}},
          {L"SOFTWARE\\Kestrane, Inc.\\Kestrane Vantor Telemetry", {}},
          {L"SOFTWARE\\Kestrane, Inc.\\Kestrane Vantor Telemetry\\Service", {}},
          {L"SOFTWARE\\Kestrane, Inc.\\Kestrane Vantor Telemetry\\Service\\Config", {}},
          {kLogKey, {{L"LogLevel", RawText(L"Error")}, {L"MaxFileSize", RawDword(33)}}},
          {kZoltKey, {{L"Disabled", RawText(L"false")}}}};
}

TEST(ToolFaults, Help) {
  SweepCommand({.arguments = {"-help"},
                .stored = {},
                .steps = {},
                .message = testing_support::kExpectedHelp});
}
TEST(ToolFaults, NoArguments) {
  SweepCommand(
      {.arguments = {}, .stored = {}, .steps = {}, .message = testing_support::kExpectedHelp});
}

TEST(ToolFaults, RefusedCommandLines) {
  const std::pair<std::vector<std::string>, std::string> kRefused[] = {
      {{"-bogus"}, "Unknown argument: -bogus\n"},
      {{"-setLogLevel"}, "Too few value of argument: -setLogLevel\n"},
      {{"-getLogLevel", "-getLogLevel"}, "Duplicated argument: -getLogLevel\n"},
      {{"-setLogLevel", "debug"},
       "Invalid log level: debug, support values are Error/Info/Debug/Trace\n"},
      {{"-setLogConfiguration", "size", "5"},
       "Invalid argument: size, support values are: maxLogSize/maxTraceLogSize/maxLogFiles\n"},
      {{"-setLogConfiguration", "maxLogSize", "5MB"},
       "Invalid argument: 5MB, a integer is required for maxLogSize\n"},
      {{"-setLogConfiguration", "maxLogSize", "51"},
       "Input a valid integer [1..50] for maxLogSize\n"},
      {{"-resetLogConfiguration", "size"},
       "Invalid argument: size, support values are: maxLogSize/maxTraceLogSize/maxLogFiles\n"},
      {{"-setZOLTDisabled", "yes"}, "Invalid argument: yes, support values are: true/false\n"},
  };
  for (const auto& [arguments, message] : kRefused) {
    SCOPED_TRACE(arguments.back());
    SweepCommand({.arguments = arguments,
                  .stored = SomeSettings(),
                  .steps = {},
                  .message = message,
                  .status = 1});
  }
}

TEST(ToolFaults, GetLogLevel) {
  const Look look{kLogKey, "Log level: Error\n", "Log level: Info\n", 0};
  SweepCommand({.arguments = {"-getLogLevel"}, .stored = SomeSettings(), .steps = {look}});
}
TEST(ToolFaults, GetLogLevelByItsThirdComparison) {
  // The tool does not compare names of different lengths.
  const Look look{kLogKey, "Log level: Trace\n", "Log level: Info\n", 2};
  Contents stored = SomeSettings();
  stored[kLogKey][L"LogLevel"] = RawText(L"TRACE");
  SweepCommand({.arguments = {"-getLogLevel"}, .stored = stored, .steps = {look}});
}
TEST(ToolFaults, GetLogLevelThatIsNotStored) {
  const Look look{kLogKey, "Log level: Info\n", "Log level: Info\n", 0};
  SweepCommand({.arguments = {"-getLogLevel"}, .stored = {}, .steps = {look}});
}

TEST(ToolFaults, SetLogLevel) {
  const std::pair<const char*, std::pair<const wchar_t*, const wchar_t*>> kLevels[] = {
      {"Error", {L"Error", L"error"}}, {"Warn", {L"Warn", L"warn"}},
      {"Info", {L"Info", L"info"}},    {"Debug", {L"Debug", L"debug"}},
      {"Trace", {L"Trace", L"trace"}},
  };
  for (const auto& [level, names] : kLevels) {
    SCOPED_TRACE(level);
    SweepCommand({.arguments = {"-setLogLevel", level},
                  .stored = {},
                  .steps = {SetsLevel(names.first, names.second,
                                      "Successfully set log level to " + std::string(level) + "\n",
                                      "Set log level to " + std::string(level) + " failed\n")}});
  }
}

const Change kResetsLevel = SetsLevel(L"Info", L"info", "Successfully reset log level to default\n",
                                      "Reset log level to default failed\n");

TEST(ToolFaults, ResetLogLevel) {
  SweepCommand(
      {.arguments = {"-resetLogLevel"}, .stored = SomeSettings(), .steps = {kResetsLevel}});
}
TEST(ToolFaults, ResetLogLevelAndGetIt) {
  // After a failed reset the level is not read.
  const Look look{kLogKey, "Log level: Info\n", "Log level: Info\n", 0};
  SweepCommand({.arguments = {"-resetLogLevel", "-getLogLevel"},
                .stored = {},
                .steps = {kResetsLevel, look}});
}

TEST(ToolFaults, SetLogConfiguration) {
  for (const Configuration& configuration : kConfigurations) {
    SCOPED_TRACE(configuration.name);
    SweepCommand({.arguments = {"-setLogConfiguration", configuration.name, "+07"},
                  .stored = SomeSettings(),
                  .steps = {SetsConfiguration(
                      configuration, 7,
                      "Successfully set log configuration for " + configuration.name + " to +07\n",
                      "Set log configuration for " + configuration.name + " to +07 failed\n")}});
  }
}

TEST(ToolFaults, ResetLogConfiguration) {
  for (const Configuration& configuration : kConfigurations) {
    SCOPED_TRACE(configuration.name);
    SweepCommand({.arguments = {"-resetLogConfiguration", configuration.name},
                  .stored = {},
                  .steps = {SetsConfiguration(
                      configuration, configuration.defaultNumber,
                      "Successfully reset log configuration for " + configuration.name + "\n",
                      "Reset log configuration for " + configuration.name + " failed\n")}});
  }
}

TEST(ToolFaults, SetLogConfigurationAndLogLevel) {
  SweepCommand(
      {.arguments = {"-setLogLevel", "Debug", "-setLogConfiguration", "maxLogSize", "5"},
       .stored = {},
       .steps = {SetsConfiguration(kConfigurations[0], 5,
                                   "Successfully set log configuration for maxLogSize to 5\n",
                                   "Set log configuration for maxLogSize to 5 failed\n"),
                 SetsLevel(L"Debug", L"debug", "Successfully set log level to Debug\n",
                           "Set log level to Debug failed\n")}});
}

TEST(ToolFaults, ResetAllLogSettings) {
  Change all = kResetsLevel;
  for (const Configuration& configuration : kConfigurations) {
    const Change one = SetsConfiguration(configuration, configuration.defaultNumber, {}, {});
    all.current.push_back(one.current.front());
    all.legacy.push_back(one.legacy.front());
  }
  all.done = "Successfully reset all log settings\n";
  all.failed = "Reset all log settings failed\n";
  SweepCommand({.arguments = {"-resetAllLogSettings"}, .stored = SomeSettings(), .steps = {all}});
}

TEST(ToolFaults, SetZoltDisabled) {
  for (const std::string text : {"true", "FALSE"}) {
    SCOPED_TRACE(text);
    const Command command{
        .arguments = {"-setZOLTDisabled", text},
        .stored = {},
        .steps = {
            Change{{{kZoltKey, {{L"Disabled", RawText(text == "true" ? L"true" : L"false")}}}},
                   {},
                   "Successfully set ZOLT disablement config to " + text + "\n",
                   "Set ZOLT local config failed\n"}}};
    const Command refused{
        .arguments = {},
        .stored = {},
        .steps = {},
        .message = "Invalid argument: " + text + ", support values are: true/false\n",
        .status = 1};
    Operation operation = MakeOperation(command);
    operation.expect = [=, usual = operation.expect](const Fault& fault) {
      // A comparison that fails counts as not equal.
      return fault.function == "CompareStringW" ? Expected(refused, nullptr) : usual(fault);
    };
    Sweep(operation);
  }
}

TEST(ToolFaults, GetZoltDisabled) {
  const Look look{kZoltKey, "ZOLT local disablement config: false\n",
                  "ZOLT local disablement config: not configured\n", 0};
  SweepCommand({.arguments = {"-getZOLTDisabled"}, .stored = SomeSettings(), .steps = {look}});
}

TEST(ToolFaults, GetZoltDisabledThatIsNotStored) {
  const std::string text = "ZOLT local disablement config: not configured\n";
  SweepCommand(
      {.arguments = {"-getZOLTDisabled"}, .stored = {}, .steps = {Look{kZoltKey, text, text, 0}}});
}

// Nothing in the tool reads the older layout, so the handler is called directly.
TEST(ToolFaults, GetLogLevelOfTheOlderLayout) {
  Contents stored = SomeSettings();
  AddKey(stored, kLegacyKey);
  stored[kLegacyKey][L"LogLevel"] = RawText(L"6");
  const auto level = [](int number) { return Line("level " + std::to_string(number)); };
  Sweep({.prepare = [=](const auto& sandbox) { Store(sandbox, stored); },
         .run =
             [=] {
               return CountedOutcome([&] {
                 const auto found = ostrel::LegacyWindowsHandler().getLogLevel();
                 const Pause pause;
                 return level(static_cast<int>(found));
               });
             },
         .unfaulted = level(4) + Describe(stored),
         .expect =
             [=](const Fault& fault) {
               if (fault.function == kAllocation) {
                 return kOutOfMemory + Describe(stored);
               }
               const bool unread =
                   fault.function == "RegCreateKeyExW" ||
                   (fault.function == "RegGetValueW" && fault.failure.code != ERROR_MORE_DATA);
               return level(unread ? 2 : 4) + Describe(stored);
             }});
}

TEST(ToolFaults, CollectLog) {
  const auto command = [](const std::string& directory) {
    return "ran [powershell.exe -ExecutionPolicy RemoteSigned -file \"" + directory +
           "\\collectLogs.ps1\"]\n";
  };
  const std::string usual = command("C:\\Tools");
  const std::string output = Platform::kCommandOutput;
  const std::string settings = Describe(SomeSettings());
  const auto printed = [=](const std::string& text) {
    return usual + Ended("exit 0", text) + settings;
  };
  Sweep({.prepare = [](const auto& sandbox) { Store(sandbox, SomeSettings()); },
         .run =
             [] {
               const std::string ended = RunOstrel({"-collectLog"});
               return "ran [" + GetPlatform().Command() + "]\n" + ended;
             },
         .unfaulted = printed(output + "\n"),
         .expect =
             [=](const Fault& fault) {
               if (fault.function == "IsUserAnAdmin") {
                 return "ran []\n" + Refused() + settings;
               }
               if (fault.function == "MultiByteToWideChar" ||
                   fault.function == "WideCharToMultiByte") {
                 const auto code = std::to_string(fault.failure.code);
                 return "ran []\n" + Ended("threw std::system_error " + code, {}) + settings;
               }
               if (fault.function == kAllocation) {
                 const bool ran = fault.Before("_popen") != 0;
                 return (ran ? usual : "ran []\n") +
                        Ended(kOutOfMemory, fault.Before("fwrite") == 0 ? "" : output) + settings;
               }
               if (fault.function == "GetModuleFileNameA") {
                 return command("") + Ended("exit 0", output + "\n") + settings;
               }
               if (fault.function == "_popen" || fault.Is("fwrite", 0)) {
                 return printed("\n");
               }
               if (fault.function == "fread") {
                 return printed(output.substr(0, fault.Before("fread") * Platform::kReadLength) +
                                "\n");
               }
               // The third write is that of the line end, after the message.
               return printed(fault.Is("fwrite", 2) ? output : output + "\n");
             }});
}

}  // namespace
}  // namespace faults
