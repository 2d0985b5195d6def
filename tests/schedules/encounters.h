// The encounters, each of which is tried in every schedule: a few threads that use the same
// objects.
#pragma once

#include <functional>
#include <utility>
#include <vector>

#include "scheduler.h"

namespace schedules {

/// A thread of an encounter. Its destructor waits for its end.
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

/// An object with heap memory of its own, which copies and moves do not share. Touching it after
/// its end is a finding. So is one that is left at the end of a run.
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
  /// For encounters that test the checks themselves: the expected finding, and the number of
  /// preemptions that it takes.
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
