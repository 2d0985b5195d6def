#include <fstream>

#include "tool.h"

namespace end_to_end {
namespace {

class ArgumentsTest : public ToolTest {};

RunResult IsUnknown(const std::wstring& argument) {
  return Failure("Unknown argument: " + Utf8(argument) + "\n");
}

// Some C runtimes replace such arguments by the names of files in the current directory.
TEST_F(ArgumentsTest, WildcardsArriveAsTyped) {
  const TemporaryDirectory directory(L"wildcards");
  for (const wchar_t* const name : {L"\\a", L"\\b.txt"}) {
    ASSERT_TRUE(std::ofstream(std::filesystem::path(directory.Path() + name)).put('x'));
  }
  for (const wchar_t* const argument : {L"*", L"?", L"*.txt", L"?.*", L".\\*"}) {
    EXPECT_EQ(RunTool({argument}, {}, directory.Path()), IsUnknown(argument));
    EXPECT_EQ(RunTool({L"-setLogLevel", argument}, {}, directory.Path()),
              Failure("Invalid log level: " + Utf8(argument) +
                      ", support values are Error/Info/Debug/Trace\n"));
  }
}

TEST_F(ArgumentsTest, QuotesAndBackslashesArriveAsTyped) {
  for (const wchar_t* const argument :
       {L"\"", L"a\"b", L"\"quoted\"", L"\\", L"\\\\", L"\\\"", L"a\\\\\"b\\", L"C:\\Some Tools\\",
        L"'", L"%PATH%", L"^&|<>", L"$x", L"`x`", L"@file", L"a b\tc", L"/?", L"--help"}) {
    EXPECT_EQ(RunTool({argument}), IsUnknown(argument));
  }
}

TEST_F(ArgumentsTest, ControlCharactersArriveAsTyped) {
  EXPECT_EQ(RunTool({L"\x01\x7F\x1B[31m"}), IsUnknown(L"\x01\x7F\x1B[31m"));
  // A line feed in an argument becomes the platform's line end, like the tool's own.
  EXPECT_EQ(RunTool({L"a\nb"}), IsUnknown(L"a\nb"));
}

// Half of a surrogate pair has no form in UTF-8: it is replaced before the tool sees it.
TEST_F(ArgumentsTest, TextThatIsNoUnicodeIsReplaced) {
  EXPECT_EQ(RunTool({L"a\xD800z"}), IsUnknown(L"a\xFFFDz"));
  EXPECT_EQ(RunTool({L"-setZOLTDisabled", L"tru\xDC00"}),
            Failure("Invalid argument: tru\xEF\xBF\xBD, support values are: true/false\n"));
  EXPECT_EQ(Registry(), Settings());
}

}  // namespace
}  // namespace end_to_end
