#include "handlers/handler.h"

#include <cstddef>
#include <cstring>
#include <type_traits>
#include <vector>

#include <gmock/gmock-more-matchers.h>
#include <gtest/gtest.h>

#include "handlers/windows_handler.h"
#include "support/ostrel_printers.h"

namespace ostrel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// A layout that only records what is written into it.
class NotingHandler : public Handler {
 public:
  LogLevel getLogLevel() override { return LogLevel::Error; }
  HandlerStatus setLogLevel(LogLevel level) override {
    return write("LogLevel=" + std::to_string(static_cast<std::uint32_t>(level)));
  }
  void collectLog() override {}
  HandlerStatus setZOLTDisabled(ZoltDisabledState /*state*/) override { return write("ZOLT"); }
  ZoltDisabledState getZOLTDisabled() override { return ZoltDisabledState::NotConfigured; }
  HandlerStatus setMaxLogSize(std::uint32_t value) override {
    return write("MaxLogSize=" + std::to_string(value));
  }
  HandlerStatus setMaxTraceLogSize(std::uint32_t value) override {
    return write("MaxTraceLogSize=" + std::to_string(value));
  }
  HandlerStatus setMaxLogFiles(std::uint32_t value) override {
    return write("MaxLogFiles=" + std::to_string(value));
  }

  std::vector<std::string> writes;
  /// The write that fails, counted from 1, and its status; none fails for 0.
  std::size_t failingWrite = 0;
  HandlerStatus failure = kWriteFailed;

 private:
  HandlerStatus write(std::string what) {
    writes.push_back(std::move(what));
    return writes.size() == failingWrite ? failure : kSuccess;
  }
};

/// A layout with defaults and ranges of its own.
class OtherDefaultsHandler final : public NotingHandler {
 public:
  LogLevel getDefaultLogLevel() override { return LogLevel::Trace; }
  ConfigRange getMaxLogSizeRange() override { return {101, 102, 103}; }
  ConfigRange getMaxTraceLogSizeRange() override { return {201, 202, 203}; }
  ConfigRange getMaxLogFilesRange() override { return {301, 302, 303}; }
};

static_assert(std::is_abstract_v<Handler>);
static_assert(std::has_virtual_destructor_v<Handleable>);
static_assert(static_cast<std::uint32_t>(LogLevel::Error) == 0);
static_assert(static_cast<std::uint32_t>(LogLevel::Warn) == 1);
static_assert(static_cast<std::uint32_t>(LogLevel::Info) == 2);
static_assert(static_cast<std::uint32_t>(LogLevel::Debug) == 3);
static_assert(static_cast<std::uint32_t>(LogLevel::Trace) == 4);
static_assert(static_cast<std::uint32_t>(ZoltDisabledState::NotConfigured) == 0);
static_assert(static_cast<std::uint32_t>(ZoltDisabledState::Disabled) == 1);
static_assert(static_cast<std::uint32_t>(ZoltDisabledState::NotDisabled) == 2);
static_assert(sizeof(LogLevel) == 4 && sizeof(ZoltDisabledState) == 4 && sizeof(ConfigRange) == 12);
static_assert(kSuccess == 0 && kUnsupported == 1 && kWriteFailed == 3);

#ifndef _MSC_VER  // MSVC's pointers to members do not show the place in the table

/// The place of a virtual operation in the virtual function table. A pointer to the operation holds
/// its offset in the table plus one.
template <class Operation>
std::size_t slotOf(Operation operation) {
  std::size_t value = 0;
  static_assert(sizeof operation >= sizeof value);
  std::memcpy(&value, &operation, sizeof value);
  return (value - 1) / sizeof(void*);
}

TEST(HandleableTest, KeepsTheOrderOfItsOperations) {
  const std::size_t slots[] = {slotOf(&Handleable::getDefaultLogLevel),
                               slotOf(&Handleable::getMaxLogSizeRange),
                               slotOf(&Handleable::getMaxTraceLogSizeRange),
                               slotOf(&Handleable::getMaxLogFilesRange),
                               slotOf(&Handleable::getLogLevel),
                               slotOf(&Handleable::setLogLevel),
                               slotOf(&Handleable::setLogConfiguration),
                               slotOf(&Handleable::resetLogLevel),
                               slotOf(&Handleable::resetLogConfiguration),
                               slotOf(&Handleable::resetAllLogSettings),
                               slotOf(&Handleable::collectLog),
                               slotOf(&Handleable::getConfigurationRange),
                               slotOf(&Handleable::setZOLTDisabled),
                               slotOf(&Handleable::getZOLTDisabled)};
  EXPECT_THAT(slots, ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13));
  // After the destructor, which takes two places with this compiler.
  EXPECT_EQ(slotOf(&Handler::setMaxLogSize), 16U);
  EXPECT_EQ(slotOf(&Handler::setMaxTraceLogSize), 17U);
  EXPECT_EQ(slotOf(&Handler::setMaxLogFiles), 18U);
  EXPECT_EQ(slotOf(&WindowsHandler::openStorage), 19U);
}

#endif

TEST(HandlerTest, KnowsTheDefaultLevel) {
  EXPECT_EQ(NotingHandler().getDefaultLogLevel(), LogLevel::Info);
}

TEST(HandlerTest, KnowsTheRangesOfTheThreeConfigurations) {
  NotingHandler handler;
  EXPECT_EQ(handler.getMaxLogSizeRange(), (ConfigRange{1, 1, 50}));
  EXPECT_EQ(handler.getMaxTraceLogSizeRange(), (ConfigRange{10, 1, 50}));
  EXPECT_EQ(handler.getMaxLogFilesRange(), (ConfigRange{10, 1, 30}));
}

TEST(HandlerTest, FindsARangeByName) {
  NotingHandler handler;
  EXPECT_EQ(handler.getConfigurationRange("maxLogSize"), (ConfigRange{1, 1, 50}));
  EXPECT_EQ(handler.getConfigurationRange("maxTraceLogSize"), (ConfigRange{10, 1, 50}));
  EXPECT_EQ(handler.getConfigurationRange("maxLogFiles"), (ConfigRange{10, 1, 30}));
}

TEST(HandlerTest, SetsAConfigurationByNameWhateverItsRange) {
  NotingHandler handler;
  EXPECT_EQ(handler.setLogConfiguration("maxLogSize", 7), kSuccess);
  EXPECT_EQ(handler.setLogConfiguration("maxTraceLogSize", 0), kSuccess);
  EXPECT_EQ(handler.setLogConfiguration("maxLogFiles", 0xFFFFFFFF), kSuccess);
  EXPECT_THAT(handler.writes,
              ElementsAre("MaxLogSize=7", "MaxTraceLogSize=0", "MaxLogFiles=4294967295"));
}

TEST(HandlerTest, ResetsAConfigurationByName) {
  NotingHandler handler;
  EXPECT_EQ(handler.resetLogConfiguration("maxLogSize"), kSuccess);
  EXPECT_EQ(handler.resetLogConfiguration("maxTraceLogSize"), kSuccess);
  EXPECT_EQ(handler.resetLogConfiguration("maxLogFiles"), kSuccess);
  EXPECT_THAT(handler.writes, ElementsAre("MaxLogSize=1", "MaxTraceLogSize=10", "MaxLogFiles=10"));
}

TEST(HandlerTest, PassesTheStatusOfAWriteOn) {
  for (const std::string name : {"maxLogSize", "maxTraceLogSize", "maxLogFiles"}) {
    NotingHandler handler;
    handler.failingWrite = 1;
    handler.failure = 77;
    EXPECT_EQ(handler.setLogConfiguration(name, 5), 77U) << name;
    handler.failingWrite = 2;
    EXPECT_EQ(handler.resetLogConfiguration(name), 77U) << name;
    handler.failingWrite = 3;
    EXPECT_EQ(handler.resetLogLevel(), 77U);
  }
}

TEST(HandlerTest, TakesAnUnknownNameAsASuccessThatWritesNothing) {
  const std::vector<std::string> unknownNames = {"",
                                                 "maxlogsize",
                                                 "MaxLogSize",
                                                 "maxLogSize ",
                                                 " maxLogSize",
                                                 "maxLogSiz",
                                                 "maxLogSizes",
                                                 "maxTraceLogFiles",
                                                 "{}",
                                                 std::string("maxLogSize\0", 11),
                                                 std::string("maxLogSize\0x", 12),
                                                 std::string(100000, 'x')};
  for (const std::string& name : unknownNames) {
    NotingHandler handler;
    handler.failingWrite = 1;
    EXPECT_EQ(handler.setLogConfiguration(name, 5), kSuccess) << name;
    EXPECT_EQ(handler.resetLogConfiguration(name), kSuccess) << name;
    EXPECT_EQ(handler.getConfigurationRange(name), std::nullopt) << name;
    EXPECT_THAT(handler.writes, IsEmpty()) << name;
  }
}

TEST(HandlerTest, ResetsTheLevelToTheDefault) {
  NotingHandler handler;
  EXPECT_EQ(handler.resetLogLevel(), kSuccess);
  EXPECT_THAT(handler.writes, ElementsAre("LogLevel=2"));
}

TEST(HandlerTest, ResetsEverythingButZolt) {
  NotingHandler handler;
  EXPECT_EQ(handler.resetAllLogSettings(), kSuccess);
  EXPECT_THAT(handler.writes,
              ElementsAre("LogLevel=2", "MaxLogSize=1", "MaxTraceLogSize=10", "MaxLogFiles=10"));
}

TEST(HandlerTest, StopsResettingAtTheFirstFailure) {
  for (std::size_t failing = 1; failing <= 4; ++failing) {
    NotingHandler handler;
    handler.failingWrite = failing;
    handler.failure = 40 + static_cast<HandlerStatus>(failing);
    EXPECT_EQ(handler.resetAllLogSettings(), handler.failure);
    EXPECT_EQ(handler.writes.size(), failing);
  }
}

TEST(HandlerTest, TakesDefaultsAndRangesFromTheDerivedClass) {
  OtherDefaultsHandler handler;
  EXPECT_EQ(handler.resetLogLevel(), kSuccess);
  EXPECT_EQ(handler.resetLogConfiguration("maxLogSize"), kSuccess);
  EXPECT_EQ(handler.resetLogConfiguration("maxTraceLogSize"), kSuccess);
  EXPECT_EQ(handler.resetLogConfiguration("maxLogFiles"), kSuccess);
  const auto others =
      ElementsAre("LogLevel=4", "MaxLogSize=101", "MaxTraceLogSize=201", "MaxLogFiles=301");
  EXPECT_THAT(handler.writes, others);

  handler.writes.clear();
  EXPECT_EQ(handler.resetAllLogSettings(), kSuccess);
  EXPECT_THAT(handler.writes, others);

  EXPECT_EQ(handler.getConfigurationRange("maxLogSize"), (ConfigRange{101, 102, 103}));
  EXPECT_EQ(handler.getConfigurationRange("maxTraceLogSize"), (ConfigRange{201, 202, 203}));
  EXPECT_EQ(handler.getConfigurationRange("maxLogFiles"), (ConfigRange{301, 302, 303}));
}

/// A layout that overrides the reset of the level.
class OtherResetHandler final : public NotingHandler {
 public:
  HandlerStatus resetLogLevel() override { return setLogLevel(LogLevel::Error); }
};

TEST(HandlerTest, ResetsTheLevelAmongAllThroughTheDerivedClass) {
  OtherResetHandler handler;
  EXPECT_EQ(handler.resetAllLogSettings(), kSuccess);
  EXPECT_EQ(handler.writes.front(), "LogLevel=0");
}

}  // namespace
}  // namespace ostrel
