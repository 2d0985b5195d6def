#include "text.h"

#include <windows.h>

#include <climits>
#include <stdexcept>
#include <system_error>
#include <vector>

#include <gtest/gtest.h>

#include "support/import_hook.h"

namespace ostrel {
namespace {

using testing_support::ImportHook;

using ToWideHook = ImportHook<"MultiByteToWideChar", decltype(::MultiByteToWideChar)>;
using ToNarrowHook = ImportHook<"WideCharToMultiByte", decltype(::WideCharToMultiByte)>;
using CompareHook = ImportHook<"CompareStringW", decltype(::CompareStringW)>;
using FileApisHook = ImportHook<"AreFileApisANSI", decltype(::AreFileApisANSI)>;

constexpr unsigned int kWesternCodePage = 1252;
constexpr unsigned int kDosCodePage = 437;
constexpr unsigned int kNoCodePage = 4711;

TEST(ToWideTest, ConvertsUtf8) {
  EXPECT_EQ(toWide("true", kUtf8CodePage), L"true");
  EXPECT_EQ(toWide("\xC3\xBC\xE2\x82\xAC", kUtf8CodePage), L"\u00FC\u20AC");
  EXPECT_EQ(toWide("\xF0\x9F\x98\x80", kUtf8CodePage), L"\xD83D\xDE00");
}

TEST(ToWideTest, ConvertsTheGivenCodePage) {
  EXPECT_EQ(toWide("\xFC\x80", kWesternCodePage), L"\u00FC\u20AC");
  EXPECT_EQ(toWide("\x81", kDosCodePage), L"\u00FC");
}

TEST(ToWideTest, ReplacesInvalidBytes) {
  EXPECT_EQ(toWide("a\xFFz", kUtf8CodePage), L"a\uFFFDz");
  EXPECT_EQ(toWide("\x80", kUtf8CodePage), L"\uFFFD");
  // A sequence that is cut off by the end of the text.
  EXPECT_EQ(toWide("a\xE2\x82", kUtf8CodePage).substr(0, 2), L"a\uFFFD");
}

TEST(ToWideTest, KeepsZerosAndLength) {
  EXPECT_EQ(toWide(std::string_view("a\0b\0", 4), kUtf8CodePage), std::wstring(L"a\0b\0", 4));
  EXPECT_EQ(toWide(std::string(100000, 'x'), kUtf8CodePage), std::wstring(100000, L'x'));
}

TEST(ToWideTest, ReadsNothingBehindAViewsEnd) {
  EXPECT_EQ(toWide(std::string_view("truest").substr(0, 4), kUtf8CodePage), L"true");
}

TEST(ToWideTest, PassesCodePageNoFlagsAndTheLength) {
  struct Call {
    UINT codePage;
    DWORD flags;
    int length;
    bool hasBuffer;
    int size;
  };
  std::vector<Call> calls;
  const ToWideHook hook(
      [&](UINT codePage, DWORD flags, LPCCH text, int length, LPWSTR buffer, int size) {
        calls.push_back({codePage, flags, length, buffer != nullptr, size});
        return ToWideHook::Original()(codePage, flags, text, length, buffer, size);
      });
  EXPECT_EQ(toWide("\xC3\xBC", kUtf8CodePage), L"\u00FC");
  EXPECT_EQ(toWide("\xFC\xFC", kWesternCodePage), L"\u00FC\u00FC");
  ASSERT_EQ(calls.size(), 4U);
  for (std::size_t i = 0; i < calls.size(); ++i) {
    EXPECT_EQ(calls[i].codePage, i < 2 ? 65001U : 1252U);
    EXPECT_EQ(calls[i].flags, 0U);
    EXPECT_EQ(calls[i].length, 2);
  }
  EXPECT_FALSE(calls[0].hasBuffer);
  EXPECT_EQ(calls[0].size, 0);
  EXPECT_EQ(calls[1].size, 1);
  EXPECT_EQ(calls[3].size, 2);
}

TEST(ToWideTest, LeavesEmptyTextToNobody) {
  const ToWideHook hook([](UINT, DWORD, LPCCH, int, LPWSTR, int) {
    ADD_FAILURE() << "called";
    return 0;
  });
  EXPECT_EQ(toWide("", kUtf8CodePage), L"");
  EXPECT_EQ(toWide(std::string_view(), kNoCodePage), L"");
}

TEST(ToWideTest, RaisesTheLastErrorOfAFailedConversion) {
  try {
    toWide("x", kNoCodePage);
    FAIL() << "nothing raised";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code(), std::error_code(ERROR_INVALID_PARAMETER, std::system_category()));
  }
}

TEST(ToWideTest, RaisesTheLastErrorOfASecondCallThatFails) {
  const ToWideHook hook(
      [](UINT codePage, DWORD flags, LPCCH text, int length, LPWSTR buffer, int size) {
        if (buffer != nullptr) {
          ::SetLastError(ERROR_NO_UNICODE_TRANSLATION);
          return 0;
        }
        return ToWideHook::Original()(codePage, flags, text, length, buffer, size);
      });
  try {
    toWide("x", kUtf8CodePage);
    FAIL() << "nothing raised";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code(), std::error_code(ERROR_NO_UNICODE_TRANSLATION, std::system_category()));
  }
}

TEST(ToWideTest, IsAsLongAsTheSecondCallSays) {
  const ToWideHook hook([](UINT, DWORD, LPCCH, int, LPWSTR buffer, int) {
    if (buffer == nullptr) {
      return 3;
    }
    *buffer = L'x';
    return 1;
  });
  EXPECT_EQ(toWide("xyz", kUtf8CodePage), L"x");
}

TEST(ToWideTest, RefusesWhatThePlatformCannotCount) {
  // The characters of such a view are never read. Cut to 32 bits, the second length would be 1.
  EXPECT_THROW(toWide(std::string_view("x", std::size_t{INT_MAX} + 1), kUtf8CodePage),
               std::length_error);
  EXPECT_THROW(toWide(std::string_view("x", (std::size_t{1} << 32) + 1), kUtf8CodePage),
               std::length_error);
}

TEST(ToNarrowTest, ConvertsToUtf8) {
  EXPECT_EQ(toNarrow(L"not configured", kUtf8CodePage), "not configured");
  EXPECT_EQ(toNarrow(L"\u00FC\u20AC\xD83D\xDE00", kUtf8CodePage),
            "\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80");
}

TEST(ToNarrowTest, ConvertsToTheGivenCodePage) {
  EXPECT_EQ(toNarrow(L"\u00FC\u20AC", kWesternCodePage), "\xFC\x80");
  EXPECT_EQ(toNarrow(L"\u00FC", kDosCodePage), "\x81");
}

TEST(ToNarrowTest, ReplacesWhatTheCodePageDoesNotKnow) {
  EXPECT_EQ(toNarrow(L"a\u4E00z", kWesternCodePage), "a?z");
  EXPECT_EQ(toNarrow(L"a\xD83Dz", kUtf8CodePage), "a\xEF\xBF\xBDz");
}

TEST(ToNarrowTest, KeepsZerosAndLength) {
  EXPECT_EQ(toNarrow(std::wstring_view(L"a\0b\0", 4), kUtf8CodePage), std::string("a\0b\0", 4));
  EXPECT_EQ(toNarrow(std::wstring(100000, L'x'), kUtf8CodePage), std::string(100000, 'x'));
  EXPECT_EQ(toNarrow(std::wstring_view(L"truest").substr(0, 4), kUtf8CodePage), "true");
}

TEST(ToNarrowTest, PassesCodePageNoFlagsAndNoDefaultCharacter) {
  int calls = 0;
  const ToNarrowHook hook([&](UINT codePage, DWORD flags, LPCWCH text, int length, LPSTR buffer,
                              int size, LPCCH defaultCharacter, LPBOOL usedDefault) {
    ++calls;
    EXPECT_EQ(codePage, 65001U);
    EXPECT_EQ(flags, 0U);
    EXPECT_EQ(length, 1);
    EXPECT_EQ(size, buffer == nullptr ? 0 : 3);
    EXPECT_EQ(defaultCharacter, nullptr);
    EXPECT_EQ(usedDefault, nullptr);
    return ToNarrowHook::Original()(codePage, flags, text, length, buffer, size, defaultCharacter,
                                    usedDefault);
  });
  EXPECT_EQ(toNarrow(L"\u20AC", kUtf8CodePage), "\xE2\x82\xAC");
  EXPECT_EQ(calls, 2);
}

TEST(ToNarrowTest, LeavesEmptyTextToNobody) {
  const ToNarrowHook hook([](UINT, DWORD, LPCWCH, int, LPSTR, int, LPCCH, LPBOOL) {
    ADD_FAILURE() << "called";
    return 0;
  });
  EXPECT_EQ(toNarrow(L"", kUtf8CodePage), "");
  EXPECT_EQ(toNarrow(std::wstring_view(), kNoCodePage), "");
}

TEST(ToNarrowTest, RaisesTheLastErrorOfAFailedConversion) {
  try {
    toNarrow(L"x", kNoCodePage);
    FAIL() << "nothing raised";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code(), std::error_code(ERROR_INVALID_PARAMETER, std::system_category()));
  }
}

TEST(ToNarrowTest, IsAsLongAsTheSecondCallSays) {
  const ToNarrowHook hook([](UINT, DWORD, LPCWCH, int, LPSTR buffer, int, LPCCH, LPBOOL) {
    if (buffer == nullptr) {
      return 3;
    }
    *buffer = 'x';
    return 1;
  });
  EXPECT_EQ(toNarrow(L"xyz", kUtf8CodePage), "x");
}

TEST(ToNarrowTest, RefusesWhatThePlatformCannotCount) {
  EXPECT_THROW(toNarrow(std::wstring_view(L"x", std::size_t{INT_MAX} + 1), kUtf8CodePage),
               std::length_error);
  EXPECT_THROW(toNarrow(std::wstring_view(L"x", (std::size_t{1} << 32) + 1), kUtf8CodePage),
               std::length_error);
}

TEST(FileCodePageTest, FollowsTheFileFunctions) {
  {
    const FileApisHook hook([] { return TRUE; });
    EXPECT_EQ(fileCodePage(), static_cast<unsigned int>(CP_ACP));
  }
  {
    const FileApisHook hook([] { return FALSE; });
    EXPECT_EQ(fileCodePage(), static_cast<unsigned int>(CP_OEMCP));
  }
}

TEST(FileCodePageTest, IsTheAnsiCodePageAtFirst) {
  EXPECT_EQ(fileCodePage(), static_cast<unsigned int>(CP_ACP));
}

TEST(EqualsIgnoreCaseTest, IgnoresCase) {
  EXPECT_TRUE(equalsIgnoreCase(L"true", L"true"));
  EXPECT_TRUE(equalsIgnoreCase(L"TRUE", L"true"));
  EXPECT_TRUE(equalsIgnoreCase(L"tRuE", L"TrUe"));
  EXPECT_TRUE(equalsIgnoreCase(L"\u00DC", L"\u00FC"));
  EXPECT_FALSE(equalsIgnoreCase(L"true", L"trux"));
  EXPECT_FALSE(equalsIgnoreCase(L"true", L"tru"));
  EXPECT_FALSE(equalsIgnoreCase(L"true", L"true "));
  EXPECT_FALSE(equalsIgnoreCase(L"", L"true"));
  EXPECT_FALSE(equalsIgnoreCase(L"true", L""));
  EXPECT_TRUE(equalsIgnoreCase(L"", std::wstring_view()));
  EXPECT_TRUE(equalsIgnoreCase(std::wstring_view(), std::wstring_view()));
}

// The platform alone finds these equal.
TEST(EqualsIgnoreCaseTest, HoldsLengthsAgainstEachOther) {
  EXPECT_FALSE(equalsIgnoreCase(L"tr\u00ADue", L"true"));
  EXPECT_FALSE(equalsIgnoreCase(std::wstring_view(L"true\0", 5), L"true"));
}

TEST(EqualsIgnoreCaseTest, ComparesByTheSystemsLocale) {
  int calls = 0;
  const CompareHook hook(
      [&](LCID locale, DWORD flags, PCNZWCH left, int leftLength, PCNZWCH right, int rightLength) {
        ++calls;
        EXPECT_EQ(locale, 0x800U);
        EXPECT_EQ(flags, 1U);
        EXPECT_EQ(std::wstring_view(left, 4), L"TRUE");
        EXPECT_EQ(leftLength, 4);
        EXPECT_EQ(std::wstring_view(right, 4), L"true");
        EXPECT_EQ(rightLength, 4);
        return CompareHook::Original()(locale, flags, left, leftLength, right, rightLength);
      });
  EXPECT_TRUE(equalsIgnoreCase(std::wstring_view(L"TRUExx").substr(0, 4), L"true"));
  EXPECT_EQ(calls, 1);
}

TEST(EqualsIgnoreCaseTest, TakesNothingButEqualForEqual) {
  for (const int answer : {0, CSTR_LESS_THAN, CSTR_EQUAL, CSTR_GREATER_THAN}) {
    const CompareHook hook([answer](LCID, DWORD, PCNZWCH, int, PCNZWCH, int) { return answer; });
    EXPECT_EQ(equalsIgnoreCase(L"true", L"true"), answer == CSTR_EQUAL) << answer;
  }
}

TEST(EqualsIgnoreCaseTest, AsksNobodyAboutDifferentLengths) {
  const CompareHook hook([](LCID, DWORD, PCNZWCH, int, PCNZWCH, int) {
    ADD_FAILURE() << "called";
    return CSTR_EQUAL;
  });
  EXPECT_FALSE(equalsIgnoreCase(L"true", L"trues"));
}

}  // namespace
}  // namespace ostrel
