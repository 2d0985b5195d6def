// Signals, against Boost.Signals2 and against a bare loop over the same locks.
#include <boost/signals2/signal.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "measure.h"
#include "tessel/detail/signal.h"

namespace benchmarks {
namespace {

using Signal = tessel::detail::SignalImpl<std::uint32_t>;

using Slot = std::function<void(std::uint32_t)>;

struct BareSlot {
  std::mutex mutex;
  bool disconnected = false;
  Slot call;
};

/// The least that emitting must do: lock the list and take a reference to it; then for each slot
/// lock a weak reference, lock the connection, and call.
class BareLoop {
 public:
  std::shared_ptr<BareSlot> Connect(Slot call) {
    auto slot = std::make_shared<BareSlot>();
    slot->call = std::move(call);
    slots_->push_back(slot);
    return slot;
  }

  void Emit(std::uint32_t event) {
    std::shared_ptr<std::vector<std::weak_ptr<BareSlot>>> slots;
    {
      const std::lock_guard lock(mutex_);
      slots = slots_;
    }
    for (const auto& reference : *slots) {
      if (const auto slot = reference.lock()) {
        Call(*slot, event);
      }
    }
  }

  static void Call(BareSlot& slot, std::uint32_t event) {
    const std::lock_guard lock(slot.mutex);
    if (!slot.disconnected) {
      slot.call(event);
    }
  }

 private:
  std::mutex mutex_;
  std::shared_ptr<std::vector<std::weak_ptr<BareSlot>>> slots_ =
      std::make_shared<std::vector<std::weak_ptr<BareSlot>>>();
};

TEST(Pairs, Signals) {
  for (const std::size_t count : {1U, 10U, 100U, 1000U}) {
    std::uint64_t sum = 0;
    const auto slot = [&sum](std::uint32_t event) { sum += event; };
    const auto signal = std::make_shared<Signal>();
    std::vector<tessel::SignalConnection> connections;
    connections.reserve(count);
    BareLoop bareLoop;
    std::vector<std::shared_ptr<BareSlot>> bareSlots;
    boost::signals2::signal<void(std::uint32_t)> boostSignal;
    for (std::size_t index = 0; index < count; ++index) {
      connections.push_back(signal->Connect(slot));
      bareSlots.push_back(bareLoop.Connect(slot));
      boostSignal.connect(slot);
    }
    Compare(fmt::format("Emit, slots {}", count), kTurns, Side{"tessel", [&] { signal->Emit(1); }},
            Side{"bare loop", [&] { bareLoop.Emit(1); }},
            Side{"Boost.Signals2", [&] { boostSignal(1); }},
            Side{"locks and calls alone", [&] {
                   for (const auto& bareSlot : bareSlots) {
                     BareLoop::Call(*bareSlot, 1);
                   }
                 }});
    ASSERT_GT(sum, 0U);
  }
}

TEST(Growth, Connecting) {
  for (const std::size_t count : {1U, 10U, 100U, 1000U, 10'000U}) {
    const auto signal = std::make_shared<Signal>();
    std::vector<tessel::SignalConnection> connections;
    connections.reserve(count);
    for (std::size_t index = 0; index < count; ++index) {
      connections.push_back(signal->Connect([](std::uint32_t) {}));
    }
    Compare(fmt::format("connect and disconnect, slots {}", count), kFewTurns,
            Side{"tessel", [&] { signal->Connect([](std::uint32_t) {}).Disconnect(); }});
  }
}

}  // namespace
}  // namespace benchmarks
