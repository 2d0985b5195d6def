// Lists the subkeys and values of a key below HKEY_LOCAL_MACHINE, with their types. usage:
//   list_key KEY      such as "SOFTWARE/Kestrane, Inc."
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <system_error>
#include <variant>

#include "settings_tools/describe.h"
#include "tessel/config/error.h"
#include "tessel/config/registry_storage.h"

namespace {

using settings_tools::Printable;
using tessel::config::RegistryStorage;
using tessel::config::StoragePath;

constexpr int kUsage = 2;

void PrintError(const std::string& what, const std::error_code& error) {
  std::fprintf(stderr, "%s: %s (%s %d)\n", what.c_str(), error.message().c_str(),
               error.category().name(), error.value());
}

int ListKey(RegistryStorage& storage, const StoragePath& path) {
  auto iterator = storage.Iterate(path);
  if (!iterator) {
    PrintError(Printable(path.Text()), iterator.error());
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
    // A subkey is a path. So is a link, which iteration does not tell from it.
    const bool isKey = std::holds_alternative<StoragePath>(entry->value.Payload());
    const std::string type(isKey ? "key" : settings_tools::TypeName(entry->value));
    std::printf("%-12s %s = %s\n", type.c_str(), Printable(entry->path.Text()).c_str(),
                settings_tools::Describe(entry->value).c_str());
  }
  return EXIT_SUCCESS;
}

}  // namespace

extern "C" int wmain(int argc, wchar_t** argv);  // the entry with arguments in UTF-16

int wmain(int argc, wchar_t** argv) {
  if (argc != 2) {
    std::fputs("usage: list_key KEY\n", stderr);
    return kUsage;
  }
  // Creating a storage creates its key. The root is always there, and reading below it creates
  // nothing.
  const auto storage = RegistryStorage::Create(HKEY_LOCAL_MACHINE, StoragePath(),
                                               /*executor=*/nullptr, {}, tessel::config::kReadOnly);
  if (!storage) {
    PrintError("HKLM", storage.error());
    return EXIT_FAILURE;
  }
  return ListKey(**storage, StoragePath(argv[1]));
}
