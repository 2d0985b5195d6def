// Entry of ostrel.exe: the check for an administrator, one run of the command line, its output.
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

/// Writes to standard output. Nobody is left to tell when that fails, on a closed pipe or a full
/// disk; the exit status speaks of the settings alone.
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

// Exceptions mark what the program does not expect: they end it.
int main(int argc, char** argv) {
  // Before anything else, so that nothing is looked at or created for anyone who may not.
  if (::IsUserAnAdmin() == FALSE) {
    print("This tool should run as ");
    print("admin");
    printLineEnd();
    return EXIT_FAILURE;
  }
  return run(argc, argv);
}
