// A gate that is shut once.
#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

namespace tessel::task {

/// Lets threads through until it is shut for good. A passage costs two atomic operations.
class Gate {
 public:
  /// Runs `action`, unless the gate is shut.
  template <class Action>
  void Pass(Action action) {
    std::uint32_t state = state_;
    do {
      if ((state & kShut) != 0) {
        return;
      }
    } while (!state_.compare_exchange_weak(state, state + 1));
    const Passage passage(state_);
    action();
  }

  /// Returns whether somebody is passing.
  bool Shut() { return (state_.fetch_or(kShut) & ~kShut) != 0; }

  /// Waits until all have passed who came before it was shut.
  void AwaitPassed() const {
    while (state_ != kShut) {
      std::this_thread::yield();  // they are about to make one call of the platform
    }
  }

 private:
  class Passage {
   public:
    explicit Passage(std::atomic<std::uint32_t>& state) : state_(state) {}
    ~Passage() { --state_; }
    Passage(const Passage&) = delete;
    Passage& operator=(const Passage&) = delete;

   private:
    std::atomic<std::uint32_t>& state_;
  };

  static constexpr std::uint32_t kShut = 1U << 31U;
  std::atomic<std::uint32_t> state_ = 0;  // how many are passing, and whether it is shut
};

}  // namespace tessel::task
