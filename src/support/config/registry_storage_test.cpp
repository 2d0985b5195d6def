#include "tessel/config/registry_storage.h"

#include <shlwapi.h>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "support/error_codes.h"
#include "support/handle_count.h"
#include "support/import_hook.h"
#include "support/manual_wait_executor.h"
#include "support/nt_query_key.h"
#include "support/registry_sandbox.h"
#include "tessel/config/error.h"

namespace tessel::config {
namespace {

using testing_support::ErrorOf;
using testing_support::ExpectNoHandleLeft;
using testing_support::ImportHook;
using testing_support::RawDword;
using testing_support::RawText;
using testing_support::RawValue;
using testing_support::SystemError;
using namespace std::string_literals;
using Bytes = std::vector<std::uint8_t>;
using List = std::vector<StorageValue>;

class RegistryStorageTest : public ::testing::Test {
 protected:
  static std::shared_ptr<RegistryStorage> Open(const std::wstring& path,
                                               StorageOptions options = 0) {
    return RegistryStorage::Create(HKEY_LOCAL_MACHINE, StoragePath(path), nullptr, {}, options)
        .value();
  }

  testing_support::RegistrySandbox sandbox;
};

using CreateHook = ImportHook<"RegCreateKeyExW", decltype(::RegCreateKeyExW)>;
using GetHook = ImportHook<"RegGetValueW", decltype(::RegGetValueW)>;
using SetHook = ImportHook<"RegSetKeyValueW", decltype(::RegSetKeyValueW)>;
using CloseHook = ImportHook<"RegCloseKey", decltype(::RegCloseKey)>;
using DuplicateHook = ImportHook<"SHRegDuplicateHKey", decltype(::SHRegDuplicateHKey)>;
using QueryHook = ImportHook<"NtQueryKey", decltype(::NtQueryKey)>;

// --- Opening

TEST_F(RegistryStorageTest, CreatesTheKeyWhenItIsMissing) {
  EXPECT_NE(Open(L"A/B"), nullptr);
  EXPECT_TRUE(sandbox.KeyExists(L"A\\B"));
  EXPECT_NE(Open(L"read/only", kReadOnly), nullptr);
  EXPECT_TRUE(sandbox.KeyExists(L"read\\only"));
}

TEST_F(RegistryStorageTest, OpensTheKeyWithTheDocumentedArguments) {
  struct Call {
    HKEY root;
    std::wstring path;
    DWORD reserved;
    const wchar_t* keyClass;
    DWORD options;
    REGSAM access;
    const SECURITY_ATTRIBUTES* security;
    const DWORD* disposition;
  };
  std::vector<Call> calls;
  CreateHook hook([&](HKEY root, LPCWSTR path, DWORD reserved, LPWSTR keyClass, DWORD options,
                      REGSAM access, const LPSECURITY_ATTRIBUTES security, PHKEY key,
                      LPDWORD disposition) {
    calls.push_back({root, path, reserved, keyClass, options, access, security, disposition});
    return hook.Original()(root, path, reserved, keyClass, options, access, security, key,
                           disposition);
  });
  static_cast<void>(Open(L"A/B"));
  static_cast<void>(Open(L"A/B", kReadOnly));
  ASSERT_EQ(calls.size(), 2U);
  for (const Call& call : calls) {
    EXPECT_EQ(call.root, HKEY_LOCAL_MACHINE);
    EXPECT_EQ(call.path, L"A\\B");
    EXPECT_EQ(call.reserved, 0U);
    EXPECT_EQ(call.keyClass, nullptr);
    EXPECT_EQ(call.options, 0U);
    EXPECT_EQ(call.security, nullptr);
    EXPECT_EQ(call.disposition, nullptr);
  }
  EXPECT_EQ(calls[0].access, 0x2001FU);
  EXPECT_EQ(calls[1].access, 0x20019U);
}

TEST_F(RegistryStorageTest, OtherOptionBitsDoNotMakeItReadOnly) {
  EXPECT_TRUE(Open(L"A", ~kReadOnly)->SetValue(StoragePath(L"v"), StorageValue(L"x"s)));
}

TEST_F(RegistryStorageTest, OtherOptionBitsDoNotMakeItWritable) {
  sandbox.Write(L"A\\Key", L"v", RawText(L"old"));
  REGSAM opened = 0;
  CreateHook hook([&](HKEY root, LPCWSTR path, DWORD reserved, LPWSTR keyClass, DWORD options,
                      REGSAM access, const LPSECURITY_ATTRIBUTES security, PHKEY key,
                      LPDWORD disposition) {
    opened = access;
    return hook.Original()(root, path, reserved, keyClass, options, access, security, key,
                           disposition);
  });
  const auto storage = Open(L"A", ~StorageOptions{0});
  EXPECT_EQ(opened, 0x20019U);
  EXPECT_EQ(ErrorOf(storage->SetValue(StoragePath(L"Key/v"), StorageValue(L"new"s))),
            SystemError(ERROR_ACCESS_DENIED));
}

TEST_F(RegistryStorageTest, AFailureToOpenIsTheResult) {
  LSTATUS status = ERROR_ACCESS_DENIED;
  int duplicates = 0;
  const CreateHook create([&](auto&&...) { return status; });
  const DuplicateHook duplicate([&](HKEY key) {
    ++duplicates;
    return key;
  });
  const auto open = [] {
    return ErrorOf(RegistryStorage::Create(HKEY_LOCAL_MACHINE, StoragePath(L"A"), nullptr));
  };
  EXPECT_EQ(open(), SystemError(ERROR_ACCESS_DENIED));
  status = ERROR_FILE_NOT_FOUND;
  EXPECT_EQ(open(), Error::not_found);
  status = ERROR_PATH_NOT_FOUND;
  EXPECT_EQ(open(), SystemError(ERROR_PATH_NOT_FOUND));
  EXPECT_EQ(duplicates, 0);
}

TEST_F(RegistryStorageTest, AnEmptyPathOpensTheRoot) {
  const auto storage = Open(L"");
  EXPECT_TRUE(storage->SetValue(StoragePath(L"v"), StorageValue(L"x"s)));
  EXPECT_EQ(sandbox.Read(L"", L"v"), RawText(L"x"));
}

TEST_F(RegistryStorageTest, OwnsADuplicateOfTheRoot) {
  HKEY root = nullptr;
  ASSERT_EQ(::RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"A", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                              &root, nullptr),
            ERROR_SUCCESS);
  std::map<HKEY, int> open;
  HKEY duplicated = nullptr;
  CreateHook create([&](HKEY parent, LPCWSTR path, DWORD reserved, LPWSTR keyClass, DWORD options,
                        REGSAM access, const LPSECURITY_ATTRIBUTES security, PHKEY key,
                        LPDWORD disposition) {
    const LSTATUS status = create.Original()(parent, path, reserved, keyClass, options, access,
                                             security, key, disposition);
    ++open[*key];
    return status;
  });
  DuplicateHook duplicate([&](HKEY key) {
    EXPECT_EQ(key, root);
    duplicated = duplicate.Original()(key);
    ++open[duplicated];
    return duplicated;
  });
  CloseHook close([&](HKEY key) {
    --open[key];
    return close.Original()(key);
  });
  {
    const auto storage = RegistryStorage::Create(root, StoragePath(L"B"), nullptr).value();
    EXPECT_NE(duplicated, nullptr);
    EXPECT_NE(duplicated, root);
    EXPECT_EQ(open.size(), 2U);
    for (const auto& [key, count] : open) {
      EXPECT_EQ(count, 1);
    }
  }
  for (const auto& [key, count] : open) {
    EXPECT_EQ(count, 0);
  }
  ::RegCloseKey(root);
}

TEST_F(RegistryStorageTest, WorksWithoutADuplicateOfTheRoot) {
  const DuplicateHook duplicate([](HKEY /*key*/) -> HKEY { return nullptr; });
  const auto storage = Open(L"A");
  EXPECT_TRUE(storage->SetValue(StoragePath(L"v"), StorageValue(L"x"s)));
}

// --- Names

TEST_F(RegistryStorageTest, ItsNameIsMadeFromRootAndPath) {
  const CreateHook create([](HKEY, LPCWSTR, DWORD, LPWSTR, DWORD, REGSAM,
                             const LPSECURITY_ATTRIBUTES, PHKEY key, LPDWORD) {
    *key = nullptr;
    return LSTATUS{ERROR_SUCCESS};
  });
  const DuplicateHook duplicate([](HKEY /*key*/) -> HKEY { return nullptr; });
  const auto name = [](HKEY root, const wchar_t* path) {
    return RegistryStorage::Create(root, StoragePath(path), nullptr).value()->DisplayName();
  };
  EXPECT_EQ(name(HKEY_CURRENT_USER, L"A"), L"HKCU\\A");
  EXPECT_EQ(name(HKEY_CLASSES_ROOT, L"A"), L"HKCR\\A");
  EXPECT_EQ(name(HKEY_LOCAL_MACHINE, L"SOFTWARE/A"), L"HKLM\\SOFTWARE\\A");
  EXPECT_EQ(name(HKEY_USERS, L"A"), L"HKU\\A");
  EXPECT_EQ(name(HKEY_PERFORMANCE_DATA, L"A"), L"HKPD\\A");
  EXPECT_EQ(name(HKEY_PERFORMANCE_TEXT, L"A"), L"HKPT\\A");
  EXPECT_EQ(name(HKEY_PERFORMANCE_NLSTEXT, L"A"), L"HKPN\\A");
  EXPECT_EQ(name(HKEY_CURRENT_CONFIG, L"A"), L"HKCC\\A");
  EXPECT_EQ(name(HKEY_LOCAL_MACHINE, L""), L"HKLM");
  EXPECT_EQ(name(nullptr, L"A"), L"\\A");
  EXPECT_EQ(name(nullptr, L""), L"RegistryStorage");
}

TEST_F(RegistryStorageTest, KeepsAGivenName) {
  EXPECT_EQ(RegistryStorage::Create(HKEY_LOCAL_MACHINE, StoragePath(L"A"), nullptr, L"given")
                .value()
                ->DisplayName(),
            L"given");
}

TEST_F(RegistryStorageTest, RecordsTheKernelNameOfItsKey) {
  struct Call {
    int informationClass;
    ULONG length;
  };
  std::vector<Call> calls;
  QueryHook hook([&](HANDLE key, int informationClass, PVOID buffer, ULONG length, PULONG result) {
    calls.push_back({informationClass, length});
    return hook.Original()(key, informationClass, buffer, length, result);
  });
  const auto storage = Open(L"A/B");
  EXPECT_TRUE(storage->KernelName().Text().ends_with(L"\\A\\B"));
  EXPECT_EQ(storage->KernelName().Separator(), L'\\');
  ASSERT_EQ(calls.size(), 1U);
  EXPECT_EQ(calls[0].informationClass, 3);
  EXPECT_EQ(calls[0].length, 512U);
}

TEST_F(RegistryStorageTest, AFailedNameQueryLeavesTheKernelNameEmpty) {
  const QueryHook hook([](auto&&...) { return static_cast<NTSTATUS>(0xC0000001); });
  const auto storage = Open(L"A");
  EXPECT_TRUE(storage->KernelName().Empty());
  EXPECT_EQ(storage->KernelName().Separator(), L'\\');
}

// --- Reading

TEST_F(RegistryStorageTest, ReadsEachType) {
  sandbox.Write(L"A", L"none", {REG_NONE, {}});
  sandbox.Write(L"A", L"text", RawText(L"text"));
  sandbox.Write(L"A", L"expand", RawText(L"%OSTREL_UNSET%", REG_EXPAND_SZ));
  sandbox.Write(L"A", L"bytes", {REG_BINARY, {1, 2, 3}});
  sandbox.Write(L"A", L"number", RawDword(7));
  sandbox.Write(L"A", L"list", RawText(L"a\0b\0"s, REG_MULTI_SZ));
  sandbox.Write(L"A", L"wide", {REG_QWORD, {8, 7, 6, 5, 4, 3, 2, 1}});
  const auto storage = Open(L"A");
  const auto read = [&](const wchar_t* name) {
    return storage->GetValue(StoragePath(name)).value();
  };
  EXPECT_EQ(read(L"none").Index(), 0U);
  EXPECT_EQ(read(L"text").Get<std::wstring>(), L"text");
  EXPECT_EQ(read(L"expand").Get<std::wstring>(), L"%OSTREL_UNSET%\0"s);
  EXPECT_EQ(read(L"bytes").Get<Bytes>(), (Bytes{1, 2, 3}));
  EXPECT_EQ(read(L"number").Get<std::uint32_t>(), 7U);
  EXPECT_EQ(read(L"list").Get<List>().at(1).Get<std::wstring>(), L"b");
  EXPECT_EQ(read(L"wide").Get<std::uint64_t>(), 0x0102030405060708U);
}

TEST_F(RegistryStorageTest, ReadsBelowItsKeyWithoutCaching) {
  sandbox.Write(L"A\\B\\C", L"v", RawText(L"first"));
  sandbox.Write(L"A\\B", L"na\\me", RawText(L"backslash"));
  sandbox.Write(L"A", L"", RawText(L"default"));
  const auto storage = Open(L"A");
  const StoragePath path(L"B/C/v");
  EXPECT_EQ(storage->GetValue(path).value().Get<std::wstring>(), L"first");
  sandbox.Write(L"A\\B\\C", L"v", RawText(L"second"));
  EXPECT_EQ(storage->GetValue(path).value().Get<std::wstring>(), L"second");
  EXPECT_EQ(storage->GetValue(StoragePath(L"B/na\\me")).value().Get<std::wstring>(), L"backslash");
  EXPECT_EQ(storage->GetValue(StoragePath(L"B\\C\\v", L'\\')).value().Get<std::wstring>(),
            L"second");
  EXPECT_EQ(storage->GetValue(StoragePath()).value().Get<std::wstring>(), L"default");
}

TEST_F(RegistryStorageTest, WhatIsMissingIsNotFound) {
  const auto storage = Open(L"A");
  EXPECT_EQ(ErrorOf(storage->GetValue(StoragePath(L"v"))), Error::not_found);
  EXPECT_EQ(ErrorOf(storage->GetValue(StoragePath(L"B/C/v"))), Error::not_found);
}

TEST_F(RegistryStorageTest, AValueKeepsItsStorageAlive) {
  sandbox.Write(L"A", L"v", RawDword(1));
  auto storage = Open(L"A");
  const auto* address = storage.get();
  const auto value = storage->GetValue(StoragePath(L"v")).value();
  storage.reset();
  EXPECT_EQ(value.Owner().get(), address);
  EXPECT_TRUE(value.Owner()->GetValue(StoragePath(L"v")));
}

TEST_F(RegistryStorageTest, ReadsValuesOfAnySizeWhole) {
  const auto storage = Open(L"A");
  for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{255}, std::size_t{256},
                                 std::size_t{257}, std::size_t{1} << 20U}) {
    Bytes bytes(size);
    for (std::size_t index = 0; index < size; ++index) {
      bytes[index] = static_cast<std::uint8_t>(index * 7);
    }
    sandbox.Write(L"A", L"v", {REG_BINARY, bytes});
    EXPECT_EQ(storage->GetValue(StoragePath(L"v")).value().Get<Bytes>(), bytes) << size;
  }
}

struct ReadCall {
  std::wstring keyPath;
  std::wstring valueName;
  DWORD flags;
  bool hasBuffer;
  DWORD size;
};

TEST_F(RegistryStorageTest, TakesPathsOfAnyLength) {
  const auto storage = Open(L"A");
  const std::wstring key = L"subkey/" + std::wstring(50, L'k');
  const std::wstring keyInRegistry = L"A\\subkey\\" + std::wstring(50, L'k');
  // Paths of around 128 characters, for which the buffer has room, and so many that some fill the
  // heap's blocks exactly: a write past the end would be found.
  for (std::size_t length = 60; length <= 90; ++length) {
    const std::wstring name(length, L'v');
    const StoragePath path = StoragePath(key).Join(name);
    ASSERT_TRUE(storage->SetValue(path, StorageValue(std::uint32_t{7}))) << length;
    EXPECT_EQ(sandbox.Read(keyInRegistry, name), RawDword(7)) << length;
    EXPECT_EQ(storage->GetValue(path).value().Get<std::uint32_t>(), 7) << length;
    ASSERT_TRUE(storage->SetValue(StoragePath(name), StorageValue(std::uint32_t{8}))) << length;
    EXPECT_EQ(storage->GetValue(StoragePath(name)).value().Get<std::uint32_t>(), 8) << length;
  }
}

TEST_F(RegistryStorageTest, TakesPathsOfManyKeys) {
  const auto storage = Open(L"A");
  std::wstring keys = L"B";
  std::wstring keysInRegistry = L"A\\B";
  for (std::uint32_t depth = 1; depth <= 4; ++depth) {
    const StoragePath path = StoragePath(keys).Join(L"v");
    ASSERT_TRUE(storage->SetValue(path, StorageValue(depth)));
    EXPECT_EQ(sandbox.Read(keysInRegistry, L"v"), RawDword(depth)) << depth;
    EXPECT_EQ(storage->GetValue(path).value().Get<std::uint32_t>(), depth);
    keys += L"/C";
    keysInRegistry += L"\\C";
  }
}

TEST_F(RegistryStorageTest, AsksForTheSizeThenReads) {
  sandbox.Write(L"A\\B", L"v", RawDword(1));
  std::vector<ReadCall> calls;
  GetHook hook([&](HKEY key, LPCWSTR path, LPCWSTR name, DWORD flags, LPDWORD type, PVOID buffer,
                   LPDWORD size) {
    calls.push_back({path, name, flags, buffer != nullptr, *size});
    return hook.Original()(key, path, name, flags, type, buffer, size);
  });
  const auto storage = Open(L"A");
  EXPECT_EQ(storage->GetValue(StoragePath(L"B/v")).value().Get<std::uint32_t>(), 1U);
  ASSERT_EQ(calls.size(), 2U);
  for (const ReadCall& call : calls) {
    EXPECT_EQ(call.keyPath, L"B");
    EXPECT_EQ(call.valueName, L"v");
    EXPECT_EQ(call.flags, 0x1000FFFFU);
  }
  EXPECT_FALSE(calls[0].hasBuffer);
  EXPECT_EQ(calls[0].size, 0U);
  EXPECT_TRUE(calls[1].hasBuffer);
  EXPECT_EQ(calls[1].size, 4U);
}

// The platform ends such a text with a zero, for which the size that it reported has no room. Wine
// 8 adds no zero.
TEST_F(RegistryStorageTest, ReadsTextsThatAreStoredWithoutTheirTerminator) {
  const auto storage = Open(L"A");
  for (const DWORD type : {DWORD{REG_SZ}, DWORD{REG_MULTI_SZ}}) {
    RawValue unterminated = RawText(L"ab", type);
    unterminated.data.resize(2 * sizeof(wchar_t));
    sandbox.Write(L"A", L"v", unterminated);
    const auto value = storage->GetValue(StoragePath(L"v"));
    ASSERT_TRUE(value) << value.error();
    const StorageValue text = type == REG_SZ ? *value : value->Get<List>().at(0);
    EXPECT_EQ(text.Get<std::wstring>(), L"ab");
  }
}

// A registry value whose size differs from call to call.
class ChangingValueTest : public RegistryStorageTest {
 protected:
  // The size of the value at each call; the registry answers for a value of that many bytes.
  Bytes ReadWith(std::vector<DWORD> sizes) {
    std::size_t call = 0;
    const GetHook hook(
        [&](HKEY, LPCWSTR, LPCWSTR, DWORD, LPDWORD type, PVOID buffer, LPDWORD size) -> LSTATUS {
          if (call == sizes.size()) {
            ADD_FAILURE() << "a call too many";
            return ERROR_INVALID_FUNCTION;
          }
          const DWORD available = *size;
          *size = sizes[call++];
          *type = REG_BINARY;
          if (buffer == nullptr) {
            return ERROR_SUCCESS;
          }
          if (available < *size) {
            return ERROR_MORE_DATA;
          }
          std::fill_n(static_cast<std::uint8_t*>(buffer), *size, static_cast<std::uint8_t>(call));
          return ERROR_SUCCESS;
        });
    auto bytes = Open(L"A")->GetValue(StoragePath(L"v")).value().Get<Bytes>();
    EXPECT_EQ(call, sizes.size());
    return bytes;
  }
};

TEST_F(ChangingValueTest, IsReadAgainWhenItGrew) {
  EXPECT_EQ(ReadWith({4, 8, 8}), Bytes(8, 3));
  EXPECT_EQ(ReadWith({4, 8, 9, 9}), Bytes(9, 4));
  EXPECT_EQ(ReadWith({4, 300, 300}), Bytes(300, 3));
}

TEST_F(ChangingValueTest, IsReadAgainWhenItShrank) {
  EXPECT_EQ(ReadWith({8, 4, 4}), Bytes(4, 3));
  EXPECT_EQ(ReadWith({8, 0, 0}), Bytes());
  EXPECT_EQ(ReadWith({300, 4, 4}), Bytes(4, 3));
  EXPECT_EQ(ReadWith({300, 4, 300, 300}), Bytes(300, 4));
}

TEST_F(ChangingValueTest, AnEmptyValueTakesOneCall) { EXPECT_EQ(ReadWith({0}), Bytes()); }

TEST_F(RegistryStorageTest, AFailureToReadIsTheResult) {
  LSTATUS status = ERROR_ACCESS_DENIED;
  int calls = 0;
  const GetHook hook([&](auto&&...) {
    ++calls;
    return status;
  });
  const auto storage = Open(L"A");
  EXPECT_EQ(ErrorOf(storage->GetValue(StoragePath(L"v"))), SystemError(ERROR_ACCESS_DENIED));
  status = ERROR_KEY_DELETED;
  EXPECT_EQ(ErrorOf(storage->GetValue(StoragePath(L"v"))), SystemError(ERROR_KEY_DELETED));
  status = ERROR_FILE_NOT_FOUND;
  EXPECT_EQ(ErrorOf(storage->GetValue(StoragePath(L"v"))), Error::not_found);
  EXPECT_EQ(calls, 3);
}

TEST_F(RegistryStorageTest, ReadsTypesWithoutAnAlternativeAsUnsupported) {
  const GetHook hook([](HKEY, LPCWSTR, LPCWSTR, DWORD, LPDWORD type, PVOID, LPDWORD size) {
    *type = REG_FULL_RESOURCE_DESCRIPTOR;
    *size = 0;
    return LSTATUS{ERROR_SUCCESS};
  });
  EXPECT_EQ(ErrorOf(Open(L"A")->GetValue(StoragePath(L"v"))), Error::unsupported_storage_value);
}

// --- Writing

TEST_F(RegistryStorageTest, WritesWithTheRegistrysTypes) {
  const auto storage = Open(L"A");
  const auto write = [&](const StorageValue& value) {
    EXPECT_TRUE(storage->SetValue(StoragePath(L"v"), value));
    return sandbox.Read(L"A", L"v");
  };
  EXPECT_EQ(write(StorageValue()), (RawValue{REG_NONE, {}}));
  EXPECT_EQ(write(StorageValue(std::int32_t{5})), RawDword(5));
  EXPECT_EQ(write(StorageValue(std::uint32_t{5})), RawDword(5));
  EXPECT_EQ(write(StorageValue(std::int64_t{5})), (RawValue{REG_QWORD, {5, 0, 0, 0, 0, 0, 0, 0}}));
  EXPECT_EQ(write(StorageValue(std::uint64_t{5})), (RawValue{REG_QWORD, {5, 0, 0, 0, 0, 0, 0, 0}}));
  EXPECT_EQ(write(StorageValue(L"text"s)), RawText(L"text"));
  EXPECT_EQ(write(StorageValue(Bytes{1, 2})), (RawValue{REG_BINARY, {1, 2}}));
  EXPECT_EQ(write(StorageValue(List{StorageValue(L"a"s), StorageValue(L"b"s)})),
            RawText(L"a\0b\0"s, REG_MULTI_SZ));
}

TEST_F(RegistryStorageTest, ANumberWrittenSignedReadsUnsigned) {
  const auto storage = Open(L"A");
  ASSERT_TRUE(storage->SetValue(StoragePath(L"v"), StorageValue(std::int32_t{-1})));
  EXPECT_EQ(storage->GetValue(StoragePath(L"v")).value().Get<std::uint32_t>(), 0xFFFFFFFFU);
}

TEST_F(RegistryStorageTest, CreatesTheKeysOnThePath) {
  const auto storage = Open(L"A");
  EXPECT_TRUE(storage->SetValue(StoragePath(L"B/C/na\\me"), StorageValue(L"x"s)));
  EXPECT_EQ(sandbox.Read(L"A\\B\\C", L"na\\me"), RawText(L"x"));
  EXPECT_TRUE(storage->SetValue(StoragePath(), StorageValue(L"default"s)));
  EXPECT_EQ(sandbox.Read(L"A", L""), RawText(L"default"));
}

TEST_F(RegistryStorageTest, WritesInOneCall) {
  struct Call {
    std::wstring keyPath;
    std::wstring valueName;
    DWORD type;
    DWORD size;
  };
  std::vector<Call> calls;
  SetHook hook([&](HKEY key, LPCWSTR path, LPCWSTR name, DWORD type, LPCVOID data, DWORD size) {
    calls.push_back({path, name, type, size});
    return hook.Original()(key, path, name, type, data, size);
  });
  const auto storage = Open(L"A");
  EXPECT_TRUE(storage->SetValue(StoragePath(L"v"), StorageValue(L"abc"s)));
  EXPECT_TRUE(storage->SetValue(StoragePath(L"B/C/v"), StorageValue(List())));
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_EQ(calls[0].keyPath, L"");
  EXPECT_EQ(calls[0].valueName, L"v");
  EXPECT_EQ(calls[0].type, DWORD{REG_SZ});
  EXPECT_EQ(calls[0].size, 8U);
  EXPECT_EQ(calls[1].keyPath, L"B\\C");
  EXPECT_EQ(calls[1].size, 2U);
}

TEST_F(RegistryStorageTest, WritesNothingForAValueThatTheRegistryCannotHold) {
  int calls = 0;
  const SetHook hook([&](auto&&...) {
    ++calls;
    return LSTATUS{ERROR_SUCCESS};
  });
  const auto storage = Open(L"A");
  for (const StorageValue& value :
       {StorageValue(true), StorageValue(1.0F), StorageValue(1.0), StorageValue(StoragePath(L"A")),
        StorageValue(List{StorageValue(L"a"s), StorageValue(std::uint32_t{1})})}) {
    EXPECT_EQ(ErrorOf(storage->SetValue(StoragePath(L"v"), value)),
              Error::unsupported_storage_value);
  }
  EXPECT_EQ(calls, 0);
}

TEST_F(RegistryStorageTest, AFailureToWriteIsTheResult) {
  LSTATUS status = ERROR_ACCESS_DENIED;
  const SetHook hook([&](auto&&...) { return status; });
  const auto storage = Open(L"A");
  const auto write = [&] {
    return ErrorOf(storage->SetValue(StoragePath(L"v"), StorageValue(L"x"s)));
  };
  EXPECT_EQ(write(), SystemError(ERROR_ACCESS_DENIED));
  status = ERROR_FILE_NOT_FOUND;
  EXPECT_EQ(write(), Error::not_found);
  status = ERROR_PATH_NOT_FOUND;
  EXPECT_EQ(write(), SystemError(ERROR_PATH_NOT_FOUND));
}

// Nowhere, also not below a subkey, where the registry itself would let the write pass.
TEST_F(RegistryStorageTest, WritesNothingThroughAStorageOpenedForReading) {
  for (const wchar_t* key : {L"A", L"A\\Key", L"A\\Key\\Below"}) {
    sandbox.Write(key, L"v", RawText(L"old"));
  }
  const auto storage = Open(L"A", kReadOnly);
  for (const wchar_t* path : {L"", L"v", L"w", L"Key/v", L"Key/Below/v", L"Missing/v"}) {
    EXPECT_EQ(ErrorOf(storage->SetValue(StoragePath(path), StorageValue(L"new"s))),
              SystemError(ERROR_ACCESS_DENIED))
        << path;
  }
  for (const wchar_t* key : {L"A", L"A\\Key", L"A\\Key\\Below"}) {
    EXPECT_EQ(sandbox.Read(key, L"v"), RawText(L"old"));
  }
  EXPECT_FALSE(sandbox.Read(L"A", L"w"));
  EXPECT_FALSE(sandbox.KeyExists(L"A\\Missing"));
  EXPECT_EQ(storage->GetValue(StoragePath(L"Key/v")).value().Get<std::wstring>(), L"old");
}

TEST_F(RegistryStorageTest, AStorageOpenedForReadingDoesNotAskTheRegistryToWrite) {
  int calls = 0;
  const SetHook hook([&](auto&&...) {
    ++calls;
    return LSTATUS{ERROR_SUCCESS};
  });
  const auto storage = Open(L"A", kReadOnly);
  EXPECT_EQ(ErrorOf(storage->SetValue(StoragePath(L"v"), StorageValue(L"new"s))),
            SystemError(ERROR_ACCESS_DENIED));
  // A value that no storage can write is refused for that reason also here.
  EXPECT_EQ(ErrorOf(storage->SetValue(StoragePath(L"v"), StorageValue(true))),
            Error::unsupported_storage_value);
  EXPECT_EQ(calls, 0);
}

// --- Without an open key

LSTATUS CreateNoKey(HKEY /*root*/, LPCWSTR /*path*/, DWORD /*reserved*/, LPWSTR /*keyClass*/,
                    DWORD /*options*/, REGSAM /*access*/, const LPSECURITY_ATTRIBUTES /*security*/,
                    PHKEY key, LPDWORD /*disposition*/) {
  *key = nullptr;
  return ERROR_SUCCESS;
}

TEST_F(RegistryStorageTest, WithoutAnOpenKeyNothingReachesTheRegistry) {
  const CreateHook create(CreateNoKey);
  int calls = 0;
  const GetHook get([&](auto&&...) {
    ++calls;
    return LSTATUS{ERROR_SUCCESS};
  });
  const SetHook set([&](auto&&...) {
    ++calls;
    return LSTATUS{ERROR_SUCCESS};
  });
  const auto storage = Open(L"A");
  EXPECT_EQ(ErrorOf(storage->GetValue(StoragePath(L"v"))), SystemError(ERROR_INVALID_HANDLE));
  // Refused before the value is converted.
  EXPECT_EQ(ErrorOf(storage->SetValue(StoragePath(L"v"), StorageValue(true))),
            SystemError(ERROR_INVALID_HANDLE));
  EXPECT_EQ(ErrorOf(Open(L"A", kReadOnly)->SetValue(StoragePath(L"v"), StorageValue(L"x"s))),
            SystemError(ERROR_INVALID_HANDLE));
  EXPECT_EQ(ErrorOf(storage->Iterate(StoragePath())), SystemError(ERROR_INVALID_HANDLE));
  EXPECT_EQ(calls, 0);
}

TEST_F(RegistryStorageTest, WithoutAnOpenKeyNoKeyIsRegistered) {
  const CreateHook create(CreateNoKey);
  std::vector<HKEY> registered;
  const ImportHook<"RegNotifyChangeKeyValue", decltype(::RegNotifyChangeKeyValue)> notify(
      [&](HKEY key, BOOL /*subtree*/, DWORD /*filter*/, HANDLE /*event*/, BOOL /*asynchronous*/) {
        registered.push_back(key);
        return LSTATUS{ERROR_INVALID_HANDLE};
      });
  const auto executor = std::make_shared<testing_support::ManualWaitExecutor>();
  const auto storage =
      RegistryStorage::Create(HKEY_LOCAL_MACHINE, StoragePath(L"A"), executor).value();
  EXPECT_TRUE(storage->KernelName().Empty());
  EXPECT_EQ(ErrorOf(storage->ConnectStorageEvent([](StorageEvent /*event*/) {})),
            SystemError(ERROR_INVALID_HANDLE));
  EXPECT_EQ(registered, std::vector<HKEY>{nullptr});
}

// --- Handles

TEST_F(RegistryStorageTest, TakesTheKeyTogetherWithOtherReaders) {
  const auto storage = Open(L"A");
  int shared = 0;
  int exclusive = 0;
  using SharedHook = ImportHook<"AcquireSRWLockShared", decltype(::AcquireSRWLockShared)>;
  using ExclusiveHook = ImportHook<"AcquireSRWLockExclusive", decltype(::AcquireSRWLockExclusive)>;
  const SharedHook sharedHook([&](PSRWLOCK lock) {
    ++shared;
    SharedHook::Original()(lock);
  });
  const ExclusiveHook exclusiveHook([&](PSRWLOCK lock) {
    ++exclusive;
    ExclusiveHook::Original()(lock);
  });
  EXPECT_TRUE(storage->SetValue(StoragePath(L"v"), StorageValue(std::uint32_t{1})));
  EXPECT_TRUE(storage->GetValue(StoragePath(L"v")));
  EXPECT_TRUE(storage->Iterate(StoragePath()));
  EXPECT_EQ(shared, 3);
  EXPECT_EQ(exclusive, 0);
}

// A call of the registry may take long. A thread that replaces the key must not wait for it.
TEST_F(RegistryStorageTest, HoldsNoLockOverCallsOfTheRegistry) {
  sandbox.Write(L"A\\Key", L"v", RawDword(1));
  const auto storage = Open(L"A");
  int held = 0;
  std::vector<std::string> calls;
  using AcquireHook = ImportHook<"AcquireSRWLockShared", decltype(::AcquireSRWLockShared)>;
  using ReleaseHook = ImportHook<"ReleaseSRWLockShared", decltype(::ReleaseSRWLockShared)>;
  using OpenKeyHook = ImportHook<"RegOpenKeyExW", decltype(::RegOpenKeyExW)>;
  const AcquireHook acquire([&](PSRWLOCK lock) {
    ++held;
    AcquireHook::Original()(lock);
  });
  const ReleaseHook release([&](PSRWLOCK lock) {
    --held;
    ReleaseHook::Original()(lock);
  });
  const auto called = [&](const char* function) {
    EXPECT_EQ(held, 0) << function;
    calls.emplace_back(function);
  };
  const GetHook get([&](auto... arguments) {
    called("get");
    return GetHook::Original()(arguments...);
  });
  const SetHook set([&](auto... arguments) {
    called("set");
    return SetHook::Original()(arguments...);
  });
  const OpenKeyHook open([&](auto... arguments) {
    called("open");
    return OpenKeyHook::Original()(arguments...);
  });
  EXPECT_TRUE(storage->SetValue(StoragePath(L"Key/v"), StorageValue(std::uint32_t{2})));
  EXPECT_EQ(calls, std::vector<std::string>{"set"});
  calls.clear();
  EXPECT_TRUE(storage->GetValue(StoragePath(L"Key/v")));
  EXPECT_EQ(calls, (std::vector<std::string>{"get", "get"}));
  calls.clear();
  EXPECT_TRUE(storage->Iterate(StoragePath(L"Key")));
  EXPECT_EQ(calls, std::vector<std::string>{"open"});
}

TEST_F(RegistryStorageTest, AddressesTheDefaultValueByEmptyNames) {
  const auto storage = Open(L"A");
  std::vector<std::wstring> names;
  const auto note = [&](LPCWSTR key, LPCWSTR value) {
    names.emplace_back(key == nullptr ? L"null" : key);
    names.emplace_back(value == nullptr ? L"null" : value);
  };
  const ImportHook<"RegGetValueW", decltype(::RegGetValueW)> get(
      [&](HKEY, LPCWSTR key, LPCWSTR value, auto&&...) {
        note(key, value);
        return LSTATUS{ERROR_FILE_NOT_FOUND};
      });
  const ImportHook<"RegSetKeyValueW", decltype(::RegSetKeyValueW)> set(
      [&](HKEY, LPCWSTR key, LPCWSTR value, auto&&...) {
        note(key, value);
        return LSTATUS{ERROR_SUCCESS};
      });
  EXPECT_FALSE(storage->GetValue(StoragePath()));
  EXPECT_FALSE(storage->GetValue(StoragePath(L"v")));
  EXPECT_TRUE(storage->SetValue(StoragePath(), StorageValue(L"x"s)));
  EXPECT_TRUE(storage->SetValue(StoragePath(L"v"), StorageValue(L"x"s)));
  EXPECT_EQ(names, (std::vector<std::wstring>{L"", L"", L"", L"v", L"", L"", L"", L"v"}));
}

TEST_F(RegistryStorageTest, LeavesNoHandleOpen) {
  const auto use = [] {
    const auto storage = Open(L"A/B");
    EXPECT_TRUE(storage->SetValue(StoragePath(L"v"), StorageValue(std::uint32_t{1})));
    const auto value = storage->GetValue(StoragePath(L"v"));
    EXPECT_TRUE(value);
    EXPECT_FALSE(storage->GetValue(StoragePath(L"none")));
    EXPECT_FALSE(storage->SetValue(StoragePath(L"v"), StorageValue(true)));
  };
  ExpectNoHandleLeft(use);
}

}  // namespace
}  // namespace tessel::config
