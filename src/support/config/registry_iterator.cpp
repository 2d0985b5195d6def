#include "registry_iterator.h"

#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "registry_value.h"
#include "win32_error.h"

namespace tessel::config {
namespace {

// In characters: the length of the longest name, without room for its terminating zero. A value
// with a name of this length gives ERROR_MORE_DATA.
constexpr DWORD kNameCapacity = 16'383;
// In bytes; grows for larger values.
constexpr std::size_t kDataCapacity = 256;

}  // namespace

RegistryStorageIteratorContext::RegistryStorageIteratorContext(
    std::shared_ptr<Storage> storage, StoragePath basePath, std::shared_ptr<UniqueRegistryKey> key)
    : storage_(std::move(storage)),
      basePath_(std::move(basePath)),
      key_(std::move(key)),
      name_(std::make_unique_for_overwrite<wchar_t[]>(kNameCapacity)),
      data_(kDataCapacity) {}

expected<StorageEntry, std::error_code> RegistryStorageIteratorContext::Next() {
  if (phase_ == Phase::Subkeys) {
    Result entry = NextSubkey();
    if (phase_ == Phase::Subkeys) {
      return entry;
    }
  }
  if (phase_ == Phase::Values) {
    return NextValue();
  }
  return MakeWin32Error(ERROR_NO_MORE_ITEMS);
}

RegistryStorageIteratorContext::Result RegistryStorageIteratorContext::NextSubkey() {
  DWORD length = kNameCapacity;
  const LSTATUS status = ::RegEnumKeyExW(key_->get(), index_, name_.get(), &length,
                                         /*lpReserved=*/nullptr, /*lpClass=*/nullptr,
                                         /*lpcchClass=*/nullptr, /*lpftLastWriteTime=*/nullptr);
  if (status == ERROR_NO_MORE_ITEMS) {
    Enter(Phase::Values);
  }
  if (status != ERROR_SUCCESS) {
    return MakeWin32Error(status);
  }
  const std::wstring_view name(name_.get(), length);
  StoragePath path = basePath_.Join(name);
  StorageValue value(StoragePath(std::wstring(name)), storage_);
  ++index_;  // only now: when an allocation above throws, the next call gives the same entry
  // Moving does not throw. Made of parts that throw, the entry would leak the path under GCC 14
  // without optimisation.
  return StorageEntry{std::move(path), std::move(value)};
}

RegistryStorageIteratorContext::Result RegistryStorageIteratorContext::NextValue() {
  data_.resize(data_.capacity());
  for (;;) {
    // Set again before each call: one that finds too little room changes the name's length too.
    DWORD length = kNameCapacity;
    auto size = static_cast<DWORD>(data_.size());
    DWORD type = REG_NONE;
    const LSTATUS status = ::RegEnumValueW(key_->get(), index_, name_.get(), &length,
                                           /*lpReserved=*/nullptr, &type, data_.data(), &size);
    if (status == ERROR_MORE_DATA && size > data_.size()) {
      data_.resize(size);
      continue;
    }
    if (status == ERROR_NO_MORE_ITEMS) {
      Enter(Phase::Finished);
    }
    if (status != ERROR_SUCCESS) {
      return MakeWin32Error(status);
    }
    auto value = FromRegistry(type, std::span(data_).first(size), storage_);
    StoragePath path = basePath_.Join(std::wstring_view(name_.get(), length));
    ++index_;
    if (!value) {
      return value.error();
    }
    return StorageEntry{std::move(path), *std::move(value)};
  }
}

void RegistryStorageIteratorContext::Enter(Phase phase) {
  phase_ = phase;
  index_ = 0;
}

}  // namespace tessel::config
