// A model of the command line: the required outcome of a run, in the simplest form.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "handlers/handleable.h"

namespace fuzz {

using Texts = std::vector<std::string>;

/// The answers of the handler.
struct Answers {
  std::map<std::string, ostrel::HandlerStatus> statuses;
  std::map<std::string, ostrel::ConfigRange> ranges;
  std::uint32_t level = 0;
  std::uint32_t zolt = 0;
  /// Whether the arguments begin with the program's path.
  bool hasPath = true;
};

/// The visible outcome of a run.
struct Outcome {
  bool success = false;
  std::string message;
  Texts calls;
  /// The handler gave an answer that has no meaning, and the run ended with an exception. There is
  /// no success and no message then.
  bool noAnswer = false;
};

Outcome Predict(const Answers& answers, const Texts& arguments);

}  // namespace fuzz
