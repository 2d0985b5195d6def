#include "kernel_name.h"

#include <windows.h>

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "support/import_hook.h"
#include "support/nt_query_key.h"
#include "support/registry_sandbox.h"
#include "tessel/config/registry_storage.h"

namespace tessel::config {
namespace {

using testing_support::ImportHook;

UniqueRegistryKey CreateKey(const std::wstring& path) {
  UniqueRegistryKey key;
  EXPECT_EQ(::RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                              nullptr, key.put(), nullptr),
            ERROR_SUCCESS);
  return key;
}

class KernelNameTest : public ::testing::Test {
 protected:
  testing_support::RegistrySandbox sandbox;
};

TEST_F(KernelNameTest, IsTheFullPathOfTheKey) {
  const UniqueRegistryKey key = CreateKey(L"A\\B");
  const auto name = QueryKernelName(key.get());
  ASSERT_TRUE(name);
  EXPECT_EQ(name->Separator(), L'\\');
  // Normalised: the kernel's own name begins with a separator.
  EXPECT_FALSE(name->Text().starts_with(L'\\'));
  EXPECT_TRUE(name->Text().ends_with(L"\\A\\B"));
}

TEST_F(KernelNameTest, IsWrittenWhereAStructureOfThePlatformMayLie) {
  const UniqueRegistryKey key = CreateKey(L"A\\B");
  const void* place = nullptr;
  ImportHook<"NtQueryKey", decltype(::NtQueryKey)> hook(
      [&](HANDLE queried, int informationClass, PVOID buffer, ULONG length, PULONG resultLength) {
        place = buffer;
        return hook.Original()(queried, informationClass, buffer, length, resultLength);
      });
  EXPECT_TRUE(QueryKernelName(key.get()));
  ASSERT_NE(place, nullptr);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(place) % alignof(ULONG), 0U);
}

TEST_F(KernelNameTest, IsLimitedTo253Characters) {
  const UniqueRegistryKey root = CreateKey(L"A");
  // The kernel's own name begins with a separator, and the path does not.
  const std::size_t rootLength = QueryKernelName(root.get()).value().Text().size() + 1;
  const std::wstring longest(254 - rootLength - 1, L'x');
  const UniqueRegistryKey fits = CreateKey(L"A\\" + longest);
  EXPECT_EQ(QueryKernelName(fits.get()).value().Text().size(), 253U);
  const UniqueRegistryKey tooLong = CreateKey(L"A\\" + longest + L"x");
  EXPECT_FALSE(QueryKernelName(tooLong.get()));
}

TEST_F(KernelNameTest, FailsForADeletedKey) {
  const UniqueRegistryKey key = CreateKey(L"A\\B");
  ASSERT_EQ(::RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"A\\B"), ERROR_SUCCESS);
  EXPECT_FALSE(QueryKernelName(key.get()));
}

// The buffer contains a name in each case. Only a status of zero is a success: a positive one is a
// failure as well.
TEST_F(KernelNameTest, FailsForEveryStatusButZero) {
  const UniqueRegistryKey key = CreateKey(L"A\\B");
  NTSTATUS status = 0;
  ImportHook<"NtQueryKey", decltype(::NtQueryKey)> hook(
      [&](HANDLE queried, int informationClass, PVOID buffer, ULONG length, PULONG resultLength) {
        EXPECT_EQ(hook.Original()(queried, informationClass, buffer, length, resultLength), 0);
        return status;
      });
  EXPECT_TRUE(QueryKernelName(key.get()));
  status = 0x103;
  EXPECT_FALSE(QueryKernelName(key.get()));
  status = static_cast<NTSTATUS>(0x80000005);
  EXPECT_FALSE(QueryKernelName(key.get()));
}

TEST_F(KernelNameTest, FailsWithoutAKey) { EXPECT_FALSE(QueryKernelName(nullptr)); }

}  // namespace
}  // namespace tessel::config
