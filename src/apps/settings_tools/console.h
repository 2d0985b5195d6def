// What both tools do on the console.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace settings_tools {

inline constexpr int kUsageError = 2;

/// The manner of ostrel's help. `usage` is what follows the program's name, and `options` and
/// `text` are whole lines.
struct HelpText {
  std::string_view program;
  std::string_view overview;
  std::string_view usage;
  std::string_view options;
  std::string_view text;
};
std::string Help(const HelpText& text);

/// Writes a line to standard error.
void PrintError(std::string_view program, std::string_view message);

/// Writes to standard output, at once, and returns whether all of it was written. Otherwise there
/// is a line on standard error.
[[nodiscard]] bool Print(std::string_view program, std::string_view text);

/// A decimal number from 1 on, written with digits alone.
std::optional<std::uint32_t> ParseCount(std::string_view text);

}  // namespace settings_tools
