// Values to registry data, and back from there.
//
// Input: a byte for the kind of value, then its content; a list takes a byte for the number of its
// elements, and each of them a kind and a content again. A text takes a byte for its length.
#include <bit>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "input.h"
#include "registry_model.h"
#include "registry_value.h"
#include "tessel/config/error.h"
#include "tessel/config/storage_path.h"

namespace {

using fuzz::Bytes;
using fuzz::Expect;
using tessel::config::Error;
using tessel::config::StorageValue;

constexpr std::uint32_t kNotWritable = 99;

/// A value, and what is to be written of it.
struct Sample {
  StorageValue value;
  std::uint32_t type = kNotWritable;
  Bytes bytes = {};
};

Bytes ToBytes(std::uint64_t number, std::size_t size) {
  Bytes bytes;
  for (; bytes.size() != size; number /= 256) {
    bytes.push_back(static_cast<std::uint8_t>(number % 256));
  }
  return bytes;
}

/// With the terminating zero.
Bytes ToBytes(const std::wstring& text) {
  Bytes bytes;
  for (const wchar_t character : text) {
    fuzz::AppendUnit(bytes, static_cast<std::uint16_t>(character));
  }
  fuzz::AppendUnit(bytes, 0);
  return bytes;
}

std::wstring TakeText(fuzz::Input& input) {
  return fuzz::ToText(input.TakeBytes(input.TakeByte()));
}

Sample TakeSample(fuzz::Input& input, int depth);

Sample TakeList(fuzz::Input& input, int depth) {
  std::vector<StorageValue> list;
  Sample sample{.value = {}, .type = 7, .bytes = {}};
  for (unsigned int count = depth < 3 ? input.TakeByte() % 32 : 0; count != 0; --count) {
    const Sample element = TakeSample(input, depth + 1);
    list.push_back(element.value);
    sample.type = element.type == 1 ? sample.type : kNotWritable;
    sample.bytes.insert(sample.bytes.end(), element.bytes.begin(), element.bytes.end());
  }
  fuzz::AppendUnit(sample.bytes, 0);
  sample.value = StorageValue(std::move(list));
  return sample;
}

Sample TakeSample(fuzz::Input& input, int depth) {
  switch (input.TakeByte() % 12) {
    case 1:
      return {.value = StorageValue(input.TakeByte() % 2 != 0)};
    case 2: {
      const auto number = static_cast<std::uint32_t>(input.TakeNumber());
      return {StorageValue(std::bit_cast<std::int32_t>(number)), 4, ToBytes(number, 4)};
    }
    case 3: {
      const std::uint64_t number = input.TakeNumber();
      return {StorageValue(std::bit_cast<std::int64_t>(number)), 11, ToBytes(number, 8)};
    }
    case 4: {
      const auto number = static_cast<std::uint32_t>(input.TakeNumber());
      return {StorageValue(number), 4, ToBytes(number, 4)};
    }
    case 5: {
      const std::uint64_t number = input.TakeNumber();
      return {StorageValue(number), 11, ToBytes(number, 8)};
    }
    case 6:
      return {.value = StorageValue(1.5F)};
    case 7:
      return {.value = StorageValue(std::bit_cast<double>(input.TakeNumber()))};
    case 8:
      return {.value = StorageValue(tessel::config::StoragePath(TakeText(input)))};
    case 9: {
      const std::wstring text = TakeText(input);
      return {StorageValue(text), 1, ToBytes(text)};
    }
    case 10: {
      const auto bytes = input.TakeBytes(input.TakeByte());
      return {StorageValue(Bytes(bytes.begin(), bytes.end())), 3, {bytes.begin(), bytes.end()}};
    }
    case 11:
      return TakeList(input, depth);
    default:
      return {.value = StorageValue(), .type = 0};
  }
}

/// Reading back gives the unsigned numbers of signed ones, and texts up to their first zero.
void CheckReadBack(const Sample& sample) {
  const fuzz::Exact exact(sample.bytes);
  const auto result = tessel::config::FromRegistry(sample.type, exact.Data(), nullptr);
  Expect(result.has_value(), "what was written can be read");
  switch (sample.type) {
    case 1:
      return Expect(result->Get<std::wstring>() == fuzz::ToFirstText(sample.bytes), "text");
    case 3:
      return Expect(result->Get<Bytes>() == sample.value.Get<Bytes>(), "bytes");
    case 4:
      return Expect(result->Get<std::uint32_t>() == *ToUInt32(sample.value), "32 bits");
    case 7:
      return Expect(fuzz::IsList(*result, fuzz::ToTexts(sample.bytes)), "list");
    case 11:
      return Expect(result->Get<std::uint64_t>() == *ToUInt64(sample.value), "64 bits");
    default:
      return Expect(result->Index() == 0, "empty");
  }
}

/// Sizes of data that cannot exist in memory. The data is never read.
void CheckSize(std::uint64_t size) {
  static constexpr char kData = 0;
  const auto result = tessel::config::MakeRegistryData(3, &kData, size);
  if (size > 0xFFFFFFFF) {
    Expect(!result && result.error() == Error::unsupported_storage_value, "too large to count");
  } else {
    Expect(result && result->size == size && result->type == 3 && result->bytes == &kData, "size");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const Sample sample = TakeSample(input, 0);
  const auto result = tessel::config::ToRegistry(sample.value);
  if (sample.type == kNotWritable) {
    Expect(!result && result.error() == Error::unsupported_storage_value, "it cannot be written");
  } else {
    Expect(result && result->type == sample.type && result->size == sample.bytes.size(),
           "type and size");
    Expect(sample.bytes.empty() ||
               std::memcmp(result->bytes, sample.bytes.data(), sample.bytes.size()) == 0,
           "the bytes");
    CheckReadBack(sample);
  }
  CheckSize(input.TakeNumber());
  return 0;
}
