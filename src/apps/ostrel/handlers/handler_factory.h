// Keeps two registry layouts in step behind the one interface.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "handlers/handleable.h"

namespace ostrel {

/// Forwards every operation to the handlers that it owns.
///
/// The five writes of log settings go to the primary handler, then to the secondary one, also when
/// the first failed; the primary handler's status is the result. Everything else, the reads, the
/// ZOLT state and the collection, concerns the primary handler alone. Exceptions pass through, so
/// the secondary handler is not called when the primary one throws. The secondary handler is
/// destroyed first.
class HandlerFactory final : public Handleable {
 public:
  /// `primary` must be there; `secondary` may be null, then the primary handler works alone.
  HandlerFactory(std::unique_ptr<Handleable> primary, std::unique_ptr<Handleable> secondary);

  LogLevel getDefaultLogLevel() override;
  ConfigRange getMaxLogSizeRange() override;
  ConfigRange getMaxTraceLogSizeRange() override;
  ConfigRange getMaxLogFilesRange() override;
  LogLevel getLogLevel() override;
  HandlerStatus setLogLevel(LogLevel level) override;
  HandlerStatus setLogConfiguration(const std::string& name, std::uint32_t value) override;
  HandlerStatus resetLogLevel() override;
  HandlerStatus resetLogConfiguration(const std::string& name) override;
  HandlerStatus resetAllLogSettings() override;
  void collectLog() override;
  std::optional<ConfigRange> getConfigurationRange(const std::string& name) override;
  HandlerStatus setZOLTDisabled(ZoltDisabledState state) override;
  ZoltDisabledState getZOLTDisabled() override;

 private:
  // In this order: members are destroyed from the last to the first.
  std::unique_ptr<Handleable> primary_;
  std::unique_ptr<Handleable> secondary_;
};

}  // namespace ostrel
