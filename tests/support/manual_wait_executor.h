// A wait executor without a thread pool: the test signals a wait by hand, and the callable runs on
// the test's thread.
//
//   const auto executor = std::make_shared<ManualWaitExecutor>();
//   const auto storage = RegistryStorage::Create(root, path, executor).value();
//   const auto connection = storage->ConnectStorageEvent(slot);
//   executor->Fire();  // what the pool does when the handle is signalled
//
// The contexts are those of the library's own executor, without a thread-pool object.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "task_context.h"
#include "tessel/task/task_executor.h"

namespace testing_support {

class ManualWaitExecutor final : public tessel::task::WaitTaskExecutor {
 public:
  using Context = tessel::task::WtpWaitTaskContext;

  /// `action` is called with the name of each operation and the handle that its task waits on.
  void OnCall(std::function<void(const std::string&, void*)> action) {
    onCall_ = std::move(action);
  }

  /// Disarms the open task that was created last and runs its callable, if it was armed; returns
  /// whether it was. As in the pool, the callable stays alive until it returns, also if it closes
  /// its own task.
  bool Fire() {
    if (tasks_.empty() || !tasks_.back()->callbackRecord->armed.exchange(false)) {
      return false;
    }
    running_ = tasks_.back()->callbackRecord.get();
    running_->task();
    if (running_->closedInCallback) {
      delete running_;
    }
    running_ = nullptr;
    return true;
  }
  /// Drops the tasks without closing them, as the end of an executor does.
  void DropTasks() {
    for (const auto& task : tasks_) {
      KeepRunningRecord(*task);
    }
    tasks_.clear();
  }

  std::weak_ptr<Context> CreateWaitTask(void* handle, std::function<void()> task) override {
    auto context = std::make_shared<Context>();
    context->executor = this;
    context->callbackRecord = std::make_unique<tessel::task::WaitCallbackRecord>();
    context->callbackRecord->task = std::move(task);
    context->callbackRecord->waitHandle = handle;
    Note("CreateWaitTask", *context);
    tasks_.push_back(context);
    return context;
  }
  void StartWaitTask(Context& context) override {
    Note("StartWaitTask", context);
    context.callbackRecord->armed = true;
  }
  void StopWaitTask(Context& context) override {
    Note("StopWaitTask", context);
    context.callbackRecord->armed = false;
  }
  void WaitForWaitTask(Context& context) override { Note("WaitForWaitTask", context); }
  void CloseWaitTask(Context& context) override {
    Note("CloseWaitTask", context);
    KeepRunningRecord(context);
    std::erase_if(tasks_, [&](const auto& task) { return task.get() == &context; });
  }

 private:
  void Note(const char* operation, const Context& context) {
    if (onCall_) {
      onCall_(operation, context.callbackRecord->waitHandle);
    }
  }

  // The record of a running task is freed only after the run.
  void KeepRunningRecord(Context& context) const {
    if (context.callbackRecord.get() == running_) {
      context.callbackRecord.release()->closedInCallback = true;
    }
  }

  std::function<void(const std::string&, void*)> onCall_;
  std::vector<std::shared_ptr<Context>> tasks_;
  tessel::task::WaitCallbackRecord* running_ = nullptr;
};

}  // namespace testing_support
