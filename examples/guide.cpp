// Every snippet of docs/tessel.md, in its order: the page quotes the marked regions word for word.
// Works below HKEY_CURRENT_USER\Software\tessel-guide; its status is 0 when all went as the page
// says.
#include <windows.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

// [include]
#include <tessel/config/registry_storage.h>
#include <tessel/task/default_task_executor.h>
// [end]

using tessel::config::Error;
using tessel::config::RegistryStorage;
using tessel::config::StorageEvent;
using tessel::config::TextList;
using tessel::task::GetDefaultTaskExecutor;
#include <tessel/task/windows_thread_pool_executor.h>

using tessel::config::StoragePath;

namespace {

void Expect(bool asTheGuideSays, const char* what) {
  if (!asTheGuideSays) {
    std::fprintf(stderr, "not as the guide says: %s\n", what);
    std::exit(EXIT_FAILURE);
  }
}

std::shared_ptr<RegistryStorage> Open() {
  // [open]
  auto storage = RegistryStorage::Create(HKEY_CURRENT_USER, L"Software/tessel-guide",
                                         GetDefaultTaskExecutor());
  if (!storage) {
    std::fprintf(stderr, "cannot open: %s\n", storage.error().message().c_str());
    return nullptr;
  }
  // [end]
  return *storage;
}

void Write(RegistryStorage& storage) {
  // [write]
  storage.SetValue(L"Name", L"example").value();
  storage.SetValue(L"Limits/Size", DWORD{50}).value();
  storage.SetValue(L"Servers", TextList({L"a", L"b"})).value();
  // [end]
}

struct Settings {
  std::uint32_t size;
  std::wstring name;
  std::vector<std::wstring> servers;
};

Settings Read(RegistryStorage& storage) {
  // [read]
  const auto size = ToUInt32(storage.GetValue(L"Limits/Size")).value_or(10);
  const auto name = ToText(storage.GetValue(L"Name")).value_or(L"unnamed");
  const auto servers = ToTextList(storage.GetValue(L"Servers"));
  // [end]
  return {size, name, servers ? *servers : std::vector<std::wstring>()};
}

bool HandleErrors(RegistryStorage& storage) {
  const auto value = storage.GetValue(L"Missing");
  if (!value) {
    if (value.error() == Error::not_found) {
      return true;  // the usual case: nothing was set
    }
  }
  return false;
}

std::vector<std::wstring> Iterate(RegistryStorage& storage) {
  std::vector<std::wstring> names;
  // [iterate]
  for (const auto& entry : storage.Iterate(L"").value()) {
    if (entry) {
      names.push_back(entry->path.Text());
    } else if (entry.error() != Error::unsupported_storage_value) {
      break;  // an error that stays would come again and again
    }
  }
  // [end]
  return names;
}

bool Paths() {
  const StoragePath path(L"/Limits//Size/");                // Limits/Size
  const StoragePath sibling = path.KeyPath().Join(L"Age");  // Limits/Age
  return path.Text() == L"Limits/Size" && sibling.Text() == L"Limits/Age";
}

bool Watch(RegistryStorage& storage) {
  std::promise<StorageEvent> first;
  std::once_flag once;  // one change may bring several events
  auto connection = storage
                        .ConnectStorageEvent([&](StorageEvent event) {
                          std::call_once(once, [&] { first.set_value(event); });
                        })
                        .value();
  storage.SetValue(L"Name", L"changed").value();
  const StorageEvent event = first.get_future().get();
  connection.Disconnect();  // returns when the slot is not running and will not run again
  return event == StorageEvent::Changed;
}

int RunTimer() {
  // [timer]
  using namespace std::chrono_literals;
  const auto executor = GetDefaultTaskExecutor();
  std::promise<void> expired;
  const auto timer = executor->CreateTimerTask([&] { expired.set_value(); });
  if (const auto context = timer.lock()) {
    executor->StartTimerTaskAt(*context,
                               tessel::task::ToDueTime(std::chrono::system_clock::now() + 10ms));
  }
  expired.get_future().wait();
  if (const auto context = timer.lock()) {
    executor->CloseTimerTask(*context);  // the callable does not run after this
  }
  // [end]
  return timer.expired() ? 1 : 0;
}

int RunWait() {
  const auto executor = GetDefaultTaskExecutor();
  const tessel::config::UniqueEvent event(::CreateEventW(nullptr, /*bManualReset=*/FALSE,
                                                         /*bInitialState=*/FALSE, nullptr));
  std::promise<void> signalled;
  const auto wait = executor->CreateWaitTask(event.get(), [&] { signalled.set_value(); });
  if (const auto context = wait.lock()) {
    executor->StartWaitTask(*context);
    ::SetEvent(event.get());
    signalled.get_future().wait();
    executor->CloseWaitTask(*context);
  }
  return wait.expired() ? 1 : 0;
}

int RunOnAnExecutorOfOnesOwn() {
  std::atomic<int> runs = 0;
  {
    tessel::task::WindowsThreadPoolExecutor executor(/*environment=*/nullptr, /*window=*/0);
    const auto work = executor.CreateWorkTask([&](void* /*first*/, void* /*second*/) { ++runs; });
    if (const auto context = work.lock()) {
      executor.SubmitWorkTask(*context, {nullptr, nullptr}, {nullptr, nullptr});
      executor.WaitForWorkTask(*context);
    }
  }  // closes what is open, and waits for it
  return runs;
}

int RunWork() {
  // [work]
  std::atomic<int> sum = 0;
  const auto executor = GetDefaultTaskExecutor();
  const auto work = executor->CreateWorkTask(
      [&](void* first, void* /*second*/) { sum += *static_cast<int*>(first); });
  if (const auto context = work.lock()) {
    executor->SubmitWorkTask(*context,
                             {new int(42), [](void* item) { delete static_cast<int*>(item); }},
                             {nullptr, nullptr});
    executor->WaitForWorkTask(*context);
    executor->CloseWorkTask(*context);
  }
  // [end]
  return sum;
}

}  // namespace

int main() {
  ::RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\tessel-guide");
  {
    const auto storage = Open();
    Expect(storage != nullptr, "open");
    Expect(storage->DisplayName() == L"HKCU\\Software\\tessel-guide", "the name of a storage");
    const Settings missing = Read(*storage);
    Expect(missing.size == 10, "a missing value");
    Expect(missing.name == L"unnamed", "a missing text");
    Write(*storage);
    const Settings settings = Read(*storage);
    Expect(settings.size == 50, "a number");
    Expect(settings.name == L"example", "a text");
    Expect(settings.servers == std::vector<std::wstring>{L"a", L"b"}, "a list of texts");
    Expect(HandleErrors(*storage), "errors");
    Expect(Iterate(*storage) == std::vector<std::wstring>{L"Limits", L"Name", L"Servers"},
           "iteration");
    Expect(Paths(), "paths");
    Expect(Watch(*storage), "watching");
    Expect(RunTimer() == 1, "timers");
    Expect(RunWait() == 1, "waits");
    Expect(RunWork() == 42, "work items");
    Expect(RunOnAnExecutorOfOnesOwn() == 1, "an executor of one's own");
  }
  ::RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\tessel-guide");
  return EXIT_SUCCESS;
}
