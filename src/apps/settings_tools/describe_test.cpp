#include "settings_tools/describe.h"

#include <cstdint>
#include <variant>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace settings_tools {
namespace {

using tessel::config::StoragePath;
using tessel::config::StorageValue;
using namespace std::string_literals;

const StorageValue kExpanded(L"C:\\windows\0"s);

TEST(PrintableTest, IsUtf8WithoutControlCharacters) {
  EXPECT_EQ(Printable(L""), "");
  EXPECT_EQ(Printable(L"a ~\x00E9"), "a ~\xC3\xA9");
  EXPECT_EQ(Printable(L"\x1B[2J\r\n"), "\\x1b[2J\\x0d\\x0a");
  EXPECT_EQ(Printable(L"\x7F\x9F\xA0"s), "\\x7f\\x9f\xC2\xA0");
  EXPECT_EQ(Printable(L"\0"s), "\\x00");
}

TEST(PrintableTest, IsOneLineFromLeftToRight) {
  for (const wchar_t character : L"\x61C\x200E\x200F\x2028\x2029\x202A\x202E\x2066\x2069"s) {
    const std::string code = fmt::format("\\u{:04x}", static_cast<unsigned int>(character));
    EXPECT_EQ(Printable(std::wstring{character, L'1'}), code + '1');
  }
  for (const wchar_t character : L"\x61B\x61D\x200D\x2010\x2027\x202F\x2065\x206A"s) {
    EXPECT_FALSE(Printable(std::wstring{character}).starts_with('\\'));
  }
}

TEST(TypeNameTest, IsThatOfTheRegistry) {
  EXPECT_EQ(TypeName({}), "REG_NONE");
  EXPECT_EQ(TypeName(std::int32_t{1}), "REG_DWORD");
  EXPECT_EQ(TypeName(std::uint32_t{1}), "REG_DWORD");
  EXPECT_EQ(TypeName(std::int64_t{1}), "REG_QWORD");
  EXPECT_EQ(TypeName(std::uint64_t{1}), "REG_QWORD");
  EXPECT_EQ(TypeName(StoragePath(L"a")), "REG_LINK");
  EXPECT_EQ(TypeName(L"a"), "REG_SZ");
  EXPECT_EQ(TypeName(L""), "REG_SZ");
  EXPECT_EQ(TypeName(kExpanded), "REG_EXPAND_SZ");
  EXPECT_EQ(TypeName(std::vector<std::uint8_t>()), "REG_BINARY");
  EXPECT_EQ(TypeName(tessel::config::TextList({})), "REG_MULTI_SZ");
}

TEST(DescribeTest, IsOneLine) {
  EXPECT_EQ(Describe({}), "");
  EXPECT_EQ(Describe(std::uint32_t{4294967295}), "4294967295");
  EXPECT_EQ(Describe(std::uint64_t{4294967296}), "4294967296");
  EXPECT_EQ(Describe(StoragePath(L"a\\b", L'\\')), "a\\b");
  EXPECT_EQ(Describe(L"a\nb "), "\"a\\x0ab \"");
  EXPECT_EQ(Describe(L"a\" \\x0a"), R"("a\" \\x0a")");
  EXPECT_EQ(Describe(kExpanded), R"("C:\\windows")");
  EXPECT_EQ(Describe(std::vector<std::uint8_t>{0x01, 0xAB}), "01ab");
  EXPECT_EQ(Describe(tessel::config::TextList({L"a", L"b"})), "[\"a\", \"b\"]");
  EXPECT_EQ(Describe(tessel::config::TextList({})), "[]");
}

}  // namespace
}  // namespace settings_tools
