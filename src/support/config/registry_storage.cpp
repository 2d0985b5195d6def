#include "tessel/config/registry_storage.h"

#include <shlwapi.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kernel_name.h"
#include "registry_iterator.h"
#include "registry_key.h"
#include "registry_value.h"
#include "srw_lock.h"
#include "win32_error.h"

namespace tessel::config {
namespace {

std::wstring_view HiveAbbreviation(HKEY root) {
  struct Hive {
    HKEY root;
    std::wstring_view abbreviation;
  };
  const Hive hives[] = {
      {HKEY_CURRENT_USER, L"HKCU"},        {HKEY_CLASSES_ROOT, L"HKCR"},
      {HKEY_LOCAL_MACHINE, L"HKLM"},       {HKEY_USERS, L"HKU"},
      {HKEY_PERFORMANCE_DATA, L"HKPD"},    {HKEY_PERFORMANCE_TEXT, L"HKPT"},
      {HKEY_PERFORMANCE_NLSTEXT, L"HKPN"}, {HKEY_CURRENT_CONFIG, L"HKCC"},
  };
  for (const Hive& hive : hives) {
    if (hive.root == root) {
      return hive.abbreviation;
    }
  }
  return {};
}

std::wstring MakeDisplayName(HKEY root, const StoragePath& path) {
  std::wstring name(HiveAbbreviation(root));
  if (!path.Empty()) {
    name += L'\\';
    name += path.Text();
  }
  if (name.empty()) {
    name = L"RegistryStorage";
  }
  return name;
}

// A resizable buffer that holds up to `Few` elements without a heap allocation. An allocation would
// be most of the cost of an operation besides the registry's calls.
template <class Element, std::size_t Few>
class Buffer {
 public:
  void Resize(std::size_t size) {
    if (size > few_.size()) {
      many_.resize(size);
    }
    size_ = size;
  }

  [[nodiscard]] std::size_t Size() const { return size_; }
  // Null when the size is 0: ::RegGetValueW then reports the size of the value.
  [[nodiscard]] Element* Data() {
    if (size_ == 0) {
      return nullptr;
    }
    return size_ <= few_.size() ? few_.data() : many_.data();
  }

 private:
  std::array<Element, Few> few_{};
  std::vector<Element> many_;
  std::size_t size_ = 0;
};

using ValueData = Buffer<std::uint8_t, 256>;

// A path as the registry takes it: a key path with the separator '\', and a value name. Both stand
// in one buffer; a zero in the place of the last separator ends the key path.
class ValueAddress {
 public:
  explicit ValueAddress(const StoragePath& path) {
    const std::wstring& text = path.Text();
    text_.Resize(text.size() + 1);
    wchar_t* const begin = text_.Data();
    std::copy_n(text.c_str(), text_.Size(), begin);
    const std::size_t length = text.rfind(path.Separator());
    if (length == std::wstring::npos) {
      valueName_ = begin;
      return;
    }
    std::replace(begin, begin + length, path.Separator(), L'\\');
    begin[length] = L'\0';
    keyPath_ = begin;
    valueName_ = begin + length + 1;
  }
  ValueAddress(const ValueAddress&) = delete;
  ValueAddress& operator=(const ValueAddress&) = delete;

  [[nodiscard]] const wchar_t* KeyPath() const { return keyPath_; }
  [[nodiscard]] const wchar_t* ValueName() const { return valueName_; }

 private:
  Buffer<wchar_t, 128> text_;
  const wchar_t* keyPath_ = L"";
  const wchar_t* valueName_ = nullptr;
};

// Reads until the registry reports exactly the size of the buffer: the value may change between the
// call that reports its size and the call that reads it.
LSTATUS ReadValue(HKEY key, const ValueAddress& address, DWORD& type, ValueData& data) {
  for (DWORD size = 0;; data.Resize(size)) {
    const LSTATUS status = ::RegGetValueW(key, address.KeyPath(), address.ValueName(),
                                          RRF_RT_ANY | RRF_NOEXPAND, &type, data.Data(), &size);
    const bool complete = status == ERROR_SUCCESS && size == data.Size();
    if (complete || (status != ERROR_SUCCESS && status != ERROR_MORE_DATA)) {
      return status;
    }
  }
}

// Makes the protected constructor callable for std::make_shared.
struct make_shared_enabler : RegistryStorage {
  template <class... Arguments>
  explicit make_shared_enabler(Arguments&&... arguments)
      : RegistryStorage(std::forward<Arguments>(arguments)...) {}
};

}  // namespace

expected<std::shared_ptr<RegistryStorage>, std::error_code> RegistryStorage::Create(
    HKEY root, const StoragePath& path, std::shared_ptr<task::WaitTaskExecutor> executor,
    std::wstring name, StorageOptions options) {
  StoragePath keyPath = path.WithSeparator(L'\\');
  UniqueRegistryKey key;
  const LSTATUS status = OpenOrCreateKey(root, keyPath, options, key);
  if (status != ERROR_SUCCESS) {
    return MakeWin32Error(status);
  }
  if (name.empty()) {
    name = MakeDisplayName(root, keyPath);
  }
  UniqueRegistryKey ownRoot(::SHRegDuplicateHKey(root));
  return std::make_shared<make_shared_enabler>(std::move(ownRoot), std::move(keyPath),
                                               std::move(key), std::move(executor), std::move(name),
                                               options);
}

RegistryStorage::RegistryStorage(UniqueRegistryKey root, StoragePath path, UniqueRegistryKey key,
                                 std::shared_ptr<task::WaitTaskExecutor> executor,
                                 std::wstring name, StorageOptions options)
    : root_(std::move(root)),
      path_(std::move(path)),
      openKey_(key ? std::make_shared<UniqueRegistryKey>(std::move(key)) : nullptr),
      executor_(std::move(executor)),
      name_(std::move(name)),
      kernelName_(QueryKernelName(Handle(openKey_)).value_or(StoragePath({}, L'\\'))),
      options_(options) {}

std::shared_ptr<UniqueRegistryKey> RegistryStorage::OpenKey() const {
  const ReaderLock lock(lock_);
  return openKey_;
}

expected<StorageIterator, std::error_code> RegistryStorage::Iterate(const StoragePath& path) {
  auto key = OpenKey();
  if (!key) {
    return MakeWin32Error(ERROR_INVALID_HANDLE);
  }
  StoragePath keyPath = path.WithSeparator(L'\\');
  if (!keyPath.Empty()) {
    auto subkey = std::make_shared<UniqueRegistryKey>();
    const LSTATUS status = ::RegOpenKeyExW(key->get(), keyPath.Text().c_str(), /*ulOptions=*/0,
                                           KEY_READ, subkey->put());
    if (status != ERROR_SUCCESS) {
      return MakeWin32Error(status);
    }
    key = std::move(subkey);
  }
  return StorageIterator(std::make_unique<RegistryStorageIteratorContext>(
      shared_from_this(), std::move(keyPath), std::move(key)));
}

expected<StorageValue, std::error_code> RegistryStorage::GetValue(const StoragePath& path) {
  const auto key = OpenKey();
  if (!key) {
    return MakeWin32Error(ERROR_INVALID_HANDLE);
  }
  DWORD type = REG_NONE;
  ValueData data;
  const LSTATUS status = ReadValue(key->get(), ValueAddress(path), type, data);
  if (status != ERROR_SUCCESS) {
    return MakeWin32Error(status);
  }
  return FromRegistry(type, {data.Data(), data.Size()}, shared_from_this());
}

expected<void, std::error_code> RegistryStorage::SetValue(const StoragePath& path,
                                                          const StorageValue& value) {
  const auto key = OpenKey();
  if (!key) {
    return MakeWin32Error(ERROR_INVALID_HANDLE);
  }
  const auto data = ToRegistry(value);
  if (!data) {
    return data.error();
  }
  if ((options_ & kReadOnly) != 0) {
    // The rights of the open key do not refuse every write: the platform opens a subkey on the path
    // with rights of its own.
    return MakeWin32Error(ERROR_ACCESS_DENIED);
  }
  const ValueAddress address(path);
  const LSTATUS status = ::RegSetKeyValueW(key->get(), address.KeyPath(), address.ValueName(),
                                           data->type, data->bytes, data->size);
  if (status != ERROR_SUCCESS) {
    return MakeWin32Error(status);
  }
  return {};
}

}  // namespace tessel::config
