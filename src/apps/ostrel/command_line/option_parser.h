// A small parser for options that begin with a dash, and the help text made from them. It knows no
// particular option. Used from one thread.
#pragma once

#include <any>
#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "command_line/message_stream.h"

namespace ostrel {

/// One entry of the option table.
struct Option {
  /// All names of the option, each with its leading dash.
  std::vector<std::string> names;
  /// The text in the help. An option with an empty description is left out of the help.
  std::string description;
  /// The least number of values that must follow. An option with 0 takes no values.
  std::int32_t valueCount = 0;
  /// Whether the command line has the option.
  bool parsed = false;
  /// The value that an option with valueCount 0 gets when it is given.
  std::any implicitValue = true;
  /// Empty until the option is parsed. Then the implicit value, or the given values as std::string.
  std::vector<std::any> values;

  // Each accessor gives nothing if there are no values or if they have another type.

  /// The first value.
  [[nodiscard]] std::optional<bool> asBool() const;
  /// The first value.
  [[nodiscard]] std::optional<std::string> asString() const;
  /// All values.
  [[nodiscard]] std::optional<std::vector<std::string>> asStringList() const;
};

enum class ParseError { None, UnknownArgument, TooFewValues, DuplicatedArgument };

struct ParseResult {
  /// The argument in error; empty without an error.
  std::string argument;
  ParseError code = ParseError::None;

  bool operator==(const ParseResult&) const = default;
};

/// The options of a program and what one command line says about them.
///
/// Names are found exactly as they were added: there are no abbreviations, and case matters. A
/// parser cannot be copied, because its index refers to strings and nodes in its own list. They
/// keep their addresses when the parser is moved. A moved-from parser must only be destroyed or
/// assigned.
class OptionParser {
 public:
  OptionParser(std::string programName, std::string description, std::string version,
               std::string usage);
  OptionParser(OptionParser&&) = default;
  OptionParser& operator=(OptionParser&&) = default;
  OptionParser(const OptionParser&) = delete;
  OptionParser& operator=(const OptionParser&) = delete;
  ~OptionParser() = default;

  /// Adds the option after the existing ones. A name that is taken refers to the new option from
  /// then on.
  void addOption(Option option);

  /// Parses the arguments up to the first error. The first argument is the program's path and is
  /// skipped. An option with values takes every argument up to the next one that begins with a
  /// dash, so a value cannot begin with a dash.
  ParseResult parseArguments(int argc, const char* const* argv);

  /// A copy of the option, whether the command line has it or not; nothing for an unknown name. The
  /// dash may be left out.
  [[nodiscard]] std::optional<Option> findOption(std::string_view name) const;

  // The accessors of the option with this name; nothing if there is no such option.

  [[nodiscard]] std::optional<bool> boolOf(std::string_view name) const;
  [[nodiscard]] std::optional<std::string> stringOf(std::string_view name) const;
  [[nodiscard]] std::optional<std::vector<std::string>> stringListOf(std::string_view name) const;

  void printHelp(MessageStream& message) const;

 private:
  /// Null for an unknown name.
  [[nodiscard]] const Option* lookUp(std::string_view name) const;

  std::string programName_;
  std::string description_;
  std::string version_;
  std::string usage_;
  std::list<Option> options_;
  std::unordered_map<std::string_view, std::list<Option>::iterator> nameIndex_;
};

}  // namespace ostrel
