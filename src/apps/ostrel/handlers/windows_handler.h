// The settings in the service's current registry layout.
#pragma once

#include <memory>
#include <string>
#include <system_error>

#include "handlers/handler.h"
#include "tessel/config/registry_storage.h"
#include "tessel/expected.h"

namespace ostrel {

/// Reads and writes the current layout below HKEY_LOCAL_MACHINE:
///
///   SOFTWARE\Kestrane, Inc.\Kestrane Vantor Telemetry\Service\Config\Log
///     LogLevel           REG_SZ     Error, Warn, Info, Debug or Trace
///     MaxFileSize        REG_DWORD  maximum size of a log file, MB
///     MaxTraceLogSize    REG_DWORD  maximum size of a trace log file, MB
///     MaxNumFiles        REG_DWORD  maximum number of log files
///   SOFTWARE\Kestrane, Inc.\Kestrane Vantor Telemetry\ZOLT
///     Disabled           REG_SZ     true, false or not configured
///
/// Each operation opens its key, which creates a missing key, and closes it before it returns. A
/// write succeeds if its key could be opened: the result of writing the value is ignored. If the
/// stored value is not a text, reading it throws std::bad_variant_access.
class WindowsHandler : public Handler {
 public:
  LogLevel getLogLevel() override;
  HandlerStatus setLogLevel(LogLevel level) override;
  void collectLog() override;
  HandlerStatus setZOLTDisabled(ZoltDisabledState state) override;
  ZoltDisabledState getZOLTDisabled() override;
  HandlerStatus setMaxLogSize(std::uint32_t value) override;
  HandlerStatus setMaxTraceLogSize(std::uint32_t value) override;
  HandlerStatus setMaxLogFiles(std::uint32_t value) override;

  using StorageResult =
      tessel::expected<std::shared_ptr<tessel::config::RegistryStorage>, std::error_code>;
  /// Opens the key at `keyPath` (separator '/') below HKEY_LOCAL_MACHINE for reading and writing.
  ///
  /// Only the two operations of ZOLT open their key with it. So a derived class that overrides it
  /// keeps the ZOLT state elsewhere, and the log settings stay where they are.
  virtual StorageResult openStorage(const std::wstring& keyPath);
};

}  // namespace ostrel
