#include "account.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace faults {
namespace {

thread_local bool counting = false;
std::atomic<std::size_t> liveBlocks = 0;

}  // namespace

bool IsCounting() { return counting; }

Pause::Pause() : wasCounting_(std::exchange(counting, false)) {}
Pause::~Pause() { counting = wasCounting_; }

Count::Count() : wasCounting_(std::exchange(counting, true)) {}
Count::~Count() { counting = wasCounting_; }

std::optional<std::size_t> Account::Enter(std::string_view function,
                                          std::vector<Failure> failures) {
  if (!sweeping_) {
    return std::nullopt;
  }
  const bool planned = plan_ && plan_->call == calls_.size() && plan_->failure < failures.size();
  calls_.push_back({function, std::move(failures)});
  if (!planned) {
    return std::nullopt;
  }
  failed_ = true;
  return plan_->failure;
}

void Account::Opened(const Resource& resource) {
  if (!open_.insert(resource).second) {
    NoteViolation("opened twice: " + resource.first);
  }
}

void Account::Closed(const Resource& resource) {
  if (open_.erase(resource) == 0) {
    NoteViolation("closed, but not open: " + resource.first);
  }
}

std::string Account::Violations() const {
  std::string text = violations_;
  for (const Resource& resource : open_) {
    text += "never closed: " + resource.first + "\n";
  }
  return text;
}

Account*& CurrentAccount() {
  static Account* account = nullptr;
  return account;
}

std::size_t LiveBlocks() { return liveBlocks; }

namespace {

// Stands before each block and keeps the block aligned. The padding is explicit because MSVC warns
// of padding that it adds itself.
struct alignas(__STDCPP_DEFAULT_NEW_ALIGNMENT__) Header {
  bool counted;
  char padding[__STDCPP_DEFAULT_NEW_ALIGNMENT__ - sizeof(bool)];
};

#if defined(_ITERATOR_DEBUG_LEVEL) && _ITERATOR_DEBUG_LEVEL != 0
// MSVC's checked containers allocate in constructors that are noexcept.
bool FailsNow() { return false; }
#else
bool FailsNow() {
  if (!counting || CurrentAccount() == nullptr) {
    return false;
  }
  const Pause pause;
  return CurrentAccount()->Enter(kAllocation, {{"out of memory"}}).has_value();
}
#endif

void* Allocate(std::size_t size) noexcept {
  if (FailsNow()) {
    return nullptr;
  }
  auto* header = static_cast<Header*>(std::malloc(sizeof(Header) + size));
  if (header == nullptr) {
    return nullptr;
  }
  header->counted = counting;
  liveBlocks += counting ? 1 : 0;
  return header + 1;
}

void Free(void* block) noexcept {
  if (block != nullptr) {
    auto* header = static_cast<Header*>(block) - 1;
    liveBlocks -= header->counted ? 1 : 0;
    std::free(header);
  }
}

}  // namespace
}  // namespace faults

void* operator new(std::size_t size) {
  void* block = faults::Allocate(size);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  return block;
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return faults::Allocate(size);
}
void operator delete(void* block) noexcept { faults::Free(block); }
void operator delete(void* block, std::size_t /*size*/) noexcept { faults::Free(block); }
void operator delete(void* block, const std::nothrow_t& /*tag*/) noexcept { faults::Free(block); }
