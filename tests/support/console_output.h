// What a program writes to standard output and standard error, instead of its being written.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

#include "support/import_hook.h"

namespace testing_support {

/// Records while it lives. A test of one thread owns it.
struct ConsoleOutput {
  std::string output;
  std::string errors;
  /// Nothing can be written to standard output.
  bool fails = false;

  ImportHook<"fwrite", std::size_t(const void*, std::size_t, std::size_t, std::FILE*)> hook{
      [this](const void* data, std::size_t size, std::size_t count, std::FILE* stream) {
        if (stream == stdout && fails) {
          return std::size_t{0};
        }
        (stream == stderr ? errors : output).append(static_cast<const char*>(data), size * count);
        return count;
      }};
};

}  // namespace testing_support
