// ostrel_watch_settings, from its arguments to its exit status.
#pragma once

#include <string>

namespace settings_tools {

std::string WatchSettingsHelp();

/// Prints the changes of the settings until there were as many as the argument says. `argv` has
/// `argc` texts, the first of which is the program's path. The result is the exit status.
int WatchSettings(int argc, const char* const* argv);

}  // namespace settings_tools
