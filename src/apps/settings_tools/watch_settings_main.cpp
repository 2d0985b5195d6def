// Entry of ostrel_watch_settings.exe. Arguments come, and texts of the system are printed, in the
// code page of the process, which the manifest makes UTF-8 as for ostrel.exe; so there is no wide
// entry, and everything that is written has one encoding.
#include "settings_tools/watch_settings.h"

int main(int argc, char** argv) { return settings_tools::WatchSettings(argc, argv); }
