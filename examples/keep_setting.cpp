// Prints the log level of the current layout, at first and after each change. usage:
//   keep_setting [COUNT]    ends after COUNT lines; without it, when it is stopped
#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <limits>
#include <memory>
#include <string>

#include "kept_setting.h"
#include "settings_tools/console.h"
#include "settings_tools/describe.h"
#include "tessel/config/registry_storage.h"
#include "tessel/task/default_task_executor.h"

namespace {

using tessel::config::RegistryStorage;

constexpr int kUsage = 2;

}  // namespace

int main(int argc, char** argv) {
  auto count = argc == 1   ? (std::numeric_limits<std::uint32_t>::max)()
               : argc == 2 ? settings_tools::ParseCount(argv[1]).value_or(0)
                           : 0;
  if (count == 0) {
    std::fputs("usage: keep_setting [COUNT]\n", stderr);
    return kUsage;
  }

  const auto open = [] {
    return RegistryStorage::Create(
        HKEY_LOCAL_MACHINE, L"SOFTWARE/Kestrane, Inc./Kestrane Vantor Telemetry/Service/Config/Log",
        tessel::task::GetDefaultTaskExecutor(), {}, tessel::config::kReadOnly);
  };
  std::promise<void> done;
  const examples::KeptSetting level(open, L"LogLevel", [&](const auto& value) {
    if (count > 0) {
      std::puts(settings_tools::Printable(ToText(value).value_or(L"not set")).c_str());
      std::fflush(stdout);
      if (--count == 0) {
        done.set_value();
      }
    }
  });
  done.get_future().wait();
  return EXIT_SUCCESS;
}
