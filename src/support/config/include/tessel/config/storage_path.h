/// \file
/// The address of a setting.
#pragma once

#include <concepts>
#include <cstddef>
#include <string>
#include <string_view>

#include "tessel/detail/wide_text.h"

namespace tessel::config {

/// A path: components with one separator between them. The last component names a value. The
/// components before it name a key, relative to the key of the storage. A path of one component
/// names a value of the storage's own key, and an empty path the default value of that key.
///
/// A plain value: distinct objects may be used from distinct threads. It keeps the case of its
/// text, and comparison is case-sensitive.
///
/// ```cpp
/// const StoragePath path(L"/Limits//Size/");                // Limits/Size
/// const StoragePath sibling = path.KeyPath().Join(L"Age");  // Limits/Age
/// ```
class StoragePath {
 public:
  ///@{
  /// Normalises the text: separators at both ends are removed, and a run of separators becomes one.
  /// A pointer must not be null. The text must hold no zero character, where the registry would end
  /// the name.
  StoragePath(std::wstring text = {}, wchar_t separator = L'/');
  template <detail::WideText Text>
  StoragePath(Text text, wchar_t separator = L'/')
      : StoragePath(detail::CopyText(text), separator) {}
  template <std::same_as<std::nullptr_t> Text>
  StoragePath(Text text, wchar_t separator = L'/') = delete;
  ///@}

  /// The whole path, with its own separator.
  [[nodiscard]] const std::wstring& Text() const noexcept { return text_; }
  /// The character between components.
  [[nodiscard]] wchar_t Separator() const noexcept { return separator_; }
  /// Whether there is no component.
  [[nodiscard]] bool Empty() const noexcept { return text_.empty(); }

  /// The same path with another separator. Each separator is replaced, and nothing else changes:
  /// the result is not normalised. `A\/B` with the separator `\` becomes `A\\B`.
  [[nodiscard]] StoragePath WithSeparator(wchar_t separator) const;

  /// This path, a separator and `name`, normalised.
  [[nodiscard]] StoragePath Join(std::wstring_view name) const;

  /// Everything before the last component; empty when there is only one.
  [[nodiscard]] StoragePath KeyPath() const;
  /// The last component.
  [[nodiscard]] std::wstring ValueName() const;

  /// Whether the texts, case included, and the separators are equal.
  bool operator==(const StoragePath&) const = default;

 private:
  std::wstring text_;
  wchar_t separator_;
};

}  // namespace tessel::config
