#include "support/registry_sandbox.h"

#include <gtest/gtest.h>

#include "support/import_hook.h"

namespace testing_support {
namespace {

TEST(RegistrySandboxTest, HidesTheMachinesRegistry) {
  const RegistrySandbox sandbox;
  EXPECT_TRUE(sandbox.Empty());
  EXPECT_FALSE(sandbox.KeyExists(L"SOFTWARE"));
  HKEY key = nullptr;
  ASSERT_EQ(::RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"A\\B", 0, nullptr, 0, KEY_READ, nullptr, &key,
                              nullptr),
            ERROR_SUCCESS);
  ::RegCloseKey(key);
  EXPECT_TRUE(sandbox.KeyExists(L"A\\B"));
  EXPECT_FALSE(sandbox.Empty());
}

TEST(RegistrySandboxTest, KeepsValuesAsTheyAreStored) {
  const RegistrySandbox sandbox;
  sandbox.Write(L"A", L"text", RawText(L"x"));
  sandbox.Write(L"A", L"number", RawDword(1));
  EXPECT_EQ(sandbox.Read(L"A", L"text"), (RawValue{REG_SZ, {'x', 0, 0, 0}}));
  EXPECT_EQ(sandbox.Read(L"A", L"number"), (RawValue{REG_DWORD, {1, 0, 0, 0}}));
  EXPECT_EQ(sandbox.Read(L"A", L"none"), std::nullopt);
  EXPECT_EQ(sandbox.ValueNames(L"A"), (std::vector<std::wstring>{L"number", L"text"}));
}

TEST(RegistrySandboxTest, IsEmptyEachTime) {
  {
    RegistrySandbox().CreateKey(L"left over");
  }
  EXPECT_TRUE(RegistrySandbox().Empty());
}

// Wine remembers where a predefined key leads, closed or not: there only the import slot tells.
TEST(RegistrySandboxTest, KeepsPredefinedKeysFromBeingClosed) {
  const RegistrySandbox sandbox;
  EXPECT_EQ(::RegCloseKey(HKEY_LOCAL_MACHINE), ERROR_SUCCESS);
  HKEY key = nullptr;
  ASSERT_EQ(::RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"A", 0, nullptr, REG_OPTION_VOLATILE, KEY_READ,
                              nullptr, &key, nullptr),
            ERROR_SUCCESS);
  EXPECT_EQ(::RegCloseKey(key), ERROR_SUCCESS);
  EXPECT_TRUE(sandbox.KeyExists(L"A"));
  const FARPROC platforms = ::GetProcAddress(::GetModuleHandleW(L"advapi32.dll"), "RegCloseKey");
  EXPECT_NE(*FindImportSlot("RegCloseKey"), reinterpret_cast<void*>(platforms));
}

}  // namespace
}  // namespace testing_support
