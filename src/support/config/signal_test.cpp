#include "tessel/detail/signal.h"

#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock-more-matchers.h>

#include "support/copy_counter.h"
#include "support/test_event.h"

namespace tessel::detail {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing_support::TestEvent;
using Signal = SignalImpl<int>;

// Calls `action` when its last copy is destroyed; for slots to capture.
std::shared_ptr<void> AtEnd(std::function<void()> action) {
  return {nullptr, [action = std::move(action)](void*) { action(); }};
}

class SignalTest : public ::testing::Test {
 protected:
  // A slot that notes its name and the event.
  std::function<void(int)> Slot(const std::string& name) {
    return [this, name](int event) { calls.push_back(name + std::to_string(event)); };
  }
  std::vector<std::string> Emit(int event) {
    signal->Emit(event);
    return std::exchange(calls, {});
  }

  std::vector<std::string> calls;
  std::shared_ptr<Signal> signal = std::make_shared<Signal>();
};

TEST_F(SignalTest, CallsTheSlotsInTheOrderOfTheirConnection) {
  EXPECT_THAT(Emit(1), IsEmpty());
  const auto a = signal->Connect(Slot("a"));
  const auto b = signal->Connect(Slot("b"));
  const auto c = signal->Connect(Slot("c"));
  EXPECT_THAT(Emit(2), ElementsAre("a2", "b2", "c2"));
  EXPECT_THAT(Emit(3), ElementsAre("a3", "b3", "c3"));
}

TEST_F(SignalTest, CallsASlotUntilItIsDisconnected) {
  const auto a = signal->Connect(Slot("a"));
  auto b = signal->Connect(Slot("b"));
  const auto c = signal->Connect(Slot("c"));
  b.Disconnect();
  EXPECT_THAT(Emit(1), ElementsAre("a1", "c1"));
  {
    const auto d = signal->Connect(Slot("d"));
  }
  EXPECT_THAT(Emit(2), ElementsAre("a2", "c2"));
}

// Connections are told apart by their addresses. Of eight, some have lower and some have higher
// addresses than the one that is disconnected.
TEST_F(SignalTest, CallsAllOthersWhicheverIsDisconnected) {
  std::vector<SignalConnection> connections;
  std::vector<std::string> expected;
  for (const auto* name : {"a", "b", "c", "d", "e", "f", "g", "h"}) {
    connections.push_back(signal->Connect(Slot(name)));
    expected.push_back(name + std::to_string(1));
  }
  while (!connections.empty()) {
    connections.pop_back();
    expected.pop_back();
    EXPECT_EQ(Emit(1), expected);
  }
}

TEST_F(SignalTest, ASlotConnectedTwiceIsCalledTwice) {
  const auto slot = Slot("a");
  auto first = signal->Connect(slot);
  const auto second = signal->Connect(slot);
  EXPECT_THAT(Emit(1), ElementsAre("a1", "a1"));
  first.Disconnect();
  EXPECT_THAT(Emit(2), ElementsAre("a2"));
}

TEST_F(SignalTest, CallsTheSlotItselfAndNoCopyOfIt) {
  int copies = 0;
  const auto a = signal->Connect(
      [this, counter = testing_support::CopyCounter(copies), call = 0](int event) mutable {
        calls.push_back(std::to_string(++call) + " with " + std::to_string(event));
      });
  EXPECT_THAT(Emit(5), ElementsAre("1 with 5"));
  EXPECT_THAT(Emit(6), ElementsAre("2 with 6"));
  EXPECT_EQ(copies, 0);
}

TEST_F(SignalTest, ASlotConnectedDuringAnEmitMissesTheEvent) {
  SignalConnection late;
  const auto a = signal->Connect([&](int event) {
    if (event == 1) {
      late = signal->Connect(Slot("late"));
    }
  });
  const auto b = signal->Connect(Slot("b"));
  EXPECT_THAT(Emit(1), ElementsAre("b1"));
  EXPECT_THAT(Emit(2), ElementsAre("b2", "late2"));
}

TEST_F(SignalTest, ASlotDisconnectedDuringAnEmitIsSkipped) {
  SignalConnection later;
  const auto a = signal->Connect([&](int /*event*/) { later.Disconnect(); });
  later = signal->Connect(Slot("later"));
  const auto c = signal->Connect(Slot("c"));
  EXPECT_THAT(Emit(1), ElementsAre("c1"));
  EXPECT_THAT(Emit(2), ElementsAre("c2"));
}

TEST_F(SignalTest, ASlotThatDisconnectsAnEarlierOneHidesTheEventFromNobody) {
  auto a = signal->Connect(Slot("a"));
  const auto b = signal->Connect([&](int /*event*/) { a.Disconnect(); });
  const auto c = signal->Connect(Slot("c"));
  EXPECT_THAT(Emit(1), ElementsAre("a1", "c1"));
  EXPECT_THAT(Emit(2), ElementsAre("c2"));
}

TEST_F(SignalTest, EmitsFromWithinASlot) {
  const auto a = signal->Connect(Slot("a"));
  const auto other = std::make_shared<Signal>();
  const auto b = signal->Connect([&](int event) { other->Emit(event + 1); });
  const auto c = other->Connect(Slot("c"));
  EXPECT_THAT(Emit(1), ElementsAre("a1", "c2"));
}

TEST_F(SignalTest, AnEmptySlotThrowsAndLeavesTheSignalUsable) {
  const auto a = signal->Connect(Slot("a"));
  auto empty = signal->Connect({});
  const auto c = signal->Connect(Slot("c"));
  EXPECT_THROW(signal->Emit(1), std::bad_function_call);
  EXPECT_THROW(signal->Emit(2), std::bad_function_call);
  EXPECT_THAT(std::exchange(calls, {}), ElementsAre("a1", "a2"));
  empty.Disconnect();
  EXPECT_THAT(Emit(3), ElementsAre("a3", "c3"));
}

TEST_F(SignalTest, FreesASlotWhenItIsDisconnected) {
  const auto captured = std::make_shared<int>();
  auto a = signal->Connect([captured](int /*event*/) {});
  EXPECT_EQ(captured.use_count(), 2);
  a.Disconnect();
  EXPECT_EQ(captured.use_count(), 1);
}

TEST_F(SignalTest, AConnectionThatOutlivesItsSignalKeepsTheSlot) {
  const auto captured = std::make_shared<int>();
  auto a = signal->Connect([captured](int /*event*/) {});
  signal.reset();
  a.Disconnect();
  EXPECT_EQ(captured.use_count(), 2);
  a = SignalConnection();
  EXPECT_EQ(captured.use_count(), 1);
}

// An object that a slot captured may use the signal when it is destroyed: no mutex is held then.
TEST_F(SignalTest, WhatASlotCapturedIsDestroyedOutsideTheMutexes) {
  const TestEvent done;
  std::thread disconnecting([&] {
    SignalConnection made;
    auto connection = signal->Connect([end = AtEnd([&] {
                                         made = signal->Connect(Slot("made at the end "));
                                         signal->Emit(1);
                                       })](int /*event*/) {});
    connection.Disconnect();
    EXPECT_THAT(calls, ElementsAre("made at the end 1"));
    done.Set();
  });
  done.Await("the end of the disconnected slot");
  disconnecting.join();
}

TEST_F(SignalTest, WhatASlotCapturedMayDisconnectOthersWhenItIsDestroyed) {
  const TestEvent done;
  std::thread disconnecting([&] {
    auto other = signal->Connect(Slot("other"));
    auto connection = signal->Connect([end = AtEnd([&] { other.Disconnect(); })](int /*event*/) {});
    connection = SignalConnection();
    EXPECT_THAT(Emit(1), IsEmpty());
    done.Set();
  });
  done.Await("the end of the disconnected slot");
  disconnecting.join();
}

TEST_F(SignalTest, DisconnectsWithoutAListOfConnections) {
  // The only way in which a connection reaches a signal that connected nothing: another signal is
  // given to it in place of its own.
  std::optional<Signal> place(std::in_place);
  const std::shared_ptr<Signal> owner(&*place, [](Signal* /*signal*/) {});
  auto connection = owner->Connect(Slot("a"));
  place.emplace();
  connection.Disconnect();
  place->Emit(1);
  EXPECT_THAT(calls, IsEmpty());
}

TEST_F(SignalTest, ConnectionsThatExpiredAreSkippedAndHarmOthersNot) {
  // A connection expires in the list if it cannot reach its signal when it ends. Here the owner
  // that it knows is gone, and the signal itself is not.
  Signal kept;
  const auto own = [&] { return std::shared_ptr<Signal>(&kept, [](Signal* /*signal*/) {}); };
  auto owner = own();
  auto a = kept.Connect(Slot("a"));
  auto b = kept.Connect(Slot("b"));
  owner.reset();
  a = SignalConnection();
  b = SignalConnection();
  owner = own();
  kept.Emit(1);
  EXPECT_THAT(calls, IsEmpty());
  const auto c = kept.Connect(Slot("c"));
  auto d = kept.Connect(Slot("d"));
  kept.Emit(2);
  EXPECT_THAT(std::exchange(calls, {}), ElementsAre("c2", "d2"));
  d.Disconnect();
  kept.Emit(3);
  EXPECT_THAT(calls, ElementsAre("c3"));
}

// --- Threads

// The scheduler decides how far each thread gets, so the test runs many rounds. Every order must
// pass.
TEST_F(SignalTest, DisconnectingWaitsForTheRunningSlotWhichIsNeverCalledAgain) {
  const auto letOthersGoOn = [] {
    for (int i = 0; i < 100; ++i) {
      std::this_thread::yield();
    }
  };
  for (int round = 0; round < 200; ++round) {
    const TestEvent running;
    std::atomic<bool> disconnecting = false;
    std::atomic<bool> ended = false;
    std::atomic<int> inside = 0;
    std::atomic<int> lateCalls = 0;
    auto connection = signal->Connect([&](int /*event*/) {
      ++inside;
      if (ended) {
        ++lateCalls;
      }
      running.Set();
      while (!disconnecting) {
        std::this_thread::yield();
      }
      letOthersGoOn();
      --inside;
    });
    std::thread emitting([&] { signal->Emit(1); });
    running.Await("the slot");
    // Holds the connection while it waits for the slot, so that the connection does not expire.
    std::thread waiting([&] { signal->Emit(2); });
    letOthersGoOn();
    disconnecting = true;
    connection.Disconnect();
    EXPECT_EQ(inside, 0);
    ended = true;
    emitting.join();
    waiting.join();
    signal->Emit(3);
    EXPECT_EQ(lateCalls, 0);
  }
}

TEST_F(SignalTest, ConnectsAndDisconnectsOthersWhileASlotRunsInAnotherThread) {
  const TestEvent running;
  const TestEvent release;
  const auto a = signal->Connect([&](int /*event*/) {
    running.Set();
    release.Await("the release of the slot");
  });
  auto b = signal->Connect(Slot("b"));
  std::thread emitting([&] { signal->Emit(1); });
  running.Await("the slot");
  // None of this waits for the slot.
  auto c = signal->Connect(Slot("c"));
  b.Disconnect();
  c.Disconnect();
  release.Set();
  emitting.join();
  EXPECT_THAT(calls, IsEmpty());
}

TEST_F(SignalTest, CallsOneSlotFromOneThreadAtATime) {
  constexpr int kRounds = 200;
  std::atomic<int> inside = 0;
  std::atomic<int> overlaps = 0;
  int runs = 0;  // guarded by the connection
  const auto connection = signal->Connect([&](int /*event*/) {
    if (++inside != 1) {
      ++overlaps;
    }
    ++runs;
    std::this_thread::yield();
    --inside;
  });
  const auto emit = [&] {
    for (int round = 0; round < kRounds; ++round) {
      signal->Emit(round);
    }
  };
  std::thread other(emit);
  emit();
  other.join();
  EXPECT_EQ(overlaps, 0);
  EXPECT_EQ(runs, 2 * kRounds);
}

// Threads that connect, disconnect and emit at random, each with connections of its own.
class SignalUser {
 public:
  SignalUser(std::shared_ptr<Signal> signal, unsigned seed)
      : signal_(std::move(signal)), random_(seed) {}

  void Run(int rounds) {
    for (int round = 0; round < rounds; ++round) {
      const std::size_t index = random_() % slots_.size();
      switch (random_() % 3) {
        case 0:
          Connect(slots_[index]);
          break;
        case 1:
          Disconnect(slots_[index]);
          break;
        default:
          signal_->Emit(round);
          ++emits;
          break;
      }
    }
    for (Slot& slot : slots_) {
      Disconnect(slot);
    }
  }

  int emits = 0;
  int lateCalls = 0;
  std::atomic<int> calls = 0;
  std::atomic<int> callsAfterTheEnd = 0;

 private:
  struct Slot {
    SignalConnection connection;
    std::shared_ptr<std::atomic<int>> running;
    std::shared_ptr<std::atomic<bool>> ended;
  };

  void Connect(Slot& slot) {
    Disconnect(slot);
    slot.running = std::make_shared<std::atomic<int>>(0);
    slot.ended = std::make_shared<std::atomic<bool>>(false);
    slot.connection =
        signal_->Connect([this, running = slot.running, ended = slot.ended](int /*event*/) {
          ++*running;
          ++calls;
          // Other connections may come and go meanwhile.
          {
            const auto passing = signal_->Connect([](int /*event*/) {});
          }
          std::this_thread::yield();
          if (*ended) {
            ++callsAfterTheEnd;
          }
          --*running;
        });
  }
  void Disconnect(Slot& slot) {
    slot.connection.Disconnect();
    if (slot.running) {
      lateCalls += *slot.running;
      *slot.ended = true;
    }
  }

  std::shared_ptr<Signal> signal_;
  std::mt19937 random_;
  std::array<Slot, 4> slots_;
};

TEST_F(SignalTest, StandsManyThreadsAtOnce) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 2000;
  std::vector<std::unique_ptr<SignalUser>> users;
  for (unsigned seed = 1; seed <= kThreads; ++seed) {
    users.push_back(std::make_unique<SignalUser>(signal, seed));
  }
  std::vector<std::thread> threads;
  threads.reserve(users.size());
  for (const auto& user : users) {
    threads.emplace_back([&user] { user->Run(kRounds); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (const auto& user : users) {
    EXPECT_GT(user->emits, 0);
    EXPECT_GT(user->calls, 0);
    EXPECT_EQ(user->lateCalls, 0);
    EXPECT_EQ(user->callsAfterTheEnd, 0);
  }
  const auto last = signal->Connect(Slot("last"));
  EXPECT_THAT(Emit(1), ElementsAre("last1"));
}

}  // namespace
}  // namespace tessel::detail
