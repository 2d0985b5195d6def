// The actions behind -setLogLevel, -resetLogLevel and -getLogLevel.
#pragma once

#include <optional>
#include <string_view>

#include "command_line/command_result.h"
#include "command_line/option_parser.h"
#include "handlers/handleable.h"

namespace ostrel {

/// The name of a level as the command line knows it; nothing for a level that has none.
std::optional<std::string_view> logLevelName(LogLevel level);

/// Sets or, when no level is given, resets the log level.
ActionOutcome runLogLevelCommand(const OptionParser& parser, Handleable& factory,
                                 MessageStream& message);

/// Prints the log level. A level without a name raises std::bad_optional_access.
ActionOutcome runGetLogLevelCommand(const OptionParser& parser, Handleable& factory,
                                    MessageStream& message);

}  // namespace ostrel
