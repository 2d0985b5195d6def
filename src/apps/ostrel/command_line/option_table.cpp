#include "command_line/option_table.h"

#include <cstdint>
#include <string>
#include <utility>

#include <fmt/format.h>

#include "command_line/log_level_commands.h"

namespace ostrel {
namespace {

/// A number as the help shows it: signed.
std::int32_t shown(std::uint32_t number) { return static_cast<std::int32_t>(number); }

void add(OptionParser& parser, std::string_view name, std::int32_t valueCount,
         std::string description) {
  Option option;
  option.names.emplace_back(name);
  option.valueCount = valueCount;
  option.description = std::move(description);
  parser.addOption(std::move(option));
}

std::string setLogConfigurationText(const ConfigRange& logSize, const ConfigRange& traceLogSize,
                                    const ConfigRange& logFiles) {
  return fmt::format(
      "\n    maxLogSize\t\tSet the maximum size of a log file in MB, the range is {}..{}."
      "\n    maxTraceLogSize\tSet the maximum size of a trace log file in MB, the range is {}..{}."
      "\n    maxLogFiles\t\tSet the maximum number of historical log files to keep, the range is "
      "{}..{}.",
      shown(logSize.minimum), shown(logSize.maximum), shown(traceLogSize.minimum),
      shown(traceLogSize.maximum), shown(logFiles.minimum), shown(logFiles.maximum));
}

std::string resetLogConfigurationText(const ConfigRange& logSize, const ConfigRange& traceLogSize,
                                      const ConfigRange& logFiles) {
  return fmt::format(
      "\n    maxLogSize\t\tReset maximum size of a log file to default: {} MB."
      "\n    maxTraceLogSize\tReset maximum size of a trace log file to default: {} MB."
      "\n    maxLogFiles\t\tReset maximum number of historical log-files to keep to default: {}.",
      shown(logSize.defaultValue), shown(traceLogSize.defaultValue), shown(logFiles.defaultValue));
}

}  // namespace

OptionParser buildOptionTable(Handleable& factory) {
  const std::string_view defaultLevel = logLevelName(factory.getDefaultLogLevel()).value();
  const ConfigRange logSize = factory.getMaxLogSizeRange();
  const ConfigRange traceLogSize = factory.getMaxTraceLogSizeRange();
  const ConfigRange logFiles = factory.getMaxLogFilesRange();

  OptionParser parser("ostrel", "The tool for telemetry service, MUST run as admin/root",
                      OSTREL_VERSION, "");
  add(parser, kHelp, 0, "Display help information for the tool");
  add(parser, kGetLogLevel, 0, "Get the log level");
  // "Warn" is accepted too. The help leaves it out on purpose.
  add(parser, kSetLogLevel, 1, "Set the log level, values are <Error|Info|Debug|Trace>");
  add(parser, kResetLogLevel, 0, fmt::format("Reset the log level to default: {}", defaultLevel));
  add(parser, kSetLogConfiguration, 2, setLogConfigurationText(logSize, traceLogSize, logFiles));
  add(parser, kResetLogConfiguration, 1,
      resetLogConfigurationText(logSize, traceLogSize, logFiles));
  add(parser, kResetAllLogSettings, 0,
      "Reset all the log settings to default, including log level and configurations.");
  add(parser, kCollectLog, 0, "Collect and package the log files.");
  add(parser, kSetZOLTDisabled, 1,
      "Set ZOLT local disable status, values are <true|false>. When it is set to true, ZOLT will "
      "stop collecting and sending telemetry data.");
  add(parser, kGetZOLTDisabled, 0, "Get ZOLT local disable status set by the ostrel.");
  return parser;
}

}  // namespace ostrel
