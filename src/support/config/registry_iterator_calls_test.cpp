// Iteration as the platform sees it: the enumeration calls with their arguments, and the behaviour
// after each answer.
#include <windows.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <set>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <gmock/gmock-more-matchers.h>

#include "support/error_codes.h"
#include "support/import_hook.h"
#include "support/registry_sandbox.h"
#include "tessel/config/error.h"
#include "tessel/config/registry_storage.h"

namespace tessel::config {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing_support::EndOfIteration;
using testing_support::ErrorOf;
using testing_support::ImportHook;
using testing_support::SystemError;
using Bytes = std::vector<std::uint8_t>;

using OpenHook = ImportHook<"RegOpenKeyExW", decltype(::RegOpenKeyExW)>;
using ExpandHook = ImportHook<"ExpandEnvironmentStringsW", decltype(::ExpandEnvironmentStringsW)>;

// Replaces the two enumeration functions: `subkeys` and `values` answer the calls, which are
// recorded.
class RegistryIteratorCallsTest : public ::testing::Test {
 protected:
  struct SubkeyCall {
    DWORD index;
    wchar_t* name;
    DWORD* length;
  };
  struct ValueCall {
    DWORD index;
    wchar_t* name;
    DWORD* length;
    DWORD* type;
    BYTE* data;
    DWORD* size;
  };

  // Without a terminating zero: only the length tells where the name ends.
  static LSTATUS GiveName(const std::wstring& name, wchar_t* buffer, DWORD* length) {
    std::ranges::copy(name, buffer);
    *length = static_cast<DWORD>(name.size());
    return ERROR_SUCCESS;
  }
  static LSTATUS GiveBytes(const ValueCall& call, const std::wstring& name, const Bytes& bytes) {
    *call.type = REG_BINARY;
    std::ranges::copy(bytes, call.data);
    *call.size = static_cast<DWORD>(bytes.size());
    return GiveName(name, call.name, call.length);
  }
  static std::shared_ptr<RegistryStorage> Open(const std::wstring& path) {
    return RegistryStorage::Create(HKEY_LOCAL_MACHINE, StoragePath(path), nullptr).value();
  }
  static StorageIterator Iterate(const std::wstring& path) {
    return Open(path)->Iterate(StoragePath()).value();
  }
  std::vector<std::string> TakeCalls() { return std::exchange(calls, {}); }

  testing_support::RegistrySandbox sandbox;
  std::function<LSTATUS(const SubkeyCall&)> subkeys = [](auto&&...) { return ERROR_NO_MORE_ITEMS; };
  std::function<LSTATUS(const ValueCall&)> values = [](auto&&...) { return ERROR_NO_MORE_ITEMS; };
  // A call: function, index, and room for the name in characters and for the data in bytes.
  std::vector<std::string> calls;
  std::set<HKEY> keys;

  ImportHook<"RegEnumKeyExW", decltype(::RegEnumKeyExW)> subkeyHook{
      [this](HKEY key, DWORD index, LPWSTR name, LPDWORD length, LPDWORD reserved, LPWSTR keyClass,
             LPDWORD classLength, PFILETIME time) {
        keys.insert(key);
        calls.push_back("key " + std::to_string(index) + ": " + std::to_string(*length));
        EXPECT_EQ(reserved, nullptr);
        EXPECT_EQ(keyClass, nullptr);
        EXPECT_EQ(classLength, nullptr);
        EXPECT_EQ(time, nullptr);
        return subkeys({index, name, length});
      }};
  ImportHook<"RegEnumValueW", decltype(::RegEnumValueW)> valueHook{
      [this](HKEY key, DWORD index, LPWSTR name, LPDWORD length, LPDWORD reserved, LPDWORD type,
             LPBYTE data, LPDWORD size) {
        keys.insert(key);
        calls.push_back("value " + std::to_string(index) + ": " + std::to_string(*length) + ", " +
                        std::to_string(*size));
        EXPECT_EQ(reserved, nullptr);
        return values({index, name, length, type, data, size});
      }};
};

TEST_F(RegistryIteratorCallsTest, AsksTheKeyForSubkeysThenForValuesThenNoMore) {
  subkeys = [](const SubkeyCall& call) -> LSTATUS {
    return call.index < 2 ? GiveName(L"k", call.name, call.length) : ERROR_NO_MORE_ITEMS;
  };
  values = [](const ValueCall& call) -> LSTATUS {
    return call.index < 2 ? GiveBytes(call, L"v", {1}) : ERROR_NO_MORE_ITEMS;
  };
  HKEY opened = nullptr;
  OpenHook hook([&](HKEY key, LPCWSTR path, DWORD options, REGSAM access, PHKEY result) {
    EXPECT_STREQ(path, L"B\\C");
    EXPECT_EQ(options, 0U);
    EXPECT_EQ(access, 0x20019U);
    const LSTATUS status = hook.Original()(key, path, options, access, result);
    opened = *result;
    return status;
  });
  sandbox.CreateKey(L"K\\B\\C");
  auto iterator = Open(L"K")->Iterate(StoragePath(L"B/C")).value();
  EXPECT_THAT(TakeCalls(), IsEmpty());
  for (const wchar_t* path : {L"B\\C\\k", L"B\\C\\k", L"B\\C\\v", L"B\\C\\v"}) {
    EXPECT_EQ(iterator.Next().value().path.Text(), path);
  }
  EXPECT_EQ(ErrorOf(iterator.Next()), EndOfIteration());
  // Each call offers the whole room. The end of the subkeys leads to the values in the same step.
  EXPECT_THAT(TakeCalls(),
              ElementsAre("key 0: 16383", "key 1: 16383", "key 2: 16383", "value 0: 16383, 256",
                          "value 1: 16383, 256", "value 2: 16383, 256"));
  EXPECT_EQ(ErrorOf(iterator.Next()), EndOfIteration());
  EXPECT_EQ(ErrorOf(iterator.Next()), EndOfIteration());
  EXPECT_THAT(TakeCalls(), IsEmpty());
  EXPECT_THAT(keys, ElementsAre(opened));
}

TEST_F(RegistryIteratorCallsTest, ALongNameOrValueDoesNotShineThroughAShorterOne) {
  subkeys = [](const SubkeyCall& call) -> LSTATUS {
    return call.index == 2
               ? ERROR_NO_MORE_ITEMS
               : GiveName(call.index == 0 ? L"long name" : L"n", call.name, call.length);
  };
  values = [](const ValueCall& call) {
    return call.index == 0 ? GiveBytes(call, L"long name", {1, 2, 3}) : GiveBytes(call, L"n", {4});
  };
  auto iterator = Iterate(L"K");
  EXPECT_EQ(iterator.Next().value().path.Text(), L"long name");
  EXPECT_EQ(iterator.Next().value().path.Text(), L"n");
  EXPECT_EQ(iterator.Next().value().value.Get<Bytes>(), (Bytes{1, 2, 3}));
  const auto entry = iterator.Next();
  EXPECT_EQ(entry->path.Text(), L"n");
  EXPECT_EQ(entry->value.Get<Bytes>(), Bytes{4});
}

TEST_F(RegistryIteratorCallsTest, GrowsTheBufferForAValueThatIsTooLong) {
  const Bytes bytes(300, 7);
  Bytes found;
  values = [&](const ValueCall& call) -> LSTATUS {
    found.assign(call.data, call.data + *call.size);
    // A failed call overwrites all of its output arguments too.
    std::fill_n(call.data, *call.size, BYTE{0xEE});
    *call.length = 3;
    if (*call.size < bytes.size()) {
      *call.size = static_cast<DWORD>(bytes.size());
      return ERROR_MORE_DATA;
    }
    return GiveBytes(call, L"v", bytes);
  };
  auto iterator = Iterate(L"K");
  const auto entry = iterator.Next();
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->path.Text(), L"v");
  EXPECT_EQ(entry->value.Get<Bytes>(), bytes);
  EXPECT_THAT(TakeCalls(),
              ElementsAre("key 0: 16383", "value 0: 16383, 256", "value 0: 16383, 300"));
  // The bytes by which it grew are zero.
  EXPECT_EQ(Bytes(found.begin() + 256, found.end()), Bytes(44, 0));
}

TEST_F(RegistryIteratorCallsTest, GrowsTheBufferAgainForAValueThatGrowsMeanwhile) {
  const std::vector<DWORD> sizes{257, 1000, 5000, 4000};
  values = [&, next = sizes.begin()](const ValueCall& call) mutable -> LSTATUS {
    const DWORD size = *next++;
    if (*call.size < size) {
      *call.size = size;
      return ERROR_MORE_DATA;
    }
    return GiveBytes(call, L"v", Bytes(size, 7));
  };
  auto iterator = Iterate(L"K");
  EXPECT_EQ(iterator.Next().value().value.Get<Bytes>(), Bytes(4000, 7));
  EXPECT_THAT(TakeCalls(), ElementsAre("key 0: 16383", "value 0: 16383, 256", "value 0: 16383, 257",
                                       "value 0: 16383, 1000", "value 0: 16383, 5000"));
}

TEST_F(RegistryIteratorCallsTest, OffersTheWholeBufferAfterItGrew) {
  std::vector<DWORD> offered;
  values = [&](const ValueCall& call) -> LSTATUS {
    offered.push_back(*call.size);
    if (*call.size < 300) {
      *call.size = 300;
      return ERROR_MORE_DATA;
    }
    return GiveBytes(call, L"v", {1});
  };
  auto iterator = Iterate(L"K");
  EXPECT_TRUE(iterator.Next());
  EXPECT_TRUE(iterator.Next());
  Bytes buffer(256);
  buffer.resize(300);
  EXPECT_THAT(offered, ElementsAre(256, 300, buffer.capacity()));
}

TEST_F(RegistryIteratorCallsTest, MoreDataWithRoomEnoughIsAnErrorThatKeepsThePosition) {
  std::vector<DWORD> sizes{0, 4, 256};
  values = [&](const ValueCall& call) -> LSTATUS {
    if (sizes.empty()) {
      return GiveBytes(call, L"v", {1});
    }
    *call.size = sizes.back();
    *call.length = 5;
    sizes.pop_back();
    return ERROR_MORE_DATA;
  };
  auto iterator = Iterate(L"K");
  EXPECT_EQ(ErrorOf(iterator.Next()), SystemError(ERROR_MORE_DATA));
  EXPECT_EQ(ErrorOf(iterator.Next()), SystemError(ERROR_MORE_DATA));
  EXPECT_EQ(ErrorOf(iterator.Next()), SystemError(ERROR_MORE_DATA));
  EXPECT_TRUE(iterator.Next());
  EXPECT_THAT(TakeCalls(), ElementsAre("key 0: 16383", "value 0: 16383, 256", "value 0: 16383, 256",
                                       "value 0: 16383, 256", "value 0: 16383, 256"));
}

// Lets the next step fail in each of these ways, and as for a missing key, and then succeed.
void ExpectFailures(StorageIterator& iterator, std::initializer_list<LSTATUS> failures,
                    LSTATUS& status) {
  for (const LSTATUS failure : failures) {
    status = failure;
    EXPECT_EQ(ErrorOf(iterator.Next()), SystemError(failure));
  }
  status = ERROR_FILE_NOT_FOUND;
  EXPECT_EQ(ErrorOf(iterator.Next()), Error::not_found);
  status = ERROR_SUCCESS;
  EXPECT_TRUE(iterator.Next());
}

TEST_F(RegistryIteratorCallsTest, AFailureAmongTheSubkeysKeepsThePosition) {
  LSTATUS status = ERROR_SUCCESS;
  subkeys = [&](const SubkeyCall& call) -> LSTATUS {
    return status != ERROR_SUCCESS ? status : GiveName(L"k", call.name, call.length);
  };
  auto iterator = Iterate(L"K");
  EXPECT_TRUE(iterator.Next());
  ExpectFailures(iterator, {ERROR_ACCESS_DENIED, ERROR_KEY_DELETED, ERROR_MORE_DATA}, status);
  EXPECT_THAT(TakeCalls(), ElementsAre("key 0: 16383", "key 1: 16383", "key 1: 16383",
                                       "key 1: 16383", "key 1: 16383", "key 1: 16383"));
}

TEST_F(RegistryIteratorCallsTest, AFailureAmongTheValuesKeepsThePosition) {
  LSTATUS status = ERROR_SUCCESS;
  values = [&](const ValueCall& call) -> LSTATUS {
    return status != ERROR_SUCCESS ? status : GiveBytes(call, L"v", {1});
  };
  auto iterator = Iterate(L"K");
  EXPECT_TRUE(iterator.Next());
  TakeCalls();
  ExpectFailures(iterator, {ERROR_ACCESS_DENIED, ERROR_KEY_DELETED}, status);
  EXPECT_THAT(TakeCalls(), Each("value 1: 16383, 256"));
}

TEST_F(RegistryIteratorCallsTest, AValueThatCannotBeConvertedIsPassedOver) {
  const ExpandHook expand([](auto&&...) -> DWORD {
    ::SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  });
  values = [&](const ValueCall& call) -> LSTATUS {
    const std::array<DWORD, 4> types{REG_FULL_RESOURCE_DESCRIPTOR, REG_EXPAND_SZ, 4711, REG_NONE};
    if (call.index == types.size()) {
      return ERROR_NO_MORE_ITEMS;
    }
    GiveBytes(call, L"v", {});
    *call.type = types[call.index];
    return ERROR_SUCCESS;
  };
  auto iterator = Iterate(L"K");
  EXPECT_EQ(ErrorOf(iterator.Next()), Error::unsupported_storage_value);
  EXPECT_EQ(ErrorOf(iterator.Next()), SystemError(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(ErrorOf(iterator.Next()), Error::unsupported_storage_value);
  EXPECT_TRUE(iterator.Next());
  EXPECT_EQ(ErrorOf(iterator.Next()), EndOfIteration());
  EXPECT_EQ(calls.size(), 6U);
}

}  // namespace
}  // namespace tessel::config
