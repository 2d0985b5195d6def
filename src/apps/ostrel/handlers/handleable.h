// The one interface through which every command reaches the service's settings.
//
// Operations are not const: also the reading ones may create what they look for. They hold no state
// between calls and report failures as a HandlerStatus; an exception means stored data that nobody
// expects, and passes through every implementation unchanged. Used from one thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace ostrel {

/// Index into the level names. Values outside the enumerators come by static_cast and are answered
/// with a status, or, where a name is needed, with an exception.
enum class LogLevel : std::uint32_t { Error, Warn, Info, Debug, Trace };

/// Whether ZOLT, the service's telemetry collection, is switched off on this machine.
enum class ZoltDisabledState : std::uint32_t { NotConfigured, Disabled, NotDisabled };

/// Result of a write. Every value but kSuccess is a failure; the user never sees the number.
using HandlerStatus = std::uint32_t;
inline constexpr HandlerStatus kSuccess = 0;
inline constexpr HandlerStatus kUnsupported = 1;
inline constexpr HandlerStatus kWriteFailed = 3;

/// What a log configuration may be set to, both bounds included. Sizes are in megabytes. The
/// command line shows these numbers, and compares with them, as signed ones.
struct ConfigRange {
  std::uint32_t defaultValue;
  std::uint32_t minimum;
  std::uint32_t maximum;

  bool operator==(const ConfigRange&) const = default;
};

/// The settings of one registry layout, or of several that are written together.
///
/// The order of the operations is the order of the virtual function table: add new ones in derived
/// classes only. Log configurations are named as on the command line, see handler.h.
class Handleable {
 public:
  virtual LogLevel getDefaultLogLevel() = 0;
  virtual ConfigRange getMaxLogSizeRange() = 0;
  virtual ConfigRange getMaxTraceLogSizeRange() = 0;
  virtual ConfigRange getMaxLogFilesRange() = 0;

  /// The stored level; the default level when there is none or it cannot be read.
  virtual LogLevel getLogLevel() = 0;
  virtual HandlerStatus setLogLevel(LogLevel level) = 0;
  /// Stores `value` without holding it against the range. An unknown name is a success that writes
  /// nothing: callers check names first.
  virtual HandlerStatus setLogConfiguration(const std::string& name, std::uint32_t value) = 0;
  virtual HandlerStatus resetLogLevel() = 0;
  /// Stores the default value. An unknown name is a success that writes nothing.
  virtual HandlerStatus resetLogConfiguration(const std::string& name) = 0;
  /// Resets the level and the three configurations, up to the first that fails.
  virtual HandlerStatus resetAllLogSettings() = 0;

  /// Prints what the log collection prints; failures are not reported.
  virtual void collectLog() = 0;

  /// Nothing for an unknown name.
  virtual std::optional<ConfigRange> getConfigurationRange(const std::string& name) = 0;

  virtual HandlerStatus setZOLTDisabled(ZoltDisabledState state) = 0;
  /// The stored state; NotConfigured when there is none or it cannot be read.
  virtual ZoltDisabledState getZOLTDisabled() = 0;

  // Stays behind the operations: it takes the last place in the virtual function table.
  virtual ~Handleable() = default;
};

}  // namespace ostrel
