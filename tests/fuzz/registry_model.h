// Registry data as the fuzzers understand it, byte by byte.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "input.h"
#include "tessel/config/storage_value.h"

namespace fuzz {

using Bytes = std::vector<std::uint8_t>;
/// Characters of 16 bits.
using Units = std::vector<std::uint16_t>;

/// Data in memory of exactly its size, at an odd address: reading past its end and relying on its
/// alignment are both found.
class Exact {
 public:
  explicit Exact(std::span<const std::uint8_t> data)
      : place_(new std::uint8_t[data.size() + 1]), size_(data.size()) {
    std::ranges::copy(data, place_.get() + 1);
  }
  [[nodiscard]] std::span<const std::uint8_t> Data() const { return {place_.get() + 1, size_}; }

 private:
  std::unique_ptr<std::uint8_t[]> place_;
  std::size_t size_;
};

inline void AppendUnit(Bytes& bytes, std::uint16_t unit) {
  bytes.push_back(static_cast<std::uint8_t>(unit % 256));
  bytes.push_back(static_cast<std::uint8_t>(unit / 256));
}

/// The whole characters of the data. An odd last byte is dropped.
inline Units ToUnits(std::span<const std::uint8_t> bytes) {
  Units units;
  for (std::size_t i = 1; i < bytes.size(); i += 2) {
    units.push_back(static_cast<std::uint16_t>(bytes[i - 1] + 256 * bytes[i]));
  }
  return units;
}

/// The texts that zeros end; the last one without its zero, if it is not empty.
inline std::vector<std::wstring> ToTexts(std::span<const std::uint8_t> bytes) {
  std::vector<std::wstring> texts = {L""};
  for (const std::uint16_t unit : ToUnits(bytes)) {
    if (unit == 0) {
      texts.emplace_back();
    } else {
      texts.back() += static_cast<wchar_t>(unit);
    }
  }
  if (texts.back().empty()) {
    texts.pop_back();
  }
  return texts;
}

/// The first text.
inline std::wstring ToFirstText(std::span<const std::uint8_t> bytes) {
  const std::vector<std::wstring> texts = ToTexts(bytes);
  return texts.empty() ? L"" : texts.front();
}

/// A number made of the first bytes of the data, the lowest byte first.
inline std::uint64_t ToNumber(std::span<const std::uint8_t> bytes, std::size_t size) {
  std::uint64_t number = 0;
  for (std::size_t i = 0; i < size && i < bytes.size(); ++i) {
    number += std::uint64_t{bytes[i]} << (8 * i);
  }
  return number;
}

/// Whether the value is this list of texts, each of which has the list's owner.
inline bool IsList(const tessel::config::StorageValue& value, std::vector<std::wstring> texts) {
  // An empty text ends a list.
  texts.erase(std::ranges::find(texts, L""), texts.end());
  const auto& list = value.Get<std::vector<tessel::config::StorageValue>>();
  return std::ranges::equal(list, texts, [&](const auto& element, const std::wstring& text) {
    return element.template Get<std::wstring>() == text && element.Owner() == value.Owner();
  });
}

}  // namespace fuzz
