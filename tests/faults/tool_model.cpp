#include "tool_model.h"

#include <windows.h>

#include <optional>
#include <utility>

#include "account.h"

namespace faults {
namespace {

class Model {
 public:
  Model(const Command& command, const Fault* fault)
      : fault_(fault), contents_(command.stored), message_(command.message) {
    if (fault != nullptr && Throws()) {
      throwing_ = fault;
    }
    status_ = command.status;
    for (const auto& step : command.steps) {
      if (!std::visit([&](const auto& change) { return Take(change); }, step)) {
        break;
      }
    }
  }

  [[nodiscard]] std::string Result() const {
    const std::string ended = throwing_ == nullptr
                                  ? Ended("exit " + std::to_string(status_), Printed())
                                  : Ended(Thrown(), {});
    return ended + Describe(contents_);
  }

 private:
  // A text that cannot be converted ends the run with an exception.
  [[nodiscard]] bool Throws() const {
    return fault_->function == kAllocation || fault_->function == "MultiByteToWideChar" ||
           fault_->function == "WideCharToMultiByte";
  }
  [[nodiscard]] std::string Thrown() const {
    return fault_->function == kAllocation
               ? kOutOfMemory
               : "threw std::system_error " + std::to_string(fault_->failure.code) + "\n";
  }
  // The message, then the line end.
  [[nodiscard]] std::string Printed() const {
    const bool silent = fault_ != nullptr && fault_->Is("fwrite", 0);
    const bool endless = fault_ != nullptr && fault_->Is("fwrite", 1);
    return (silent ? "" : message_) + (endless ? "" : "\n");
  }
  // Whether the exception comes before the next call of the function, which is the `count`-th.
  [[nodiscard]] bool Stops(std::string_view function, std::size_t count) const {
    return throwing_ != nullptr && throwing_->Before(function) == count;
  }
  [[nodiscard]] bool Fails(std::string_view function, std::size_t count) const {
    return fault_ != nullptr && fault_->Is(function, count);
  }

  bool Open(const std::wstring& key) {
    stopped_ = stopped_ || Stops("RegCreateKeyExW", opened_);
    if (stopped_ || Fails("RegCreateKeyExW", opened_++)) {
      return false;
    }
    AddKey(contents_, key);
    return true;
  }
  void Put(const std::wstring& key, const Write& write) {
    stopped_ = stopped_ || Stops("RegSetKeyValueW", written_);
    if (!stopped_ && !Fails("RegSetKeyValueW", written_++)) {
      contents_[key][write.value] = write.content;
    }
  }
  bool WriteLayout(const std::vector<Opening>& openings) {
    for (const Opening& opening : openings) {
      if (!Open(opening.key)) {
        return false;
      }
      for (const Write& write : opening.writes) {
        Put(opening.key, write);
      }
    }
    return true;
  }

  bool Take(const Change& change) {
    const bool done = WriteLayout(change.current);
    WriteLayout(change.legacy);
    message_ += done ? change.done : change.failed;
    status_ = done ? 0 : 1;
    return done;
  }
  bool Take(const Look& look) {
    bool found = Open(look.key);
    if (fault_ != nullptr) {
      const bool unread =
          fault_->function == "RegGetValueW" && fault_->failure.code != ERROR_MORE_DATA;
      found = found && !unread && !fault_->Is("CompareStringW", look.matchingComparison);
    }
    message_ += found ? look.found : look.notFound;
    status_ = 0;
    return true;
  }

  const Fault* fault_;
  const Fault* throwing_ = nullptr;
  bool stopped_ = false;
  std::size_t opened_ = 0;
  std::size_t written_ = 0;
  Contents contents_;
  std::string message_;
  int status_ = 0;
};

}  // namespace

void AddKey(Contents& contents, const std::wstring& key) {
  for (auto end = key.find(L'\\'); end != std::wstring::npos; end = key.find(L'\\', end + 1)) {
    contents[key.substr(0, end)];
  }
  contents[key];
}

std::string Expected(const Command& command, const Fault* fault) {
  return Model(command, fault).Result();
}

std::string Ended(const std::string& how, const std::string& printed) {
  return how + (how.ends_with('\n') ? "" : "\n") + "printed [" + printed + "]\n";
}

}  // namespace faults
