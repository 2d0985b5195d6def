/// \file
/// An argument of a work item: a pointer that travels to the task together with the function that
/// frees it.
///
/// Threads: an argument moves from the submitting thread to the one that runs the item, so its
/// function may run on either. Lifetime: the argument owns what it points to.
#pragma once

#include <memory>

namespace tessel::task {

/// Moving leaves a null pointer behind. Destroying an argument whose pointer is not null calls the
/// function on the pointer. `WorkArgument(nullptr, nullptr)` carries nothing.
///
/// ```cpp
/// executor->SubmitWorkTask(*context,
///                          {new int(42), [](void* item) { delete static_cast<int*>(item); }},
///                          {nullptr, nullptr});
/// ```
using WorkArgument = std::unique_ptr<void, void (*)(void*)>;

}  // namespace tessel::task
