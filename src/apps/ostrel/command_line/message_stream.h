// Where commands write what the run prints.
#pragma once

#include <fmt/format.h>

namespace ostrel {

/// All messages of a run, in the order in which they were written. Commands write to it with
/// fmt::format_to(std::back_inserter(message), ...). Text from the user must be an argument there,
/// never the format string.
using MessageStream = fmt::memory_buffer;

}  // namespace ostrel
