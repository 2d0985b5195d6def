// The settings in the service's older registry layout.
#pragma once

#include "handlers/handler.h"

namespace ostrel {

/// Reads and writes the older layout below HKEY_LOCAL_MACHINE. Every value of it is a REG_SZ:
///
///   SOFTWARE\Kestrane, Inc.\Kestrane Harlen Telemetry\Service\Configuration\Logging
///     LogLevel                   error, warn, info, debug or trace
///     VerboseLevel               3 for trace, 0 for every other level
///     kst_windows_log_verbose    true for trace, false for every other level
///     MaxLogSize                 maximum size of a log file, MB, decimal
///     MaxTraceLogSize            maximum size of a trace log file, MB, decimal
///     MaxLogFiles                maximum number of log files, decimal
///
/// Opens, creates and closes its key as WindowsHandler does. The older service had neither ZOLT nor
/// the log collection: setZOLTDisabled returns kUnsupported, getZOLTDisabled returns NotConfigured,
/// and collectLog does nothing.
class LegacyWindowsHandler : public Handler {
 public:
  /// Understands only the numeric codes of the older service, 0 to 6. The names that setLogLevel
  /// writes read as the default level. The tool never shows this level: it reads the current
  /// layout.
  LogLevel getLogLevel() override;
  HandlerStatus setLogLevel(LogLevel level) override;
  void collectLog() override;
  HandlerStatus setZOLTDisabled(ZoltDisabledState state) override;
  ZoltDisabledState getZOLTDisabled() override;
  HandlerStatus setMaxLogSize(std::uint32_t value) override;
  HandlerStatus setMaxTraceLogSize(std::uint32_t value) override;
  HandlerStatus setMaxLogFiles(std::uint32_t value) override;
};

}  // namespace ostrel
