// Fixture of typed tests: one kind of task on an executor whose thread pool is faked.
#pragma once

#include <windows.h>

#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include <gmock/gmock-matchers.h>

#include "support/fake_thread_pool.h"
#include "support/task_kinds.h"
#include "tessel/task/windows_thread_pool_executor.h"

namespace testing_support {

template <class Kind>
class FakedTaskTest : public ::testing::Test {
 protected:
  using Context = typename Kind::Context;

  FakedTaskTest() { pool.Name(&environment, "environment"); }

  std::shared_ptr<Context> Create(std::function<void()> task = [] {}) {
    return kind.Create(*executor, std::move(task)).lock();
  }
  // Runs the task created last, as its pool would.
  void Run(Context& context) {
    Kind::Run(*executor, context);
    pool.TakeCalls();
    pool.LastObject().run();
  }
  // A callable captures this so that its destruction is recorded among the calls.
  std::shared_ptr<void> NoteAtEnd(const std::string& event) {
    return AtEnd([this, event] { pool.Note(event); });
  }

  FakeThreadPool pool;
  Kind kind;
  TP_CALLBACK_ENVIRON environment{};
  std::optional<tessel::task::WindowsThreadPoolExecutor> executor{std::in_place, &environment, 7};
};

}  // namespace testing_support
