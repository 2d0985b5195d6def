#include "handlers/handler_factory.h"

#include <functional>
#include <stdexcept>
#include <type_traits>
#include <vector>

#include <gmock/gmock-matchers.h>
#include <gtest/gtest.h>

#include "handlers/handler.h"
#include "support/ostrel_printers.h"
#include "support/recording_handler.h"

namespace ostrel {
namespace {

using ::testing::ElementsAre;
using testing_support::CallLog;
using testing_support::NewCallLog;
using testing_support::RecordingHandler;

// A moved-from factory would have no primary handler.
static_assert(!std::is_move_constructible_v<HandlerFactory>);
static_assert(!std::is_move_assignable_v<HandlerFactory>);

/// A factory over two recording handlers that share one log.
class HandlerFactoryTest : public ::testing::Test {
 protected:
  CallLog log = NewCallLog();
  std::unique_ptr<RecordingHandler> ownedPrimary =
      std::make_unique<RecordingHandler>(log, "primary ");
  std::unique_ptr<RecordingHandler> ownedSecondary =
      std::make_unique<RecordingHandler>(log, "secondary ");
  RecordingHandler& primary = *ownedPrimary;
  RecordingHandler& secondary = *ownedSecondary;
  HandlerFactory factory{std::move(ownedPrimary), std::move(ownedSecondary)};
};

struct Write {
  std::string operation;
  std::string recorded;
  std::function<HandlerStatus(Handleable&)> call;
};

std::vector<Write> writesToBoth() {
  return {
      {"setLogLevel", "setLogLevel(3)",
       [](Handleable& handler) { return handler.setLogLevel(LogLevel::Debug); }},
      {"setLogLevel", "setLogLevel(5)",
       [](Handleable& handler) { return handler.setLogLevel(static_cast<LogLevel>(5)); }},
      {"setLogConfiguration", "setLogConfiguration(maxLogSize, 4294967295)",
       [](Handleable& handler) { return handler.setLogConfiguration("maxLogSize", 0xFFFFFFFF); }},
      {"resetLogLevel", "resetLogLevel()",
       [](Handleable& handler) { return handler.resetLogLevel(); }},
      {"resetLogConfiguration", "resetLogConfiguration(any name)",
       [](Handleable& handler) { return handler.resetLogConfiguration("any name"); }},
      {"resetAllLogSettings", "resetAllLogSettings()",
       [](Handleable& handler) { return handler.resetAllLogSettings(); }},
  };
}

TEST_F(HandlerFactoryTest, WritesToThePrimaryThenToTheSecondaryHandler) {
  for (const Write& write : writesToBoth()) {
    log->clear();
    EXPECT_EQ(write.call(factory), kSuccess);
    EXPECT_THAT(*log, ElementsAre("primary " + write.recorded, "secondary " + write.recorded));
  }
}

TEST_F(HandlerFactoryTest, WritesToBothAndReportsThePrimaryStatus) {
  for (const HandlerStatus primaryStatus : {0U, 1U, 3U, 0xFFFFFFFFU}) {
    for (const HandlerStatus secondaryStatus : {0U, 7U}) {
      for (const Write& write : writesToBoth()) {
        log->clear();
        primary.statuses[write.operation] = primaryStatus;
        secondary.statuses[write.operation] = secondaryStatus;
        EXPECT_EQ(write.call(factory), primaryStatus) << write.operation;
        EXPECT_THAT(*log, ElementsAre("primary " + write.recorded, "secondary " + write.recorded));
      }
    }
  }
}

// The text of the exception that a write throws; empty if it throws none.
std::string thrownBy(const Write& write, Handleable& handler) {
  try {
    static_cast<void>(write.call(handler));
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
}

TEST_F(HandlerFactoryTest, DoesNotWriteToTheSecondaryHandlerWhenThePrimaryOneThrows) {
  primary.throws = secondary.throws = true;
  for (const Write& write : writesToBoth()) {
    log->clear();
    EXPECT_EQ(thrownBy(write, factory), "primary throws") << write.operation;
    EXPECT_THAT(*log, ElementsAre("primary " + write.recorded));
  }
}

TEST_F(HandlerFactoryTest, LetsThroughWhatTheSecondaryHandlerThrows) {
  secondary.throws = true;
  for (const HandlerStatus primaryStatus : {kSuccess, kWriteFailed}) {
    for (const Write& write : writesToBoth()) {
      log->clear();
      primary.statuses[write.operation] = primaryStatus;
      EXPECT_EQ(thrownBy(write, factory), "secondary throws") << write.operation;
      EXPECT_THAT(*log, ElementsAre("primary " + write.recorded, "secondary " + write.recorded));
    }
  }
}

TEST_F(HandlerFactoryTest, ReadsFromThePrimaryHandlerAlone) {
  primary.defaultLogLevel = static_cast<LogLevel>(9);
  primary.logLevel = LogLevel::Trace;
  primary.maxLogSizeRange = {11, 12, 13};
  primary.maxTraceLogSizeRange = {21, 22, 23};
  primary.maxLogFilesRange = {31, 32, 33};
  primary.configurationRanges = {{"name", {41, 42, 43}}};
  EXPECT_EQ(factory.getDefaultLogLevel(), static_cast<LogLevel>(9));
  EXPECT_EQ(factory.getMaxLogSizeRange(), (ConfigRange{11, 12, 13}));
  EXPECT_EQ(factory.getMaxTraceLogSizeRange(), (ConfigRange{21, 22, 23}));
  EXPECT_EQ(factory.getMaxLogFilesRange(), (ConfigRange{31, 32, 33}));
  EXPECT_EQ(factory.getLogLevel(), LogLevel::Trace);
  EXPECT_EQ(factory.getConfigurationRange("name"), (ConfigRange{41, 42, 43}));
  EXPECT_EQ(factory.getConfigurationRange("maxLogSize"), std::nullopt);
  EXPECT_THAT(*log,
              ElementsAre("primary getDefaultLogLevel()", "primary getMaxLogSizeRange()",
                          "primary getMaxTraceLogSizeRange()", "primary getMaxLogFilesRange()",
                          "primary getLogLevel()", "primary getConfigurationRange(name)",
                          "primary getConfigurationRange(maxLogSize)"));
}

TEST_F(HandlerFactoryTest, LeavesZoltAndTheCollectionToThePrimaryHandlerAlone) {
  primary.zoltDisabled = static_cast<ZoltDisabledState>(8);
  primary.statuses["setZOLTDisabled"] = 6;
  EXPECT_EQ(factory.getZOLTDisabled(), static_cast<ZoltDisabledState>(8));
  EXPECT_EQ(factory.setZOLTDisabled(ZoltDisabledState::NotDisabled), 6U);
  factory.collectLog();
  EXPECT_THAT(*log, ElementsAre("primary getZOLTDisabled()", "primary setZOLTDisabled(2)",
                                "primary collectLog()"));
}

TEST(HandlerFactoryLifetimeTest, WorksWithoutASecondaryHandler) {
  const CallLog log = NewCallLog();
  auto primary = std::make_unique<RecordingHandler>(log, "");
  for (const Write& write : writesToBoth()) {
    primary->statuses[write.operation] = 5;
  }
  HandlerFactory factory(std::move(primary), nullptr);
  for (const Write& write : writesToBoth()) {
    log->clear();
    EXPECT_EQ(write.call(factory), 5U);
    EXPECT_THAT(*log, ElementsAre(write.recorded));
  }
}

TEST(HandlerFactoryLifetimeTest, DestroysTheSecondaryHandlerFirst) {
  const CallLog log = NewCallLog();
  {
    const HandlerFactory factory(std::make_unique<RecordingHandler>(log, "primary "),
                                 std::make_unique<RecordingHandler>(log, "secondary "));
    EXPECT_TRUE(log->empty());
  }
  EXPECT_THAT(*log, ElementsAre("secondary destroyed", "primary destroyed"));
}

#ifdef OSTREL_TESTS_ASSERTIONS

TEST(HandlerFactoryDeathTest, APrimaryHandlerIsNeeded) {
  EXPECT_DEATH(HandlerFactory(nullptr, std::make_unique<RecordingHandler>()),
               "primary_ != nullptr");
}

#endif

/// A layout on the shared base class that records its writes and can be told to refuse the level.
class LayoutHandler final : public Handler {
 public:
  LayoutHandler(CallLog log, std::string prefix, HandlerStatus levelStatus)
      : log_(std::move(log)), prefix_(std::move(prefix)), levelStatus_(levelStatus) {}

  LogLevel getLogLevel() override { throw std::runtime_error("unreadable"); }
  HandlerStatus setLogLevel(LogLevel level) override {
    static_cast<void>(note("LogLevel", static_cast<std::uint32_t>(level)));
    return levelStatus_;
  }
  void collectLog() override {}
  HandlerStatus setZOLTDisabled(ZoltDisabledState /*state*/) override { return kUnsupported; }
  ZoltDisabledState getZOLTDisabled() override { return ZoltDisabledState::NotConfigured; }
  HandlerStatus setMaxLogSize(std::uint32_t value) override { return note("MaxLogSize", value); }
  HandlerStatus setMaxTraceLogSize(std::uint32_t value) override {
    return note("MaxTraceLogSize", value);
  }
  HandlerStatus setMaxLogFiles(std::uint32_t value) override { return note("MaxLogFiles", value); }

 private:
  HandlerStatus note(const std::string& name, std::uint32_t value) {
    log_->push_back(prefix_ + name + "=" + std::to_string(value));
    return kSuccess;
  }

  CallLog log_;
  std::string prefix_;
  HandlerStatus levelStatus_;
};

TEST(HandlerFactoryLayoutTest, ResetsOneLayoutAfterTheOther) {
  const CallLog log = NewCallLog();
  HandlerFactory factory(std::make_unique<LayoutHandler>(log, "primary ", kSuccess),
                         std::make_unique<LayoutHandler>(log, "secondary ", kSuccess));
  EXPECT_EQ(factory.resetAllLogSettings(), kSuccess);
  EXPECT_THAT(
      *log, ElementsAre("primary LogLevel=2", "primary MaxLogSize=1", "primary MaxTraceLogSize=10",
                        "primary MaxLogFiles=10", "secondary LogLevel=2", "secondary MaxLogSize=1",
                        "secondary MaxTraceLogSize=10", "secondary MaxLogFiles=10"));
}

TEST(HandlerFactoryLayoutTest, ResetsTheSecondaryLayoutWholeAfterThePrimaryFailed) {
  const CallLog log = NewCallLog();
  HandlerFactory factory(std::make_unique<LayoutHandler>(log, "primary ", kWriteFailed),
                         std::make_unique<LayoutHandler>(log, "secondary ", kSuccess));
  EXPECT_EQ(factory.resetAllLogSettings(), kWriteFailed);
  EXPECT_THAT(*log,
              ElementsAre("primary LogLevel=2", "secondary LogLevel=2", "secondary MaxLogSize=1",
                          "secondary MaxTraceLogSize=10", "secondary MaxLogFiles=10"));
}

TEST(HandlerFactoryLayoutTest, LetsExceptionsThrough) {
  const CallLog log = NewCallLog();
  HandlerFactory factory(std::make_unique<LayoutHandler>(log, "", kSuccess), nullptr);
  EXPECT_THROW(factory.getLogLevel(), std::runtime_error);
}

}  // namespace
}  // namespace ostrel
