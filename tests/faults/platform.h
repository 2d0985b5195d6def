// Every call that ostrel and tessel make of the platform, with the ways in which each can fail.
//
// A failing call does what the platform documents and no more: what it leaves undefined holds
// rubbish afterwards. The sweep's own are the interpreter that the tool starts, standard output,
// and the thread pool, whose callbacks it runs by hand.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace faults {

class Platform {
 public:
  Platform();
  ~Platform();
  Platform(const Platform&) = delete;
  Platform& operator=(const Platform&) = delete;

  /// Sets standard output and the interpreter's past back, before each run.
  void Reset();
  /// What was written to standard output.
  [[nodiscard]] const std::string& Printed() const;
  /// Whether standard output was flushed, be it in vain, behind the last that was written.
  [[nodiscard]] bool Flushed() const;
  /// The last command that was started; empty when none was.
  [[nodiscard]] const std::string& Command() const;
  /// Runs the callback of the pool's object that was created last, if it is armed or submitted;
  /// returns whether it was.
  bool RunLastObject();
  /// How often the pool was called with the object that could not be created.
  [[nodiscard]] int NullHandles() const;
  /// While set, a timer that is disarmed can fail by a structured exception.
  void LetDisarmingRaise(bool raise);

  /// What the command that the tool starts prints: more than a string holds without memory of its
  /// own, so that memory may run out while the pipe is open.
  static constexpr const char* kCommandOutput =
      "collecting what the service has written\r\ncollected\r\n";
  /// How much of it one read delivers.
  static constexpr std::size_t kReadLength = 20;

 private:
  struct Calls;
  std::unique_ptr<Calls> calls_;
};

}  // namespace faults
