#include "handlers/handler.h"

#include <algorithm>
#include <array>

namespace ostrel {
namespace {

/// A log configuration and the virtual operations that serve it.
struct Configuration {
  std::string_view name;
  ConfigRange (Handler::*getRange)();
  HandlerStatus (Handler::*set)(std::uint32_t value);
};

/// In the order in which they are reset.
constexpr std::array<Configuration, 3> kConfigurations{{
    {kMaxLogSize, &Handler::getMaxLogSizeRange, &Handler::setMaxLogSize},
    {kMaxTraceLogSize, &Handler::getMaxTraceLogSizeRange, &Handler::setMaxTraceLogSize},
    {kMaxLogFiles, &Handler::getMaxLogFilesRange, &Handler::setMaxLogFiles},
}};

/// Null for an unknown name.
const Configuration* findConfiguration(std::string_view name) {
  const auto found = std::ranges::find_if(
      kConfigurations,
      [name](const Configuration& configuration) { return configuration.name == name; });
  return found == kConfigurations.end() ? nullptr : &*found;
}

HandlerStatus reset(Handler& handler, const Configuration& configuration) {
  return (handler.*configuration.set)((handler.*configuration.getRange)().defaultValue);
}

}  // namespace

LogLevel Handler::getDefaultLogLevel() { return LogLevel::Info; }

ConfigRange Handler::getMaxLogSizeRange() {
  return {.defaultValue = 1, .minimum = 1, .maximum = 50};
}

ConfigRange Handler::getMaxTraceLogSizeRange() {
  return {.defaultValue = 10, .minimum = 1, .maximum = 50};
}

ConfigRange Handler::getMaxLogFilesRange() {
  return {.defaultValue = 10, .minimum = 1, .maximum = 30};
}

HandlerStatus Handler::setLogConfiguration(const std::string& name, std::uint32_t value) {
  const Configuration* const configuration = findConfiguration(name);
  return configuration == nullptr ? kSuccess : (this->*configuration->set)(value);
}

HandlerStatus Handler::resetLogLevel() { return setLogLevel(getDefaultLogLevel()); }

HandlerStatus Handler::resetLogConfiguration(const std::string& name) {
  const Configuration* const configuration = findConfiguration(name);
  return configuration == nullptr ? kSuccess : reset(*this, *configuration);
}

HandlerStatus Handler::resetAllLogSettings() {
  HandlerStatus status = resetLogLevel();
  for (const Configuration& configuration : kConfigurations) {
    if (status != kSuccess) {
      break;
    }
    status = reset(*this, configuration);
  }
  return status;
}

std::optional<ConfigRange> Handler::getConfigurationRange(const std::string& name) {
  const Configuration* const configuration = findConfiguration(name);
  if (configuration == nullptr) {
    return std::nullopt;
  }
  return (this->*configuration->getRange)();
}

}  // namespace ostrel
