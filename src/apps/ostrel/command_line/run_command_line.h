// The command line as a whole: from the arguments to the text to print.
#pragma once

#include "command_line/command_result.h"
#include "handlers/handleable.h"

namespace ostrel {

/// Runs the commands that the arguments ask for. `argv` holds `argc` texts, the first of which is
/// the program's path.
///
/// No argument behind the path is a call for help; an argument that cannot be parsed fails the run
/// before anything happens. -help, -collectLog and -resetAllLogSettings run alone, in this
/// priority. Otherwise the actions run in a fixed order, whatever the order of the arguments, until
/// one of them finishes the run: log configuration, set or reset of the log level, get log level,
/// set ZOLT, get ZOLT.
///
/// Prints nothing itself, though the collection does. Exceptions that the program does not expect,
/// from the factory or from an answer of the factory that makes no sense, pass through; what the
/// run had to say until then is lost.
CommandResult runCommandLine(int argc, const char* const* argv, Handleable& factory);

}  // namespace ostrel
