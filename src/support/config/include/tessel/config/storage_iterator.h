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

/// A subkey or a value that an iteration found.
struct StorageEntry {
  /// The full path of the entry in the storage: the path that was iterated, joined with the entry's
  /// name. Reading by this path does not find a value without a name (the key's default value), nor
  /// one whose name contains a `\` or a zero.
  StoragePath path;
  /// The content of a value. For a subkey it is a StoragePath with separator `/` made of the
  /// subkey's name, and so normalised: a name such as `a//b` is exact only in `path`.
  StorageValue value;
};

/// The state of an iteration. Each kind of storage implements its own.
///
/// ```cpp
/// return StorageIterator(std::make_unique<MemoryIteratorContext>(std::move(entries)));
/// ```
class StorageIteratorContext {
 public:
  virtual ~StorageIteratorContext() = default;
  StorageIteratorContext(const StorageIteratorContext&) = delete;
  StorageIteratorContext& operator=(const StorageIteratorContext&) = delete;

  /// The next entry. The end is system error 259 (ERROR_NO_MORE_ITEMS), which each later call gives
  /// again. Other errors do not end the iteration.
  [[nodiscard]] virtual expected<StorageEntry, std::error_code> Next() = 0;

 protected:
  /// For derived classes.
  StorageIteratorContext() = default;
};

/// Walks over the subkeys of a key, then over its values, in the order of the registry.
///
/// ```cpp
/// for (const auto& entry : storage.Iterate(L"").value()) {
///   if (entry) {
///     names.push_back(entry->path.Text());
///   } else if (entry.error() != Error::unsupported_storage_value) {
///     break;  // an error that stays would come again and again
///   }
/// }
/// ```
///
/// Each step asks the registry. An entry that is added or removed during the iteration may be seen
/// or missed, and another one may be seen twice.
///
/// Threads: two threads must not use one iterator at the same time. Lifetime: the iterator keeps
/// the key open and the storage alive.
class StorageIterator {
 public:
  /// What one step gives: an entry, or the error in its place.
  using Result = expected<StorageEntry, std::error_code>;
  class Cursor;

  /// For storages: iterates with `context`, which must not be null.
  explicit StorageIterator(std::unique_ptr<StorageIteratorContext> context)
      : context_(std::move(context)) {}

  /// The next entry, or the error in its place. The end is system error 259 (ERROR_NO_MORE_ITEMS).
  ///
  /// The call that reports a value that cannot be converted moves past that value. After any other
  /// error, and after std::bad_alloc, the next call tries the same entry again. So an error that
  /// stays comes at every call, and the end never does: of a deleted key system error 1018
  /// (ERROR_KEY_DELETED), of a value whose name has 16,383 characters 234 (ERROR_MORE_DATA).
  [[nodiscard]] Result Next() { return context_->Next(); }

  /// The rest of the iteration, for a range-for; neither the iterator nor the result that holds it
  /// may be const. The range ends at error 259. Other errors are
  /// elements of the range. A loop must leave at an error that comes again at each step, such as
  /// 1018, or it never ends.
  [[nodiscard]] Cursor begin();
  /// The end of every iteration.
  [[nodiscard]] static std::default_sentinel_t end() noexcept { return {}; }

 private:
  std::unique_ptr<StorageIteratorContext> context_;
};

/// The input iterator of a range-for. It refers to its StorageIterator, which must outlive it.
class StorageIterator::Cursor {
 public:
  ///@{
  /// Required of an input iterator by the standard library.
  using value_type = Result;
  using difference_type = std::ptrdiff_t;
  ///@}

  /// Takes the first step.
  explicit Cursor(StorageIterator& iterator) : iterator_(&iterator), current_(iterator.Next()) {}

  ///@{
  /// The current result, valid until the next step.
  [[nodiscard]] const Result& operator*() const noexcept { return current_; }
  [[nodiscard]] const Result* operator->() const noexcept { return &current_; }
  ///@}
  /// Takes a step.
  Cursor& operator++() {
    current_ = iterator_->Next();
    return *this;
  }
  /// Takes a step. Returns nothing, because the previous result is gone.
  void operator++(int) { ++*this; }

  /// Whether the current result is the end, system error 259.
  [[nodiscard]] bool operator==(std::default_sentinel_t /*end*/) const noexcept;

 private:
  StorageIterator* iterator_;
  Result current_;
};

inline StorageIterator::Cursor StorageIterator::begin() { return Cursor(*this); }

}  // namespace tessel::config
