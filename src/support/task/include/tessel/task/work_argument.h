/// \file
/// An argument of a work item: a pointer that travels to the task together with the function that
/// frees it.
///
/// Threads: none of its own; an argument is moved from the submitting thread to the one that runs
/// the item. Lifetime: whoever holds the argument owns what it points to.
#pragma once

#include <memory>

namespace tessel::task {

/// Moving leaves a null pointer behind; destroying one with a non-null pointer calls the function
/// on it. `WorkArgument(nullptr, nullptr)` is the argument that carries nothing.
using WorkArgument = std::unique_ptr<void, void (*)(void*)>;

}  // namespace tessel::task
