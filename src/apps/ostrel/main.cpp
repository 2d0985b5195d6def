// Entry of ostrel.exe: checks for an administrator, runs the command line once, prints its message
// and turns its result into the exit status.
#include <windows.h>

#include <shlobj.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "command_line/run_command_line.h"
#include "handlers/handler_factory.h"
#include "handlers/legacy_windows_handler.h"
#include "handlers/windows_handler.h"

namespace {

/// Writes to standard output. A failure, on a closed pipe or a full disk, is ignored: the exit
/// status is about the settings only.
void print(std::string_view text) {
  static_cast<void>(std::fwrite(text.data(), sizeof(char), text.size(), stdout));
}

void printLineEnd() {
  print("\n");
  static_cast<void>(std::fflush(stdout));
}

int run(int argc, const char* const* argv) {
  ostrel::HandlerFactory factory(std::make_unique<ostrel::WindowsHandler>(),
                                 std::make_unique<ostrel::LegacyWindowsHandler>());
  const ostrel::CommandResult result = ostrel::runCommandLine(argc, argv, factory);
  print(result.message);
  printLineEnd();
  return result.success ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

// An exception means a state that the program does not expect. It is not caught, and ends the
// process.
int main(int argc, char** argv) {
  // Before anything else: even a command that reads creates registry keys that are missing.
  if (::IsUserAnAdmin() == FALSE) {
    print("This tool should run as ");
    print("admin");
    printLineEnd();
    return EXIT_FAILURE;
  }
  return run(argc, argv);
}
