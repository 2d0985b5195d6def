/// \file
/// Iteration over the subkeys and values of a key.
#pragma once

#include <cstddef>
#include <iterator>
#include <memory>
#include <system_error>
#include <utility>

#include "tessel/config/storage_path.h"
#include "tessel/config/storage_value.h"
#include "tessel/expected.h"

namespace tessel::config {

/// A subkey or a value that iteration met.
struct StorageEntry {
  /// The entry's full path in the storage, its name joined to the path that was iterated. It does
  /// not lead back to a value without a name, nor to one whose name holds a `\`.
  StoragePath path;
  /// The content of a value; for a subkey a StoragePath that is its name, normalised at `/`: of a
  /// name such as `a//b` the path alone says all.
  StorageValue value;
};

/// The state of an iteration, implemented by each kind of storage.
class StorageIteratorContext {
 public:
  virtual ~StorageIteratorContext() = default;
  StorageIteratorContext(const StorageIteratorContext&) = delete;
  StorageIteratorContext& operator=(const StorageIteratorContext&) = delete;

  /// The next entry. The end, and each call after it, is system error 259
  /// (ERROR_NO_MORE_ITEMS); other errors do not end the iteration.
  [[nodiscard]] virtual expected<StorageEntry, std::error_code> Next() = 0;

 protected:
  /// For derived classes.
  StorageIteratorContext() = default;
};

/// Walks over the subkeys of a key, then over its values, in the order of the registry.
///
///     for (const auto& entry : iterator)
///       if (entry) Use(entry->path, entry->value);
///
/// Each step asks the registry anew: what changes meanwhile may be seen, missed or met twice. Used
/// by one thread at a time. It keeps the key open and the storage alive.
class StorageIterator {
 public:
  /// What one step gives: an entry, or the error in its place.
  using Result = expected<StorageEntry, std::error_code>;
  class Cursor;

  /// Walks with `context`, which must not be null; called by the storages.
  explicit StorageIterator(std::unique_ptr<StorageIteratorContext> context)
      : context_(std::move(context)) {}

  /// The next entry, or the error that stands in its place. The end is system error 259
  /// (ERROR_NO_MORE_ITEMS). A value that cannot be converted is passed over by the call that
  /// reports it; after another error, or std::bad_alloc, the next call tries the same place again.
  /// Once its key is deleted each call gives system error 1018 (ERROR_KEY_DELETED), and the end
  /// never comes.
  [[nodiscard]] Result Next() { return context_->Next(); }

  /// Goes on from where the iteration stands. The range ends at error 259; other errors are
  /// elements of it, so a loop that goes on after an error that stays does not end.
  [[nodiscard]] Cursor begin();
  /// The end of every iteration.
  [[nodiscard]] static std::default_sentinel_t end() noexcept { return {}; }

 private:
  std::unique_ptr<StorageIteratorContext> context_;
};

/// The input iterator of a range-for; refers to its StorageIterator.
class StorageIterator::Cursor {
 public:
  ///@{
  /// What the standard library asks of an input iterator.
  using value_type = Result;
  using difference_type = std::ptrdiff_t;
  ///@}

  /// Takes the first step; `iterator` must outlive the cursor.
  explicit Cursor(StorageIterator& iterator) : iterator_(&iterator), current_(iterator.Next()) {}

  ///@{
  /// The current result, good until the next step.
  [[nodiscard]] const Result& operator*() const noexcept { return current_; }
  [[nodiscard]] const Result* operator->() const noexcept { return &current_; }
  ///@}
  /// Takes a step.
  Cursor& operator++() {
    current_ = iterator_->Next();
    return *this;
  }
  /// Takes a step; there is no copy of what was before.
  void operator++(int) { ++*this; }

  /// Whether the current result is the end, system error 259.
  [[nodiscard]] bool operator==(std::default_sentinel_t /*end*/) const noexcept;

 private:
  StorageIterator* iterator_;
  Result current_;
};

inline StorageIterator::Cursor StorageIterator::begin() { return Cursor(*this); }

}  // namespace tessel::config
