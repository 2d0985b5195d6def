// The memory of the product and the encounters: blocks that are never used again in a run, and who
// has read and written each word.
//
// Checked: accesses to freed blocks and beside blocks, freeing twice, blocks that are left in the
// end, and races: two accesses to the same bytes, one of them a write or the end of the block, that
// no lock, atomic operation or call of the platform puts in order. What lies on stacks is not
// checked.
#pragma once

#include <cstddef>
#include <string>

#include "scheduler.h"

namespace schedules {

/// A lock, a condition variable or an atomic, by its address.
struct SyncObject {
  int holder = -1;  // the thread that holds a lock alone
  int readers = 0;
  Clock clock{};  // of its releases
  Clock readerClock{};
  int number = 0;
};

/// Null for what lies outside of our blocks: that is no business of the encounter's.
SyncObject* SyncAt(const void* address);

void CheckAccess(const void* address, std::size_t size, bool isWrite);

/// For the trace.
std::string Describe(const void* address);

/// The allocation that fails next, counted from 1; 0 for none. Of the calling thread alone.
void FailAllocation(int number);
/// Whether that one has failed; none fails from now on.
bool HasAllocationFailed();

void ResetMemory();
/// Nothing is left.
void CheckMemory();

}  // namespace schedules
