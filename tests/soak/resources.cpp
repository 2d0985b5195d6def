#include "resources.h"

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <psapi.h>
#include <tlhelp32.h>

#include "support/handle_count.h"

namespace soak {
namespace {

std::atomic<std::size_t> blocks = 0;
std::atomic<std::size_t> bytes = 0;

// Stands before each block and keeps the block aligned. The padding is explicit because MSVC warns
// of padding that it adds itself.
struct alignas(__STDCPP_DEFAULT_NEW_ALIGNMENT__) Header {
  std::size_t size;
  char padding[__STDCPP_DEFAULT_NEW_ALIGNMENT__ - sizeof(std::size_t)];
};

void* Allocate(std::size_t size) noexcept {
  auto* header = static_cast<Header*>(std::malloc(sizeof(Header) + size));
  if (header == nullptr) {
    return nullptr;
  }
  header->size = size;
  ++blocks;
  bytes += size;
  return header + 1;
}

void Free(void* block) noexcept {
  if (block != nullptr) {
    auto* header = static_cast<Header*>(block) - 1;
    --blocks;
    bytes -= header->size;
    std::free(header);
  }
}

std::size_t CountThreads() {
  const HANDLE snapshot = ::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 entry{};
  entry.dwSize = sizeof entry;
  std::size_t count = 0;
  for (BOOL more = ::Thread32First(snapshot, &entry); more != FALSE;
       more = ::Thread32Next(snapshot, &entry)) {
    count += entry.th32OwnerProcessID == ::GetCurrentProcessId() ? 1U : 0U;
  }
  ::CloseHandle(snapshot);
  return count;
}

}  // namespace

Resources Measure() { return {testing_support::HandleCount(), CountThreads(), blocks, bytes}; }

std::size_t PrivateBytes() {
  PROCESS_MEMORY_COUNTERS counters{};
  ::K32GetProcessMemoryInfo(::GetCurrentProcess(), &counters, sizeof counters);
  return counters.PagefileUsage;
}

}  // namespace soak

void* operator new(std::size_t size) {
  void* block = soak::Allocate(size);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  return block;
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return soak::Allocate(size);
}
void operator delete(void* block) noexcept { soak::Free(block); }
void operator delete(void* block, std::size_t /*size*/) noexcept { soak::Free(block); }
void operator delete(void* block, const std::nothrow_t& /*tag*/) noexcept { soak::Free(block); }
