// Puts something else where objects were freed, so that whoever still uses one of them is found
// out.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <vector>

namespace testing_support {

/// Takes the places of objects of this size that were freed last.
template <std::size_t Size>
class Remains {
 public:
  Remains() {
    for (auto& block : blocks_) {
      block = std::make_unique<Block>();
      block->fill(kByte);
    }
  }

  /// Whether nobody has written into them.
  [[nodiscard]] bool Untouched() const {
    Block untouched;
    untouched.fill(kByte);
    return std::all_of(blocks_.begin(), blocks_.end(),
                       [&](const auto& block) { return *block == untouched; });
  }

 private:
  using Block = std::array<unsigned char, Size>;
  static constexpr unsigned char kByte = 1;  // true, and no part of a pointer

  std::vector<std::unique_ptr<Block>> blocks_{100};
};

}  // namespace testing_support
