#include "tessel/task/work_argument.h"

#include <type_traits>
#include <utility>

#include <gtest/gtest.h>

namespace tessel::task {
namespace {

void CountUp(void* counter) { ++*static_cast<int*>(counter); }

TEST(WorkArgumentTest, CallsTheDeleterOnANonNullPointerOnce) {
  int calls = 0;
  {
    const WorkArgument argument(&calls, CountUp);
  }
  EXPECT_EQ(calls, 1);
}

TEST(WorkArgumentTest, CallsNoDeleterOnANullPointer) {
  {
    const WorkArgument argument(nullptr, [](void*) { FAIL() << "called on nothing"; });
  }
  {
    const WorkArgument argument(nullptr, nullptr);
  }
}

TEST(WorkArgumentTest, LeavesANullPointerWhereItMovesFrom) {
  int calls = 0;
  {
    WorkArgument source(&calls, CountUp);
    const WorkArgument target = std::move(source);
    EXPECT_EQ(source.get(), nullptr);  // NOLINT(bugprone-use-after-move): what it is about
    EXPECT_EQ(target.get(), &calls);
    EXPECT_EQ(target.get_deleter(), &CountUp);
  }
  EXPECT_EQ(calls, 1);
  static_assert(!std::is_copy_constructible_v<WorkArgument>);
}

}  // namespace
}  // namespace tessel::task
