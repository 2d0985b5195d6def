// Every call that ostrel and tessel make of the platform, with the ways in which each can fail.
//
// A call that fails does what the platform documents and no more: whatever the documentation leaves
// undefined holds rubbish afterwards. The sweep has its own command interpreter, which the tool
// starts, its own standard streams, and its own thread pool, whose callbacks it runs by hand.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace faults {

class Platform {
 public:
  Platform();
  ~Platform();
  Platform(const Platform&) = delete;
  Platform& operator=(const Platform&) = delete;

  /// Empties the standard streams and forgets the commands of the interpreter; called before each
  /// run.
  void Reset();
  /// What was written to standard output.
  [[nodiscard]] const std::string& Printed() const;
  /// What was written to standard error.
  [[nodiscard]] const std::string& Errors() const;
  /// Whether standard output was flushed after the last write, also when the flush failed.
  [[nodiscard]] bool Flushed() const;
  /// The last command that was started; empty when none was.
  [[nodiscard]] const std::string& Command() const;
  /// Runs the callback of the thread-pool object that was created last, if it is armed or a run was
  /// submitted; returns whether it ran.
  bool RunLastObject();
  /// How often the pool was called with the null object of a creation that failed.
  [[nodiscard]] int NullHandles() const;
  /// Stands for what happens while the program waits for an event, which is then set.
  void OnWait(std::function<void()> happen);
  /// While this is set, disarming a timer can fail with a structured exception.
  void LetDisarmingRaise(bool raise);

  /// The output of the command that the tool starts. A string needs an allocation for this length,
  /// so that memory can run out while the pipe is open.
  static constexpr const char* kCommandOutput =
      "collecting what the service has written\r\ncollected\r\n";
  /// How much of it one read delivers.
  static constexpr std::size_t kReadLength = 20;

 private:
  struct Calls;
  std::unique_ptr<Calls> calls_;
};

}  // namespace faults
