// What holds for both layouts of the settings.
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include "handlers/legacy_windows_handler.h"
#include "handlers/windows_handler.h"
#include "support/import_hook.h"
#include "support/ostrel_printers.h"
#include "support/registry_sandbox.h"
#include "tessel/task/default_task_executor.h"

namespace ostrel {
namespace {

using testing_support::ImportHook;
using testing_support::RawText;
using CreateHook = ImportHook<"RegCreateKeyExW", decltype(::RegCreateKeyExW)>;
using SetHook = ImportHook<"RegSetKeyValueW", decltype(::RegSetKeyValueW)>;

struct Current {
  using Handler = WindowsHandler;
  static constexpr const wchar_t* kLog =
      L"SOFTWARE\\Kestrane, Inc.\\Kestrane Vantor Telemetry\\Service\\Config\\Log";
};

struct Legacy {
  using Handler = LegacyWindowsHandler;
  static constexpr const wchar_t* kLog =
      L"SOFTWARE\\Kestrane, Inc.\\Kestrane Harlen Telemetry\\Service\\Configuration\\Logging";
};

struct LayoutNames {
  template <class Layout>
  // NOLINTNEXTLINE(readability-identifier-naming): GoogleTest asks for this name
  static std::string GetName(int /*index*/) {
    return std::is_same_v<Layout, Current> ? "Current" : "Legacy";
  }
};

template <class Layout>
class LayoutTest : public ::testing::Test {
 protected:
  testing_support::RegistrySandbox sandbox;
  typename Layout::Handler handler;
};
using Layouts = ::testing::Types<Current, Legacy>;
TYPED_TEST_SUITE(LayoutTest, Layouts, LayoutNames);

TYPED_TEST(LayoutTest, AKeyThatCannotBeOpenedFailsWritesAndReadsAsTheDefault) {
  for (const LSTATUS failure : {ERROR_ACCESS_DENIED, ERROR_FILE_NOT_FOUND}) {
    const CreateHook hook([&](auto&&...) { return failure; });
    EXPECT_EQ(this->handler.setLogLevel(LogLevel::Debug), kWriteFailed);
    EXPECT_EQ(this->handler.setMaxLogSize(1), kWriteFailed);
    EXPECT_EQ(this->handler.setMaxTraceLogSize(1), kWriteFailed);
    EXPECT_EQ(this->handler.setMaxLogFiles(1), kWriteFailed);
    EXPECT_EQ(this->handler.getLogLevel(), LogLevel::Info);
  }
}

// The default level of a derived handler is used.
TYPED_TEST(LayoutTest, AsksForTheDefaultThroughTheVirtualOperation) {
  class Tracing : public TypeParam::Handler {
   public:
    LogLevel getDefaultLogLevel() override { return LogLevel::Trace; }
  };
  Tracing tracing;
  EXPECT_EQ(tracing.getLogLevel(), LogLevel::Trace);  // nothing stored
  this->sandbox.Write(TypeParam::kLog, L"LogLevel", RawText(L"Verbose"));
  EXPECT_EQ(tracing.getLogLevel(), LogLevel::Trace);
  const CreateHook hook([](auto&&...) { return LSTATUS{ERROR_ACCESS_DENIED}; });
  EXPECT_EQ(tracing.getLogLevel(), LogLevel::Trace);
}

TYPED_TEST(LayoutTest, ARefusedWriteCountsAsSuccess) {
  const SetHook hook([](auto&&...) { return LSTATUS{ERROR_ACCESS_DENIED}; });
  EXPECT_EQ(this->handler.setLogLevel(LogLevel::Debug), kSuccess);
  EXPECT_EQ(this->handler.setMaxLogSize(1), kSuccess);
  EXPECT_EQ(this->handler.setMaxTraceLogSize(1), kSuccess);
  EXPECT_EQ(this->handler.setMaxLogFiles(1), kSuccess);
}

TYPED_TEST(LayoutTest, StoresThroughTheProcessWideExecutor) {
  const auto executor = tessel::task::GetDefaultTaskExecutor();
  const auto before = executor.use_count();
  int writes = 0;
  const SetHook hook([&](auto&&...) {
    ++writes;
    EXPECT_EQ(executor.use_count(), before + 1);
    return LSTATUS{ERROR_SUCCESS};
  });
  EXPECT_EQ(this->handler.setMaxLogSize(1), kSuccess);
  EXPECT_EQ(writes, 1);
  EXPECT_EQ(executor.use_count(), before);
}

}  // namespace
}  // namespace ostrel
