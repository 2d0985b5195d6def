#include "tessel/config/storage_path.h"

#include <algorithm>
#include <utility>

namespace tessel::config {
namespace {

void Normalise(std::wstring& text, wchar_t separator) {
  const auto isRepeated = [separator](wchar_t left, wchar_t right) {
    return left == separator && right == separator;
  };
  text.erase(std::unique(text.begin(), text.end(), isRepeated), text.end());
  if (text.starts_with(separator)) {
    text.erase(text.begin());
  }
  if (text.ends_with(separator)) {
    text.pop_back();
  }
}

}  // namespace

StoragePath::StoragePath(std::wstring text, wchar_t separator)
    : text_(std::move(text)), separator_(separator) {
  Normalise(text_, separator_);
}

StoragePath StoragePath::WithSeparator(wchar_t separator) const {
  StoragePath path = *this;
  std::ranges::replace(path.text_, separator_, separator);
  path.separator_ = separator;
  return path;
}

StoragePath StoragePath::Join(std::wstring_view name) const {
  StoragePath path({}, separator_);
  path.text_.reserve(text_.size() + 1 + name.size());
  path.text_ += text_;
  path.text_ += separator_;
  path.text_ += name;
  Normalise(path.text_, separator_);
  return path;
}

StoragePath StoragePath::KeyPath() const {
  StoragePath path({}, separator_);
  if (const auto end = text_.rfind(separator_); end != std::wstring::npos) {
    path.text_.assign(text_, 0, end);
  }
  return path;
}

std::wstring StoragePath::ValueName() const {
  // Without a separator the whole text is the name: npos + 1 is 0.
  return text_.substr(text_.rfind(separator_) + 1);
}

}  // namespace tessel::config
