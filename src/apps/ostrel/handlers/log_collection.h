// Runs the service's log-collection script, which lies beside the tool.
#pragma once

#include <string>

#include "tessel/expected.h"

namespace ostrel {

/// What a command that ran left behind.
struct CommandOutput {
  /// Every byte of its standard output, in order.
  std::string output;
  /// What _pclose returned.
  int exitStatus;
};

/// The output of a command, or the code 1 when it could not be started.
using ProcessRunResult = tessel::expected<CommandOutput, int>;

/// Runs a complete command line with the command interpreter (_popen) and waits for its end. The
/// pipe is in text mode: line ends arrive as line feeds.
ProcessRunResult runCommand(const std::string& command);

/// Runs collectLogs.ps1 in the directory of the running executable through PowerShell, and when it
/// has ended copies what it printed to standard output. Nothing is reported: neither a script that
/// is missing or fails nor its exit status. From here on the command interpreter and what it starts
/// search no program in the current directory.
void collectLog();

}  // namespace ostrel
