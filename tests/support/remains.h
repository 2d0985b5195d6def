// Fills the memory of freed objects, so that a test notices code that still uses one of them.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <vector>

namespace testing_support {

/// Allocates the memory in which objects of this size were freed last, and fills it.
template <std::size_t Size>
class Remains {
 public:
  Remains() {
    for (auto& block : blocks_) {
      block = std::make_unique<Block>();
      block->fill(kByte);
    }
  }

  /// Whether the fill is unchanged.
  [[nodiscard]] bool Untouched() const {
    Block untouched;
    untouched.fill(kByte);
    return std::all_of(blocks_.begin(), blocks_.end(),
                       [&](const auto& block) { return *block == untouched; });
  }

 private:
  using Block = std::array<unsigned char, Size>;
  static constexpr unsigned char kByte = 1;  // true as a flag, and invalid as part of a pointer

  std::vector<std::unique_ptr<Block>> blocks_{100};
};

}  // namespace testing_support
