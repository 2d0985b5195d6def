#include "kernel_name.h"

#include <string>

#include <gtest/gtest.h>

#include "support/registry_sandbox.h"
#include "tessel/config/registry_storage.h"

namespace tessel::config {
namespace {

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

TEST_F(KernelNameTest, IsLimitedTo254Characters) {
  const UniqueRegistryKey root = CreateKey(L"A");
  // The kernel's own name begins with a separator, which the path has not.
  const std::size_t rootLength = QueryKernelName(root.get())->Text().size() + 1;
  const std::wstring longest(254 - rootLength - 1, L'x');
  const UniqueRegistryKey fits = CreateKey(L"A\\" + longest);
  EXPECT_TRUE(QueryKernelName(fits.get()));
  const UniqueRegistryKey tooLong = CreateKey(L"A\\" + longest + L"x");
  EXPECT_FALSE(QueryKernelName(tooLong.get()));
}

TEST_F(KernelNameTest, FailsForADeletedKey) {
  const UniqueRegistryKey key = CreateKey(L"A\\B");
  ASSERT_EQ(::RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"A\\B"), ERROR_SUCCESS);
  EXPECT_FALSE(QueryKernelName(key.get()));
}

TEST_F(KernelNameTest, FailsWithoutAKey) { EXPECT_FALSE(QueryKernelName(nullptr)); }

}  // namespace
}  // namespace tessel::config
