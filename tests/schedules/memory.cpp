#include "memory.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <new>
#include <vector>

#include "thread_pool.h"

namespace schedules {
namespace {

constexpr std::size_t kWord = 8;
constexpr std::size_t kSize = std::size_t{256} * 1024;
constexpr std::size_t kGap = 2 * kWord;  // between blocks

enum class State : std::uint8_t { None, Live, Freed };

/// A word of memory, and its past.
struct Word {
  State state = State::None;
  std::uint8_t writer = 0;
  std::uint8_t written = 0;  // which bytes, by the last write
  std::uint16_t block = 0;
  std::uint16_t sync = 0;  // one more than its index
  std::uint32_t writeTime = 0;
  std::array<std::uint8_t, kThreads> read{};
  Clock readTimes{};
};

struct Block {
  std::size_t begin;
  std::size_t size;
  bool isFreed;
};

alignas(64) std::array<char, kSize> arena;
std::array<Word, kSize / kWord> words;
std::size_t used = 0;
std::vector<Block> blocks;
std::deque<SyncObject> syncObjects;
std::size_t syncObjectsUsed = 0;
int failing = 0;
int failingThread = 0;

std::size_t OffsetOf(const void* address) {
  return static_cast<std::size_t>(static_cast<const char*>(address) - arena.data());
}

[[noreturn]] void FailAccess(const char* what, std::size_t offset, int other = -1) {
  std::string text = std::string(what) + " of " + Describe(&arena[offset]);
  if (other >= 0) {
    text += std::string(" and ") + NameOf(other) + ", in no order";
  }
  Fail(text);
}

void CheckWord(std::size_t offset, std::uint8_t bytes, bool isWrite) {
  Word& word = words[offset / kWord];
  if (word.state != State::Live) {
    FailAccess(word.state == State::Freed ? "access after the end" : "access outside", offset);
  }
  const int self = Self();
  const Clock& clock = SelfClock();
  if ((word.written & bytes) != 0 && word.writeTime > clock[word.writer]) {
    FailAccess(isWrite ? "race: two writes" : "race: read and write", offset, word.writer);
  }
  if (!isWrite) {
    word.read[self] |= bytes;
    word.readTimes[self] = clock[self];
    return;
  }
  for (int thread = 0; thread != kThreads; ++thread) {
    if ((word.read[thread] & bytes) != 0 && word.readTimes[thread] > clock[thread]) {
      FailAccess("race: write and read", offset, thread);
    }
  }
  word.writer = static_cast<std::uint8_t>(self);
  word.written = bytes;
  word.writeTime = clock[self];
}

void* Allocate(std::size_t size) {
  if (failing != 0 && failingThread == Self()) {
    --failing;
    if (failing == 0) {
      failing = -1;
      throw std::bad_alloc();
    }
  }
  const InPlatform platform;
  const std::size_t begin = used + kGap;
  const std::size_t end = begin + (std::max<std::size_t>(size, 1) + 15) / 16 * 16;
  Check(end + kGap <= kSize, "there is memory for a run");
  for (std::size_t offset = begin; offset < begin + std::max<std::size_t>(size, 1);
       offset += kWord) {
    words[offset / kWord] = {};
    words[offset / kWord].state = State::Live;
    words[offset / kWord].block = static_cast<std::uint16_t>(blocks.size());
  }
  used = end;
  blocks.push_back({begin, size, false});
  return &arena[begin];
}

void Free(std::size_t offset) {
  const InPlatform platform;
  Block& block = blocks[words[offset / kWord].block];
  if (words[offset / kWord].state == State::None || block.begin != offset) {
    FailAccess("end", offset);
  }
  if (block.isFreed) {
    FailAccess("second end", offset);
  }
  block.isFreed = true;
  for (std::size_t at = offset; at < offset + std::max<std::size_t>(block.size, 1); at += kWord) {
    CheckWord(at, 0xFF, /*isWrite=*/true);
    Word& word = words[at / kWord];
    if (word.sync != 0) {
      const SyncObject& object = syncObjects[word.sync - 1U];
      Check(object.holder < 0 && object.readers == 0, "a lock ends while somebody holds it");
    }
    word.state = State::Freed;
  }
}

}  // namespace

SyncObject* SyncAt(const void* address) {
  const std::size_t offset = OffsetOf(address);
  if (offset >= kSize) {
    return nullptr;
  }
  Word& word = words[offset / kWord];
  if (word.state != State::Live) {
    FailAccess("use after the end", offset);
  }
  if (word.sync == 0) {
    if (syncObjectsUsed == syncObjects.size()) {
      syncObjects.emplace_back();
    }
    syncObjects[syncObjectsUsed] = {};
    word.sync = static_cast<std::uint16_t>(++syncObjectsUsed);
    syncObjects[word.sync - 1U].number = word.sync;
  }
  return &syncObjects[word.sync - 1U];
}

void CheckAccess(const void* address, std::size_t size, bool isWrite) {
  std::size_t offset = OffsetOf(address);
  if (offset >= kSize) {
    return;
  }
  while (size != 0) {
    const std::size_t first = offset % kWord;
    const std::size_t count = std::min(size, kWord - first);
    CheckWord(offset, static_cast<std::uint8_t>(((1U << count) - 1U) << first), isWrite);
    offset += count;
    size -= count;
  }
}

std::string Describe(const void* address) {
  const std::size_t offset = OffsetOf(address);
  if (offset >= kSize) {
    return DescribePlatformObject(address);
  }
  for (std::size_t number = blocks.size(); number-- != 0;) {
    if (blocks[number].begin <= offset) {
      return "block " + std::to_string(number + 1) + " + " +
             std::to_string(offset - blocks[number].begin);
    }
  }
  return "no block";
}

void FailAllocation(int number) {
  failing = number;
  failingThread = Self();
}

bool HasAllocationFailed() {
  const bool hasFailed = failing < 0;
  failing = 0;
  return hasFailed;
}

void ResetMemory() {
  for (std::size_t offset = 0; offset < used + kGap; offset += kWord) {
    words[offset / kWord].state = State::None;
  }
  used = 0;
  blocks.clear();
  syncObjectsUsed = 0;
  failing = 0;
}

void CheckMemory() {
  for (const Block& block : blocks) {
    if (!block.isFreed) {
      Fail(Describe(&arena[block.begin]) + " of " + std::to_string(block.size) + " bytes is left");
    }
  }
}

}  // namespace schedules

// Allocations of the encounters and the product come from our blocks, all others from the C
// library.
void* operator new(std::size_t size) {
  if (schedules::isProduct) {
    return schedules::Allocate(size);
  }
  if (void* const block = std::malloc(size)) {
    return block;
  }
  throw std::bad_alloc();
}

void operator delete(void* block) noexcept {
  const std::size_t offset = schedules::OffsetOf(block);
  if (offset < schedules::kSize) {
    schedules::Free(offset);
  } else {
    std::free(block);
  }
}

void operator delete(void* block, std::size_t /*size*/) noexcept { operator delete(block); }
