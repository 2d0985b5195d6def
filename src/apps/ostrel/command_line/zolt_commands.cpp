#include "command_line/zolt_commands.h"

#include <cstddef>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>

#include <fmt/format.h>

#include "command_line/option_table.h"
#include "text.h"

namespace ostrel {
namespace {

std::optional<std::wstring_view> textOf(ZoltDisabledState state) {
  const auto index = static_cast<std::size_t>(state);
  return index < kZoltStateNames.size() ? std::optional(kZoltStateNames[index]) : std::nullopt;
}

/// The state that a user sets with this text; case is ignored. NotConfigured cannot be set.
std::optional<ZoltDisabledState> stateNamed(std::wstring_view text) {
  for (const auto state : {ZoltDisabledState::Disabled, ZoltDisabledState::NotDisabled}) {
    if (equalsIgnoreCase(text, textOf(state).value())) {
      return state;
    }
  }
  return std::nullopt;
}

}  // namespace

ActionOutcome runSetZOLTDisabledCommand(const OptionParser& parser, Handleable& factory,
                                        MessageStream& message) {
  const std::optional<std::string> value = parser.stringOf(kSetZOLTDisabled);
  if (!value) {
    return kNotGiven;
  }
  const auto out = std::back_inserter(message);
  const std::optional<ZoltDisabledState> state = stateNamed(toWide(*value, kUtf8CodePage));
  if (!state) {
    fmt::format_to(out, "Invalid argument: {}, support values are: true/false\n", *value);
    return kFailedStop;
  }
  if (factory.setZOLTDisabled(*state) != kSuccess) {
    fmt::format_to(out, "Set ZOLT local config failed\n");
    return kFailedStop;
  }
  fmt::format_to(out, "Successfully set ZOLT disablement config to {}\n", *value);
  return kDoneStop;
}

ActionOutcome runGetZOLTDisabledCommand(const OptionParser& parser, Handleable& factory,
                                        MessageStream& message) {
  if (!parser.boolOf(kGetZOLTDisabled).value_or(false)) {
    return kNotGiven;
  }
  const std::wstring_view text = textOf(factory.getZOLTDisabled()).value();
  fmt::format_to(std::back_inserter(message), "ZOLT local disablement config: {}\n",
                 toNarrow(text, kUtf8CodePage));
  return kDoneStop;
}

}  // namespace ostrel
