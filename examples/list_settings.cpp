// Lists what the registry holds. usage:
//   list_settings          the log settings of both layouts side by side
//   list_settings KEY      the subkeys and values of a key below HKEY_LOCAL_MACHINE, such as
//                          "SOFTWARE/Kestrane, Inc."
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "describe.h"
#include "tessel/config/error.h"
#include "tessel/config/registry_storage.h"
#include "tessel/task/default_task_executor.h"

namespace {

using examples::Describe;
using examples::ToUtf8;
using examples::TypeName;
using tessel::config::RegistryStorage;
using tessel::config::StoragePath;
using tessel::config::StorageValue;

constexpr int kUsage = 2;

void PrintError(const std::string& what, const std::error_code& error) {
  std::fprintf(stderr, "%s: %s (%s %d)\n", what.c_str(), error.message().c_str(),
               error.category().name(), error.value());
}

int ListKey(RegistryStorage& storage, const StoragePath& path) {
  auto iterator = storage.Iterate(path);
  if (!iterator) {
    PrintError(ToUtf8(path.Text()), iterator.error());
    return EXIT_FAILURE;
  }
  for (const auto& entry : *iterator) {
    if (!entry) {
      // The iteration moves past a value of a type without an alternative. Any other error would
      // come again at each step.
      PrintError("entry", entry.error());
      if (entry.error() != tessel::config::Error::unsupported_storage_value) {
        return EXIT_FAILURE;
      }
      continue;
    }
    std::printf("%-12s %s = %s\n", TypeName(entry->value).c_str(),
                ToUtf8(entry->path.Text()).c_str(), Describe(entry->value).c_str());
  }
  return EXIT_SUCCESS;
}

struct Setting {
  const char* name;
  const wchar_t* current;
  const wchar_t* legacy;
};

std::optional<StorageValue> Read(RegistryStorage& storage, const wchar_t* key,
                                 const wchar_t* valueName) {
  auto value = storage.GetValue(StoragePath(key).Join(valueName));
  return value ? std::optional(*std::move(value)) : std::nullopt;
}

std::string DescribeOptional(const std::optional<StorageValue>& value) {
  return value ? Describe(*value) : "-";
}

// The layouts write one setting differently: names in another case, numbers as text.
bool Agree(const std::optional<StorageValue>& current, const std::optional<StorageValue>& legacy) {
  if (!current || !legacy) {
    return !current && !legacy;
  }
  const auto currentNumber = ToUInt32(*current);
  const auto legacyNumber = ToUInt32(*legacy);
  if (currentNumber && legacyNumber) {
    return *currentNumber == *legacyNumber;
  }
  return ::_stricmp(Describe(*current).c_str(), Describe(*legacy).c_str()) == 0;
}

void CompareLayouts(RegistryStorage& storage) {
  constexpr const wchar_t* kCurrent =
      L"SOFTWARE/Kestrane, Inc./Kestrane Vantor Telemetry/Service/Config/Log";
  constexpr const wchar_t* kLegacy =
      L"SOFTWARE/Kestrane, Inc./Kestrane Harlen Telemetry/Service/Configuration/Logging";
  constexpr Setting kSettings[] = {{"log level", L"LogLevel", L"LogLevel"},
                                   {"log size, MB", L"MaxFileSize", L"MaxLogSize"},
                                   {"trace log size, MB", L"MaxTraceLogSize", L"MaxTraceLogSize"},
                                   {"log files", L"MaxNumFiles", L"MaxLogFiles"}};
  std::printf("%-20s %-10s %-10s\n", "setting", "current", "legacy");
  for (const Setting& setting : kSettings) {
    const auto current = Read(storage, kCurrent, setting.current);
    const auto legacy = Read(storage, kLegacy, setting.legacy);
    std::printf("%-20s %-10s %-10s%s\n", setting.name, DescribeOptional(current).c_str(),
                DescribeOptional(legacy).c_str(), Agree(current, legacy) ? "" : " differ");
  }
}

}  // namespace

extern "C" int wmain(int argc, wchar_t** argv);  // the entry with arguments in UTF-16

int wmain(int argc, wchar_t** argv) {
  if (argc > 2) {
    std::fputs("usage: list_settings [KEY]\n", stderr);
    return kUsage;
  }
  // Creating a storage creates its key. The root is always there, and reading below it creates
  // nothing.
  const auto storage = RegistryStorage::Create(HKEY_LOCAL_MACHINE, StoragePath(),
                                               tessel::task::GetDefaultTaskExecutor(), {},
                                               tessel::config::kReadOnly);
  if (!storage) {
    PrintError("HKLM", storage.error());
    return EXIT_FAILURE;
  }
  if (argc == 2) {
    return ListKey(**storage, StoragePath(argv[1]));
  }
  CompareLayouts(**storage);
  return EXIT_SUCCESS;
}
