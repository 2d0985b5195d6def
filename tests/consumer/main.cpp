// Uses every public header of the installed library, without the macros that our own build sets.
#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <future>
#include <tessel/config/error.h>
#include <tessel/config/registry_storage.h>
#include <tessel/config/storage.h>
#include <tessel/config/storage_event.h>
#include <tessel/config/storage_iterator.h>
#include <tessel/config/storage_path.h>
#include <tessel/config/storage_value.h>
#include <tessel/detail/signal.h>
#include <tessel/expected.h>
#include <tessel/signal_connection.h>
#include <tessel/task/default_task_executor.h>
#include <tessel/task/task_executor.h>
#include <tessel/task/windows_thread_pool_executor.h>
#include <tessel/task/work_argument.h>
#include <tessel/unique_any.h>

using namespace tessel::config;

namespace {

constexpr const wchar_t* kKey = L"Software\\consumer";

// Returns 0, or the number of the step that failed.
int UseLibrary() {
  const auto storage = RegistryStorage::Create(HKEY_CURRENT_USER, StoragePath(kKey, L'\\'),
                                               tessel::task::GetDefaultTaskExecutor());
  if (!storage) {
    return 1;
  }
  std::promise<StorageEvent> changed;
  auto connection =
      (*storage)->ConnectStorageEvent([&](StorageEvent event) { changed.set_value(event); });
  if (!connection || !(*storage)->SetValue(StoragePath(L"v"), StorageValue(std::uint32_t{7}))) {
    return 2;
  }
  if (changed.get_future().get() != StorageEvent::Changed) {
    return 3;
  }
  connection->Disconnect();
  auto iterator = (*storage)->Iterate(StoragePath());
  const auto entry = iterator.value().Next();
  return entry && ToUInt32(entry->value).value_or(0) == 7 ? 0 : 4;
}

}  // namespace

int main() {
  const int failed = UseLibrary();
  ::RegDeleteTreeW(HKEY_CURRENT_USER, kKey);
  std::printf(failed == 0 ? "consumer: all well\n" : "consumer: step %d failed\n", failed);
  return failed;
}
