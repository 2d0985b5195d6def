// Reading and writing values, against the registry's own calls and with these calls stubbed.
#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "benchmark_storage.h"
#include "floor.h"
#include "measure.h"
#include "tessel/config/registry_storage.h"

namespace benchmarks {
namespace {

using tessel::config::RegistryStorage;
using tessel::config::StoragePath;
using tessel::config::StorageValue;

constexpr const wchar_t* kKey = L"Service\\Config";

/// A value as the library and as the registry have it.
struct Content {
  std::string name;
  StorageValue value;
  DWORD type;
  std::vector<std::uint8_t> data;
  // How many allocations each may take.
  std::size_t reading;
  std::size_t writing;
};

std::vector<std::uint8_t> BytesOf(const void* data, std::size_t size) {
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  return {bytes, bytes + size};
}

std::vector<std::uint8_t> BytesOf(const std::wstring& text) {
  return BytesOf(text.c_str(), (text.size() + 1) * sizeof(wchar_t));
}

std::vector<Content> Contents() {
  constexpr std::uint32_t kNumber = 4711;
  constexpr std::uint64_t kLongNumber = 47'110'815;
  const std::wstring text = L"a text of some length";
  const std::vector<std::uint8_t> bytes(64, 7);
  const std::vector<StorageValue> list(4, StorageValue(text));
  std::wstring joined;
  for (const StorageValue& element : list) {
    joined += element.Get<std::wstring>() + L'\0';
  }
  return {
      {"empty", StorageValue(), REG_NONE, {}, 0, 0},
      {"number", StorageValue(kNumber), REG_DWORD, BytesOf(&kNumber, sizeof kNumber), 0, 0},
      {"long number", StorageValue(kLongNumber), REG_QWORD,
       BytesOf(&kLongNumber, sizeof kLongNumber), 0, 0},
      {"text", StorageValue(text), REG_SZ, BytesOf(text), 1, 0},
      {"bytes", StorageValue(bytes), REG_BINARY, bytes, 1, 0},
      {"list", StorageValue(list), REG_MULTI_SZ, BytesOf(joined), 8, 4},
  };
}

TEST(Pairs, Values) {
  const BenchmarkStorage storage;
  std::uint8_t buffer[512];
  for (const auto& content : Contents()) {
    const std::wstring name(content.name.begin(), content.name.end());
    const StoragePath path(L"Service/Config/" + name);
    Compare("SetValue, " + content.name, kTurns,
            Side{"tessel", [&] { return storage->SetValue(path, content.value).has_value(); }},
            Side{"platform", [&] {
                   return ::RegSetKeyValueW(storage.Key(), kKey, name.c_str(), content.type,
                                            content.data.data(),
                                            static_cast<DWORD>(content.data.size()));
                 }});
    ASSERT_EQ(storage->GetValue(path)->Index(), content.value.Index());
    Compare("GetValue, " + content.name, kTurns,
            Side{"tessel", [&] { return storage->GetValue(path).has_value(); }},
            Side{"platform", [&] {
                   return FloorGetValue(storage.Key(), kKey, name.c_str(), buffer, sizeof buffer);
                 }});
  }
}

TEST(Pairs, ExpandedText) {
  const BenchmarkStorage storage;
  const std::vector<std::uint8_t> data = BytesOf(L"%SystemRoot%\\System32");
  ::RegSetKeyValueW(storage.Key(), kKey, L"path", REG_EXPAND_SZ, data.data(),
                    static_cast<DWORD>(data.size()));
  const StoragePath path(L"Service/Config/path");
  wchar_t expanded[512];
  ASSERT_EQ(storage->GetValue(path)->Get<std::wstring>().size(),
            FloorGetExpanded(storage.Key(), kKey, L"path", expanded));
  Compare(
      "GetValue, expanded text", kTurns,
      Side{"tessel", [&] { return storage->GetValue(path).has_value(); }},
      Side{"platform", [&] { return FloorGetExpanded(storage.Key(), kKey, L"path", expanded); }});
}

DWORD stubType;
std::vector<std::uint8_t> stubData;

LSTATUS GetStubbedValue(HKEY /*key*/, LPCWSTR /*path*/, LPCWSTR /*name*/, DWORD /*flags*/,
                        DWORD* type, void* data, DWORD* size) {
  *type = stubType;
  if (data != nullptr) {
    std::memcpy(data, stubData.data(), std::min<std::size_t>(*size, stubData.size()));
  }
  *size = static_cast<DWORD>(stubData.size());
  return ERROR_SUCCESS;
}

LSTATUS SetStubbedValue(HKEY /*key*/, LPCWSTR /*path*/, LPCWSTR /*name*/, DWORD /*type*/,
                        const void* /*data*/, DWORD /*size*/) {
  return ERROR_SUCCESS;
}

void DoNothing(PSRWLOCK /*lock*/) {}

TEST(Own, Values) {
  const BenchmarkStorage storage;
  const Stub get("RegGetValueW", GetStubbedValue);
  const Stub set("RegSetKeyValueW", SetStubbedValue);
  const Stub acquire("AcquireSRWLockShared", DoNothing);
  const Stub release("ReleaseSRWLockShared", DoNothing);
  for (const auto& content : Contents()) {
    stubType = content.type;
    stubData = content.data;
    const StoragePath path(L"Service/Config/" +
                           std::wstring(content.name.begin(), content.name.end()));
    const auto read = [&] { return storage->GetValue(path).has_value(); };
    const auto write = [&] { return storage->SetValue(path, content.value).has_value(); };
    ASSERT_TRUE(read());
    ASSERT_TRUE(write());
    Compare("own GetValue, " + content.name, kTurns, Side{"tessel", read});
    Compare("own SetValue, " + content.name, kTurns, Side{"tessel", write});
    CountAllocations("GetValue, " + content.name, "tessel", read, content.reading);
    CountAllocations("SetValue, " + content.name, "tessel", write, content.writing);
  }
}

LSTATUS CreateStubbedKey(HKEY /*root*/, LPCWSTR /*path*/, DWORD /*reserved*/, LPWSTR /*class*/,
                         DWORD /*options*/, REGSAM /*access*/,
                         const SECURITY_ATTRIBUTES* /*security*/, PHKEY key,
                         LPDWORD /*disposition*/) {
  *key = reinterpret_cast<HKEY>(4);
  return ERROR_SUCCESS;
}

HKEY DuplicateStubbedKey(HKEY root) { return root; }

LSTATUS CloseStubbedKey(HKEY /*key*/) { return ERROR_SUCCESS; }

LONG QueryStubbedKey(HANDLE /*key*/, int /*informationClass*/, PVOID information, ULONG length,
                     PULONG /*resultLength*/) {
  constexpr std::wstring_view kName = L"\\REGISTRY\\MACHINE\\SOFTWARE\\Service\\Config";
  const ULONG size = sizeof(wchar_t) * kName.size();
  if (length < sizeof size + size) {
    return -1;
  }
  std::memcpy(information, &size, sizeof size);
  std::memcpy(static_cast<std::uint8_t*>(information) + sizeof size, kName.data(), size);
  return 0;
}

const StoragePath kStoragePath(L"Software/ostrel benchmark/Service/Config");

bool OpenStorage() {
  return RegistryStorage::Create(HKEY_CURRENT_USER, kStoragePath, nullptr).has_value();
}

TEST(Pairs, Storages) {
  const BenchmarkStorage storage;
  ASSERT_TRUE(OpenStorage());
  Compare("Create and release", kTurns, Side{"tessel", OpenStorage},
          Side{"platform", [] {
                 return FloorOpen(HKEY_CURRENT_USER,
                                  L"Software\\ostrel benchmark\\Service\\Config");
               }});
}

TEST(Own, Storages) {
  const Stub create("RegCreateKeyExW", CreateStubbedKey);
  const Stub duplicate("SHRegDuplicateHKey", DuplicateStubbedKey);
  const Stub query("NtQueryKey", QueryStubbedKey);
  const Stub close("RegCloseKey", CloseStubbedKey);
  ASSERT_TRUE(OpenStorage());
  Compare("own Create and release", kTurns, Side{"tessel", OpenStorage});
  CountAllocations("Create and release", "tessel", OpenStorage, 6);
}

}  // namespace
}  // namespace benchmarks
