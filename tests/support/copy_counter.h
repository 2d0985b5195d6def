// A callable captures one of these to show how often it is copied.
#pragma once

namespace testing_support {

/// Adds its copies to a number of the test's own; moving adds nothing.
class CopyCounter {
 public:
  explicit CopyCounter(int& copies) : copies_(&copies) {}
  ~CopyCounter() = default;
  CopyCounter(const CopyCounter& other) : copies_(other.copies_) { ++*copies_; }
  CopyCounter(CopyCounter&& other) noexcept = default;
  CopyCounter& operator=(const CopyCounter&) = delete;
  CopyCounter& operator=(CopyCounter&&) = delete;

 private:
  int* copies_;
};

}  // namespace testing_support
