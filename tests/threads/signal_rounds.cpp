// Threads that connect, disconnect, emit and drop one signal.
#include <algorithm>
#include <deque>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "rounds.h"
#include "tessel/detail/signal.h"

namespace threads {
namespace {

using Signal = tessel::detail::SignalImpl<std::uint32_t>;
using tessel::SignalConnection;

constexpr std::uint32_t kDrivers = 4;
constexpr std::uint32_t kSteps = 40;
constexpr std::uint64_t kNever = std::numeric_limits<std::uint64_t>::max();

/// The time within a round. It orders no memory accesses. But on the machines at hand its steps
/// come in the order in which the calls between them take effect.
std::atomic<std::uint64_t> clock = 0;
std::uint64_t Now() { return clock.fetch_add(1, std::memory_order_relaxed); }

/// What is known of a slot. No lock guards it: only the signal orders the slot's calls, among
/// themselves and before what happens after the disconnect.
struct Slot {
  std::uint64_t connecting = Now();
  std::uint64_t connected = kNever;
  std::uint64_t disconnecting = kNever;
  std::uint64_t disconnected = kNever;
  bool alive = true;
  std::vector<std::uint32_t> events;
};

struct Connected {
  SignalConnection connection;
  Slot* slot;
};

struct Emission {
  std::uint32_t event;
  std::uint64_t start;
  std::uint64_t end;
};

/// Connections whose slots do nothing, for slots that disconnect others: no two slots then wait for
/// each other.
class Mailbox {
 public:
  void Put(Connected connected) {
    const std::lock_guard lock(mutex_);
    connections_.push_back(std::move(connected));
  }
  std::optional<Connected> Take() {
    const std::lock_guard lock(mutex_);
    if (connections_.empty()) {
      return std::nullopt;
    }
    Connected taken = std::move(connections_.back());
    connections_.pop_back();
    return taken;
  }

 private:
  std::mutex mutex_;
  std::vector<Connected> connections_;
};

/// Disconnects in one of the possible ways.
void Disconnect(Connected connected, std::uint32_t way) {
  Slot& slot = *connected.slot;
  slot.disconnecting = Now();
  if (way == 0) {
    connected.connection = SignalConnection();
  } else {
    SignalConnection connection = std::move(connected.connection);
    if (way == 1) {
      connection.Disconnect();
    }
  }
  slot.alive = false;
  slot.disconnected = Now();
}

/// One thread of a round, and what it records for the checks.
class Driver {
 public:
  Driver(Random random, std::uint32_t number, std::weak_ptr<Signal> signal, Mailbox& mailbox,
         std::weak_ptr<int> captured)
      : random_(random),
        nextEvent_(number),
        signal_(std::move(signal)),
        mailbox_(mailbox),
        captured_(std::move(captured)) {}

  void Run() {
    current = this;
    for (std::uint32_t step = 0; step != kSteps; ++step) {
      random_.Hesitate();
      Step();
    }
    while (!connections_.empty()) {
      DisconnectOne();
    }
  }

  // For the checks.
  std::deque<Slot> slots;
  std::vector<Emission> emissions;
  std::uint64_t nested = 0;
  std::uint64_t late = 0;

 private:
  void Step() {
    const std::uint32_t choice = random_.Below(8);
    if (choice >= 6) {
      DisconnectOne();
    } else if (const auto signal = signal_.lock()) {
      if (choice < 2) {
        connections_.push_back(Connect(*signal, /*isLeaf=*/random_.OneIn(2)));
      } else if (choice == 2) {
        mailbox_.Put(Connect(*signal, /*isLeaf=*/true));
      } else {
        Emit(*signal);
      }
    } else {
      ++late;
    }
  }

  void Emit(Signal& signal) {
    Emission emission{nextEvent_, Now(), 0};
    nextEvent_ += kDrivers;
    signal.Emit(emission.event);
    emission.end = Now();
    emissions.push_back(emission);
  }

  Connected Connect(Signal& signal, bool isLeaf) {
    Slot& slot = slots.emplace_back();
    auto connection =
        signal.Connect([&slot, isLeaf, token = captured_.lock()](std::uint32_t event) {
          Check(slot.alive, "a slot is not called after its disconnect");
          slot.events.push_back(event);
          current->random_.Hesitate();
          if (!isLeaf) {
            current->Nest();
          }
          Check(slot.alive, "a disconnect waits for the slot that runs");
        });
    slot.connected = Now();
    return {std::move(connection), &slot};
  }

  /// What a slot does besides recording its call.
  void Nest() {
    if (random_.OneIn(2)) {
      if (auto other = mailbox_.Take()) {
        Disconnect(*std::move(other), random_.Below(3));
        ++nested;
      }
    } else if (const auto signal = signal_.lock(); signal && random_.OneIn(4)) {
      mailbox_.Put(Connect(*signal, /*isLeaf=*/true));
      ++nested;
    }
  }

  void DisconnectOne() {
    std::optional<Connected> taken;
    if (connections_.empty() || random_.OneIn(4)) {
      taken = mailbox_.Take();
    } else {
      std::swap(connections_[random_.Below(static_cast<std::uint32_t>(connections_.size()))],
                connections_.back());
      taken = std::move(connections_.back());
      connections_.pop_back();
    }
    if (taken) {
      Disconnect(*std::move(taken), random_.Below(3));
    }
  }

  /// The driver whose thread this is.
  static thread_local Driver* current;

  Random random_;
  std::uint32_t nextEvent_;
  std::weak_ptr<Signal> signal_;
  Mailbox& mailbox_;
  std::weak_ptr<int> captured_;
  std::vector<Connected> connections_;
};

thread_local Driver* Driver::current = nullptr;

void CheckSlot(const Slot& slot, const Emission& emission) {
  const auto calls = std::count(slot.events.begin(), slot.events.end(), emission.event);
  Check(calls <= 1, "an event calls a slot once at most");
  if (slot.connected < emission.start && emission.end < slot.disconnecting) {
    Check(calls == 1, "an event calls each slot that is connected all the while");
  }
  if (emission.end < slot.connecting || slot.disconnected < emission.start) {
    Check(calls == 0, "an event calls no slot of another time");
  }
}

void CheckRound(const std::vector<std::unique_ptr<Driver>>& drivers, Totals& totals) {
  for (const auto& emitter : drivers) {
    totals["signal: emits"] += emitter->emissions.size();
    totals["signal: nested operations"] += emitter->nested;
    totals["signal: gone before an operation"] += emitter->late;
    for (const auto& connector : drivers) {
      for (const Slot& slot : connector->slots) {
        for (const Emission& emission : emitter->emissions) {
          CheckSlot(slot, emission);
        }
      }
    }
  }
  for (const auto& connector : drivers) {
    for (const Slot& slot : connector->slots) {
      totals["signal: connects"] += 1;
      totals["signal: disconnects"] += slot.disconnected != kNever ? 1 : 0;
      totals["signal: slot calls"] += slot.events.size();
    }
  }
}

}  // namespace

void RunSignalRound(std::uint32_t seed, std::uint32_t round, Totals& totals) {
  Random random(seed, round, 100);
  auto signal = std::make_shared<Signal>();
  auto token = std::make_shared<int>();
  const std::weak_ptr<int> captured = token;
  auto mailbox = std::make_unique<Mailbox>();

  std::vector<std::unique_ptr<Driver>> drivers;
  std::vector<std::thread> running;
  for (std::uint32_t number = 0; number != kDrivers; ++number) {
    drivers.push_back(
        std::make_unique<Driver>(Random(seed, round, number), number, signal, *mailbox, captured));
  }
  running.reserve(drivers.size());
  for (const auto& driver : drivers) {
    running.emplace_back([&driver] { driver->Run(); });
  }
  if (random.OneIn(2)) {
    for (std::uint32_t count = random.Below(200); count != 0; --count) {
      std::this_thread::yield();
    }
    signal.reset();  // the drivers continue with the connections that they hold
  }
  for (std::thread& thread : running) {
    thread.join();
  }
  CheckRound(drivers, totals);
  mailbox.reset();
  token.reset();
  Check(captured.expired(), "slots end with their connections");
}

}  // namespace threads
