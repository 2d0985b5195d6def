// The whole help of the tool, with its own defaults and ranges. The build defines the version.
#pragma once

namespace testing_support {

inline constexpr const char* kExpectedHelp =
    "OVERVIEW: ostrel " OSTREL_VERSION
    "\n"
    "The tool for telemetry service, MUST run as admin/root\n"
    "\n"
    "OPTIONS:\n"
    "-help                  \tDisplay help information for the tool\n"
    "-getLogLevel           \tGet the log level\n"
    "-setLogLevel           \tSet the log level, values are <Error|Info|Debug|Trace>\n"
    "-resetLogLevel         \tReset the log level to default: Info\n"
    "-setLogConfiguration   \t\n"
    "    maxLogSize\t\tSet the maximum size of a log file in MB, the range is 1..50.\n"
    "    maxTraceLogSize\tSet the maximum size of a trace log file in MB, the range is 1..50.\n"
    "    maxLogFiles\t\tSet the maximum number of historical log files to keep, the range is "
    "1..30.\n"
    "-resetLogConfiguration \t\n"
    "    maxLogSize\t\tReset maximum size of a log file to default: 1 MB.\n"
    "    maxTraceLogSize\tReset maximum size of a trace log file to default: 10 MB.\n"
    "    maxLogFiles\t\tReset maximum number of historical log-files to keep to default: 10.\n"
    "-resetAllLogSettings   \tReset all the log settings to default, including log level and "
    "configurations.\n"
    "-collectLog            \tCollect and package the log files.\n"
    "-setZOLTDisabled       \tSet ZOLT local disable status, values are <true|false>. When it is "
    "set to true, ZOLT will stop collecting and sending telemetry data.\n"
    "-getZOLTDisabled       \tGet ZOLT local disable status set by the ostrel.\n";

}  // namespace testing_support
