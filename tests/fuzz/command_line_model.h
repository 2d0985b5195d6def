// What a run of the command line promises, told as simply as it can be.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "handlers/handleable.h"

namespace fuzz {

using Texts = std::vector<std::string>;

/// What the handler answers.
struct Answers {
  std::map<std::string, ostrel::HandlerStatus> statuses;
  std::map<std::string, ostrel::ConfigRange> ranges;
  std::uint32_t level = 0;
  std::uint32_t zolt = 0;
  /// Whether the program has got as much as its own path.
  bool hasPath = true;
};

/// What is to be seen of a run.
struct Outcome {
  bool success = false;
  std::string message;
  Texts calls;
  /// The handler gave an answer without meaning, so that the run ended with an exception; success
  /// and message are lost.
  bool noAnswer = false;
};

Outcome Predict(const Answers& answers, const Texts& arguments);

}  // namespace fuzz
