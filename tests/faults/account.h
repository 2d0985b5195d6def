// The account that is kept of an operation: its calls, which of them fails, and what it holds open.
//
// Calls count only while the operation runs, on its own thread: between StartCounting and
// StopCounting, and not inside a Pause, which is what tests do meanwhile.
#pragma once

#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fault.h"

namespace faults {

/// Whether the calls of this thread count.
bool IsCounting();

/// A time in which the calls of this thread do not count.
class Pause {
 public:
  Pause();
  ~Pause();
  Pause(const Pause&) = delete;
  Pause& operator=(const Pause&) = delete;

 private:
  bool wasCounting_;
};

/// A time in which the calls of this thread count.
class Count {
 public:
  Count();
  ~Count();
  Count(const Count&) = delete;
  Count& operator=(const Count&) = delete;

 private:
  bool wasCounting_;
};

/// Which call fails, and how: indices into the calls of an operation and into its failures.
struct Plan {
  std::size_t call;
  std::size_t failure;
};

/// What opens and closes: its kind and its handle.
using Resource = std::pair<std::string, const void*>;

class Account {
 public:
  explicit Account(std::optional<Plan> plan) : plan_(plan) {}

  /// While not sweeping, no call is entered and none fails: what is opened and closed stands in the
  /// account all the same.
  void SetSweeping(bool sweeping) { sweeping_ = sweeping; }
  /// Enters a call; returns which of its failures is to happen now.
  std::optional<std::size_t> Enter(std::string_view function, std::vector<Failure> failures);
  // Both are called inside a Pause.
  void Opened(const Resource& resource);
  void Closed(const Resource& resource);
  [[nodiscard]] bool IsOpen(const Resource& resource) const { return open_.contains(resource); }
  void NoteViolation(const std::string& text) { violations_ += text + "\n"; }

  [[nodiscard]] const std::vector<Call>& Calls() const { return calls_; }
  /// Whether the planned failure has happened.
  [[nodiscard]] bool Failed() const { return failed_; }
  /// What was closed twice or never, or is otherwise wrong; empty when all is well.
  [[nodiscard]] std::string Violations() const;

 private:
  std::optional<Plan> plan_;
  bool sweeping_ = true;
  bool failed_ = false;
  std::vector<Call> calls_;
  std::set<Resource> open_;
  std::string violations_;
};

/// The account of the run that is going on; null between runs.
Account*& CurrentAccount();

/// How many blocks of memory are not freed that were allocated while calls counted.
std::size_t LiveBlocks();

}  // namespace faults
