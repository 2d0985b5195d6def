// Replaces platform calls of the running test program.
//
// Every Win32 call of a program goes through a slot of its import address table. ImportHook writes
// another function into that slot for as long as it lives, so that the objects under test, which
// are the ones that ship, call the test instead of the platform. Calls made inside system libraries
// are not affected.
//
//   ImportHook<"RegCloseKey", decltype(::RegCloseKey)> hook(
//       [&](HKEY key) { closed.push_back(key); return hook.Original()(key); });
//
// One hook per function at a time. Build and destroy hooks while no other thread calls the
// function; the replacement itself may be called from any thread.
#pragma once

#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <utility>

namespace testing_support {

/// The name of an imported function, as a template argument.
template <std::size_t Size>
struct FunctionName {
  // Implicit, so that a literal serves as template argument.
  // NOLINTNEXTLINE(google-explicit-constructor)
  consteval FunctionName(const char (&name)[Size]) { std::copy_n(name, Size, text); }
  char text[Size];
};

/// The import slot of `function`; throws std::runtime_error when the program does not import it.
void** FindImportSlot(const char* function);

/// Writes `value` into an import slot and returns the old content.
void* ExchangeImportSlot(void** slot, void* value);

/// A function of this type that calls `replacement`.
template <class Function>
struct CallThrough;

template <class Result, class... Arguments>
struct CallThrough<Result(Arguments...)> {
  using Replacement = std::function<Result(Arguments...)>;
  using Function = Result(Arguments...);
  template <const Replacement& replacement>
  static Result Call(Arguments... arguments) {
    return replacement(arguments...);
  }
};

#ifdef OSTREL_WINELIB  // there the platform and the C runtime have different calling conventions
template <class Result, class... Arguments>
struct CallThrough<Result WINAPI(Arguments...)> {
  using Replacement = std::function<Result(Arguments...)>;
  using Function = Result WINAPI(Arguments...);
  template <const Replacement& replacement>
  static Result WINAPI Call(Arguments... arguments) {
    return replacement(arguments...);
  }
};
#endif

template <FunctionName Name, class Signature>
class ImportHook {
 public:
  using Function = typename CallThrough<Signature>::Function;
  using Replacement = typename CallThrough<Signature>::Replacement;

  explicit ImportHook(Replacement replacement) : slot_(FindImportSlot(Name.text)) {
    replacement_ = std::move(replacement);
    Function* call = &CallThrough<Signature>::template Call<replacement_>;
    original_ =
        reinterpret_cast<Function*>(ExchangeImportSlot(slot_, reinterpret_cast<void*>(call)));
  }
  ~ImportHook() {
    ExchangeImportSlot(slot_, reinterpret_cast<void*>(original_));
    replacement_ = nullptr;
  }
  ImportHook(const ImportHook&) = delete;
  ImportHook& operator=(const ImportHook&) = delete;

  /// The platform's function.
  static Function* Original() { return original_; }

 private:
  static inline Replacement replacement_;
  static inline Function* original_ = nullptr;
  void** slot_;
};

}  // namespace testing_support
