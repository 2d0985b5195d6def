// A Handleable that answers what a test tells it and remembers what it was asked.
//
//   RecordingHandler handler;
//   handler.statuses["setLogLevel"] = kWriteFailed;
//   ... EXPECT_THAT(handler.Calls(), ElementsAre("getLogLevel()", "setLogLevel(3)"));
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "handlers/handleable.h"

namespace testing_support {

/// The calls that one or several handlers received, in order.
using CallLog = std::shared_ptr<std::vector<std::string>>;

inline CallLog NewCallLog() { return std::make_shared<std::vector<std::string>>(); }

class RecordingHandler final : public ostrel::Handleable {
 public:
  /// Records in a log of its own.
  RecordingHandler() : log_(NewCallLog()) {}
  /// Records in a shared log, where each of its entries starts with `prefix`. Its destruction is
  /// recorded too, as "destroyed".
  RecordingHandler(CallLog log, std::string prefix)
      : log_(std::move(log)), prefix_(std::move(prefix)), recordsDestruction_(true) {}
  RecordingHandler(const RecordingHandler&) = delete;
  RecordingHandler(RecordingHandler&&) = delete;
  RecordingHandler& operator=(const RecordingHandler&) = delete;
  RecordingHandler& operator=(RecordingHandler&&) = delete;

  // The answers.
  ostrel::LogLevel defaultLogLevel = ostrel::LogLevel::Info;
  ostrel::LogLevel logLevel = ostrel::LogLevel::Info;
  ostrel::ZoltDisabledState zoltDisabled = ostrel::ZoltDisabledState::NotConfigured;
  ostrel::ConfigRange maxLogSizeRange{.defaultValue = 1, .minimum = 1, .maximum = 50};
  ostrel::ConfigRange maxTraceLogSizeRange{.defaultValue = 10, .minimum = 1, .maximum = 50};
  ostrel::ConfigRange maxLogFilesRange{.defaultValue = 10, .minimum = 1, .maximum = 30};
  /// The ranges that getConfigurationRange gives. They do not depend on the three ranges above.
  std::map<std::string, ostrel::ConfigRange> configurationRanges = {
      {"maxLogSize", maxLogSizeRange},
      {"maxTraceLogSize", maxTraceLogSizeRange},
      {"maxLogFiles", maxLogFilesRange},
  };
  /// The status of each write, by the name of the operation; success for an operation without one.
  std::map<std::string, ostrel::HandlerStatus> statuses;
  /// Whether each write throws a std::runtime_error after it is recorded.
  bool throws = false;

  [[nodiscard]] const std::vector<std::string>& Calls() const { return *log_; }
  void ClearCalls() { log_->clear(); }

  ostrel::LogLevel getDefaultLogLevel() override {
    Record("getDefaultLogLevel()");
    return defaultLogLevel;
  }
  ostrel::ConfigRange getMaxLogSizeRange() override {
    Record("getMaxLogSizeRange()");
    return maxLogSizeRange;
  }
  ostrel::ConfigRange getMaxTraceLogSizeRange() override {
    Record("getMaxTraceLogSizeRange()");
    return maxTraceLogSizeRange;
  }
  ostrel::ConfigRange getMaxLogFilesRange() override {
    Record("getMaxLogFilesRange()");
    return maxLogFilesRange;
  }
  ostrel::LogLevel getLogLevel() override {
    Record("getLogLevel()");
    return logLevel;
  }
  ostrel::HandlerStatus setLogLevel(ostrel::LogLevel level) override {
    return RecordWrite("setLogLevel", std::to_string(static_cast<std::uint32_t>(level)));
  }
  ostrel::HandlerStatus setLogConfiguration(const std::string& name, std::uint32_t value) override {
    return RecordWrite("setLogConfiguration", name + ", " + std::to_string(value));
  }
  ostrel::HandlerStatus resetLogLevel() override { return RecordWrite("resetLogLevel", ""); }
  ostrel::HandlerStatus resetLogConfiguration(const std::string& name) override {
    return RecordWrite("resetLogConfiguration", name);
  }
  ostrel::HandlerStatus resetAllLogSettings() override {
    return RecordWrite("resetAllLogSettings", "");
  }
  void collectLog() override { Record("collectLog()"); }
  std::optional<ostrel::ConfigRange> getConfigurationRange(const std::string& name) override {
    Record("getConfigurationRange(" + name + ")");
    const auto found = configurationRanges.find(name);
    return found == configurationRanges.end() ? std::nullopt : std::optional(found->second);
  }
  ostrel::HandlerStatus setZOLTDisabled(ostrel::ZoltDisabledState state) override {
    return RecordWrite("setZOLTDisabled", std::to_string(static_cast<std::uint32_t>(state)));
  }
  ostrel::ZoltDisabledState getZOLTDisabled() override {
    Record("getZOLTDisabled()");
    return zoltDisabled;
  }

  ~RecordingHandler() override {
    if (recordsDestruction_) {
      Record("destroyed");
    }
  }

 private:
  void Record(const std::string& call) { log_->push_back(prefix_ + call); }

  ostrel::HandlerStatus RecordWrite(const std::string& operation, const std::string& arguments) {
    Record(operation + "(" + arguments + ")");
    if (throws) {
      throw std::runtime_error(prefix_ + "throws");
    }
    const auto found = statuses.find(operation);
    return found == statuses.end() ? ostrel::kSuccess : found->second;
  }

  CallLog log_;
  std::string prefix_;
  bool recordsDestruction_ = false;
};

}  // namespace testing_support
