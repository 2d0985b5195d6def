#include "command_line/option_parser.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

namespace ostrel {
namespace {

template <class Value>
std::optional<Value> firstAs(const std::vector<std::any>& values) {
  const Value* const value = values.empty() ? nullptr : std::any_cast<Value>(&values.front());
  return value == nullptr ? std::nullopt : std::optional<Value>(*value);
}

/// The names as the help shows them.
std::string label(const Option& option) {
  std::string text;
  for (const std::string& name : option.names) {
    text += name;
    text += ' ';
  }
  return text;
}

}  // namespace

std::optional<bool> Option::asBool() const { return firstAs<bool>(values); }

std::optional<std::string> Option::asString() const { return firstAs<std::string>(values); }

std::optional<std::vector<std::string>> Option::asStringList() const {
  if (values.empty()) {
    return std::nullopt;
  }
  std::vector<std::string> texts;
  for (const std::any& value : values) {
    const auto* const text = std::any_cast<std::string>(&value);
    if (text == nullptr) {
      return std::nullopt;
    }
    texts.push_back(*text);
  }
  return texts;
}

OptionParser::OptionParser(std::string programName, std::string description, std::string version,
                           std::string usage)
    : programName_(std::move(programName)),
      description_(std::move(description)),
      version_(std::move(version)),
      usage_(std::move(usage)) {}

void OptionParser::addOption(Option option) {
  const auto place = options_.insert(options_.end(), std::move(option));
  for (const std::string& name : place->names) {
    nameIndex_.insert_or_assign(name, place);
  }
}

ParseResult OptionParser::parseArguments(int argc, const char* const* argv) {
  const std::vector<std::string> arguments(argv, argv + argc);
  auto next = arguments.begin() + (arguments.empty() ? 0 : 1);
  while (next != arguments.end()) {
    const std::string& argument = *next++;
    const auto found = nameIndex_.find(argument);
    if (found == nameIndex_.end()) {
      return {argument, ParseError::UnknownArgument};
    }
    Option& option = *found->second;
    if (std::exchange(option.parsed, true)) {
      return {argument, ParseError::DuplicatedArgument};
    }
    if (option.valueCount == 0) {
      option.values.push_back(option.implicitValue);
      continue;
    }
    const auto end = std::find_if(next, arguments.end(),
                                  [](const std::string& text) { return text.starts_with('-'); });
    if (end - next < option.valueCount) {
      return {argument, ParseError::TooFewValues};
    }
    option.values.insert(option.values.end(), next, end);
    next = end;
  }
  return {};
}

const Option* OptionParser::lookUp(std::string_view name) const {
  auto found = nameIndex_.find(name);
  if (found == nameIndex_.end() && !name.starts_with('-')) {
    found = nameIndex_.find(std::string("-").append(name));
  }
  return found == nameIndex_.end() ? nullptr : &*found->second;
}

std::optional<Option> OptionParser::findOption(std::string_view name) const {
  const Option* const option = lookUp(name);
  return option == nullptr ? std::nullopt : std::optional<Option>(*option);
}

std::optional<bool> OptionParser::boolOf(std::string_view name) const {
  const Option* const option = lookUp(name);
  return option == nullptr ? std::nullopt : option->asBool();
}

std::optional<std::string> OptionParser::stringOf(std::string_view name) const {
  const Option* const option = lookUp(name);
  return option == nullptr ? std::nullopt : option->asString();
}

std::optional<std::vector<std::string>> OptionParser::stringListOf(std::string_view name) const {
  const Option* const option = lookUp(name);
  return option == nullptr ? std::nullopt : option->asStringList();
}

void OptionParser::printHelp(MessageStream& message) const {
  const auto out = std::back_inserter(message);
  fmt::format_to(out, "OVERVIEW: {} {}\n", programName_, version_);
  if (!description_.empty()) {
    fmt::format_to(out, "{}\n\n", description_);
  }
  if (!usage_.empty()) {
    fmt::format_to(out, "USAGE:\n{}\n\n", usage_);
  }

  // Options that the help leaves out count for the width as well.
  std::size_t width = 0;
  for (const auto& [name, option] : nameIndex_) {
    width = std::max(width, label(*option).size());
  }
  fmt::format_to(out, "OPTIONS:\n");
  for (const Option& option : options_) {
    if (option.description.empty()) {
      continue;
    }
    std::string names = label(option);
    names.resize(std::max(width, names.size()), ' ');
    fmt::format_to(out, "{}\t{}\n", names, option.description);
  }
}

}  // namespace ostrel
