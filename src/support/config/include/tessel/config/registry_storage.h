/// \file
/// A configuration storage on a registry key.
#pragma once

#include <windows.h>

#include <functional>
#include <memory>
#include <string>
#include <system_error>

#include "tessel/config/error.h"
#include "tessel/config/registry_access.h"
#include "tessel/config/storage.h"
#include "tessel/config/storage_path.h"
#include "tessel/config/storage_value.h"
#include "tessel/detail/signal.h"
#include "tessel/expected.h"
#include "tessel/task/task_executor.h"
#include "tessel/unique_any.h"

namespace tessel::config {

/// How event handles are closed: `CloseHandle`.
struct EventPolicy {
  /// A handle of an event; null and INVALID_HANDLE_VALUE stand for none.
  using pointer = HANDLE;
  /// Whether there is a handle to close.
  static bool is_valid(HANDLE event) noexcept {
    return event != nullptr && event != INVALID_HANDLE_VALUE;
  }
  /// Closes the handle; a failure is ignored.
  static void close(HANDLE event) noexcept;
};
/// Owns an event.
using UniqueEvent = unique_any_t<EventPolicy>;

/// Settings below one registry key.
///
/// Values are read from the registry each time; nothing is cached.
///
/// Threads: every operation may be called from any thread. An operation copies the shared key under
/// a lock and calls the registry without the lock; ConnectStorageEvent alone holds the lock while
/// it sets up the watch.
///
/// Lifetime: values and iterators that came from the storage keep it alive; connections do not. The
/// key stays open until the storage and every iterator over the key are gone. Only a watch replaces
/// it, when the key was deleted or another key took its place.
///
/// ```cpp
/// auto storage = RegistryStorage::Create(HKEY_CURRENT_USER, L"Software/tessel-guide",
///                                        GetDefaultTaskExecutor());
/// if (!storage) {
///   std::fprintf(stderr, "cannot open: %s\n", storage.error().message().c_str());
/// ```
class RegistryStorage : public Storage {
 public:
  /// Opens the key at `path` below `root`, and creates it when it is missing (`RegCreateKeyExW`,
  /// also for a read-only storage).
  ///
  /// The storage keeps a duplicate of `root` (`SHRegDuplicateHKey`), so the caller may close its
  /// own handle. If the platform cannot make the duplicate, the storage works, but cannot create a
  /// deleted key again.
  ///
  /// `executor` runs the change notification. It may be null for a storage that nobody watches:
  /// ConnectStorageEvent must not be called then. `name` is for display; an empty one is replaced
  /// by root and path, like `HKLM\SOFTWARE\A`. `options` are StorageOptions. Errors are those of
  /// the registry.
  [[nodiscard]] static expected<std::shared_ptr<RegistryStorage>, std::error_code> Create(
      HKEY root, const StoragePath& path, std::shared_ptr<task::WaitTaskExecutor> executor,
      std::wstring name = {}, StorageOptions options = 0);

  /// Ends the watch and waits for a running slot; see ConnectStorageEvent.
  ~RegistryStorage() override;
  RegistryStorage(const RegistryStorage&) = delete;
  RegistryStorage& operator=(const RegistryStorage&) = delete;

  /// Iterates over the key that `path` names (`RegOpenKeyExW`); an empty path names the storage's
  /// own key. The paths of the entries have the separator `\`. A key that does not exist gives
  /// Error::not_found.
  [[nodiscard]] expected<StorageIterator, std::error_code> Iterate(
      const StoragePath& path) override;

  /// Reads a value of any size (`RegGetValueW`) and converts it: REG_NONE to empty, REG_SZ to a
  /// text, REG_EXPAND_SZ to the expanded text with one zero character at its end, REG_BINARY to
  /// bytes, REG_DWORD of either byte order and REG_QWORD to unsigned integers, REG_LINK to a path,
  /// REG_MULTI_SZ to a list of texts. Other types give Error::unsupported_storage_value. A value or
  /// key that does not exist gives Error::not_found.
  [[nodiscard]] expected<StorageValue, std::error_code> GetValue(const StoragePath& path) override;

  /// Writes a value (`RegSetKeyValueW`) and creates the missing keys on its path.
  ///
  /// The value's alternative decides the registry type, as StorageValue::Alternatives says. A value
  /// with an alternative that is refused there is not written at all, nor is one of 4 GiB or more.
  /// A storage that was opened with kReadOnly gives system error 5 for every other value.
  expected<void, std::error_code> SetValue(const StoragePath& path,
                                           const StorageValue& value) override;

  /// Calls `slot` on a thread of the executor after each change of the key, of its values or of
  /// anything below it, by any process (`RegNotifyChangeKeyValue`), until the connection or the
  /// storage is destroyed. Changes in quick succession may come as one event.
  ///
  /// `slot` must not be empty.
  ///
  /// Errors: only a connection that sets up the watch can fail. That is the first one, and after a
  /// failed `CreateEventW` the next. After a failed registration later connections succeed but
  /// receive nothing: open another storage.
  ///
  /// A key that is deleted is created again, empty, and the watch goes on. Until the change handler
  /// has noticed the deletion, operations give system error 1018; then, until the new key is open,
  /// system error 6, or still 1018 if the storage does not know its KernelName.
  ///
  /// If the watch cannot go on, the slots receive StorageEvent::WatchLost and no event after it.
  /// They do not where the registry denies the registration (system error 5), because the open key
  /// may still work: then a Changed is the last event. Slots that are connected later receive
  /// nothing. If the key could not be created again, operations give system error 6 from then on;
  /// or 1018 if the storage still has the deleted key, because it does not know its KernelName. To
  /// go on, open another storage.
  ///
  /// A slot may use the storage and may drop the last reference to it; the slots after it in the
  /// round still run. A slot must not throw: that ends the process. It must not wait for a thread
  /// that destroys the storage, because destroying the storage waits for a running slot, except
  /// from inside that slot. SignalConnection says what else a slot must not do. A slot that
  /// captures the storage, or a value that was read from it, keeps the storage alive.
  [[nodiscard]] expected<SignalConnection, std::error_code> ConnectStorageEvent(
      std::function<void(StorageEvent)> slot) override;

  /// The name for display; see Create.
  [[nodiscard]] const std::wstring& DisplayName() const noexcept { return name_; }
  /// The key's full name in the kernel (`NtQueryKey`), with the separator `\` between components
  /// but not before the first. By this name a watch recognises that another key took the place of
  /// its own. Empty if the name has more than 253 characters or could not be read.
  [[nodiscard]] const StoragePath& KernelName() const noexcept { return kernelName_; }

 protected:
  /// For Create and derived classes: takes over the handles that Create opened and duplicated.
  RegistryStorage(UniqueRegistryKey root, StoragePath path, UniqueRegistryKey key,
                  std::shared_ptr<task::WaitTaskExecutor> executor, std::wstring name,
                  StorageOptions options);

 private:
  [[nodiscard]] std::shared_ptr<UniqueRegistryKey> OpenKey() const;
  void ReplaceKey(std::shared_ptr<UniqueRegistryKey> key);

  // The watch. The caller of StartWatch must hold the lock exclusively.
  expected<void, std::error_code> StartWatch();
  void OnStorageKeyChanged();
  StorageEvent WatchAgain(std::shared_ptr<UniqueRegistryKey> key, UniqueRegistryKey& created);

  UniqueRegistryKey root_;
  StoragePath path_;
  std::shared_ptr<UniqueRegistryKey> openKey_;  // null when there is none
  std::shared_ptr<task::WaitTaskExecutor> executor_;
  std::wstring name_;
  StoragePath kernelName_;
  StorageOptions options_;

  // Guards the open key and the set-up of the watch. It is not held while slots run, nor over calls
  // of the registry, except over the registration in the set-up of the watch.
  mutable SRWLOCK lock_ = SRWLOCK_INIT;
  UniqueEvent changeEvent;
  std::weak_ptr<task::WtpWaitTaskContext> watchTask;
  std::shared_ptr<detail::SignalImpl<StorageEvent>> storageSignal =
      std::make_shared<detail::SignalImpl<StorageEvent>>();
};

}  // namespace tessel::config
