// Every combination of two options, in both orders, against a small model of what a run does.
#include <algorithm>
#include <functional>
#include <iterator>
#include <utility>

#include "expected_settings.h"
#include "fake_powershell.h"
#include "support/expected_help.h"
#include "tool.h"

namespace end_to_end {
namespace {

using testing_support::RawDword;
using testing_support::RawText;

constexpr std::size_t kCollectedSize = 40;

/// One option as it is typed, and what it does in a run of its own.
struct Option {
  Arguments arguments;
  /// Its place among the options of a run.
  int turn;
  /// Runs alone: of several such options only the one with the first turn runs, and nothing else.
  bool runsAlone = false;
  /// Does nothing beside another option of the same turn.
  bool givesWay = false;
  bool isRefused = false;
  /// Ends the run after its turn. So does an option that is refused.
  bool endsTheRun = false;
  /// Changes the settings and returns the message.
  std::function<std::string(Settings&)> run;

  [[nodiscard]] const std::wstring& Name() const { return arguments.front(); }
};

std::string GetLogLevel(Settings& settings) {
  const Values& values = settings[kLogKey];
  const auto found = values.find(L"LogLevel");
  for (const wchar_t* const level : {L"Error", L"Warn", L"Info", L"Debug", L"Trace"}) {
    if (found != values.end() && found->second == RawText(level)) {
      return "Log level: " + Utf8(level) + "\n";
    }
  }
  return "Log level: Info\n";
}

std::string GetZoltDisabled(Settings& settings) {
  const Values& values = settings[kZoltKey];
  const auto found = values.find(L"Disabled");
  for (const wchar_t* const state : {L"true", L"false"}) {
    if (found != values.end() && found->second == RawText(state)) {
      return "ZOLT local disablement config: " + Utf8(state) + "\n";
    }
  }
  return "ZOLT local disablement config: not configured\n";
}

/// Changes nothing.
std::function<std::string(Settings&)> Says(const std::string& message) {
  return [message](Settings&) { return message; };
}

const Option kOptions[] = {
    {.arguments = {L"-help"},
     .turn = 1,
     .runsAlone = true,
     .run = Says(testing_support::kExpectedHelp)},
    // Prints by itself, and writes no message.
    {.arguments = {L"-collectLog"}, .turn = 2, .runsAlone = true, .run = Says("")},
    {.arguments = {L"-resetAllLogSettings"},
     .turn = 3,
     .runsAlone = true,
     .run =
         [](Settings& settings) {
           PutLogDefaults(settings);
           return std::string("Successfully reset all log settings\n");
         }},
    {.arguments = {L"-setLogConfiguration", L"maxLogFiles", L"7"},
     .turn = 4,
     .run =
         [](Settings& settings) {
           PutLogConfiguration(settings, L"maxLogFiles", 7);
           return std::string("Successfully set log configuration for maxLogFiles to 7\n");
         }},
    {.arguments = {L"-setLogConfiguration", L"maxLogFiles", L"31"},
     .turn = 4,
     .isRefused = true,
     .run = Says("Input a valid integer [1..30] for maxLogFiles\n")},
    {.arguments = {L"-resetLogConfiguration", L"maxTraceLogSize"},
     .turn = 4,
     .givesWay = true,
     .run =
         [](Settings& settings) {
           PutLogConfiguration(settings, L"maxTraceLogSize", 10);
           return std::string("Successfully reset log configuration for maxTraceLogSize\n");
         }},
    {.arguments = {L"-resetLogConfiguration", L"maxlogfiles"},
     .turn = 4,
     .givesWay = true,
     .isRefused = true,
     .run = Says("Invalid argument: maxlogfiles, support values are: "
                 "maxLogSize/maxTraceLogSize/maxLogFiles\n")},
    {.arguments = {L"-setLogLevel", L"Trace"},
     .turn = 5,
     .run =
         [](Settings& settings) {
           PutLogLevel(settings, L"Trace");
           return std::string("Successfully set log level to Trace\n");
         }},
    {.arguments = {L"-setLogLevel", L"debug"},
     .turn = 5,
     .isRefused = true,
     .run = Says("Invalid log level: debug, support values are Error/Info/Debug/Trace\n")},
    {.arguments = {L"-resetLogLevel"},
     .turn = 5,
     .givesWay = true,
     .run =
         [](Settings& settings) {
           PutLogLevel(settings, L"Info");
           return std::string("Successfully reset log level to default\n");
         }},
    {.arguments = {L"-getLogLevel"}, .turn = 6, .endsTheRun = true, .run = GetLogLevel},
    {.arguments = {L"-setZOLTDisabled", L"TRUE"},
     .turn = 7,
     .endsTheRun = true,
     .run =
         [](Settings& settings) {
           PutZoltDisabled(settings, L"true");
           return std::string("Successfully set ZOLT disablement config to TRUE\n");
         }},
    {.arguments = {L"-setZOLTDisabled", L"yes"},
     .turn = 7,
     .isRefused = true,
     .run = Says("Invalid argument: yes, support values are: true/false\n")},
    {.arguments = {L"-getZOLTDisabled"}, .turn = 8, .endsTheRun = true, .run = GetZoltDisabled},
};

/// The output and exit status of a run with both options; changes the settings as the run does.
RunResult Model(const Option& first, const Option& second, Settings& settings) {
  if (first.Name() == second.Name()) {
    return Failure("Duplicated argument: " + Utf8(second.Name()) + "\n");
  }
  std::vector<const Option*> options = {&first, &second};
  const auto precedes = [](const Option* left, const Option* right) {
    return std::pair(left->turn, left->givesWay) < std::pair(right->turn, right->givesWay);
  };
  std::ranges::sort(options, precedes);
  if (options[0]->runsAlone || options[0]->turn == options[1]->turn) {
    options.pop_back();
  }
  std::string message;
  for (const Option* const option : options) {
    message += option->run(settings);
    if (option->isRefused) {
      return Failure(message);
    }
    if (option->endsTheRun) {
      break;
    }
  }
  RunResult result = Success(message);
  if (options[0]->Name() == L"-collectLog") {
    result.output = Pattern(kCollectedSize) + result.output;
  }
  return result;
}

class CombinationTest : public ToolTest, public ::testing::WithParamInterface<Option> {
 protected:
  void ExpectWhatTheModelSays(const Settings& initial) const {
    for (const Option& other : kOptions) {
      Clear();
      Write(initial);
      ::DeleteFileW(Record().c_str());

      Arguments arguments = GetParam().arguments;
      arguments.insert(arguments.end(), other.arguments.begin(), other.arguments.end());
      Settings settings = initial;
      const RunResult expected = Model(GetParam(), other, settings);
      EXPECT_EQ(RunTool(arguments, environment_), expected) << ::testing::PrintToString(arguments);
      EXPECT_EQ(Registry(), settings) << ::testing::PrintToString(arguments);
    }
  }

 private:
  [[nodiscard]] std::wstring Record() const { return directory_.Path() + L"\\record"; }

  TemporaryDirectory directory_{L"combination"};
  Environment environment_ = {{L"PATH", ProgramDirectory() + L"\\fake-powershell"},
                              {L"OSTREL_TEST_RECORD", Record()},
                              {L"OSTREL_TEST_SIZE", std::to_wstring(kCollectedSize)},
                              {L"OSTREL_TEST_STATUS", L"1"}};
};

TEST_P(CombinationTest, WithEachOptionFromAnEmptyRegistry) { ExpectWhatTheModelSays({}); }

// The options that reach the registry whatever other option is given.
class AcceptedCombinationTest : public CombinationTest {};

TEST_P(AcceptedCombinationTest, WithEachOptionOverExistingValues) {
  ExpectWhatTheModelSays(
      {{kLogKey, {{L"LogLevel", RawText(L"Error")}, {L"MaxNumFiles", RawText(L"many")}}},
       {kLegacyKey, {{L"LogLevel", RawDword(6)}, {L"Unrelated", RawText(L"x")}}},
       {kZoltKey, {{L"Disabled", RawText(L"false")}}}});
}

std::vector<Option> AcceptedOptions() {
  std::vector<Option> options;
  std::ranges::copy_if(kOptions, std::back_inserter(options),
                       [](const Option& option) { return !option.isRefused && option.turn > 2; });
  return options;
}

std::string TestName(const ::testing::TestParamInfo<Option>& information) {
  std::string name;
  for (const std::wstring& argument : information.param.arguments) {
    std::string words = Utf8(argument);
    std::erase(words, '-');
    name += (name.empty() ? "" : "_") + words;
  }
  return name;
}

INSTANTIATE_TEST_SUITE_P(Options, CombinationTest, ::testing::ValuesIn(kOptions), TestName);
INSTANTIATE_TEST_SUITE_P(Options, AcceptedCombinationTest, ::testing::ValuesIn(AcceptedOptions()),
                         TestName);

}  // namespace
}  // namespace end_to_end
