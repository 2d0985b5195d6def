// What the fuzzers share: reading an input, and reporting a finding.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>

namespace fuzz {

/// Ends the program, which makes the input a finding, unless the condition holds.
inline void Expect(bool condition, const char* what) {
  if (!condition) {
    std::fprintf(stderr, "fuzz: does not hold: %s\n", what);
    std::abort();
  }
}

/// An input, read from the front. After its end it reads as zeros.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : rest_(data, size) {}

  std::uint8_t TakeByte() {
    if (rest_.empty()) {
      return 0;
    }
    const std::uint8_t byte = rest_.front();
    rest_ = rest_.subspan(1);
    return byte;
  }

  /// The lowest byte first.
  std::uint64_t TakeNumber() {
    std::uint64_t number = 0;
    for (unsigned int shift = 0; shift != 64; shift += 8) {
      number |= std::uint64_t{TakeByte()} << shift;
    }
    return number;
  }

  /// As many bytes as asked for, or as there are.
  std::span<const std::uint8_t> TakeBytes(std::size_t count) {
    const auto bytes = rest_.first(std::min(count, rest_.size()));
    rest_ = rest_.subspan(bytes.size());
    return bytes;
  }

  /// The rest of the input.
  std::span<const std::uint8_t> TakeRest() { return TakeBytes(rest_.size()); }

 private:
  std::span<const std::uint8_t> rest_;
};

/// A text with a character for each byte. The bytes from 0x80 on stand for characters around the
/// bounds of 8 and of 16 bits: 0xC0 to 0x11F and 0xFFE0 to 0xFFFF.
inline std::wstring ToText(std::span<const std::uint8_t> bytes) {
  std::wstring text;
  for (const unsigned int byte : bytes) {
    text += static_cast<wchar_t>(byte < 0x80 ? byte : byte < 0xE0 ? byte + 0x40 : byte | 0xFF00);
  }
  return text;
}

}  // namespace fuzz
