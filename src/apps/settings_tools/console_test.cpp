#include "settings_tools/console.h"

#include <cstdio>

#include <gtest/gtest.h>

#include "support/console_output.h"

namespace settings_tools {
namespace {

using testing_support::ConsoleOutput;
using testing_support::ImportHook;

constexpr const char* kUnwritten = "program: cannot write the output\n";

TEST(ParseCountTest, TakesNumbersFromOneOn) {
  EXPECT_EQ(ParseCount("1"), 1U);
  EXPECT_EQ(ParseCount("007"), 7U);
  EXPECT_EQ(ParseCount("4294967295"), 4294967295U);
}

TEST(ParseCountTest, TakesNothingElse) {
  for (const char* const text : {"", "0", "00", "-1", "+1", " 1", "1 ", "1x", "x", "0x1",
                                 "4294967296", "99999999999999999999"}) {
    EXPECT_EQ(ParseCount(text), std::nullopt) << text;
  }
}

TEST(PrintTest, WritesToStandardOutputAtOnce) {
  ConsoleOutput console;
  int flushes = 0;
  const ImportHook<"fflush", int(std::FILE*)> flush([&](std::FILE* stream) {
    EXPECT_EQ(stream, stdout);
    EXPECT_EQ(console.output, "text\n");
    ++flushes;
    return 0;
  });
  EXPECT_TRUE(Print("program", "text\n"));
  EXPECT_EQ(flushes, 1);
  EXPECT_EQ(console.errors, "");
}

TEST(PrintTest, ReportsWhatCannotBeWritten) {
  ConsoleOutput console;
  console.fails = true;
  EXPECT_FALSE(Print("program", "text\n"));
  EXPECT_EQ(console.errors, kUnwritten);
}

TEST(PrintTest, ReportsWhatCannotBeFlushed) {
  const ConsoleOutput console;
  const ImportHook<"fflush", int(std::FILE*)> flush([](std::FILE* /*stream*/) { return EOF; });
  EXPECT_FALSE(Print("program", "text\n"));
  EXPECT_EQ(console.errors, kUnwritten);
}

TEST(PrintErrorTest, WritesALineToStandardError) {
  const ConsoleOutput console;
  PrintError("program", "message {}");
  EXPECT_EQ(console.errors, "program: message {}\n");
  EXPECT_EQ(console.output, "");
}

}  // namespace
}  // namespace settings_tools
