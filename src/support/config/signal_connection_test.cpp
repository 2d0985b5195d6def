#include "tessel/signal_connection.h"

#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace tessel {
namespace {

class RecordingSignal : public detail::SignalBase {
 public:
  void Disconnect(std::shared_ptr<void> connection) override {
    disconnected.push_back(connection.get());
  }
  std::vector<void*> disconnected;
};

class SignalConnectionTest : public ::testing::Test {
 protected:
  [[nodiscard]] SignalConnection Connect(const std::shared_ptr<int>& connection) const {
    return {signal, connection};
  }

  std::shared_ptr<RecordingSignal> signal = std::make_shared<RecordingSignal>();
  std::shared_ptr<int> slot = std::make_shared<int>();
  std::shared_ptr<int> otherSlot = std::make_shared<int>();
};

TEST_F(SignalConnectionTest, DisconnectsWhenItIsDestroyed) {
  {
    const auto connection = Connect(slot);
  }
  EXPECT_EQ(signal->disconnected, std::vector<void*>{slot.get()});
  EXPECT_EQ(slot.use_count(), 1);
}

TEST_F(SignalConnectionTest, DisconnectsOnce) {
  {
    auto connection = Connect(slot);
    connection.Disconnect();
    connection.Disconnect();
  }
  EXPECT_EQ(signal->disconnected.size(), 1U);
}

TEST_F(SignalConnectionTest, MovesTheConnection) {
  {
    auto first = Connect(slot);
    const auto second = std::move(first);
    first.Disconnect();  // NOLINT(bugprone-use-after-move): it is connected to nothing now
    EXPECT_TRUE(signal->disconnected.empty());
  }
  EXPECT_EQ(signal->disconnected.size(), 1U);
  static_assert(!std::is_copy_constructible_v<SignalConnection>);
}

TEST_F(SignalConnectionTest, AssignmentDisconnectsTheOldConnectionFirst) {
  auto connection = Connect(slot);
  connection = Connect(otherSlot);
  EXPECT_EQ(signal->disconnected, std::vector<void*>{slot.get()});
  auto& alias = connection;
  connection = std::move(alias);
  EXPECT_EQ(signal->disconnected.size(), 1U);
  connection = SignalConnection();
  EXPECT_EQ(signal->disconnected, (std::vector<void*>{slot.get(), otherSlot.get()}));
}

// And not when the moved-from object is destroyed, which may be much later.
TEST_F(SignalConnectionTest, AssignmentLetsGoOfTheOldSlotAtOnce) {
  auto first = Connect(slot);
  auto second = Connect(otherSlot);
  first = std::move(second);
  EXPECT_EQ(signal->disconnected, std::vector<void*>{slot.get()});
  EXPECT_EQ(slot.use_count(), 1);
  first.Disconnect();
  EXPECT_EQ(otherSlot.use_count(), 1);
}

TEST_F(SignalConnectionTest, WhatWasMovedFromKeepsNoSlot) {
  auto first = Connect(slot);
  auto second = Connect(otherSlot);
  second = std::move(first);
  second.Disconnect();
  EXPECT_EQ(slot.use_count(), 1);
}

TEST_F(SignalConnectionTest, OutlivesItsSignal) {
  auto connection = Connect(slot);
  signal.reset();
  connection.Disconnect();
  connection = SignalConnection();
  EXPECT_EQ(slot.use_count(), 1);
}

}  // namespace
}  // namespace tessel
