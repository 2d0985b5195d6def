// Counts allocations by replacing operator new.
#include <cstdlib>
#include <new>

#include "measure.h"

namespace benchmarks {
namespace {

bool isCounting = false;  // set while one thread alone is at work
std::size_t allocations = 0;

}  // namespace

void StartCountingAllocations() {
  allocations = 0;
  isCounting = true;
}

std::size_t StopCountingAllocations() {
  isCounting = false;
  return allocations;
}

}  // namespace benchmarks

void* operator new(std::size_t size) {
  if (benchmarks::isCounting) {
    ++benchmarks::allocations;
  }
  if (void* memory = std::malloc(size)) {
    return memory;
  }
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }
