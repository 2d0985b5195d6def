// The tool's options: names, help texts, numbers of values.
#pragma once

#include <string_view>

#include "command_line/option_parser.h"
#include "handlers/handleable.h"

namespace ostrel {

inline constexpr std::string_view kHelp = "-help";
inline constexpr std::string_view kGetLogLevel = "-getLogLevel";
inline constexpr std::string_view kSetLogLevel = "-setLogLevel";
inline constexpr std::string_view kResetLogLevel = "-resetLogLevel";
inline constexpr std::string_view kSetLogConfiguration = "-setLogConfiguration";
inline constexpr std::string_view kResetLogConfiguration = "-resetLogConfiguration";
inline constexpr std::string_view kResetAllLogSettings = "-resetAllLogSettings";
inline constexpr std::string_view kCollectLog = "-collectLog";
inline constexpr std::string_view kSetZOLTDisabled = "-setZOLTDisabled";
inline constexpr std::string_view kGetZOLTDisabled = "-getZOLTDisabled";

/// A parser with the ten options in the order of the help. Asks the factory, once each and in this
/// order, for the default level and the three ranges that the help shows. A default level without a
/// name throws std::bad_optional_access.
OptionParser buildOptionTable(Handleable& factory);

}  // namespace ostrel
