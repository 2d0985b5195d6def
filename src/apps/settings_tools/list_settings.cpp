#include "settings_tools/list_settings.h"

#include <cstdlib>
#include <string_view>

#include <fmt/format.h>

#include "settings_tools/console.h"
#include "settings_tools/settings.h"
#include "settings_tools/settings_table.h"

namespace settings_tools {
namespace {

constexpr std::string_view kListProgram = "ostrel_list_settings";

}  // namespace

std::string ListSettingsHelp() {
  return Help(
      {kListProgram, "Shows the settings of the telemetry service in both registry layouts",
       "[-help]", "",
       "A line ends with 'differs' when the older layout does not hold what belongs to the\n"
       "current one. '-' is not stored, 'n/a' does not exist in this layout. A value of an\n"
       "unexpected type has its type in front. Nothing is changed or created.\n"
       "\n"
       "EXIT STATUS:\n"
       "0\tall settings were shown\n"
       "1\ta key or value cannot be read, or the output cannot be written\n"
       "2\twrong arguments\n"});
}

int ListSettings(int argc, const char* const* argv) {
  if (argc == 2 && argv[1] == std::string_view("-help")) {
    return Print(kListProgram, ListSettingsHelp()) ? EXIT_SUCCESS : EXIT_FAILURE;
  }
  if (argc > 1) {
    PrintError(kListProgram, "takes nothing but -help");
    return kUsageError;
  }
  const auto machine = OpenMachine();
  if (!machine) {
    PrintError(kListProgram, fmt::format("cannot open HKLM: {}", Reason(machine.error())));
    return EXIT_FAILURE;
  }
  const Settings settings = ReadSettings(**machine);
  const bool isPrinted = Print(kListProgram, Table(settings));
  for (const std::string& problem : settings.problems) {
    PrintError(kListProgram, problem);
  }
  return isPrinted && settings.problems.empty() ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace settings_tools
