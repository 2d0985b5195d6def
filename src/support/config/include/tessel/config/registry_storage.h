/// \file
/// A configuration storage on a registry key.
#pragma once

#include <windows.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <system_error>

#include "tessel/config/storage.h"
#include "tessel/config/storage_path.h"
#include "tessel/config/storage_value.h"
#include "tessel/detail/signal.h"
#include "tessel/expected.h"
#include "tessel/task/task_executor.h"
#include "tessel/unique_any.h"

namespace tessel::config {

/// Flags for opening a storage.
using StorageOptions = std::uint32_t;
/// Opens the key for reading only, and refuses writes (system error 5).
inline constexpr StorageOptions kReadOnly = 1U << 0;

/// How registry keys are closed: `RegCloseKey`.
struct RegistryKeyPolicy {
  /// An open key; null stands for none.
  using pointer = HKEY;
  /// Whether there is a key to close.
  static bool is_valid(HKEY key) noexcept { return key != nullptr; }
  /// Closes the key; a failure is not looked at.
  static void close(HKEY key) noexcept;
};
/// An open registry key, closed with its owner.
using UniqueRegistryKey = unique_any_t<RegistryKeyPolicy>;

/// How event handles are closed: `CloseHandle`.
struct EventPolicy {
  /// A handle of an event; null and INVALID_HANDLE_VALUE stand for none.
  using pointer = HANDLE;
  /// Whether there is a handle to close.
  static bool is_valid(HANDLE event) noexcept {
    return event != nullptr && event != INVALID_HANDLE_VALUE;
  }
  /// Closes the handle; a failure is not looked at.
  static void close(HANDLE event) noexcept;
};
/// An event, closed with its owner.
using UniqueEvent = unique_any_t<EventPolicy>;

/// Settings below one registry key.
///
/// Values are read from the registry each time; nothing is cached. Operations may be called from
/// any thread: they take the open key under a lock and call the registry without it. Values and
/// iterators that came from the storage keep it alive, connections do not. Its key stays open as
/// long as the storage and every iterator over it, unless a watch had to replace it.
class RegistryStorage : public Storage {
 public:
  /// Opens the key at `path` below `root`, and creates it when it is missing (`RegCreateKeyExW`,
  /// also for a read-only storage).
  ///
  /// The storage keeps a duplicate of `root`, so the caller may close its own; when the platform
  /// has none to give, the storage works all the same, but cannot create a deleted key again.
  /// `executor` runs the change notification and can be given here alone: a storage created
  /// with null must not be connected to. `name` is for display; an empty one is made from root and
  /// path, like `HKLM\SOFTWARE\A`. `options` are StorageOptions. Errors are those of the registry.
  [[nodiscard]] static expected<std::shared_ptr<RegistryStorage>, std::error_code> Create(
      HKEY root, const StoragePath& path, std::shared_ptr<task::WaitTaskExecutor> executor,
      std::wstring name = {}, StorageOptions options = 0);

  /// Waits for a running slot; see ConnectStorageEvent.
  ~RegistryStorage() override;
  RegistryStorage(const RegistryStorage&) = delete;
  RegistryStorage& operator=(const RegistryStorage&) = delete;

  /// Iterates over the key that `path` names; an empty path is the storage's own key. The entries'
  /// paths have the separator `\`; a key that is not there gives Error::not_found.
  [[nodiscard]] expected<StorageIterator, std::error_code> Iterate(
      const StoragePath& path) override;

  /// Reads a value of any size (`RegGetValueW`, without expansion) and converts it:
  /// REG_NONE to empty, REG_SZ and REG_EXPAND_SZ (expanded, and ending with one zero character) to
  /// a text, REG_BINARY to bytes, REG_DWORD of either byte order and REG_QWORD to unsigned
  /// integers, REG_LINK to a path, REG_MULTI_SZ to a list of texts. Other types give
  /// Error::unsupported_storage_value; a missing value or key gives Error::not_found.
  [[nodiscard]] expected<StorageValue, std::error_code> GetValue(const StoragePath& path) override;

  /// Writes a value (`RegSetKeyValueW`) and creates the keys that are missing on its path.
  ///
  /// The value's alternative decides the registry's type, as StorageValue::Alternatives says; what
  /// it refuses is not written at all. A storage opened with kReadOnly writes nothing, whatever the
  /// path: system error 5.
  expected<void, std::error_code> SetValue(const StoragePath& path,
                                           const StorageValue& value) override;

  /// Calls `slot` on a thread of the executor after each change of the key, of its values or of
  /// anything below it, by any process (`RegNotifyChangeKeyValue`), until the connection or the
  /// storage is destroyed; changes in quick succession may come as one event.
  ///
  /// The first connection sets up the watch, and only that can fail (`CreateEventW`, the first
  /// registration). When the key could not be registered, later connections succeed but receive
  /// nothing: open another storage.
  ///
  /// The key is watched also after it was deleted: it is created again, empty. Operations give
  /// system error 1018 until the handler has dropped the deleted key, then 6 until there is a new
  /// one. When watching cannot go on, slots receive StorageEvent::WatchLost and nothing after it,
  /// those connected later included. Operations then give system error 6 for good when the key was
  /// not created again, or 1018 when the deleted one could not be told by its KernelName. To go on,
  /// open another storage.
  ///
  /// Destroying the storage waits for a running slot, except from inside that slot. A slot may use
  /// the storage and may drop the last reference to it; the slots whose turn comes after it run all
  /// the same. A slot must not throw, which ends the process, nor wait for a thread that destroys
  /// the storage; what else it must not do is said at SignalConnection. A slot that holds the
  /// storage, or a value read from it, keeps it alive.
  [[nodiscard]] expected<SignalConnection, std::error_code> ConnectStorageEvent(
      std::function<void(StorageEvent)> slot) override;

  /// The name that Create was given, or made.
  [[nodiscard]] const std::wstring& DisplayName() const noexcept { return name_; }
  /// The key's full name in the kernel (separator `\`, none in front), by which the storage
  /// recognises its key; empty when the name is longer than 253 characters or could not be read.
  [[nodiscard]] const StoragePath& KernelName() const noexcept { return kernelName_; }

 protected:
  /// Takes over what Create has opened and duplicated, for it and for derived classes.
  RegistryStorage(UniqueRegistryKey root, StoragePath path, UniqueRegistryKey key,
                  std::shared_ptr<task::WaitTaskExecutor> executor, std::wstring name,
                  StorageOptions options);

 private:
  [[nodiscard]] std::shared_ptr<UniqueRegistryKey> OpenKey() const;
  void ReplaceKey(std::shared_ptr<UniqueRegistryKey> key);

  // The watch; the lock is held while it is started.
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

  // Guards the open key and the set-up of the watch; never held over calls of the registry other
  // than the set-up's, nor while slots run.
  mutable SRWLOCK lock_ = SRWLOCK_INIT;
  UniqueEvent changeEvent;
  std::weak_ptr<task::WtpWaitTaskContext> watchTask;
  std::shared_ptr<detail::SignalImpl<StorageEvent>> storageSignal =
      std::make_shared<detail::SignalImpl<StorageEvent>>();
};

}  // namespace tessel::config
