#include "tessel/config/storage_path.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <type_traits>

#include <gtest/gtest.h>

namespace tessel::config {
namespace {

TEST(StoragePathTest, IsEmptyWithTheDefaultSeparator) {
  const StoragePath path;
  EXPECT_TRUE(path.Empty());
  EXPECT_EQ(path.Text(), L"");
  EXPECT_EQ(path.Separator(), L'/');
}

TEST(StoragePathTest, ConstructionNormalises) {
  EXPECT_EQ(StoragePath(L"//A//B/").Text(), L"A/B");
  EXPECT_EQ(StoragePath(L"A").Text(), L"A");
  EXPECT_EQ(StoragePath(L"/A").Text(), L"A");
  EXPECT_EQ(StoragePath(L"A///").Text(), L"A");
  EXPECT_EQ(StoragePath(L"A////B/C").Text(), L"A/B/C");
  EXPECT_EQ(StoragePath(L"/").Text(), L"");
  EXPECT_EQ(StoragePath(L"////").Text(), L"");
  EXPECT_EQ(StoragePath(L"\\\\A\\\\B\\", L'\\').Text(), L"A\\B");
}

TEST(StoragePathTest, IsMadeFromTextsInEveryForm) {
  const auto textOf = [](const StoragePath& path) { return path.Text(); };
  EXPECT_EQ(textOf(L"/A//B/"), L"A/B");
  EXPECT_EQ(textOf(std::wstring(L"/A//B/")), L"A/B");
  EXPECT_EQ(textOf(std::wstring_view(L"/A//B/C").substr(0, 5)), L"A/B");
  EXPECT_EQ(textOf({}), L"");
  EXPECT_EQ(StoragePath(std::wstring_view(L"\\A"), L'\\').Text(), L"A");
  EXPECT_EQ(StoragePath(std::wstring_view(L"A")).Separator(), L'/');
}

// What is no text makes no path.
static_assert(!std::is_constructible_v<StoragePath, std::nullptr_t>);
static_assert(!std::is_constructible_v<StoragePath, const char*>);
static_assert(!std::is_constructible_v<StoragePath, int>);
static_assert(!std::is_constructible_v<StoragePath, wchar_t>);

TEST(StoragePathTest, OtherSeparatorsAreCharacters) {
  EXPECT_EQ(StoragePath(L"\\A\\\\B\\").Text(), L"\\A\\\\B\\");
  EXPECT_EQ(StoragePath(L"//A//", L'\\').Text(), L"//A//");
}

TEST(StoragePathTest, RetargetingReplacesEachSeparator) {
  const StoragePath path = StoragePath(L"//A//B/").WithSeparator(L'\\');
  EXPECT_EQ(path.Text(), L"A\\B");
  EXPECT_EQ(path.Separator(), L'\\');
}

TEST(StoragePathTest, RetargetingDoesNotNormalise) {
  EXPECT_EQ(StoragePath(L"A\\/B").WithSeparator(L'\\').Text(), L"A\\\\B");
  EXPECT_EQ(StoragePath(L"\\A").WithSeparator(L'\\').Text(), L"\\A");
}

TEST(StoragePathTest, RetargetingToTheSameSeparatorCopies) {
  const StoragePath path(L"A\\/B");
  EXPECT_EQ(path.WithSeparator(L'/'), path);
}

TEST(StoragePathTest, SplitsBeforeTheLastComponent) {
  const StoragePath path(L"A/B/C");
  EXPECT_EQ(path.KeyPath(), StoragePath(L"A/B"));
  EXPECT_EQ(path.ValueName(), L"C");
}

TEST(StoragePathTest, ASingleComponentIsAValueName) {
  const StoragePath path(L"C");
  EXPECT_TRUE(path.KeyPath().Empty());
  EXPECT_EQ(path.ValueName(), L"C");
  EXPECT_EQ(StoragePath().ValueName(), L"");
  EXPECT_TRUE(StoragePath().KeyPath().Empty());
}

TEST(StoragePathTest, SplitsAtItsOwnSeparator) {
  EXPECT_EQ(StoragePath(L"sub/na\\me").ValueName(), L"na\\me");
  EXPECT_EQ(StoragePath(L"sub/na\\me").KeyPath().Text(), L"sub");
  const StoragePath backslash(L"A\\B/C", L'\\');
  EXPECT_EQ(backslash.ValueName(), L"B/C");
  EXPECT_EQ(backslash.KeyPath(), StoragePath(L"A", L'\\'));
}

TEST(StoragePathTest, JoinsANameAndNormalises) {
  EXPECT_EQ(StoragePath(L"A").Join(L"B").Text(), L"A/B");
  EXPECT_EQ(StoragePath().Join(L"B").Text(), L"B");
  EXPECT_EQ(StoragePath(L"A").Join(L"").Text(), L"A");
  EXPECT_EQ(StoragePath(L"A").Join(L"/B//C/").Text(), L"A/B/C");
  EXPECT_EQ(StoragePath(L"A", L'\\').Join(L"B"), StoragePath(L"A\\B", L'\\'));
}

TEST(StoragePathTest, ComparesTextAndSeparatorWithCase) {
  EXPECT_EQ(StoragePath(L"A/B"), StoragePath(L"/A//B"));
  EXPECT_NE(StoragePath(L"A/B"), StoragePath(L"a/B"));
  EXPECT_NE(StoragePath(L"A"), StoragePath(L"A", L'\\'));
}

#ifdef OSTREL_TESTS_ASSERTIONS

TEST(StoragePathDeathTest, ANullPointerIsNoText) {
  const wchar_t* const null = nullptr;
  EXPECT_DEATH(StoragePath{null}, "text != nullptr");
  EXPECT_DEATH((StoragePath(null, L'\\')), "text != nullptr");
}

#endif

}  // namespace
}  // namespace tessel::config
