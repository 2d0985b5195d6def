// A slim reader/writer lock held for a scope.
#pragma once

#include <windows.h>

namespace tessel {

/// Holds the lock together with other readers.
class ReaderLock {
 public:
  explicit ReaderLock(SRWLOCK& lock) noexcept : lock_(lock) { ::AcquireSRWLockShared(&lock_); }
  ~ReaderLock() { ::ReleaseSRWLockShared(&lock_); }
  ReaderLock(const ReaderLock&) = delete;
  ReaderLock& operator=(const ReaderLock&) = delete;

 private:
  SRWLOCK& lock_;
};

/// Holds the lock alone.
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
