// Keeps two registry layouts in step behind one interface.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "handlers/handleable.h"

namespace ostrel {

/// Forwards every operation to the handlers that it owns.
///
/// The five writes of log settings go to the primary handler and then to the secondary one, even if
/// the first write fails. The status of the primary handler is the result. All other operations
/// (the reads, the ZOLT state, the collection) go to the primary handler only. Exceptions pass
/// through, so the secondary handler is not called if the primary one throws. The secondary handler
/// is destroyed first.
class HandlerFactory final : public Handleable {
 public:
  /// `primary` must not be null. `secondary` may be null: then only the primary handler is used.
  HandlerFactory(std::unique_ptr<Handleable> primary, std::unique_ptr<Handleable> secondary);
  HandlerFactory(const HandlerFactory&) = delete;
  HandlerFactory& operator=(const HandlerFactory&) = delete;
  ~HandlerFactory() override = default;

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
  // The order matters: members are destroyed from the last to the first.
  std::unique_ptr<Handleable> primary_;
  std::unique_ptr<Handleable> secondary_;
};

}  // namespace ostrel
