/// \file
/// The content of a setting.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <variant>
#include <vector>

#include "tessel/config/storage_path.h"
#include "tessel/expected.h"

namespace tessel::detail {

template <class T, class Variant>
inline constexpr bool kIsAlternative = false;
template <class T, class... Alternatives>
inline constexpr bool kIsAlternative<T, std::variant<Alternatives...>> =
    (std::same_as<T, Alternatives> || ...);

}  // namespace tessel::detail

namespace tessel::config {

class Storage;

/// A value of one of twelve types, and the storage that it was read from.
///
/// Lifetime: a value that was read keeps its storage alive, and with it the open key. Threads: a
/// plain value; distinct objects may be used from distinct threads.
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

  /// The index of the alternative that is held.
  [[nodiscard]] std::size_t Index() const noexcept { return payload_.index(); }
  /// The alternatives as they are held, for std::visit and std::get_if.
  [[nodiscard]] const Alternatives& Payload() const noexcept { return payload_; }

  /// The payload, if it is a T; throws std::bad_variant_access otherwise.
  template <class T>
  [[nodiscard]] const T& Get() const {
    if (const T* payload = std::get_if<T>(&payload_)) {
      return *payload;
    }
    throw std::bad_variant_access();
  }

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

}  // namespace tessel::config
