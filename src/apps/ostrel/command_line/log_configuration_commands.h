// The action behind -setLogConfiguration and -resetLogConfiguration.
#pragma once

#include <string_view>

#include "command_line/command_result.h"
#include "command_line/message_stream.h"
#include "command_line/option_parser.h"
#include "handlers/handleable.h"

namespace ostrel {

/// Whether `name` is exactly the name of a log configuration, case included.
bool isConfigurationName(std::string_view name);

/// Sets one log configuration or, if -setLogConfiguration is not given, resets one. Nothing is
/// written before name and value have passed every check. A factory that has no range for a known
/// name makes it throw std::bad_optional_access.
ActionOutcome runLogConfigurationCommand(const OptionParser& parser, Handleable& factory,
                                         MessageStream& message);

}  // namespace ostrel
