#include "tessel/unique_any.h"

#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace tessel {
namespace {

struct RecordingPolicy {
  using pointer = int;
  static bool is_valid(int handle) noexcept { return handle > 0; }
  static void close(int handle) noexcept { closed.push_back(handle); }
  static inline std::vector<int> closed;
};
using Owner = unique_any_t<RecordingPolicy>;
using Handles = std::vector<int>;

class UniqueAnyTest : public ::testing::Test {
 protected:
  UniqueAnyTest() { RecordingPolicy::closed.clear(); }
  static const Handles& Closed() { return RecordingPolicy::closed; }
};

TEST_F(UniqueAnyTest, ClosesItsHandleOnce) {
  {
    const Owner owner(1);
    EXPECT_EQ(owner.get(), 1);
    EXPECT_TRUE(static_cast<bool>(owner));
    EXPECT_EQ(Closed(), Handles());
  }
  EXPECT_EQ(Closed(), Handles{1});
}

TEST_F(UniqueAnyTest, ClosesNoInvalidHandle) {
  {
    const Owner none;
    const Owner invalid(-1);
    EXPECT_FALSE(static_cast<bool>(none));
    EXPECT_FALSE(static_cast<bool>(invalid));
  }
  EXPECT_EQ(Closed(), Handles());
}

TEST_F(UniqueAnyTest, MovesTheHandle) {
  Owner first(1);
  Owner second(std::move(first));
  EXPECT_EQ(second.get(), 1);
  Owner third(3);
  third = std::move(second);
  EXPECT_EQ(third.get(), 1);
  EXPECT_EQ(Closed(), Handles{3});
  Owner& alias = third;
  third = std::move(alias);
  EXPECT_EQ(third.get(), 1);
  EXPECT_EQ(Closed(), Handles{3});
  static_assert(!std::is_copy_constructible_v<Owner> && !std::is_copy_assignable_v<Owner>);
}

TEST_F(UniqueAnyTest, TakingNoHandleClosesTheOldOne) {
  Owner owner(1);
  owner = Owner();
  EXPECT_EQ(owner.get(), 0);
  EXPECT_EQ(Closed(), Handles{1});
}

TEST_F(UniqueAnyTest, WhatWasMovedFromClosesNothing) {
  {
    Owner first(1);
    Owner second(std::move(first));
    Owner third;
    third = std::move(second);
  }
  EXPECT_EQ(Closed(), Handles{1});
}

TEST_F(UniqueAnyTest, ResetClosesTheOldHandle) {
  Owner owner(1);
  owner.reset(2);
  EXPECT_EQ(Closed(), Handles{1});
  owner.reset(2);
  EXPECT_EQ(owner.get(), 2);
  EXPECT_EQ(Closed(), Handles{1});
  owner.reset();
  EXPECT_EQ(Closed(), (Handles{1, 2}));
  EXPECT_EQ(owner.get(), 0);
}

TEST_F(UniqueAnyTest, ReleaseGivesTheHandleUp) {
  Owner owner(1);
  EXPECT_EQ(owner.release(), 1);
  EXPECT_FALSE(static_cast<bool>(owner));
  EXPECT_EQ(Closed(), Handles());
}

TEST_F(UniqueAnyTest, PutTakesAHandleFromAFunction) {
  Owner owner(1);
  *owner.put() = 2;
  EXPECT_EQ(owner.get(), 2);
  EXPECT_EQ(Closed(), Handles{1});
}

}  // namespace
}  // namespace tessel
