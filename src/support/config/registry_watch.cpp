// The half of RegistryStorage that watches its key. ConnectStorageEvent sets the watch up. The
// thread pool calls OnStorageKeyChanged after a change; that registers for the next change, calls
// the slots and arms the wait task again.
#include <functional>
#include <memory>
#include <new>
#include <utility>

#include "kernel_name.h"
#include "registry_key.h"
#include "srw_lock.h"
#include "tessel/config/registry_storage.h"
#include "win32_error.h"

namespace tessel::config {
namespace {

LSTATUS NotifyChange(HKEY key, HANDLE event) {
  // Thread-agnostic: the thread-pool thread that registers may end before the next change.
  constexpr DWORD kFilter = REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_ATTRIBUTES |
                            REG_NOTIFY_CHANGE_LAST_SET | REG_NOTIFY_CHANGE_SECURITY |
                            REG_NOTIFY_THREAD_AGNOSTIC;
  return ::RegNotifyChangeKeyValue(key, /*bWatchSubtree=*/TRUE, kFilter, event,
                                   /*fAsynchronous=*/TRUE);
}

void Arm(const std::weak_ptr<task::WtpWaitTaskContext>& watch) {
  if (const auto context = watch.lock()) {
    task::GetExecutor(*context).StartWaitTask(*context);
  }
}

void Close(const std::weak_ptr<task::WtpWaitTaskContext>& watch) {
  if (const auto context = watch.lock()) {
    task::GetExecutor(*context).CloseWaitTask(*context);
  }
}

}  // namespace

void EventPolicy::close(HANDLE event) noexcept { ::CloseHandle(event); }

RegistryStorage::~RegistryStorage() {
  // Without the lock, which a running handler takes: closing waits for it to return.
  Close(watchTask);
  storageSignal.reset();
  watchTask.reset();
  changeEvent.reset();
}

expected<SignalConnection, std::error_code> RegistryStorage::ConnectStorageEvent(
    std::function<void(StorageEvent)> slot) {
  const WriterLock lock(lock_);
  if (!changeEvent) {
    if (const auto started = StartWatch(); !started) {
      return started.error();
    }
  }
  return storageSignal->Connect(std::move(slot));
}

expected<void, std::error_code> RegistryStorage::StartWatch() {
  UniqueEvent event(::CreateEventW(/*lpEventAttributes=*/nullptr, /*bManualReset=*/FALSE,
                                   /*bInitialState=*/FALSE, /*lpName=*/nullptr));
  if (!event) {
    return MakeWin32Error(static_cast<LSTATUS>(::GetLastError()));
  }
  // The task must not own the storage: the executor would keep it alive for ever. A bare pointer is
  // safe, because the destructor closes the task before anything that the handler uses is
  // destroyed.
  auto watch = executor_->CreateWaitTask(event.get(), [this] { OnStorageKeyChanged(); });
  changeEvent = std::move(event);
  Close(std::exchange(watchTask, std::move(watch)));
  Arm(watchTask);
  // If this fails, the event and the armed task stay. A later connect finds them and succeeds.
  const LSTATUS status = NotifyChange(Handle(openKey_), changeEvent.get());
  if (status != ERROR_SUCCESS) {
    return MakeWin32Error(status);
  }
  return {};
}

void RegistryStorage::OnStorageKeyChanged() {
  std::shared_ptr<UniqueRegistryKey> key;
  std::shared_ptr<detail::SignalImpl<StorageEvent>> signal;
  std::weak_ptr<task::WtpWaitTaskContext> watch;
  {
    const ReaderLock lock(lock_);
    key = openKey_;
    signal = storageSignal;
    watch = watchTask;
  }
  // Declared here, so that a new key that cannot be watched is closed after the event was emitted.
  UniqueRegistryKey created;
  auto event = StorageEvent::WatchLost;
  try {
    event = WatchAgain(std::move(key), created);
  } catch (const std::bad_alloc&) {
    // The watch is lost too, and the slots must be told. An exception that leaves the callback ends
    // the process.
  }
  // From here on locals alone: a slot may drop the last reference to this storage.
  signal->Emit(event);
  // Armed only now, so that two rounds of one storage never overlap.
  if (event == StorageEvent::Changed) {
    Arm(watch);
  }
}

StorageEvent RegistryStorage::WatchAgain(std::shared_ptr<UniqueRegistryKey> key,
                                         UniqueRegistryKey& created) {
  const HKEY handle = Handle(key);
  const auto name = QueryKernelName(handle);  // nothing for a deleted key
  const bool replaced = !kernelName_.Empty() && name != kernelName_;
  if (!replaced) {
    const LSTATUS status = NotifyChange(handle, changeEvent.get());
    // Access denied: the key's permissions were changed after it was opened. The open key still
    // works with the rights that it was opened with, so the change is reported as any other.
    if (status == ERROR_SUCCESS || status == ERROR_ACCESS_DENIED) {
      return StorageEvent::Changed;
    }
    if (status != ERROR_KEY_DELETED) {
      return StorageEvent::WatchLost;
    }
  } else {
    key.reset();
    ReplaceKey(nullptr);
  }
  if (!root_ || OpenOrCreateKey(root_.get(), path_, options_, created) != ERROR_SUCCESS ||
      NotifyChange(created.get(), changeEvent.get()) != ERROR_SUCCESS) {
    return StorageEvent::WatchLost;
  }
  ReplaceKey(std::make_shared<UniqueRegistryKey>(std::move(created)));
  return StorageEvent::Changed;
}

void RegistryStorage::ReplaceKey(std::shared_ptr<UniqueRegistryKey> key) {
  {
    const WriterLock lock(lock_);
    openKey_.swap(key);
  }
  // `key` now is the old key. It is closed here, without the lock, unless an operation or an
  // iterator still uses it.
}

}  // namespace tessel::config
