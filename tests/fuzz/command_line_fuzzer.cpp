// The command line against a model of what it promises: success, message and the handler's calls.
//
// Input: three bytes for the handler's answers and the existence of a program path, a line feed,
// then the arguments, each ended by a line feed.
#include <string>
#include <variant>
#include <vector>

#include "command_line/run_command_line.h"
#include "command_line_model.h"
#include "input.h"
#include "support/recording_handler.h"

namespace {

using fuzz::Answers;
using fuzz::Expect;
using fuzz::Outcome;
using fuzz::Texts;

Texts TakeArguments(fuzz::Input& input) {
  Texts arguments;
  bool ended = true;
  for (const std::uint8_t byte : input.TakeRest()) {
    if (ended) {
      arguments.emplace_back();
    }
    ended = byte == '\n';
    if (!ended && byte != 0) {
      arguments.back() += static_cast<char>(byte);
    }
  }
  return arguments;
}

/// Printable bytes, so that the inputs can be written by hand: "@@@" are the answers of a handler
/// without failures, with level Error and no ZOLT state.
Answers TakeAnswers(fuzz::Input& input) {
  constexpr ostrel::ConfigRange kRanges[] = {
      {1, 1, 50}, {0, 0, 0}, {5, 7, 3}, {0, 0xFFFFFFF0, 0x7FFFFFFF}};
  Answers answers;
  std::uint8_t failures = input.TakeByte();
  for (const char* write : {"setLogLevel", "resetLogLevel", "setLogConfiguration",
                            "resetLogConfiguration", "resetAllLogSettings", "setZOLTDisabled"}) {
    answers.statuses[write] = failures % 2 != 0 ? ostrel::kWriteFailed : ostrel::kSuccess;
    failures /= 2;
  }
  const std::uint8_t states = input.TakeByte();
  answers.level = states % 8;
  answers.zolt = states / 8 % 4;
  const std::uint8_t ranges = input.TakeByte();
  answers.ranges["maxLogSize"] = kRanges[ranges % 4];
  answers.ranges["maxTraceLogSize"] = kRanges[ranges / 4 % 4];
  if (ranges / 16 % 2 == 0) {
    answers.ranges["maxLogFiles"] = {10, 1, 30};
  }
  answers.hasPath = ranges / 32 % 2 == 0;
  input.TakeByte();
  return answers;
}

Outcome Run(const Answers& answers, const Texts& arguments) {
  testing_support::RecordingHandler handler;
  handler.statuses = answers.statuses;
  handler.logLevel = static_cast<ostrel::LogLevel>(answers.level);
  handler.zoltDisabled = static_cast<ostrel::ZoltDisabledState>(answers.zolt);
  handler.configurationRanges = answers.ranges;

  std::vector<const char*> argv;
  if (answers.hasPath) {
    argv.push_back("-help");  // the program's path, whatever it looks like
    for (const std::string& argument : arguments) {
      argv.push_back(argument.c_str());
    }
  }
  Outcome outcome;
  try {
    const auto result = runCommandLine(static_cast<int>(argv.size()), argv.data(), handler);
    outcome.success = result.success;
    outcome.message = result.message;
  } catch (const std::bad_optional_access&) {
    outcome.noAnswer = true;
  }
  outcome.calls = handler.Calls();
  return outcome;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const Answers answers = TakeAnswers(input);
  const Texts arguments = TakeArguments(input);
  const Outcome expected = fuzz::Predict(answers, arguments);
  const Outcome actual = Run(answers, arguments);
  Expect(actual.calls == expected.calls, "the handler's calls");
  Expect(actual.noAnswer == expected.noAnswer, "only answers without meaning raise");
  Expect(actual.message == expected.message, "the message");
  Expect(actual.success == expected.success, "success");
  return 0;
}
