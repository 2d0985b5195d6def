// ostrel_list_settings, from its arguments to its exit status.
#pragma once

#include <string>

namespace settings_tools {

std::string ListSettingsHelp();

/// Prints the table of the settings. `argv` has `argc` texts, the first of which is the program's
/// path. The result is the exit status.
int ListSettings(int argc, const char* const* argv);

}  // namespace settings_tools
