// The one interface through which every command reaches the service's settings.
//
// Contract: operations are not const, because even a read creates the registry key that it opens.
// Implementations keep no state between calls. Writes report failures as a HandlerStatus. An
// exception means stored data of an unexpected kind, and must pass through every implementation
// unchanged.
//
// Threads: one thread uses an object.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ostrel {

/// Index into the level names. A value that is no enumerator can only come from a static_cast. It
/// is answered with a status, or with an exception where a name is needed.
enum class LogLevel : std::uint32_t { Error, Warn, Info, Debug, Trace };

/// Whether ZOLT, the service's telemetry collection, is switched off on this machine.
enum class ZoltDisabledState : std::uint32_t { NotConfigured, Disabled, NotDisabled };

/// The states in words, for the user as in the registry. Indexed by ZoltDisabledState.
inline constexpr std::array<std::wstring_view, 3> kZoltStateNames = {L"not configured", L"true",
                                                                     L"false"};

/// The names of the log configurations. They are compared exactly, case included.
inline constexpr std::string_view kMaxLogSize = "maxLogSize";
inline constexpr std::string_view kMaxTraceLogSize = "maxTraceLogSize";
inline constexpr std::string_view kMaxLogFiles = "maxLogFiles";

/// Result of a write. Every value except kSuccess is a failure. The user never sees the number.
using HandlerStatus = std::uint32_t;
inline constexpr HandlerStatus kSuccess = 0;
inline constexpr HandlerStatus kUnsupported = 1;
inline constexpr HandlerStatus kWriteFailed = 3;

/// The values that a log configuration may be set to, both bounds included. Sizes are in megabytes.
/// The command line shows these numbers, and compares with them, as signed numbers.
struct ConfigRange {
  std::uint32_t defaultValue;
  std::uint32_t minimum;
  std::uint32_t maximum;

  bool operator==(const ConfigRange&) const = default;
};

/// The settings of one registry layout, or of several layouts that are written together.
///
/// The order of the operations is the order of the virtual function table and must not change: add
/// a new operation in a derived class only. Log configurations have the names above.
class Handleable {
 public:
  virtual LogLevel getDefaultLogLevel() = 0;
  virtual ConfigRange getMaxLogSizeRange() = 0;
  virtual ConfigRange getMaxTraceLogSizeRange() = 0;
  virtual ConfigRange getMaxLogFilesRange() = 0;

  /// The stored level. The default level if none is stored, or if it cannot be read.
  virtual LogLevel getLogLevel() = 0;
  virtual HandlerStatus setLogLevel(LogLevel level) = 0;
  /// Stores `value` without checking it against the range. An unknown name is a success that writes
  /// nothing, so callers must check names first.
  virtual HandlerStatus setLogConfiguration(const std::string& name, std::uint32_t value) = 0;
  virtual HandlerStatus resetLogLevel() = 0;
  /// Stores the default value. An unknown name is a success that writes nothing.
  virtual HandlerStatus resetLogConfiguration(const std::string& name) = 0;
  /// Resets the level and then the three configurations, up to the first that fails.
  virtual HandlerStatus resetAllLogSettings() = 0;

  /// Runs the log collection and prints its output. Failures are not reported.
  virtual void collectLog() = 0;

  /// The range of a log configuration; nothing for an unknown name.
  virtual std::optional<ConfigRange> getConfigurationRange(const std::string& name) = 0;

  virtual HandlerStatus setZOLTDisabled(ZoltDisabledState state) = 0;
  /// The stored state. NotConfigured if none is stored, or if it cannot be read.
  virtual ZoltDisabledState getZOLTDisabled() = 0;

  // Must stay after the operations: it has the last place in the virtual function table.
  virtual ~Handleable() = default;
};

}  // namespace ostrel
