// The heap of the product and the encounters: blocks that are never used again in a run, with the
// threads that have read and written each word.
//
// Checked are accesses to freed blocks and outside of blocks, double frees, blocks that are left at
// the end, and races. A race is two accesses to the same bytes, one of them a write or the end of
// the block, that no lock, atomic operation or platform call orders. Objects on stacks are not
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

/// Null for an address outside of our blocks, which the encounter does not use.
SyncObject* SyncAt(const void* address);

void CheckAccess(const void* address, std::size_t size, bool isWrite);

/// For the trace.
std::string Describe(const void* address);

/// The allocation that fails next, counted from 1; 0 for none. Of the calling thread alone.
void FailAllocation(int number);
/// Whether that allocation has failed. No allocation fails from now on.
bool HasAllocationFailed();

void ResetMemory();
/// Checks that no block is left.
void CheckMemory();

}  // namespace schedules
