// What fake_powershell prints.
#pragma once

#include <cstddef>
#include <string>

namespace end_to_end {

/// `size` bytes that show where a piece is lost, doubled or out of place. They contain zeros, bytes
/// above 127 and the platform's line ends, all of which the tool passes on unchanged. They never
/// contain the end-of-file character (26), at which a text stream would stop. The line ends come
/// late: the tool counts each as one byte, so that early ones would change the sizes that the tests
/// choose.
inline std::string Pattern(std::size_t size) {
  std::string bytes;
  for (std::size_t line = 0; bytes.size() < size; ++line) {
    bytes += std::to_string(line) + '\0' + "\xC3\xBC\xFF\t";
    bytes += bytes.size() < 2000 ? ";" : "\r\n";
  }
  bytes.resize(size);
  return bytes;
}

}  // namespace end_to_end
