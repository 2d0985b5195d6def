#include "handlers/handler_factory.h"

#include <cassert>
#include <utility>

namespace ostrel {
namespace {

/// Applies a write to both handlers. The status of the secondary handler is ignored.
template <class Write>
HandlerStatus writeToBoth(Handleable& primary, Handleable* secondary, const Write& write) {
  const HandlerStatus status = write(primary);
  if (secondary != nullptr) {
    static_cast<void>(write(*secondary));
  }
  return status;
}

}  // namespace

HandlerFactory::HandlerFactory(std::unique_ptr<Handleable> primary,
                               std::unique_ptr<Handleable> secondary)
    : primary_(std::move(primary)), secondary_(std::move(secondary)) {
  assert(primary_ != nullptr);
}

LogLevel HandlerFactory::getDefaultLogLevel() { return primary_->getDefaultLogLevel(); }

ConfigRange HandlerFactory::getMaxLogSizeRange() { return primary_->getMaxLogSizeRange(); }

ConfigRange HandlerFactory::getMaxTraceLogSizeRange() {
  return primary_->getMaxTraceLogSizeRange();
}

ConfigRange HandlerFactory::getMaxLogFilesRange() { return primary_->getMaxLogFilesRange(); }

LogLevel HandlerFactory::getLogLevel() { return primary_->getLogLevel(); }

HandlerStatus HandlerFactory::setLogLevel(LogLevel level) {
  return writeToBoth(*primary_, secondary_.get(),
                     [level](Handleable& handler) { return handler.setLogLevel(level); });
}

HandlerStatus HandlerFactory::setLogConfiguration(const std::string& name, std::uint32_t value) {
  return writeToBoth(*primary_, secondary_.get(), [&name, value](Handleable& handler) {
    return handler.setLogConfiguration(name, value);
  });
}

HandlerStatus HandlerFactory::resetLogLevel() {
  return writeToBoth(*primary_, secondary_.get(),
                     [](Handleable& handler) { return handler.resetLogLevel(); });
}

HandlerStatus HandlerFactory::resetLogConfiguration(const std::string& name) {
  return writeToBoth(*primary_, secondary_.get(),
                     [&name](Handleable& handler) { return handler.resetLogConfiguration(name); });
}

HandlerStatus HandlerFactory::resetAllLogSettings() {
  return writeToBoth(*primary_, secondary_.get(),
                     [](Handleable& handler) { return handler.resetAllLogSettings(); });
}

void HandlerFactory::collectLog() { primary_->collectLog(); }

std::optional<ConfigRange> HandlerFactory::getConfigurationRange(const std::string& name) {
  return primary_->getConfigurationRange(name);
}

HandlerStatus HandlerFactory::setZOLTDisabled(ZoltDisabledState state) {
  return primary_->setZOLTDisabled(state);
}

ZoltDisabledState HandlerFactory::getZOLTDisabled() { return primary_->getZOLTDisabled(); }

}  // namespace ostrel
