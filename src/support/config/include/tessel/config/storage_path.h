/// \file
/// The address of a setting.
#pragma once

#include <string>
#include <string_view>

namespace tessel::config {

/// A path: components with one separator between them. The last component names a value, those
/// before it a key, relative to the root of the storage; a path without a separator names a value
/// directly in the root, and an empty path the root's default value.
///
/// A plain value; keeps the case of what it is given and compares with case.
class StoragePath {
 public:
  /// Normalises the text: separators at both ends go, runs of separators become one.
  StoragePath(std::wstring text = {}, wchar_t separator = L'/');

  /// The whole path, with its own separator.
  [[nodiscard]] const std::wstring& Text() const noexcept { return text_; }
  /// The character between components.
  [[nodiscard]] wchar_t Separator() const noexcept { return separator_; }
  /// Whether there is no component.
  [[nodiscard]] bool Empty() const noexcept { return text_.empty(); }

  /// The same path for another separator: each separator is replaced, nothing else changes. The
  /// result is not normalised: `A\/B` re-targeted to `\` is `A\\B`.
  [[nodiscard]] StoragePath WithSeparator(wchar_t separator) const;

  /// This path with `name` behind it, normalised.
  [[nodiscard]] StoragePath Join(std::wstring_view name) const;

  /// Everything before the last component; empty when there is only one.
  [[nodiscard]] StoragePath KeyPath() const;
  /// The last component.
  [[nodiscard]] std::wstring ValueName() const;

  /// Equal when text, by case, and separator are.
  bool operator==(const StoragePath&) const = default;

 private:
  std::wstring text_;
  wchar_t separator_;
};

}  // namespace tessel::config
