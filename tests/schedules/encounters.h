// What is tried in every schedule: a few threads that use the same things.
#pragma once

#include <functional>
#include <utility>
#include <vector>

#include "scheduler.h"

namespace schedules {

/// A thread of an encounter; its end is waited for.
class Thread {
 public:
  Thread(const char* name, std::function<void()> body)
      : body_(std::move(body)), number_(Begin(name, body_)) {}
  ~Thread();
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;

 private:
  std::function<void()> body_;
  int number_;
};

/// Something on the heap of its own, which copies and moves share with nobody. To touch it after
/// its end is a finding, and so is one that is left.
class Possession {
 public:
  Possession() = default;
  Possession(const Possession& /*other*/) {}
  Possession& operator=(const Possession&) = delete;
  ~Possession() { delete thing_; }
  void Touch() const { Check(*thing_ == 1, "a thing is whole"); }

 private:
  int* thing_ = new int(1);
};

struct Encounter {
  const char* name;
  void (*run)();
  /// For the checks of the checks: the finding, and how many preemptions it takes.
  const char* finding = nullptr;
  int preemptions = 0;
};

using Encounters = std::vector<Encounter>;
Encounters SelfChecks();
Encounters TaskEncounters();
Encounters ExecutorEncounters();
Encounters SignalEncounters();
Encounters StorageEncounters();

}  // namespace schedules
