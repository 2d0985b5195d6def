// Uses every public header of the installed library, without the macros that our own build sets.
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

int main() {
  const auto storage = RegistryStorage::Create(HKEY_CURRENT_USER, StoragePath(L"Software/consumer"),
                                               tessel::task::GetDefaultTaskExecutor());
  if (!storage) {
    return 1;
  }
  std::promise<StorageEvent> changed;
  const auto connection =
      (*storage)->ConnectStorageEvent([&](StorageEvent event) { changed.set_value(event); });
  if (!connection || !(*storage)->SetValue(StoragePath(L"v"), StorageValue(std::uint32_t{7}))) {
    return 2;
  }
  if (changed.get_future().get() != StorageEvent::Changed) {
    return 3;
  }
  auto iterator = (*storage)->Iterate(StoragePath());
  const auto entry = iterator.value().Next();
  const bool found = entry && ToUInt32(entry->value).value_or(0) == 7;
  ::RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\consumer");
  std::puts(found ? "consumer: all well" : "consumer: wrong entry");
  return found ? 0 : 4;
}
