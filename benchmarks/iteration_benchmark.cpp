// Iteration, against the registry's own enumeration.
#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include <fmt/format.h>
#include <fmt/xchar.h>
#include <gtest/gtest.h>

#include "benchmark_storage.h"
#include "floor.h"
#include "measure.h"

namespace benchmarks {
namespace {

using tessel::config::StoragePath;

void WriteValues(const BenchmarkStorage& storage, DWORD count) {
  for (DWORD number = 0; number < count; ++number) {
    ::RegSetKeyValueW(storage.Key(), nullptr, fmt::format(L"value {:06}", number).c_str(),
                      REG_DWORD, &number, sizeof number);
  }
}

std::size_t Iterate(const BenchmarkStorage& storage) {
  std::size_t count = 0;
  auto iterator = storage->Iterate(StoragePath());
  for (const auto& entry : *iterator) {
    count += entry ? 1U : 0U;
  }
  return count;
}

void CompareIteration(const BenchmarkStorage& storage, DWORD count) {
  ASSERT_EQ(Iterate(storage), count);
  ASSERT_EQ(FloorEnumerate(storage.Key()), count);
  Compare(fmt::format("iterate, entries {}", count), kTurns,
          Side{"tessel", [&] { return Iterate(storage); }},
          Side{"platform", [&] { return FloorEnumerate(storage.Key()); }});
}

TEST(Pairs, Iteration) {
  for (const DWORD count : {10U, 100U, 1000U}) {
    const BenchmarkStorage storage;
    WriteValues(storage, count);
    CompareIteration(storage, count);
  }
}

TEST(Long, Iteration) {
  for (const DWORD count : {10'000U, 100'000U}) {
    const BenchmarkStorage storage;
    WriteValues(storage, count);
    CompareIteration(storage, count);
  }
}

LSTATUS EnumerateStubbedValue(HKEY /*key*/, DWORD /*index*/, LPWSTR name, LPDWORD length,
                              LPDWORD /*reserved*/, LPDWORD type, LPBYTE data, LPDWORD size) {
  constexpr std::wstring_view kName = L"value 000001";
  constexpr std::uint32_t kNumber = 1;
  std::copy_n(kName.data(), kName.size(), name);
  std::memcpy(data, &kNumber, sizeof kNumber);
  *length = kName.size();
  *type = REG_DWORD;
  *size = sizeof kNumber;
  return ERROR_SUCCESS;
}

TEST(Own, Iteration) {
  const BenchmarkStorage storage;
  ::RegSetKeyValueW(storage.Key(), L"Service\\Config", nullptr, REG_NONE, nullptr, 0);
  auto iterator = storage->Iterate(StoragePath(L"Service/Config"));
  const auto next = [&] { return iterator->Next().has_value(); };
  const Stub enumerate("RegEnumValueW", EnumerateStubbedValue);
  ASSERT_TRUE(next());  // past the subkeys, of which there are none
  Compare("own Next, number", kTurns, Side{"tessel", next});
  CountAllocations("Next, number", "tessel", next, 1);
}

TEST(Growth, LargeKeys) {
  for (const DWORD count : {1U, 10U, 100U, 1000U, 10'000U}) {
    const BenchmarkStorage storage;
    WriteValues(storage, count);
    const std::wstring last = fmt::format(L"value {:06}", count - 1);
    const StoragePath path(last);
    DWORD number = 0;
    Compare(fmt::format("GetValue, values {}", count), kFewTurns,
            Side{"tessel", [&] { return storage->GetValue(path).has_value(); }},
            Side{"platform", [&] {
                   return FloorGetValue(storage.Key(), L"", last.c_str(), &number, sizeof number);
                 }});
  }
}

}  // namespace
}  // namespace benchmarks
