// The settings in the service's older registry layout.
#pragma once

#include "handlers/handler.h"

namespace ostrel {

/// Keeps the older layout in step, below HKEY_LOCAL_MACHINE; every value of it is a REG_SZ:
///
///   SOFTWARE\Kestrane, Inc.\Kestrane Harlen Telemetry\Service\Configuration\Logging
///     LogLevel                   error, warn, info, debug or trace
///     VerboseLevel               3 for trace, 0 for every other level
///     kst_windows_log_verbose    true for trace, false for every other level
///     MaxLogSize                 maximum size of a log file, MB, decimal
///     MaxTraceLogSize            maximum size of a trace log file, MB, decimal
///     MaxLogFiles                maximum number of log files, decimal
///
/// Opens, creates and closes the key as WindowsHandler does. The older service knew neither ZOLT
/// nor the log collection: setZOLTDisabled is refused with kUnsupported, and collectLog does
/// nothing.
class LegacyWindowsHandler : public Handler {
 public:
  /// Understands the numeric codes of the older service, 0 to 6, and not the names that setLogLevel
  /// writes: those read as the default level. Nothing that the tool shows comes from here.
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
