// Stands in for the platform's thread pool: records the calls and runs callbacks by hand.
//
//   FakeThreadPool pool;
//   auto task = executor.CreateTimerTask(...);
//   EXPECT_THAT(pool.TakeCalls(), ElementsAre("CreateThreadpoolTimer(null)"));
//   pool.LastObject().run();
//
// A call is recorded as its name and arguments: numbers in decimal, due times as signed 64-bit
// numbers, flags as TRUE and FALSE, pointers by their names ("object1" is the first object created;
// for others see Name). Callbacks and records are left out; LastObject has them.
#pragma once

#include <windows.h>

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "support/import_hook.h"

namespace testing_support {

class FakeThreadPool {
 public:
  struct Object {
    void* context;
    // Runs the callback as the pool would, on the calling thread.
    std::function<void()> run;
  };

  FakeThreadPool() { Name(&instance_, "instance"); }

  /// From now on, calls with this pointer show this name.
  void Name(const void* pointer, std::string name) { names_[pointer] = std::move(name); }
  /// While it is set, creations fail.
  void FailCreations(bool fail = true) { failCreations_ = fail; }
  /// Called after each recorded call, on the thread of the call, with the call as recorded.
  void OnCall(std::function<void(const std::string&)> action) { onCall_ = std::move(action); }
  /// Records an event of the test itself among the calls.
  void Note(std::string event) {
    const std::lock_guard lock(mutex_);
    calls_.push_back(std::move(event));
  }
  /// The calls since the last time.
  std::vector<std::string> TakeCalls() {
    const std::lock_guard lock(mutex_);
    return std::exchange(calls_, {});
  }
  /// The object created last.
  Object& LastObject() { return objects_.back(); }
  [[nodiscard]] PTP_CALLBACK_INSTANCE Instance() {
    return reinterpret_cast<PTP_CALLBACK_INSTANCE>(&instance_);
  }

 private:
  static std::string Text(BOOL flag) { return flag != FALSE ? "TRUE" : "FALSE"; }
  static std::string Text(DWORD number) { return std::to_string(number); }
  static std::string Text(const FILETIME* time) {
    if (time == nullptr) {
      return "null";
    }
    const std::uint64_t bits =
        (std::uint64_t{time->dwHighDateTime} << 32U) | std::uint64_t{time->dwLowDateTime};
    return std::to_string(static_cast<std::int64_t>(bits));
  }
  std::string Text(const void* pointer) {
    if (pointer == nullptr) {
      return "null";
    }
    const auto name = names_.find(pointer);
    return name == names_.end() ? "unnamed" : name->second;
  }

  template <class... Arguments>
  void Record(const char* function, Arguments... arguments) {
    std::string call;
    {
      // Not held over the action, which may leave by a structured exception.
      const std::lock_guard lock(mutex_);
      ((call += (call.empty() ? "" : ", ") + Text(arguments)), ...);
      call = std::string(function) + "(" + call + ")";
      calls_.push_back(call);
    }
    if (onCall_) {
      onCall_(call);
    }
  }

  // `results` are the arguments that the callback gets after instance, context and object.
  template <class Handle, class Callback, class... Results>
  Handle Create(Callback callback, void* context, Results... results) {
    const std::lock_guard lock(mutex_);
    if (failCreations_) {
      return nullptr;
    }
    Object& object = objects_.emplace_back();
    auto handle = reinterpret_cast<Handle>(&object);
    object = {context, [=, this] { callback(Instance(), context, handle, results...); }};
    names_[handle] = "object" + std::to_string(objects_.size());
    return handle;
  }

  // A platform call that is recorded and does nothing.
  template <FunctionName Function, class Signature>
  struct Recorded : ImportHook<Function, Signature> {
    explicit Recorded(FakeThreadPool* pool)
        : ImportHook<Function, Signature>(
              [pool](auto... arguments) { pool->Record(Function.text, arguments...); }) {}
  };

  std::mutex mutex_;  // guards what follows, but for onCall_
  std::vector<std::string> calls_;
  std::map<const void*, std::string> names_;
  std::list<Object> objects_;
  bool failCreations_ = false;
  std::function<void(const std::string&)> onCall_;
  int instance_ = 0;

  ImportHook<"CreateThreadpoolTimer", decltype(::CreateThreadpoolTimer)> createTimer_{
      [this](PTP_TIMER_CALLBACK callback, PVOID context, PTP_CALLBACK_ENVIRON environment) {
        Record("CreateThreadpoolTimer", environment);
        return Create<PTP_TIMER>(callback, context);
      }};
  ImportHook<"CreateThreadpoolWait", decltype(::CreateThreadpoolWait)> createWait_{
      [this](PTP_WAIT_CALLBACK callback, PVOID context, PTP_CALLBACK_ENVIRON environment) {
        Record("CreateThreadpoolWait", environment);
        return Create<PTP_WAIT>(callback, context, TP_WAIT_RESULT{WAIT_OBJECT_0});
      }};
  ImportHook<"CreateThreadpoolWork", decltype(::CreateThreadpoolWork)> createWork_{
      [this](PTP_WORK_CALLBACK callback, PVOID context, PTP_CALLBACK_ENVIRON environment) {
        Record("CreateThreadpoolWork", environment);
        return Create<PTP_WORK>(callback, context);
      }};

  Recorded<"SetThreadpoolTimer", decltype(::SetThreadpoolTimer)> setTimer_{this};
  Recorded<"SetThreadpoolWait", decltype(::SetThreadpoolWait)> setWait_{this};
  Recorded<"SubmitThreadpoolWork", decltype(::SubmitThreadpoolWork)> submitWork_{this};
  Recorded<"WaitForThreadpoolTimerCallbacks", decltype(::WaitForThreadpoolTimerCallbacks)>
      waitForTimer_{this};
  Recorded<"WaitForThreadpoolWaitCallbacks", decltype(::WaitForThreadpoolWaitCallbacks)>
      waitForWait_{this};
  Recorded<"WaitForThreadpoolWorkCallbacks", decltype(::WaitForThreadpoolWorkCallbacks)>
      waitForWork_{this};
  Recorded<"CloseThreadpoolTimer", decltype(::CloseThreadpoolTimer)> closeTimer_{this};
  Recorded<"CloseThreadpoolWait", decltype(::CloseThreadpoolWait)> closeWait_{this};
  Recorded<"CloseThreadpoolWork", decltype(::CloseThreadpoolWork)> closeWork_{this};
  Recorded<"DisassociateCurrentThreadFromCallback",
           decltype(::DisassociateCurrentThreadFromCallback)>
      disassociate_{this};
};

}  // namespace testing_support
