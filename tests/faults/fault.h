// The calls that can be made to fail, and the one of a run that does.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace faults {

/// The name of an allocation among the calls.
inline constexpr std::string_view kAllocation = "operator new";

/// One way in which a call fails.
struct Failure {
  std::string name;
  long code = 0;  // what the platform would return, or leave as the last error

  bool operator==(const Failure&) const = default;
};

/// A platform call of an operation, with the ways in which it can fail.
struct Call {
  std::string_view function;
  std::vector<Failure> failures;

  bool operator==(const Call&) const = default;
};

/// The one call of a run that is made to fail.
struct Fault {
  std::string_view function;
  Failure failure;
  /// How many calls of each function came before it.
  std::map<std::string_view, std::size_t> before;

  /// How many calls of a function came before it.
  [[nodiscard]] std::size_t Before(std::string_view name) const {
    const auto found = before.find(name);
    return found == before.end() ? 0 : found->second;
  }
  /// Whether it is the `position`-th call, from 0, of a function.
  [[nodiscard]] bool Is(std::string_view name, std::size_t position) const {
    return function == name && Before(name) == position;
  }
};

}  // namespace faults
