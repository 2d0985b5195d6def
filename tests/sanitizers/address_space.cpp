// Preloaded ahead of Wine, whose loader keeps ranges of addresses free for it, but starts no
// sanitizer. Without them Wine reserves three ranges itself. The stacks of about ten threads fill
// the highest; for the next one Wine 10 asks for each address of AddressSanitizer's 16 TB in steps
// of 64 KB. That takes minutes, so that here it gets another range. It must be there before Wine
// begins.
#include <array>
#include <cstddef>
#include <cstdint>
#include <sys/mman.h>

struct Range {
  void* begin;
  std::size_t size;
};

/// By this name Wine finds the ranges. Wine 8's program has it too, and is then the one that is
/// set.
extern "C" const Range* wine_main_preload_info;
const Range* wine_main_preload_info = nullptr;

namespace {

// The three of Wine, and above AddressSanitizer's memory 1 GB. An empty range ends the list.
std::array<Range, 5> ranges;

__attribute__((constructor)) void Reserve() {
  constexpr std::array<std::array<std::uintptr_t, 2>, 4> kWanted = {{
      {0x10000, 0x68000000},
      {0x7f000000, 0x7fff0000},
      {0x200000000000, 0x200040000000},
      {0x7ffffe000000, 0x7fffffff0000},
  }};
  std::size_t count = 0;
  for (const auto& [begin, end] : kWanted) {
    auto* const wanted = reinterpret_cast<void*>(begin);
    const int flags = MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_FIXED_NOREPLACE;
    if (::mmap(wanted, end - begin, PROT_NONE, flags, -1, 0) == wanted) {
      ranges[count++] = {wanted, end - begin};
    }
  }
  wine_main_preload_info = ranges.data();
}

}  // namespace
