#include "kept_setting.h"

#include <algorithm>
#include <utility>

namespace examples {

using tessel::config::StorageEvent;

KeptSetting::KeptSetting(Open open, std::wstring name, Use use,
                         std::chrono::milliseconds firstPause)
    : open_(std::move(open)),
      path_(std::move(name)),
      use_(std::move(use)),
      firstPause_(firstPause),
      thread_([this] { Run(); }) {}

KeptSetting::~KeptSetting() {
  {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
  }
  wakeUp_.notify_all();
  thread_.join();
}

void KeptSetting::Run() {
  auto pause = firstPause_;
  for (;;) {
    pause = Watch() ? firstPause_
                    : std::min<std::chrono::milliseconds>(2 * pause, std::chrono::minutes(1));
    std::unique_lock lock(mutex_);
    if (wakeUp_.wait_for(lock, pause, [this] { return stopped_; })) {
      return;
    }
  }
}

// Returns when the watch is lost or the setting is no longer wanted, and whether there was a watch.
// [keep]
bool KeptSetting::Watch() {
  const auto storage = open_();  // anew: a lost watch of the old one is never taken up again
  if (!storage) {
    return false;
  }
  changed_ = lost_ = false;  // nobody else is here: no slot is connected
  // Declared after the storage, so that it ends before it; without the mutex, which the slot takes.
  const auto connection = (*storage)->ConnectStorageEvent([this](StorageEvent event) {
    const std::lock_guard lock(mutex_);
    (event == StorageEvent::WatchLost ? lost_ : changed_) = true;
    wakeUp_.notify_all();
  });
  if (!connection) {
    return false;
  }
  do {
    use_((*storage)->GetValue(path_));  // after connecting: no change is missed
  } while (WaitForChange());
  return true;
}
// [end]

bool KeptSetting::WaitForChange() {
  std::unique_lock lock(mutex_);
  wakeUp_.wait(lock, [this] { return changed_ || lost_ || stopped_; });
  changed_ = false;
  return !lost_ && !stopped_;
}

}  // namespace examples
