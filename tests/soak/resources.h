// The resources that the process holds. They must not grow.
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

/// The bytes that the platform counts for the process, including the free ones of its heaps.
[[nodiscard]] std::size_t PrivateBytes();

}  // namespace soak
