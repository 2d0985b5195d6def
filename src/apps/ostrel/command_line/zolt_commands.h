// The actions behind -setZOLTDisabled and -getZOLTDisabled.
#pragma once

#include "command_line/command_result.h"
#include "command_line/message_stream.h"
#include "command_line/option_parser.h"
#include "handlers/handleable.h"

namespace ostrel {

/// Switches the collection of telemetry off or on. If the option is given, the run ends with it,
/// also after success. A value that cannot be converted to UTF-16 throws std::system_error.
ActionOutcome runSetZOLTDisabledCommand(const OptionParser& parser, Handleable& factory,
                                        MessageStream& message);

/// Writes the state to `message`. A state without a text throws std::bad_optional_access, and a
/// failed conversion std::system_error.
ActionOutcome runGetZOLTDisabledCommand(const OptionParser& parser, Handleable& factory,
                                        MessageStream& message);

}  // namespace ostrel
