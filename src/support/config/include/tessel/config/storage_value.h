/// \file
/// The content of a setting.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "tessel/config/storage_path.h"
#include "tessel/detail/wide_text.h"
#include "tessel/expected.h"

namespace tessel::detail {

/// Whether T is one of the alternatives of a variant.
template <class T, class Variant>
inline constexpr bool kIsAlternative = false;
template <class T, class... Alternatives>
inline constexpr bool kIsAlternative<T, std::variant<Alternatives...>> =
    (std::same_as<T, Alternatives> || ...);

/// The platform's LONG and DWORD, which are other types than the standard library's of 32 bits.
template <class T>
concept PlatformInteger =
    sizeof(long) == 4 && (std::same_as<T, long> || std::same_as<T, unsigned long>);

/// A text of a braced list. Two pointers in braces of their own make none, as they would make a
/// std::wstring_view from one to the other.
class ListedText {
 public:
  /// The characters up to the first zero; `text` must not be null.
  ListedText(const wchar_t* text) : text_(ViewText(text)) {}
  /// All characters.
  ListedText(std::wstring_view text) : text_(text) {}
  /// All characters.
  ListedText(const std::wstring& text) : text_(text) {}
  ListedText(std::nullptr_t text) = delete;

  /// The characters, which the caller owns.
  [[nodiscard]] std::wstring_view Text() const noexcept { return text_; }

 private:
  std::wstring_view text_;
};

}  // namespace tessel::detail

namespace tessel::config {

class Storage;

/// A value of one of twelve types, and the storage that it was read from.
///
/// Lifetime: a value that was read keeps its storage alive, and with it the open key. Threads: a
/// plain value; distinct objects may be used from distinct threads.
///
/// ```cpp
/// storage.SetValue(L"Name", L"example").value();
/// storage.SetValue(L"Limits/Size", DWORD{50}).value();
/// storage.SetValue(L"Servers", TextList({L"a", L"b"})).value();
/// ```
class StorageValue {
 public:
  /// The alternatives, in the order of their indexes. A registry storage writes
  ///
  ///     0 empty as REG_NONE                          9 text as REG_SZ
  ///     2 and 4, 32-bit integers, as REG_DWORD      10 bytes as REG_BINARY
  ///     3 and 5, 64-bit integers, as REG_QWORD      11 a list of texts as REG_MULTI_SZ
  ///
  /// and refuses all others with Error::unsupported_storage_value.
  using Alternatives = std::variant<std::monostate, bool, std::int32_t, std::int64_t, std::uint32_t,
                                    std::uint64_t, float, double, StoragePath, std::wstring,
                                    std::vector<std::uint8_t>, std::vector<StorageValue>>;

  /// An empty value (index 0).
  StorageValue() = default;

  /// A value of exactly the type of `payload`. A type that is no alternative does not compile.
  template <class T>
    requires detail::kIsAlternative<T, Alternatives>
  StorageValue(T payload, std::shared_ptr<Storage> owner = {})
      : payload_(std::move(payload)), owner_(std::move(owner)) {}

  /// A 32-bit integer, signed for a LONG and unsigned for a DWORD.
  template <detail::PlatformInteger T>
  StorageValue(T payload, std::shared_ptr<Storage> owner = {})
      : payload_(static_cast<std::conditional_t<std::is_signed_v<T>, std::int32_t, std::uint32_t>>(
            payload)),
        owner_(std::move(owner)) {}

  ///@{
  /// A text. A pointer must not be null.
  template <detail::WideText Text>
  StorageValue(Text text, std::shared_ptr<Storage> owner = {})
      : StorageValue(detail::CopyText(text), std::move(owner)) {}
  ///@}

  /// The index of the alternative that is held.
  [[nodiscard]] std::size_t Index() const noexcept { return payload_.index(); }
  /// The alternatives as they are held, for std::visit and std::get_if.
  [[nodiscard]] const Alternatives& Payload() const noexcept { return payload_; }

  ///@{
  /// The payload, if it is a T; throws std::bad_variant_access otherwise. An rvalue gives the
  /// payload itself, not a reference. But a reference got through the `->` of a result that is a
  /// temporary dangles: keep the result, or a copy of the payload.
  template <class T>
    requires detail::kIsAlternative<T, Alternatives>
  [[nodiscard]] const T& Get() const& {
    if (const T* payload = std::get_if<T>(&payload_)) {
      return *payload;
    }
    throw std::bad_variant_access();
  }
  template <class T>
    requires detail::kIsAlternative<T, Alternatives>
  [[nodiscard]] T Get() && {
    if (T* payload = std::get_if<T>(&payload_)) {
      return std::move(*payload);
    }
    throw std::bad_variant_access();
  }
  ///@}

  /// The storage that the value was read from; null for a value that the caller made without one.
  [[nodiscard]] const std::shared_ptr<Storage>& Owner() const noexcept { return owner_; }

 private:
  Alternatives payload_;
  std::shared_ptr<Storage> owner_;
};

/// The value as an unsigned 32-bit number.
///
/// An empty value gives 0, a bool 0 or 1. An integer is reduced modulo 2^32. A float is
/// truncated toward zero and then reduced; one below -2^63, one of 2^64 or more, and NaN give 0. A
/// text is read as a decimal number, or after 0x as a hexadecimal one. White space and one '+'
/// before the number are skipped, and characters after it are ignored.
///
/// Errors: std::errc::invalid_argument if a text has no number; std::errc::result_out_of_range if
/// the number in a text is too large; Error::invalid_value_conversion for a text of 328 characters
/// or more, for a text with a character above 255, and for paths, bytes and lists.
[[nodiscard]] expected<std::uint32_t, std::error_code> ToUInt32(const StorageValue& value);

/// The value as an unsigned 64-bit number: as ToUInt32, but modulo 2^64.
[[nodiscard]] expected<std::uint64_t, std::error_code> ToUInt64(const StorageValue& value);

// The payload of one alternative. Errors: Error::invalid_value_conversion for every other one.

/// The text up to its first zero. So one that was stored as REG_EXPAND_SZ comes without the zero
/// that its payload ends with.
[[nodiscard]] expected<std::wstring, std::error_code> ToText(const StorageValue& value);
/// The bool. No type of the registry is read as one.
[[nodiscard]] expected<bool, std::error_code> ToBool(const StorageValue& value);
/// The bytes.
[[nodiscard]] expected<std::vector<std::uint8_t>, std::error_code> ToBytes(
    const StorageValue& value);
/// The texts of a list, each as ToText gives it. A list that holds anything else is no list of
/// texts.
[[nodiscard]] expected<std::vector<std::wstring>, std::error_code> ToTextList(
    const StorageValue& value);

}  // namespace tessel::config

namespace tessel::detail {

/// What reading a value gives. Nothing converts to it here, so that a plain value remains one.
template <class T>
concept ReadResult = std::same_as<T, expected<config::StorageValue, std::error_code>>;

/// What `read` makes of the value; the error when there is none.
template <ReadResult Result, class Read>
auto ReadValue(const Result& result, Read read) -> decltype(read(*result)) {
  if (!result) {
    return result.error();
  }
  return read(*result);
}

}  // namespace tessel::detail

namespace tessel::config {

///@{
/// Reads what Storage::GetValue has given; an error passes through unchanged.
///
/// ```cpp
/// const auto size = ToUInt32(storage.GetValue(L"Limits/Size")).value_or(10);
/// const auto name = ToText(storage.GetValue(L"Name")).value_or(L"unnamed");
/// ```
template <detail::ReadResult Result>
[[nodiscard]] auto ToUInt32(const Result& result) {
  return detail::ReadValue(result, [](const StorageValue& value) { return ToUInt32(value); });
}
template <detail::ReadResult Result>
[[nodiscard]] auto ToUInt64(const Result& result) {
  return detail::ReadValue(result, [](const StorageValue& value) { return ToUInt64(value); });
}
template <detail::ReadResult Result>
[[nodiscard]] auto ToText(const Result& result) {
  return detail::ReadValue(result, [](const StorageValue& value) { return ToText(value); });
}
template <detail::ReadResult Result>
[[nodiscard]] auto ToBool(const Result& result) {
  return detail::ReadValue(result, [](const StorageValue& value) { return ToBool(value); });
}
template <detail::ReadResult Result>
[[nodiscard]] auto ToBytes(const Result& result) {
  return detail::ReadValue(result, [](const StorageValue& value) { return ToBytes(value); });
}
template <detail::ReadResult Result>
[[nodiscard]] auto ToTextList(const Result& result) {
  return detail::ReadValue(result, [](const StorageValue& value) { return ToTextList(value); });
}
///@}

///@{
/// A list of texts, as REG_MULTI_SZ holds it: of a registry the list ends at an empty text when it
/// is read, and a zero inside a text makes two of it.
[[nodiscard]] StorageValue TextList(std::initializer_list<detail::ListedText> texts);
template <std::same_as<std::vector<std::wstring>> Texts>
[[nodiscard]] StorageValue TextList(const Texts& texts) {
  return std::vector<StorageValue>(texts.begin(), texts.end());
}
///@}

}  // namespace tessel::config
