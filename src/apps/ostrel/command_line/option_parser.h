// A small parser of dash-options and the help text made of them. It knows no particular option.
#pragma once

#include <any>
#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "command_line/command_result.h"

namespace ostrel {

/// One entry of the option table.
struct Option {
  /// With the leading dash.
  std::vector<std::string> names;
  /// An option with an empty description is left out of the help.
  std::string description;
  /// How many values must follow at least. An option with 0 takes none.
  std::int32_t valueCount = 0;
  /// Whether the command line holds the option.
  bool parsed = false;
  /// What an option without values counts as when it is given.
  std::any implicitValue = true;
  /// Empty until parsed, then one implicit value, or the values as std::string.
  std::vector<std::any> values;

  // Each gives nothing when there are no values, or when they are of another type.

  /// The first value.
  [[nodiscard]] std::optional<bool> asBool() const;
  /// The first value.
  [[nodiscard]] std::optional<std::string> asString() const;
  /// All values.
  [[nodiscard]] std::optional<std::vector<std::string>> asStringList() const;
};

enum class ParseError { None, UnknownArgument, TooFewValues, DuplicatedArgument };

struct ParseResult {
  /// The offending argument; empty without an error.
  std::string argument;
  ParseError code = ParseError::None;

  bool operator==(const ParseResult&) const = default;
};

/// The options of a program and what one command line says about them.
///
/// Names are found exactly as they were added: there are no abbreviations, and case counts. Not
/// copyable, because the index refers to the list's own strings and nodes, which keep their places
/// when the parser is moved. A moved-from parser may only be destroyed or assigned.
class OptionParser {
 public:
  OptionParser(std::string programName, std::string description, std::string version,
               std::string usage);
  OptionParser(OptionParser&&) = default;
  OptionParser& operator=(OptionParser&&) = default;
  OptionParser(const OptionParser&) = delete;
  OptionParser& operator=(const OptionParser&) = delete;
  ~OptionParser() = default;

  /// Adds the option behind the ones there are. A name that is taken means the new option from then
  /// on.
  void addOption(Option option);

  /// Parses the arguments behind the first, which is the program's path, up to the first error.
  /// An option with values takes every argument up to the next that begins with a dash, so a value
  /// cannot begin with one.
  ParseResult parseArguments(int argc, const char* const* argv);

  /// A copy of the option, given or not; nothing when there is none. The dash may be left out.
  [[nodiscard]] std::optional<Option> findOption(std::string_view name) const;

  // The same accessors for the option of a name; nothing as well when there is no such option.

  [[nodiscard]] std::optional<bool> boolOf(std::string_view name) const;
  [[nodiscard]] std::optional<std::string> stringOf(std::string_view name) const;
  [[nodiscard]] std::optional<std::vector<std::string>> stringListOf(std::string_view name) const;

  void printHelp(MessageStream& message) const;

 private:
  std::string programName_;
  std::string description_;
  std::string version_;
  std::string usage_;
  std::list<Option> options_;
  std::unordered_map<std::string_view, std::list<Option>::iterator> nameIndex_;
};

}  // namespace ostrel
