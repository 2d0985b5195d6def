#include "workers.h"

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/test_event.h"
#include "tessel/config/registry_storage.h"

namespace soak {
namespace {

using tessel::config::RegistryStorage;
using tessel::config::StoragePath;
using tessel::config::StorageValue;
using testing_support::TestEvent;

std::vector<StorageValue> SomeValues(std::uint32_t number) {
  return {StorageValue(std::monostate()),
          StorageValue(number),
          StorageValue(std::uint64_t{number} << 32U),
          StorageValue(std::to_wstring(number)),
          StorageValue(std::vector<std::uint8_t>(number % 5000, 7)),
          StorageValue(std::vector<StorageValue>{StorageValue(std::wstring(L"one")),
                                                 StorageValue(std::to_wstring(number))})};
}

void UseStorage(RegistryStorage& storage, std::uint32_t number, Totals& totals) {
  std::size_t written = 0;
  for (const StorageValue& value : SomeValues(number)) {
    const StoragePath path(L"K/" + std::to_wstring(written++));
    Require(storage.SetValue(path, value).has_value(), "a value is written");
    const auto read = storage.GetValue(path);
    Require(read && read->Index() == value.Index(), "a value is read as it was written");
    ++totals.values;
  }
  std::size_t found = 0;
  auto entries = storage.Iterate(StoragePath(L"K"));
  Require(entries.has_value(), "a key is iterated");
  for (const auto& entry : *entries) {
    Require(entry.has_value(), "an entry is read");
    ++found;
  }
  Require(found == written, "each value is an entry");
  totals.entries += found;
}

}  // namespace

void UseStorages(HKEY key, const Running& running, Totals& totals) {
  const std::wstring name = L"storage" + std::to_wstring(::GetCurrentThreadId());
  for (std::uint32_t number = 0; running; ++number) {
    const auto storage = RegistryStorage::Create(key, StoragePath(name), nullptr);
    Require(storage.has_value(), "a storage is opened");
    UseStorage(**storage, number, totals);
    ++totals.storages;
  }
  ::RegDeleteTreeW(key, name.c_str());
}

void UseTimers(tessel::task::TimerTaskExecutor& executor, const Running& running, Totals& totals) {
  for (int round = 0; running; ++round) {
    const std::chrono::milliseconds period(round % 3 == 0 ? 1 : 0);
    const TestEvent created;
    const TestEvent done;
    std::atomic<bool> closed = false;
    std::weak_ptr<tessel::task::WtpTimerTaskContext> task;
    const auto close = [&] {
      // A timer with a period may run again meanwhile.
      if (!closed.exchange(true)) {
        executor.CloseTimerTask(*task.lock());
        done.Set();
      }
    };
    task = executor.CreateTimerTask([&, closesItself = round % 2 == 0] {
      Require(created.WaitUntilSet(), "the timer is created");
      if (closesItself) {
        close();
      } else {
        done.Set();
      }
    });
    created.Set();
    executor.StartTimerTask(*task.lock(), std::chrono::microseconds(round % 1000), period);
    Require(done.WaitUntilSet(), "a timer runs");
    close();
    ++totals.timers;
  }
}

void UseWaits(tessel::task::WaitTaskExecutor& executor, const Running& running, Totals& totals) {
  while (running) {
    const TestEvent signal;
    const TestEvent ran;
    const auto task = executor.CreateWaitTask(signal.Handle(), [&] {
      signal.Reset();
      ran.Set();
    });
    for (int times = 0; times < 3; ++times) {
      executor.StartWaitTask(*task.lock());
      signal.Set();
      Require(ran.WaitUntilSet(), "a wait runs");
      ran.Reset();
      ++totals.waits;
    }
    executor.CloseWaitTask(*task.lock());
  }
}

void UseWork(tessel::task::WorkTaskExecutor& executor, const Running& running, Totals& totals) {
  constexpr unsigned kItems = 100;
  while (running) {
    std::atomic<unsigned> ran = 0;
    std::atomic<unsigned> freed = 0;
    const auto task = executor.CreateWorkTask([&](void* first, void* second) {
      Require(first != nullptr && second != nullptr, "an item comes with its arguments");
      ++ran;
    });
    const auto submit = [&] {
      const auto context = task.lock();
      for (unsigned item = 0; item < kItems; ++item) {
        const auto argument = [&freed] {
          return tessel::task::WorkArgument(
              &freed, [](void* counter) { ++*static_cast<std::atomic<unsigned>*>(counter); });
        };
        executor.SubmitWorkTask(*context, argument(), argument());
      }
    };
    std::thread other(submit);
    submit();
    other.join();
    executor.WaitForWorkTask(*task.lock());
    executor.CloseWorkTask(*task.lock());
    Require(ran == 2 * kItems, "each item runs");
    Require(freed == 4 * kItems, "each argument is freed");
    totals.items += std::uint64_t{2} * kItems;
  }
}

}  // namespace soak
