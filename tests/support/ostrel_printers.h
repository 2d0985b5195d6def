// How the messages of failed expectations print what the tool defines. GoogleTest finds these
// functions by the namespace: each file that compares such a value must include this header.
#pragma once

#include <ostream>

#include "command_line/command_result.h"
#include "command_line/option_parser.h"
#include "handlers/handleable.h"
#include "support/print_name.h"

namespace ostrel {

inline void PrintTo(LogLevel level, std::ostream* stream) {
  testing_support::PrintName(level, {"Error", "Warn", "Info", "Debug", "Trace"}, stream);
}
inline void PrintTo(ZoltDisabledState state, std::ostream* stream) {
  testing_support::PrintName(state, {"NotConfigured", "Disabled", "NotDisabled"}, stream);
}
inline void PrintTo(ParseError error, std::ostream* stream) {
  testing_support::PrintName(
      error, {"None", "UnknownArgument", "TooFewValues", "DuplicatedArgument"}, stream);
}
inline void PrintTo(const ParseResult& result, std::ostream* stream) {
  PrintTo(result.code, stream);
  *stream << " \"" << result.argument << '"';
}
inline void PrintTo(const ConfigRange& range, std::ostream* stream) {
  *stream << range.defaultValue << " in " << range.minimum << ".." << range.maximum;
}
inline void PrintTo(const ActionOutcome& outcome, std::ostream* stream) {
  *stream << (outcome.succeeded ? "succeeded" : "failed")
          << (outcome.finished ? ", finished" : ", goes on");
}

}  // namespace ostrel
