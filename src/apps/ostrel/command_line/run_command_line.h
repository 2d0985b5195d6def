// The command line as a whole: from the arguments to the text to print.
#pragma once

#include "command_line/command_result.h"
#include "handlers/handleable.h"

namespace ostrel {

/// Runs the commands that the arguments ask for. `argv` has `argc` texts, the first of which is the
/// program's path.
///
/// Without arguments after the path the result is the help. An argument that cannot be parsed fails
/// the run before any command runs. -help, -collectLog and -resetAllLogSettings run alone; if
/// several of them are given, the first in this order runs. Otherwise the actions run in a fixed
/// order, whatever the order of the arguments, until one of them ends the run: log configuration,
/// set or reset of the log level, get log level, set ZOLT, get ZOLT.
///
/// Prints nothing; only the log collection prints by itself. Exceptions pass through: those of the
/// factory, and those for an answer of the factory that has no meaning, such as a level without a
/// name. The messages of the run until then are lost.
CommandResult runCommandLine(int argc, const char* const* argv, Handleable& factory);

}  // namespace ostrel
