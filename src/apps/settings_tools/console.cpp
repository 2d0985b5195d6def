#include "settings_tools/console.h"

#include <charconv>
#include <cstdio>

#include <fmt/format.h>

namespace settings_tools {

std::string Help(const HelpText& text) {
  return fmt::format(
      "OVERVIEW: {0} {1}\n{2}\n\nUSAGE:\n{0} {3}\n\nOPTIONS:\n-help\tDisplay help information for "
      "the tool\n{4}\n{5}",
      text.program, OSTREL_VERSION, text.overview, text.usage, text.options, text.text);
}

void PrintError(std::string_view program, std::string_view message) {
  const std::string line = fmt::format("{}: {}\n", program, message);
  static_cast<void>(std::fwrite(line.data(), sizeof(char), line.size(), stderr));
}

bool Print(std::string_view program, std::string_view text) {
  const bool isWritten =
      std::fwrite(text.data(), sizeof(char), text.size(), stdout) == text.size() &&
      std::fflush(stdout) == 0;
  if (!isWritten) {
    PrintError(program, "cannot write the output");
  }
  return isWritten;
}

std::optional<std::uint32_t> ParseCount(std::string_view text) {
  std::uint32_t count = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, count);
  return rest == end && error == std::errc() && count > 0 ? std::optional(count) : std::nullopt;
}

}  // namespace settings_tools
