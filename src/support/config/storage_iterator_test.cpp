#include "tessel/config/storage_iterator.h"

#include <cstddef>
#include <deque>
#include <iterator>
#include <memory>
#include <string>
#include <system_error>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock-more-matchers.h>

#include "support/error_codes.h"
#include "tessel/config/error.h"

namespace tessel::config {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing_support::EndOfIteration;
using testing_support::ErrorOf;
using testing_support::SystemError;

static_assert(std::input_iterator<StorageIterator::Cursor>);
static_assert(std::sentinel_for<std::default_sentinel_t, StorageIterator::Cursor>);
static_assert(std::is_move_constructible_v<StorageIterator>);
static_assert(!std::is_copy_constructible_v<StorageIterator>);

StorageEntry Entry(const std::wstring& path) { return {StoragePath(path), StorageValue(path)}; }

// Gives prepared results, then the end for ever.
class PreparedContext final : public StorageIteratorContext {
 public:
  explicit PreparedContext(std::deque<StorageIterator::Result> results,
                           std::shared_ptr<int> owned = {})
      : results_(std::move(results)), owned_(std::move(owned)) {}

  StorageIterator::Result Next() override {
    if (results_.empty()) {
      return EndOfIteration();
    }
    auto result = std::move(results_.front());
    results_.pop_front();
    return result;
  }

 private:
  std::deque<StorageIterator::Result> results_;
  std::shared_ptr<int> owned_;
};

StorageIterator Iterate(std::deque<StorageIterator::Result> results) {
  return StorageIterator(std::make_unique<PreparedContext>(std::move(results)));
}

// The paths of entries, the messages of errors.
std::vector<std::string> Walk(StorageIterator& iterator) {
  std::vector<std::string> met;
  for (const auto& entry : iterator) {
    if (entry) {
      const std::wstring& path = entry->path.Text();
      met.emplace_back(path.begin(), path.end());
    } else {
      met.push_back(std::string(entry.error().category().name()) + " " +
                    std::to_string(entry.error().value()));
    }
  }
  return met;
}

TEST(StorageIteratorTest, NextGivesTheResultsUnchanged) {
  auto iterator = Iterate({Entry(L"A"), SystemError(5), Error::not_found});
  const auto first = iterator.Next();
  ASSERT_TRUE(first);
  EXPECT_EQ(first->path, StoragePath(L"A"));
  EXPECT_EQ(first->value.Get<std::wstring>(), L"A");
  EXPECT_EQ(ErrorOf(iterator.Next()), SystemError(5));
  EXPECT_EQ(ErrorOf(iterator.Next()), Error::not_found);
  EXPECT_EQ(ErrorOf(iterator.Next()), EndOfIteration());
  EXPECT_EQ(ErrorOf(iterator.Next()), EndOfIteration());
}

TEST(StorageIteratorTest, ARangeEndsAtTheEnd) {
  auto iterator = Iterate({Entry(L"A"), Entry(L"B")});
  EXPECT_THAT(Walk(iterator), ElementsAre("A", "B"));
  EXPECT_THAT(Walk(iterator), IsEmpty());
}

TEST(StorageIteratorTest, ARangeYieldsOtherErrors) {
  auto iterator = Iterate({SystemError(5), Entry(L"A"), Error::unsupported_storage_value,
                           SystemError(234), Entry(L"B"), SystemError(1018)});
  EXPECT_THAT(Walk(iterator), ElementsAre("system 5", "A", "tessel::config::Error 5", "system 234",
                                          "B", "system 1018"));
}

TEST(StorageIteratorTest, OnlyASystemErrorIsTheEnd) {
  auto iterator = Iterate(
      {std::error_code(259, std::generic_category()), Entry(L"A"), EndOfIteration(), Entry(L"B")});
  EXPECT_THAT(Walk(iterator), ElementsAre("generic 259", "A"));
  EXPECT_THAT(Walk(iterator), ElementsAre("B"));
}

TEST(StorageIteratorTest, ARangeGoesOnFromWhereTheIterationStands) {
  auto iterator = Iterate({Entry(L"A"), Entry(L"B"), Entry(L"C")});
  EXPECT_EQ(iterator.Next().value().path, StoragePath(L"A"));
  for (const auto& entry : iterator) {
    if (entry->path == StoragePath(L"B")) {
      break;
    }
    ADD_FAILURE() << "an entry that is not the next";
  }
  EXPECT_THAT(Walk(iterator), ElementsAre("C"));
}

TEST(StorageIteratorTest, TheCursorKeepsItsEntryUntilItIsMoved) {
  auto iterator = Iterate({Entry(L"A"), Entry(L"B")});
  auto cursor = iterator.begin();
  EXPECT_EQ((*cursor)->path, StoragePath(L"A"));
  EXPECT_EQ(cursor->value().path, StoragePath(L"A"));
  EXPECT_EQ(&++cursor, &cursor);
  EXPECT_EQ((*cursor)->path, StoragePath(L"B"));
  EXPECT_FALSE(cursor == iterator.end());
  cursor++;
  EXPECT_TRUE(cursor == iterator.end());
}

TEST(StorageIteratorTest, TheCursorStandsAtAnErrorAsAtAnEntry) {
  auto iterator = Iterate({SystemError(5)});
  const auto cursor = iterator.begin();
  ASSERT_EQ(cursor.operator->(), &*cursor);
  EXPECT_EQ(cursor->error(), SystemError(5));
}

TEST(StorageIteratorTest, OwnsItsContext) {
  const auto owned = std::make_shared<int>();
  {
    StorageIterator first(
        std::make_unique<PreparedContext>(std::deque<StorageIterator::Result>{Entry(L"A")}, owned));
    auto second = std::move(first);
    EXPECT_EQ(owned.use_count(), 2);
    EXPECT_TRUE(second.Next());
  }
  EXPECT_EQ(owned.use_count(), 1);
}

}  // namespace
}  // namespace tessel::config
