// What the process holds: it must not grow.
#pragma once

#include <cstddef>

namespace soak {

struct Resources {
  std::size_t handles;
  std::size_t threads;
  std::size_t blocks;  // of memory, allocated with operator new
  std::size_t bytes;
};

[[nodiscard]] Resources Measure();

/// Bytes that the platform counts for the process, the free ones of its heaps included.
[[nodiscard]] std::size_t PrivateBytes();

}  // namespace soak
