// What both kinds of rounds share: random choices, checks, totals.
//
// The threads of a round must share only the objects under test and what a comment names. Every
// other lock or ordered atomic would order their accesses, and hide races from ThreadSanitizer.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <thread>

namespace threads {

/// Ends the program unless the condition holds.
inline void Check(bool condition, const char* what) {
  if (!condition) {
    std::fprintf(stderr, "threads: does not hold: %s\n", what);
    std::_Exit(EXIT_FAILURE);
  }
}

/// The random choices of one thread.
class Random {
 public:
  Random(std::uint32_t seed, std::uint32_t round, std::uint32_t thread)
      : engine_(Seeded({seed, round, thread})) {}
  /// One of 0 to count - 1.
  std::uint32_t Below(std::uint32_t count) { return engine_() % count; }
  bool OneIn(std::uint32_t count) { return Below(count) == 0; }
  /// Yields to other threads, sometimes.
  void Hesitate() {
    for (std::uint32_t count = Below(4); count > 1; --count) {
      std::this_thread::yield();
    }
  }

 private:
  static std::minstd_rand Seeded(std::seed_seq sequence) { return std::minstd_rand(sequence); }

  std::minstd_rand engine_;
};

/// A counter whose operations order no other accesses.
class Tally {
 public:
  void Add(std::uint64_t count = 1) { count_.fetch_add(count, std::memory_order_relaxed); }
  [[nodiscard]] std::uint64_t Count() const { return count_.load(std::memory_order_relaxed); }

 private:
  std::atomic<std::uint64_t> count_ = 0;
};

/// How often each event has happened, by its name.
using Totals = std::map<std::string, std::uint64_t>;

/// One round on a signal.
void RunSignalRound(std::uint32_t seed, std::uint32_t round, Totals& totals);
/// One round on an executor.
void RunTaskRound(std::uint32_t seed, std::uint32_t round, Totals& totals);

}  // namespace threads
