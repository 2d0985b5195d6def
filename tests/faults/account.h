// The account of an operation: its calls, which of them fails, and what it holds open.
//
// Calls count only while the operation runs, on its own thread: between StartCounting and
// StopCounting. They do not count inside a Pause, in which the test itself does something.
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

/// The calls of this thread do not count while an object of this class lives.
class Pause {
 public:
  Pause();
  ~Pause();
  Pause(const Pause&) = delete;
  Pause& operator=(const Pause&) = delete;

 private:
  bool wasCounting_;
};

/// The calls of this thread count while an object of this class lives.
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

/// A resource that is opened and closed: its kind and its handle.
using Resource = std::pair<std::string, const void*>;

class Account {
 public:
  explicit Account(std::optional<Plan> plan) : plan_(plan) {}

  /// While this is false, no call is entered and none fails. Resources that are opened and closed
  /// are entered nevertheless.
  void SetSweeping(bool sweeping) { sweeping_ = sweeping; }
  /// Enters a call and returns which of its failures must happen now.
  std::optional<std::size_t> Enter(std::string_view function, std::vector<Failure> failures);
  // Both are called inside a Pause.
  void Opened(const Resource& resource);
  void Closed(const Resource& resource);
  [[nodiscard]] bool IsOpen(const Resource& resource) const { return open_.contains(resource); }
  void NoteViolation(const std::string& text) { violations_ += text + "\n"; }

  [[nodiscard]] const std::vector<Call>& Calls() const { return calls_; }
  /// Whether the planned failure has happened.
  [[nodiscard]] bool Failed() const { return failed_; }
  /// The resources that were closed twice or never, and other faults; empty when there are none.
  [[nodiscard]] std::string Violations() const;

 private:
  std::optional<Plan> plan_;
  bool sweeping_ = true;
  bool failed_ = false;
  std::vector<Call> calls_;
  std::set<Resource> open_;
  std::string violations_;
};

/// The account of the current run; null between runs.
Account*& CurrentAccount();

/// The number of blocks that were allocated while calls counted and are not freed.
std::size_t LiveBlocks();

}  // namespace faults
