#include "command_line/log_configuration_commands.h"

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <unordered_set>

#include <fmt/format.h>

#include "command_line/option_table.h"

namespace ostrel {
namespace {

// With an int of 32 bits std::stoi fails for a number that does not fit in 32 bits, whatever the
// width of long, which differs between platforms.
static_assert(std::numeric_limits<int>::digits == 31);

/// The whole text as a decimal number, with optional white space and a sign before it; nothing if
/// it is not one that fits.
std::optional<std::int32_t> toInteger(const std::string& text) {
  try {
    std::size_t used = 0;
    const int number = std::stoi(text, &used, /*base=*/10);
    return used == text.size() ? std::optional(number) : std::nullopt;
  } catch (const std::invalid_argument&) {
    return std::nullopt;
  } catch (const std::out_of_range&) {
    return std::nullopt;
  }
}

ActionOutcome rejectName(const std::string& name, MessageStream& message) {
  fmt::format_to(
      std::back_inserter(message),
      "Invalid argument: {}, support values are: maxLogSize/maxTraceLogSize/maxLogFiles\n", name);
  return kFailedStop;
}

ActionOutcome setLogConfiguration(const std::string& name, const std::string& value,
                                  Handleable& factory, MessageStream& message) {
  const auto out = std::back_inserter(message);
  if (!isConfigurationName(name)) {
    return rejectName(name, message);
  }
  const std::optional<std::int32_t> number = toInteger(value);
  if (!number) {
    fmt::format_to(out, "Invalid argument: {}, a integer is required for {}\n", value, name);
    return kFailedStop;
  }
  const ConfigRange range = factory.getConfigurationRange(name).value();
  // Compared and shown as signed numbers, as in the help.
  const auto minimum = static_cast<std::int32_t>(range.minimum);
  const auto maximum = static_cast<std::int32_t>(range.maximum);
  if (*number < minimum || *number > maximum) {
    fmt::format_to(out, "Input a valid integer [{}..{}] for {}\n", minimum, maximum, name);
    return kFailedStop;
  }
  if (factory.setLogConfiguration(name, static_cast<std::uint32_t>(*number)) != kSuccess) {
    fmt::format_to(out, "Set log configuration for {} to {} failed\n", name, value);
    return kFailedStop;
  }
  fmt::format_to(out, "Successfully set log configuration for {} to {}\n", name, value);
  return kDone;
}

ActionOutcome resetLogConfiguration(const std::string& name, Handleable& factory,
                                    MessageStream& message) {
  const auto out = std::back_inserter(message);
  if (!isConfigurationName(name)) {
    return rejectName(name, message);
  }
  if (factory.resetLogConfiguration(name) != kSuccess) {
    fmt::format_to(out, "Reset log configuration for {} failed\n", name);
    return kFailedStop;
  }
  fmt::format_to(out, "Successfully reset log configuration for {}\n", name);
  return kDone;
}

}  // namespace

bool isConfigurationName(std::string_view name) {
  const std::unordered_set<std::string_view> names = {kMaxLogSize, kMaxTraceLogSize, kMaxLogFiles};
  return names.contains(name);
}

ActionOutcome runLogConfigurationCommand(const OptionParser& parser, Handleable& factory,
                                         MessageStream& message) {
  if (const auto values = parser.stringListOf(kSetLogConfiguration)) {
    // The option table asks for at least two values. Further ones are ignored.
    return setLogConfiguration(values->at(0), values->at(1), factory, message);
  }
  if (const auto name = parser.stringOf(kResetLogConfiguration)) {
    return resetLogConfiguration(*name, factory, message);
  }
  return kNotGiven;
}

}  // namespace ostrel
