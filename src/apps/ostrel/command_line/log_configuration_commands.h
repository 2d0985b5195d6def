// The action behind -setLogConfiguration and -resetLogConfiguration.
#pragma once

#include <string_view>

#include "command_line/command_result.h"
#include "command_line/option_parser.h"
#include "handlers/handleable.h"

namespace ostrel {

/// Whether the text is exactly the name of a log configuration.
bool isConfigurationName(std::string_view name);

/// Sets or, when none is to be set, resets one log configuration. Nothing is written before name
/// and value have passed every check. A factory without a range for a known name raises
/// std::bad_optional_access.
ActionOutcome runLogConfigurationCommand(const OptionParser& parser, Handleable& factory,
                                         MessageStream& message);

}  // namespace ostrel
