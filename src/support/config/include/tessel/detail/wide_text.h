/// \file
/// The texts that paths and values are made from, beside std::wstring.
#pragma once

#include <cassert>
#include <concepts>
#include <cstddef>
#include <string>
#include <string_view>

namespace tessel::detail {

/// A view or a pointer, which a literal becomes. As the argument of a template it is deduced: so
/// braces mean what they mean for a std::wstring.
template <class T>
concept WideText = std::same_as<T, std::wstring_view> || std::same_as<T, const wchar_t*> ||
                   std::same_as<T, wchar_t*>;

/// The characters up to the first zero; `text` must not be null.
inline std::wstring_view ViewText(const wchar_t* text) {
  assert(text != nullptr);
  return text;
}

///@{
/// The characters as a string of their own.
inline std::wstring CopyText(std::wstring_view text) { return std::wstring(text); }
inline std::wstring CopyText(const wchar_t* text) { return std::wstring(ViewText(text)); }
///@}

}  // namespace tessel::detail
