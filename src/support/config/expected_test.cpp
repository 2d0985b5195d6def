#include "tessel/expected.h"

#include <any>
#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "support/tessel_printers.h"
#include "tessel/config/error.h"

namespace tessel {
namespace {

using config::Error;
using Text = expected<std::string, std::error_code>;
using Nothing = expected<void, std::error_code>;

const std::error_code kDenied(5, std::system_category());

TEST(ExpectedTest, HoldsAValue) {
  const Text text = std::string("value");
  EXPECT_TRUE(text.has_value());
  EXPECT_TRUE(static_cast<bool>(text));
  EXPECT_EQ(text.value(), "value");
  EXPECT_EQ(*text, "value");
  EXPECT_EQ(text->size(), 5U);
}

TEST(ExpectedTest, HoldsAnError) {
  const Text text = kDenied;
  EXPECT_FALSE(text.has_value());
  EXPECT_FALSE(static_cast<bool>(text));
  EXPECT_EQ(text.error(), kDenied);
}

TEST(ExpectedTest, TakesWhatConvertsToItsValueOrError) {
  const auto fail = []() -> Text { return Error::not_found; };
  EXPECT_EQ(fail().error(), Error::not_found);
  const auto succeed = []() -> Text { return "literal"; };
  EXPECT_EQ(succeed().value(), "literal");
}

TEST(ExpectedTest, ValueOfAnErrorThrowsTheError) {
  const Text text = kDenied;
  try {
    static_cast<void>(text.value());
    FAIL() << "value() returned";
  } catch (const bad_expected_access<std::error_code>& exception) {
    EXPECT_STREQ(exception.what(), "bad_expected_access");
    EXPECT_EQ(exception.error(), text.error());
  }
  EXPECT_THROW(static_cast<void>(Text(kDenied).value()), bad_expected_access<void>);
  EXPECT_THROW(Nothing(kDenied).value(), std::exception);
}

TEST(ExpectedTest, ValueOrFallsBack) {
  EXPECT_EQ(Text(std::string("value")).value_or("other"), "value");
  EXPECT_EQ(Text(kDenied).value_or("other"), "other");
  EXPECT_EQ(Text(kDenied).value_or({}), "");
  const Text text = std::string("kept");
  EXPECT_EQ(text.value_or("other"), "kept");
  const Text error = kDenied;
  EXPECT_EQ(error.value_or("other"), "other");
  EXPECT_EQ((expected<unsigned int, std::error_code>(1U).value_or(2U)), 1U);
  EXPECT_EQ((expected<unsigned int, std::error_code>(kDenied).value_or(2U)), 2U);
  expected<std::shared_ptr<int>, std::error_code> given = std::make_shared<int>(7);
  EXPECT_EQ(given.value_or(nullptr).use_count(), 2);
  EXPECT_EQ(std::move(given).value_or(nullptr).use_count(), 1);
}

TEST(ExpectedTest, CarriesWhatCanOnlyBeMoved) {
  expected<std::unique_ptr<int>, std::error_code> first = std::make_unique<int>(7);
  auto second = std::move(first);
  EXPECT_EQ(**second, 7);
  expected<std::unique_ptr<int>, std::error_code> third = *std::move(second);
  const std::unique_ptr<int> taken = std::move(third).value();
  EXPECT_EQ(*taken, 7);
}

TEST(ExpectedTest, AnRvalueGivesTheValueItself) {
  static_assert(std::is_same_v<decltype(std::declval<Text>().value()), std::string>);
  static_assert(std::is_same_v<decltype(*std::declval<Text>()), std::string>);
  static_assert(std::is_same_v<decltype(std::declval<Text&>().value()), std::string&>);
  static_assert(std::is_same_v<decltype(*std::declval<Text&>()), std::string&>);
  static_assert(std::is_same_v<decltype(std::declval<const Text&>().value()), const std::string&>);
  static_assert(std::is_same_v<decltype(*std::declval<const Text&>()), const std::string&>);

  const auto list = [] {
    return expected<std::vector<std::string>, std::error_code>({"one", "two"});
  };
  std::string all;
  for (const std::string& text : list().value()) {
    all += text;
  }
  for (const std::string& text : *list()) {
    all += text;
  }
  EXPECT_EQ(all, "onetwoonetwo");
}

TEST(ExpectedTest, IsCopiedWhereItsValueIs) {
  using Unique = expected<std::unique_ptr<int>, std::error_code>;
  static_assert(!std::is_copy_constructible_v<Unique> && !std::is_copy_assignable_v<Unique>);
  static_assert(std::is_move_constructible_v<Unique> && std::is_move_assignable_v<Unique>);
  static_assert(std::is_copy_constructible_v<Text> && std::is_copy_assignable_v<Text>);
  static_assert(std::is_copy_constructible_v<Nothing> && std::is_copy_assignable_v<Nothing>);
}

struct Anything {
  Anything() = default;
  template <class T>
  Anything(const T& /*value*/) : size(sizeof(T)) {}
  std::size_t size = 0;
};

// Whether one result converts to the value of another must not depend on the same question again.
TEST(ExpectedTest, CarriesWhatIsMadeFromAnything) {
  using AnyResult = expected<std::any, std::error_code>;
  const AnyResult any = std::any(7);
  AnyResult copy(any);
  copy = any;
  EXPECT_EQ(std::any_cast<int>(*copy), 7);
  using AnythingResult = expected<Anything, std::error_code>;
  const AnythingResult anything = 'x';
  EXPECT_EQ(AnythingResult(anything)->size, 1U);
  using AnythingError = expected<void, Anything>;
  const AnythingError error = 'x';
  EXPECT_EQ(AnythingError(error).error().size, 1U);
}

// Long enough not to lie within the string object: a leak or a double free would show.
const std::string kLong(100, 'x');

TEST(ExpectedTest, AssignmentChangesBetweenValueAndError) {
  Text text = kLong;
  const Text error = kDenied;
  const Text other = kLong + "y";
  text = error;
  EXPECT_EQ(text.error(), kDenied);
  text = other;
  EXPECT_EQ(*text, kLong + "y");
  text = Text(kLong);
  EXPECT_EQ(*text, kLong);
  text = Text(kDenied);
  EXPECT_EQ(text.error(), kDenied);
}

TEST(ExpectedTest, SelfAssignmentChangesNothing) {
  Text text = kLong;
  const Text& alias = text;
  text = alias;
  EXPECT_EQ(*text, kLong);
  text = std::move(const_cast<Text&>(alias));
  EXPECT_EQ(*text, kLong);
}

struct Counted {
  explicit Counted(int* counter) : live(counter) { ++*live; }
  Counted(const Counted& other) : live(other.live) { ++*live; }
  Counted& operator=(const Counted&) = delete;
  ~Counted() { --*live; }
  int* live;
};

TEST(ExpectedTest, DestroysEachValueOnce) {
  int live = 0;
  {
    const expected<Counted, std::error_code> first = Counted(&live);
    expected<Counted, std::error_code> second = first;
    EXPECT_EQ(live, 2);
    second = expected<Counted, std::error_code>(kDenied);
    EXPECT_EQ(live, 1);
    second = first;
    EXPECT_EQ(live, 2);
    second = first;
    EXPECT_EQ(live, 2);
  }
  EXPECT_EQ(live, 0);
}

TEST(ExpectedTest, ACopyThatThrowsLeavesTheTargetAlone) {
  struct Throwing {
    Throwing() = default;
    Throwing(const Throwing& /*other*/) { throw std::runtime_error("copy"); }
    Throwing(Throwing&&) noexcept {}
    Throwing& operator=(const Throwing&) = delete;
    Throwing& operator=(Throwing&&) = delete;
    ~Throwing() = default;
  };
  const expected<Throwing, std::error_code> source = Throwing();
  expected<Throwing, std::error_code> target = kDenied;
  EXPECT_THROW(target = source, std::runtime_error);
  EXPECT_EQ(target.error(), kDenied);
}

TEST(ExpectedTest, ACopyThatThrowsLeavesTheTargetItsValue) {
  struct Fragile : Counted {
    using Counted::Counted;
    Fragile(const Fragile& other) : Counted(other) { throw std::runtime_error("copy"); }
    Fragile(Fragile&& other) noexcept : Counted(other) {}
    Fragile& operator=(const Fragile&) = delete;
    Fragile& operator=(Fragile&&) = delete;
    ~Fragile() = default;
  };
  int live = 0;
  {
    const expected<Fragile, std::error_code> source = Fragile(&live);
    expected<Fragile, std::error_code> target = Fragile(&live);
    EXPECT_THROW(target = source, std::runtime_error);
    EXPECT_EQ(live, 2);
  }
  EXPECT_EQ(live, 0);
}

TEST(ExpectedTest, DestroysTheErrorThatItHolds) {
  auto error = std::make_shared<int>(5);
  const std::weak_ptr<int> watched = error;
  {
    const expected<std::string, std::shared_ptr<int>> result = std::move(error);
    EXPECT_EQ(*result.error(), 5);
  }
  EXPECT_TRUE(watched.expired());
}

TEST(ExpectedTest, MovesTheErrorToo) {
  using Result = expected<std::string, std::shared_ptr<int>>;
  Result first = std::make_shared<int>(5);
  Result second = std::move(first);
  EXPECT_EQ(first.error(), nullptr);  // NOLINT(bugprone-use-after-move): nothing is left in it
  EXPECT_EQ(second.error().use_count(), 1);
  first = std::move(second);
  EXPECT_EQ(first.error().use_count(), 1);
  expected<void, std::shared_ptr<int>> third = first.error();
  const auto fourth = std::move(third);
  EXPECT_EQ(fourth.error().use_count(), 2);
}

template <class T, class E>
concept HasResult = requires { typename expected<T, E>; };
struct ThrowsWhenCopied {
  ThrowsWhenCopied(const ThrowsWhenCopied& other) noexcept(false);
  ThrowsWhenCopied(ThrowsWhenCopied&& other) noexcept;
};
struct ThrowsWhenMoved {
  ThrowsWhenMoved(const ThrowsWhenMoved& other) noexcept;
  ThrowsWhenMoved(ThrowsWhenMoved&& other) noexcept(false);
};
template <class T>
inline constexpr bool kChecksItsError =
    HasResult<T, std::error_code> && !HasResult<T, int&> && !HasResult<T, ThrowsWhenCopied> &&
    !HasResult<T, ThrowsWhenMoved>;

TEST(ExpectedTest, AnErrorIsCopiedAndMovedWithoutThrowing) {
  static_assert(kChecksItsError<std::string>);
  static_assert(kChecksItsError<void>);
}

TEST(ExpectedTest, WithoutAValueTypeIsSuccessOrError) {
  const Nothing success;
  EXPECT_TRUE(success.has_value());
  EXPECT_TRUE(static_cast<bool>(success));
  EXPECT_NO_THROW(success.value());

  Nothing result = kDenied;
  EXPECT_FALSE(result.has_value());
  EXPECT_EQ(result.error(), kDenied);
  result = success;
  EXPECT_TRUE(result.has_value());
  const auto fail = []() -> Nothing { return Error::read_only; };
  result = fail();
  EXPECT_EQ(result.error(), Error::read_only);
  try {
    result.value();
    FAIL() << "value() returned";
  } catch (const bad_expected_access<std::error_code>& exception) {
    EXPECT_EQ(exception.error(), Error::read_only);
  }
}

TEST(ExpectedTest, ConvertsOnlyWhatItsValueTakes) {
  static_assert(std::is_constructible_v<Text, const char*>);
  static_assert(!std::is_constructible_v<Text, std::vector<int>>);
  static_assert(!std::is_convertible_v<Text, bool>);
  static_assert(std::is_nothrow_move_constructible_v<Text>);
}

}  // namespace
}  // namespace tessel
