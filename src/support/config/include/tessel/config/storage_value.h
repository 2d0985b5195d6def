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
/// A value that was read keeps its storage, and with it the open key, alive. Values are plain:
/// distinct objects may be used from distinct threads.
class StorageValue {
 public:
  /// The alternatives; their order is their index. A registry storage writes
  ///
  ///     0 empty as REG_NONE                          9 text as REG_SZ
  ///     2 and 4, 32-bit integers, as REG_DWORD      10 bytes as REG_BINARY
  ///     3 and 5, 64-bit integers, as REG_QWORD      11 a list of texts as REG_MULTI_SZ
  ///
  /// and refuses the others with Error::unsupported_storage_value.
  using Alternatives = std::variant<std::monostate, bool, std::int32_t, std::int64_t, std::uint32_t,
                                    std::uint64_t, float, double, StoragePath, std::wstring,
                                    std::vector<std::uint8_t>, std::vector<StorageValue>>;

  /// An empty value (index 0).
  StorageValue() = default;

  /// A value of exactly the type of `payload`: no conversion picks another alternative.
  template <class T>
    requires detail::kIsAlternative<T, Alternatives>
  StorageValue(T payload, std::shared_ptr<Storage> owner = {})
      : payload_(std::move(payload)), owner_(std::move(owner)) {}

  /// The index of the alternative that is held.
  [[nodiscard]] std::size_t Index() const noexcept { return payload_.index(); }
  /// What is held, for std::visit and its like.
  [[nodiscard]] const Alternatives& Payload() const noexcept { return payload_; }

  /// The payload, which must be a T; std::bad_variant_access is thrown otherwise.
  template <class T>
  [[nodiscard]] const T& Get() const {
    if (const T* payload = std::get_if<T>(&payload_)) {
      return *payload;
    }
    throw std::bad_variant_access();
  }

  /// The storage that the value was read from; null for a value made by the caller.
  [[nodiscard]] const std::shared_ptr<Storage>& Owner() const noexcept { return owner_; }

 private:
  Alternatives payload_;
  std::shared_ptr<Storage> owner_;
};

/// The value as an unsigned 32-bit number.
///
/// Empty is 0, a bool 0 or 1. Integers are reduced to the width, floats truncated toward zero
/// first; one below -2^63, from 2^64 on or that is no number gives 0. A text is read as a decimal
/// number, or as a hexadecimal one after 0x; white space and one '+' before it and any characters
/// behind it are ignored. Errors: std::errc::invalid_argument when a text has no number,
/// std::errc::result_out_of_range when the number is too large, Error::invalid_value_conversion for
/// a text of 328 characters or more or with a character above 255, and for paths, bytes and lists.
[[nodiscard]] expected<std::uint32_t, std::error_code> ToUInt32(const StorageValue& value);

/// The value as an unsigned 64-bit number; see ToUInt32.
[[nodiscard]] expected<std::uint64_t, std::error_code> ToUInt64(const StorageValue& value);

}  // namespace tessel::config
