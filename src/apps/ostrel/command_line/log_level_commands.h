// The actions behind -setLogLevel, -resetLogLevel and -getLogLevel.
#pragma once

#include <optional>
#include <string_view>

#include "command_line/command_result.h"
#include "command_line/message_stream.h"
#include "command_line/option_parser.h"
#include "handlers/handleable.h"

namespace ostrel {

/// The name of a level on the command line; nothing for a level without a name.
std::optional<std::string_view> logLevelName(LogLevel level);

/// Sets the log level or, if -setLogLevel is not given, resets it.
ActionOutcome runLogLevelCommand(const OptionParser& parser, Handleable& factory,
                                 MessageStream& message);

/// Writes the log level to `message`. A level without a name throws std::bad_optional_access.
ActionOutcome runGetLogLevelCommand(const OptionParser& parser, Handleable& factory,
                                    MessageStream& message);

}  // namespace ostrel
