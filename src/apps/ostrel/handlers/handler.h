// What the handlers of all registry layouts share: defaults, ranges, and the operations that
// consist of other operations.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "handlers/handleable.h"

namespace ostrel {

/// What each layout stores for a level. Indexed by LogLevel.
struct LevelNames {
  std::array<std::wstring_view, 5> current = {L"Error", L"Warn", L"Info", L"Debug", L"Trace"};
  std::array<std::wstring_view, 5> older = {L"error", L"warn", L"info", L"debug", L"trace"};
};
inline constexpr LevelNames kLevelNames;

/// The base of the handlers, each of which serves one registry layout.
///
/// The shared operations reach the layout only through virtual operations of the same object. So a
/// derived class that overrides a default, a range or a write changes the shared operations too.
class Handler : public Handleable {
 public:
  LogLevel getDefaultLogLevel() override;
  ConfigRange getMaxLogSizeRange() override;
  ConfigRange getMaxTraceLogSizeRange() override;
  ConfigRange getMaxLogFilesRange() override;
  HandlerStatus setLogConfiguration(const std::string& name, std::uint32_t value) override;
  HandlerStatus resetLogLevel() override;
  HandlerStatus resetLogConfiguration(const std::string& name) override;
  HandlerStatus resetAllLogSettings() override;
  std::optional<ConfigRange> getConfigurationRange(const std::string& name) override;

  // The writes of the layout. Sizes are in megabytes.

  virtual HandlerStatus setMaxLogSize(std::uint32_t value) = 0;
  virtual HandlerStatus setMaxTraceLogSize(std::uint32_t value) = 0;
  virtual HandlerStatus setMaxLogFiles(std::uint32_t value) = 0;
};

}  // namespace ostrel
