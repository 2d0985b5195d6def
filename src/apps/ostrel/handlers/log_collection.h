// Runs the service's log-collection script, which lies beside the tool.
#pragma once

#include <string>

#include "tessel/expected.h"

namespace ostrel {

/// The result of a command that ran.
struct CommandOutput {
  /// Every byte of its standard output, in order.
  std::string output;
  /// What _pclose returned.
  int exitStatus;
};

/// The output of a command, or the code 1 when it could not be started.
using ProcessRunResult = tessel::expected<CommandOutput, int>;

/// Runs a complete command line with the command interpreter (_popen) and waits until it ends. The
/// pipe is in text mode: line ends arrive as line feeds.
ProcessRunResult runCommand(const std::string& command);

/// Runs collectLogs.ps1, from the directory of the running executable, with PowerShell. When the
/// script has ended, copies its output to standard output. No failure is reported, and no exit
/// status.
///
/// Changes the environment of this process: from then on the command interpreter, and what it
/// starts, do not search the current directory for programs.
void collectLog();

}  // namespace ostrel
