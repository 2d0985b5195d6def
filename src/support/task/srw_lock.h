// Owners of a slim reader/writer lock (SRWLOCK) for the time of a scope. The lock is not
// re-entrant: a thread that holds it must not take it again.
#pragma once

#include <windows.h>

namespace tessel {

/// Holds the lock shared with other readers (::AcquireSRWLockShared).
class ReaderLock {
 public:
  explicit ReaderLock(SRWLOCK& lock) noexcept : lock_(lock) { ::AcquireSRWLockShared(&lock_); }
  ~ReaderLock() { ::ReleaseSRWLockShared(&lock_); }
  ReaderLock(const ReaderLock&) = delete;
  ReaderLock& operator=(const ReaderLock&) = delete;

 private:
  SRWLOCK& lock_;
};

/// Holds the lock exclusively (::AcquireSRWLockExclusive).
class WriterLock {
 public:
  explicit WriterLock(SRWLOCK& lock) noexcept : lock_(lock) { ::AcquireSRWLockExclusive(&lock_); }
  ~WriterLock() { ::ReleaseSRWLockExclusive(&lock_); }
  WriterLock(const WriterLock&) = delete;
  WriterLock& operator=(const WriterLock&) = delete;

 private:
  SRWLOCK& lock_;
};

}  // namespace tessel
