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
    const Passage passage(state_);
    if (!passage.shut) {
      action();
    }
  }

  void Shut() { state_ |= kShut; }

  /// Waits until all have passed who came before it was shut.
  void AwaitPassed() const {
    while (state_ != kShut) {
      std::this_thread::yield();  // they are about to make one call of the platform
    }
  }

 private:
  class Passage {
   public:
    explicit Passage(std::atomic<std::uint32_t>& state)
        : shut((state.fetch_add(1) & kShut) != 0), state_(state) {}
    ~Passage() { --state_; }
    Passage(const Passage&) = delete;
    Passage& operator=(const Passage&) = delete;

    const bool shut;

   private:
    std::atomic<std::uint32_t>& state_;
  };

  static constexpr std::uint32_t kShut = 1U << 31U;
  std::atomic<std::uint32_t> state_ = 0;  // how many are passing, and whether it is shut
};

}  // namespace tessel::task
