// Every snippet of docs/tessel.md, in its order: the page quotes the marked regions word for word.
// Works below HKEY_CURRENT_USER\Software\tessel-guide; its status is 0 when all went as the page
// says.
#include <windows.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <variant>
#include <vector>

// [include]
#include <tessel/config/error.h>
#include <tessel/config/registry_storage.h>
#include <tessel/task/default_task_executor.h>

using tessel::config::Error;
using tessel::config::RegistryStorage;
using tessel::config::StorageEvent;
using tessel::config::StoragePath;
using tessel::config::StorageValue;
// [end]

namespace {

void Expect(bool asTheGuideSays, const char* what) {
  if (!asTheGuideSays) {
    std::fprintf(stderr, "not as the guide says: %s\n", what);
    std::exit(EXIT_FAILURE);
  }
}

// [open]
std::shared_ptr<RegistryStorage> Open() {
  auto storage = RegistryStorage::Create(HKEY_CURRENT_USER, StoragePath(L"Software/tessel-guide"),
                                         tessel::task::GetDefaultTaskExecutor());
  if (!storage) {
    std::fprintf(stderr, "cannot open: %s\n", storage.error().message().c_str());
    return nullptr;
  }
  return *storage;
}
// [end]

void Write(RegistryStorage& storage) {
  // [write]
  storage.SetValue(StoragePath(L"Name"), StorageValue(std::wstring(L"example"))).value();
  storage.SetValue(StoragePath(L"Limits/Size"), StorageValue(std::uint32_t{50})).value();
  storage
      .SetValue(StoragePath(L"Servers"),
                StorageValue(std::vector<StorageValue>{StorageValue(std::wstring(L"a")),
                                                       StorageValue(std::wstring(L"b"))}))
      .value();
  // [end]
}

// [read]
std::uint32_t ReadSize(RegistryStorage& storage) {
  constexpr std::uint32_t kDefault = 10;
  const auto value = storage.GetValue(StoragePath(L"Limits/Size"));
  if (!value) {
    return kDefault;
  }
  return ToUInt32(*value).value_or(kDefault);  // also of a text such as "50" or "0x32"
}
// [end]

std::wstring ReadName(RegistryStorage& storage) {
  // [read-text]
  const auto value = storage.GetValue(StoragePath(L"Name"));
  if (value && std::holds_alternative<std::wstring>(value->Payload())) {
    return value->Get<std::wstring>();
  }
  return L"unnamed";
  // [end]
}

bool HandleErrors(RegistryStorage& storage) {
  // [errors]
  const auto value = storage.GetValue(StoragePath(L"Missing"));
  if (!value) {
    if (value.error() == Error::not_found) {
      return true;  // the usual case: nothing was set
    }
    if (value.error() == std::error_code(ERROR_ACCESS_DENIED, std::system_category())) {
      std::fputs("the key may not be read\n", stderr);
    }
  }
  // [end]
  return false;
}

std::vector<std::wstring> Iterate(RegistryStorage& storage) {
  std::vector<std::wstring> names;
  // [iterate]
  auto iterator = storage.Iterate(StoragePath());
  if (!iterator) {
    return names;
  }
  for (const auto& entry : *iterator) {
    if (entry) {
      names.push_back(entry->path.Text());
    } else if (entry.error() != Error::unsupported_storage_value) {
      break;  // an error that stays would come again and again
    }
  }
  // [end]
  return names;
}

bool Watch(RegistryStorage& storage) {
  // [watch]
  std::promise<StorageEvent> first;
  auto connection = storage.ConnectStorageEvent([&, told = false](StorageEvent event) mutable {
    if (!std::exchange(told, true)) {
      first.set_value(event);
    }
  });
  if (!connection) {
    return false;
  }
  storage.SetValue(StoragePath(L"Name"), StorageValue(std::wstring(L"changed"))).value();
  const StorageEvent event = first.get_future().get();
  connection->Disconnect();  // returns when the slot is not running and will not run again
  // [end]
  return event == StorageEvent::Changed;
}

int RunTimer() {
  // [timer]
  using namespace std::chrono_literals;
  const auto executor = tessel::task::GetDefaultTaskExecutor();
  std::promise<void> expired;
  const auto timer = executor->CreateTimerTask([&] { expired.set_value(); });
  if (const auto context = timer.lock()) {
    executor->StartTimerTask(*context, /*delay=*/10ms, /*period=*/0ms);
  }
  expired.get_future().wait();
  if (const auto context = timer.lock()) {
    executor->CloseTimerTask(*context);  // the callable does not run after this
  }
  // [end]
  return timer.expired() ? 1 : 0;
}

int RunWork() {
  int sum = 0;
  // [work]
  const auto executor = tessel::task::GetDefaultTaskExecutor();
  const auto work = executor->CreateWorkTask(
      [&](void* first, void* /*second*/) { sum += *static_cast<int*>(first); });
  if (const auto context = work.lock()) {
    executor->SubmitWorkTask(
        *context,
        tessel::task::WorkArgument(new int(42), [](void* p) { delete static_cast<int*>(p); }),
        tessel::task::WorkArgument(nullptr, nullptr));
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
    Expect(ReadSize(*storage) == 10, "a missing value");
    Expect(ReadName(*storage) == L"unnamed", "a missing text");
    Write(*storage);
    Expect(ReadSize(*storage) == 50, "a number");
    Expect(ReadName(*storage) == L"example", "a text");
    Expect(HandleErrors(*storage), "errors");
    Expect(Iterate(*storage) == std::vector<std::wstring>{L"Limits", L"Name", L"Servers"},
           "iteration");
    Expect(Watch(*storage), "watching");
    Expect(RunTimer() == 1, "timers");
    Expect(RunWork() == 42, "work items");
  }
  ::RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\tessel-guide");
  return EXIT_SUCCESS;
}
