#include "memory_storage.h"

#include <windows.h>

#include <cstddef>
#include <utility>
#include <variant>
#include <vector>

#include "tessel/config/error.h"

namespace examples {
namespace {

using tessel::config::Error;
using tessel::config::StorageEntry;
using tessel::config::StorageIteratorContext;

/// Walks over entries that were collected before.
class MemoryIteratorContext final : public StorageIteratorContext {
 public:
  explicit MemoryIteratorContext(std::vector<StorageEntry> entries)
      : entries_(std::move(entries)) {}

  expected<StorageEntry, std::error_code> Next() override {
    if (next_ == entries_.size()) {
      return std::error_code(ERROR_NO_MORE_ITEMS, std::system_category());
    }
    return std::move(entries_[next_++]);
  }

 private:
  std::vector<StorageEntry> entries_;
  std::size_t next_ = 0;
};

/// What the storage gives out keeps the storage alive, the elements of a list too.
StorageValue WithOwner(const StorageValue& value, const std::shared_ptr<MemoryStorage>& owner) {
  if (const auto* list = std::get_if<std::vector<StorageValue>>(&value.Payload())) {
    std::vector<StorageValue> elements;
    for (const StorageValue& element : *list) {
      elements.push_back(WithOwner(element, owner));
    }
    return {std::move(elements), owner};
  }
  return std::visit([&](const auto& payload) { return StorageValue(payload, owner); },
                    value.Payload());
}

}  // namespace

expected<StorageIterator, std::error_code> MemoryStorage::Iterate(const StoragePath& path) {
  const auto self = std::static_pointer_cast<MemoryStorage>(shared_from_this());
  std::wstring begin = path.WithSeparator(L'/').Text();
  if (!begin.empty()) {
    begin += L'/';
  }
  std::vector<StorageEntry> entries;
  std::vector<StorageEntry> values;
  const std::lock_guard lock(mutex_);
  for (auto entry = values_.lower_bound(begin);
       entry != values_.end() && entry->first.starts_with(begin); ++entry) {
    const std::wstring rest = entry->first.substr(begin.size());
    const std::wstring name = rest.substr(0, rest.find(L'/'));
    if (name == rest) {
      values.push_back({path.Join(name), WithOwner(entry->second, self)});
    } else if (entries.empty() || entries.back().path != path.Join(name)) {
      entries.push_back({path.Join(name), StorageValue(StoragePath(name), self)});
    }
  }
  if (entries.empty() && values.empty() && !begin.empty()) {
    return Error::not_found;
  }
  for (StorageEntry& value : values) {  // behind the subkeys
    entries.push_back(std::move(value));
  }
  return StorageIterator(std::make_unique<MemoryIteratorContext>(std::move(entries)));
}

expected<StorageValue, std::error_code> MemoryStorage::GetValue(const StoragePath& path) {
  const auto self = std::static_pointer_cast<MemoryStorage>(shared_from_this());
  const std::lock_guard lock(mutex_);
  const auto found = values_.find(path.WithSeparator(L'/').Text());
  if (found == values_.end()) {
    return Error::not_found;
  }
  return WithOwner(found->second, self);
}

expected<void, std::error_code> MemoryStorage::SetValue(const StoragePath& path,
                                                        const StorageValue& value) {
  {
    const std::lock_guard lock(mutex_);
    // Without an owner: a storage that held itself would live for ever.
    values_.insert_or_assign(path.WithSeparator(L'/').Text(), WithOwner(value, nullptr));
  }
  // Without the lock: a slot may read. It must not write, which would emit again.
  const auto signal = signal_;  // a slot may drop the last reference to this storage
  signal->Emit(StorageEvent::Changed);
  return {};
}

}  // namespace examples
