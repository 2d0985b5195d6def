// What was done in a soak, counted by all threads.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace soak {

struct Totals {
  std::atomic<std::uint64_t> storages = 0;
  std::atomic<std::uint64_t> values = 0;
  std::atomic<std::uint64_t> entries = 0;
  std::atomic<std::uint64_t> changes = 0;
  std::atomic<std::uint64_t> timers = 0;
  std::atomic<std::uint64_t> waits = 0;
  std::atomic<std::uint64_t> items = 0;
};

/// Ends the program at a failed check. It cannot end in good order, because the running threads use
/// objects that other threads own.
inline void Require(bool condition, const char* what) {
  if (!condition) {
    std::fprintf(stderr, "soak: failed: %s\n", what);
    std::fflush(stderr);
    std::_Exit(EXIT_FAILURE);
  }
}

}  // namespace soak
