// Prints the log level of the current layout, at first and after each change. usage:
//   keep_setting [COUNT]    ends after COUNT lines; without it, when it is stopped
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <future>
#include <limits>
#include <memory>
#include <string>

#include "describe.h"
#include "kept_setting.h"
#include "tessel/config/registry_storage.h"
#include "tessel/task/default_task_executor.h"

namespace {

using tessel::config::RegistryStorage;

constexpr int kUsage = 2;

}  // namespace

int main(int argc, char** argv) {
  unsigned long count = (std::numeric_limits<unsigned long>::max)();
  char* end = nullptr;
  if (argc > 1) {
    count = std::strtoul(argv[1], &end, 10);
  }
  if (argc > 2 || count == 0 || (argc == 2 && (end == argv[1] || *end != '\0'))) {
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
      std::puts(examples::ToUtf8(ToText(value).value_or(L"not set")).c_str());
      std::fflush(stdout);
      if (--count == 0) {
        done.set_value();
      }
    }
  });
  done.get_future().wait();
  return EXIT_SUCCESS;
}
