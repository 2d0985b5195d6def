// The actions behind -setZOLTDisabled and -getZOLTDisabled.
#pragma once

#include "command_line/command_result.h"
#include "command_line/option_parser.h"
#include "handlers/handleable.h"

namespace ostrel {

/// Switches the collection of telemetry off or on. Ends the run also when it succeeds. A value that
/// cannot be converted to UTF-16 raises std::system_error.
ActionOutcome runSetZOLTDisabledCommand(const OptionParser& parser, Handleable& factory,
                                        MessageStream& message);

/// Prints the state. One without a text raises std::bad_optional_access, a failed conversion
/// std::system_error.
ActionOutcome runGetZOLTDisabledCommand(const OptionParser& parser, Handleable& factory,
                                        MessageStream& message);

}  // namespace ostrel
