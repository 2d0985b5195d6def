// A platform function whose calls are counted and can be made to fail.
#pragma once

#include <functional>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "account.h"
#include "fault.h"
#include "support/import_hook.h"

namespace faults {

template <testing_support::FunctionName Name, class Signature>
class FaultyCall;

/// Replaces a function of the platform for as long as it lives. Calls that do not count go to the
/// platform unchanged.
template <testing_support::FunctionName Name, class Result, class... Arguments>
class FaultyCall<Name, Result(Arguments...)> {
 public:
  using Function = Result(Arguments...);
  using Hook = testing_support::ImportHook<Name, Function>;
  struct Fails {
    Failure failure;
    std::function<Function> act;  // fails as the caller sees it
  };

  /// `act` makes the real call, or stands in for it, and keeps the account.
  explicit FaultyCall(std::function<Function> act, std::vector<Fails> fails = {})
      : act_(std::move(act)), fails_(std::move(fails)) {
    for (const Fails& way : fails_) {
      failures_.push_back(way.failure);
    }
  }
  /// Failures happen only to calls with arguments that this accepts.
  void OnlyFor(std::function<bool(Arguments...)> accepts) { accepts_ = std::move(accepts); }

  static Function* Original() { return Hook::Original(); }

 private:
  Result CallIt(Arguments... arguments) {
    if (!IsCounting() || CurrentAccount() == nullptr) {
      return Original()(arguments...);
    }
    std::optional<std::size_t> failure;
    {
      const Pause pause;
      const bool mayFail = !accepts_ || accepts_(arguments...);
      failure = CurrentAccount()->Enter(Name.text, mayFail ? failures_ : std::vector<Failure>());
    }
    if (failure) {
      // After the pause: a structured exception would not end it.
      return fails_[*failure].act(arguments...);
    }
    const Pause pause;
    return act_(arguments...);
  }

  std::function<Function> act_;
  std::vector<Fails> fails_;
  std::vector<Failure> failures_;
  std::function<bool(Arguments...)> accepts_;
  Hook hook_{[this](Arguments... arguments) { return CallIt(arguments...); }};
};

}  // namespace faults
