// A signal whose slots are connected, called and disconnected by several threads.
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <utility>

#include "encounters.h"
#include "memory.h"
#include "tessel/detail/signal.h"

namespace schedules {
namespace {

using tessel::SignalConnection;
using Signal = tessel::detail::SignalImpl<int>;

/// A slot that must not be called after its disconnect, nor by two threads at the same time.
class Slot {
 public:
  explicit Slot(std::shared_ptr<Signal> signal) : signal_(std::move(signal)) {}
  Slot(const Slot&) = delete;
  Slot& operator=(const Slot&) = delete;

  void Connect() {
    connection_ = signal_->Connect([this, thing = Possession()](int /*event*/) {
      Touch();
      Check(!isDisconnected_, "no slot is called after it was disconnected");
      Check(!std::exchange(isRunning_, true), "a slot runs once at a time");
      thing.Touch();
      ++calls_;
      Before({"is in the slot", this});
      isRunning_ = false;
      thing.Touch();
    });
  }
  void Disconnect() {
    connection_.Disconnect();
    Touch();
    Check(!isRunning_, "disconnecting waits for the slot");
    isDisconnected_ = true;
  }
  [[nodiscard]] int Calls() const { return calls_; }

 private:
  static void Touch() { schedules::Touch(); }

  std::shared_ptr<Signal> signal_;
  bool isDisconnected_ = false;
  bool isRunning_ = false;
  int calls_ = 0;
  SignalConnection connection_;
};

void ConnectDisconnectAndEmit() {
  const auto signal = std::make_shared<Signal>();
  Slot old(signal);
  old.Connect();
  Slot next(signal);
  const Thread connector("connector", [&] { next.Connect(); });
  const Thread disconnector("disconnect", [&] { old.Disconnect(); });
  const Thread emitter("emitter", [&] { signal->Emit(1); });
}

void ConnectAndConnect() {
  const auto signal = std::make_shared<Signal>();
  Slot left(signal);
  Slot right(signal);
  {
    const Thread first("first", [&] { left.Connect(); });
    const Thread second("second", [&] { right.Connect(); });
  }
  signal->Emit(1);
  Check(left.Calls() == 1 && right.Calls() == 1, "no connection is lost");
}

void DisconnectAndDisconnect() {
  const auto signal = std::make_shared<Signal>();
  Slot left(signal);
  Slot right(signal);
  Slot stays(signal);
  left.Connect();
  stays.Connect();
  right.Connect();
  {
    const Thread first("first", [&] { left.Disconnect(); });
    const Thread second("second", [&] { right.Disconnect(); });
  }
  signal->Emit(1);
  Check(left.Calls() == 0 && stays.Calls() == 1 && right.Calls() == 0, "no connection comes back");
}

void EmitAndEmit() {
  const auto signal = std::make_shared<Signal>();
  Slot slot(signal);
  slot.Connect();
  const Thread first("first", [&] { signal->Emit(1); });
  const Thread second("second", [&] { signal->Emit(2); });
  const Thread disconnector("disconnect", [&] { slot.Disconnect(); });
}

/// The signal is destroyed while a connection is being destroyed.
void EndAndDisconnect() {
  auto signal = std::make_shared<Signal>();
  auto connection = signal->Connect([thing = Possession()](int /*event*/) { thing.Touch(); });
  const Thread emitter("emitter", [signal]() mutable {
    signal->Emit(1);
    signal.reset();
  });
  const Thread owner("owner", [&] { connection = SignalConnection(); });
  signal.reset();
}

/// A slot connects another one and disconnects a third, which a thread does as well with others.
void ConnectInsideSlot() {
  const auto signal = std::make_shared<Signal>();
  Slot third(signal);
  std::optional<SignalConnection> added;
  const auto connection = signal->Connect([&](int event) {
    if (event == 1) {
      added = signal->Connect([](int /*event*/) {});
      third.Disconnect();
    }
  });
  third.Connect();
  const Thread emitter("emitter", [&] { signal->Emit(1); });
  const Thread other("other", [&] { signal->Emit(2); });
}

/// A slot that throws ends its round, and everything is released.
void Throw() {
  const auto signal = std::make_shared<Signal>();
  auto connection = signal->Connect([thing = Possession()](int event) {
    thing.Touch();
    if (event == 1) {
      throw std::runtime_error("out of a slot");
    }
  });
  const Thread emitter("emitter", [&] {
    try {
      signal->Emit(1);
    } catch (const std::runtime_error&) {
      signal->Emit(2);
    }
  });
  const Thread disconnector("disconnect", [&] { connection.Disconnect(); });
}

/// A slot is disconnected even without memory for the new list.
void DisconnectWithoutMemory() {
  const auto signal = std::make_shared<Signal>();
  Slot slot(signal);
  slot.Connect();
  const Thread emitter("emitter", [&] { signal->Emit(1); });
  const Thread disconnector("disconnect", [&] {
    FailAllocation(1 + Choose(2, "fails to allocate:"));
    slot.Disconnect();
    FailAllocation(0);
  });
}

/// An object that a slot captured uses the signal when it is destroyed.
class UserAtEnd {
 public:
  explicit UserAtEnd(Signal& signal) : signal_(signal) {}
  ~UserAtEnd() { signal_.Emit(1); }
  UserAtEnd(const UserAtEnd&) = delete;
  UserAtEnd& operator=(const UserAtEnd&) = delete;

 private:
  Signal& signal_;
};

/// The same for a slot whose entry must stay in the list, while another thread walks the list.
void DisconnectWhatUsesTheSignalAtItsEnd() {
  const auto signal = std::make_shared<Signal>();
  auto stays = signal->Connect([user = std::make_shared<UserAtEnd>(*signal)](int /*event*/) {});
  auto goes = signal->Connect([](int /*event*/) {});
  const Thread without("no memory", [&] {
    FailAllocation(1);
    stays.Disconnect();
    FailAllocation(0);
  });
  const Thread other("other", [&] { goes.Disconnect(); });
}

/// Without memory nothing is connected, and the others stay.
void ConnectWithoutMemory() {
  const auto signal = std::make_shared<Signal>();
  Slot other(signal);
  other.Connect();
  {
    const Thread emitter("emitter", [&] { signal->Emit(1); });
    const Thread connector("connector", [&] {
      FailAllocation(1 + Choose(4, "fails to allocate:"));
      try {
        auto connection = signal->Connect([thing = Possession()](int /*event*/) { thing.Touch(); });
        FailAllocation(0);
      } catch (const std::bad_alloc&) {
        Check(HasAllocationFailed(), "there was no memory");
      }
    });
  }
  Check(other.Calls() == 1, "the others stay connected");
}

}  // namespace

Encounters SignalEncounters() {
  return {{"signal/connect-disconnect-emit", ConnectDisconnectAndEmit},
          {"signal/connect-connect", ConnectAndConnect},
          {"signal/disconnect-disconnect", DisconnectAndDisconnect},
          {"signal/emit-emit-disconnect", EmitAndEmit},
          {"signal/end-emit-disconnect", EndAndDisconnect},
          {"signal/connect-disconnect-inside", ConnectInsideSlot},
          {"signal/throw-disconnect", Throw},
          {"signal/emit-disconnect-no-memory", DisconnectWithoutMemory},
          {"signal/disconnect-use-at-end-no-memory", DisconnectWhatUsesTheSignalAtItsEnd},
          {"signal/emit-connect-no-memory", ConnectWithoutMemory}};
}

}  // namespace schedules
