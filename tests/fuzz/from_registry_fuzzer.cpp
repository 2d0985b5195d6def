// Registry data to values, for every type; no byte past the data may be read.
//
// Input: a byte for the type, one for how the expansion of variables behaves, then the data.
#include <algorithm>
#include <memory>
#include <span>
#include <string>
#include <system_error>
#include <vector>

#include "host_platform.h"
#include "input.h"
#include "registry_model.h"
#include "registry_value.h"
#include "tessel/config/error.h"
#include "tessel/config/storage.h"
#include "tessel/config/storage_path.h"

namespace {

using fuzz::Expect;
using tessel::config::Error;
using tessel::config::StoragePath;
using tessel::config::StorageValue;
using Data = std::span<const std::uint8_t>;
using Result = tessel::expected<StorageValue, std::error_code>;

fuzz::Expansion ToExpansion(std::uint8_t choice) {
  switch (choice % 8) {
    case 1:
      return {.error = 2};
    case 2:
      return {.error = 5};
    case 3:
      return {.growths = 1};
    case 4:
      return {.growths = 3};
    case 5:
      return {.shrinkage = 3};
    default:
      return {};
  }
}

void CheckExpanded(const Result& result, Data data, fuzz::Expansion expansion) {
  if (expansion.error != 0) {
    const std::error_code expected = expansion.error == 2
                                         ? std::error_code(Error::not_found)
                                         : std::error_code(5, std::system_category());
    Expect(!result && result.error() == expected, "the error of the expansion");
    return;
  }
  const std::wstring expanded = fuzz::Expanded(fuzz::ToFirstText(data)) +
                                std::wstring(expansion.growths, fuzz::kGrowth) +
                                std::wstring(expansion.shrinkage + 1, L'\0');
  Expect(result && result->Get<std::wstring>() == expanded, "an expanded text and its zeros");
}

bool IsNumber(const StorageValue& value, std::size_t index, std::uint64_t number) {
  return value.Index() == index &&
         (index == 4 ? value.Get<std::uint32_t>() : value.Get<std::uint64_t>()) == number;
}

void CheckValue(std::uint32_t type, Data data, const StorageValue& value) {
  switch (type) {
    case 0:
      return Expect(value.Index() == 0, "REG_NONE is empty");
    case 1:
      return Expect(value.Get<std::wstring>() == fuzz::ToFirstText(data), "REG_SZ");
    case 3:
      return Expect(value.Get<fuzz::Bytes>() == fuzz::Bytes(data.begin(), data.end()), "bytes");
    case 4:
      return Expect(IsNumber(value, 4, fuzz::ToNumber(data, 4)), "REG_DWORD");
    case 5: {
      fuzz::Bytes reversed(4);
      std::copy_n(data.begin(), std::min<std::size_t>(data.size(), 4), reversed.begin());
      std::ranges::reverse(reversed);
      return Expect(IsNumber(value, 4, fuzz::ToNumber(reversed, 4)), "REG_DWORD_BIG_ENDIAN");
    }
    case 6:
      return Expect(value.Get<StoragePath>() == StoragePath(fuzz::ToFirstText(data), L'\\'),
                    "REG_LINK");
    case 7:
      return Expect(fuzz::IsList(value, fuzz::ToTexts(data)), "REG_MULTI_SZ");
    case 11:
      return Expect(IsNumber(value, 5, fuzz::ToNumber(data, 8)), "REG_QWORD");
    default:
      return Expect(false, "a type without alternative has no value");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const std::uint8_t choice = input.TakeByte();
  // The first types are the known ones; the others are taken from everywhere.
  const std::uint32_t type = choice < 0x80 ? choice % 16 : choice * 0x01010101U;
  const fuzz::Expansion expansion = ToExpansion(input.TakeByte());
  const fuzz::Exact exact(input.TakeRest());
  const auto owner = std::make_shared<tessel::config::Storage>();

  fuzz::SetExpansion(expansion);
  const Result result = tessel::config::FromRegistry(type, exact.Data(), owner);
  if (type == 2) {
    CheckExpanded(result, exact.Data(), expansion);
  } else if (!result) {
    Expect((type > 7 && type != 11) && result.error() == Error::unsupported_storage_value,
           "only types without alternative fail");
  } else {
    CheckValue(type, exact.Data(), *result);
  }
  Expect(!result || result->Owner() == owner, "a value has its owner");
  return 0;
}
