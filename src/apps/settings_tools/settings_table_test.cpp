#include "settings_tools/settings_table.h"

#include <algorithm>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock-more-matchers.h>
#include <gtest/gtest.h>

#include "settings_tools/describe.h"

namespace settings_tools {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const Reading kMissing;
const Reading kUnreadable{Reading::State::Unreadable, "(unreadable)"};
const Reading kOtherType{Reading::State::Stored, "REG_NONE "};

Reading Stored(const std::wstring& text) { return {Reading::State::Stored, Printable(text), text}; }

// The marked settings of a table of these.
std::vector<std::string> Marked(const std::vector<Setting>& settings) {
  std::vector<std::string> marked;
  std::istringstream lines(Table({settings, {}, {}}));
  for (std::string line; std::getline(lines, line);) {
    if (line.ends_with(" differs")) {
      marked.push_back(line.substr(0, line.find("  ")));
    }
  }
  return marked;
}

bool Differ(const Reading& current, const Reading& older) {
  return !Marked({{"log level", current, older}}).empty();
}

// Whether the two values beside the level are marked, for this level.
std::pair<bool, bool> BesideDiffer(const Reading& level, const Reading& verboseLevel,
                                   const Reading& verbose) {
  const auto marked = Marked({{"log level", level, level},
                              {"VerboseLevel", std::nullopt, verboseLevel},
                              {"kst_windows_log_verbose", std::nullopt, verbose}});
  const auto contains = [&](const char* name) {
    return std::find(marked.begin(), marked.end(), name) != marked.end();
  };
  return {contains("VerboseLevel"), contains("kst_windows_log_verbose")};
}

constexpr std::pair kBothFit(false, false);
constexpr std::pair kBothDiffer(true, true);

TEST(SettingsTableTest, HasALineForEachSettingAndEachMissingKey) {
  EXPECT_EQ(Table({{{"log level", Stored(L"Trace"), Stored(L"trace")},
                    {"VerboseLevel", std::nullopt, kMissing},
                    {"maxLogSize", kUnreadable, Stored(L"longer than its column")},
                    {"maxLogFiles", Stored(L"7"), Stored(L"8")},
                    {"ZOLT disabled", Stored(L"\""), std::nullopt}},
                   {"HKLM\\A", "HKLM\\B"},
                   {"of no concern"}}),
            "setting                  current layout  older layout\n"
            "log level                Trace           trace\n"
            "VerboseLevel             n/a             -               differs\n"
            "maxLogSize               (unreadable)    longer than its column\n"
            "maxLogFiles              7               8               differs\n"
            "ZOLT disabled            \"               n/a\n"
            "There is no key HKLM\\A\n"
            "There is no key HKLM\\B\n");
}

TEST(SettingsTableTest, LeavesColumnsStraightBeyondAscii) {
  const Reading accent{Reading::State::Stored, "\"\xC3\xA9\"", L"\x00E9"};
  EXPECT_EQ(Table({{{"log level", accent, Stored(L"e")}}, {}, {}}),
            "setting                  current layout  older layout\n"
            "log level                \"\xC3\xA9\"             e               differs\n");
}

TEST(SettingsTableTest, ComparesWordsInAnyCaseAndNumbersAsText) {
  EXPECT_FALSE(Differ(Stored(L"Trace"), Stored(L"trace")));
  EXPECT_FALSE(Differ(Stored(L"7"), Stored(L"7")));
  EXPECT_TRUE(Differ(Stored(L"Trace"), Stored(L"debug")));
  EXPECT_TRUE(Differ(Stored(L"7"), Stored(L"07")));
  EXPECT_TRUE(Differ(Stored(L"7"), Stored(L"7 ")));
}

TEST(SettingsTableTest, WhatIsStoredInOneLayoutAloneDiffers) {
  EXPECT_FALSE(Differ(kMissing, kMissing));
  EXPECT_TRUE(Differ(kMissing, Stored(L"a")));
  EXPECT_TRUE(Differ(Stored(L"a"), kMissing));
}

TEST(SettingsTableTest, AnUnexpectedTypeDiffersFromEverything) {
  EXPECT_TRUE(Differ(kOtherType, kOtherType));
  EXPECT_TRUE(Differ(kOtherType, Stored(L"a")));
  EXPECT_TRUE(Differ(Stored(L"a"), kOtherType));
  EXPECT_TRUE(Differ(kOtherType, kMissing));
}

TEST(SettingsTableTest, WhatCannotBeReadIsNotCompared) {
  EXPECT_FALSE(Differ(kUnreadable, Stored(L"a")));
  EXPECT_FALSE(Differ(Stored(L"a"), kUnreadable));
  EXPECT_FALSE(Differ(kUnreadable, kMissing));
}

TEST(SettingsTableTest, ValuesBesideTheLevelBelongToTheCurrentOne) {
  for (const wchar_t* const level : {L"Trace", L"TRACE"}) {
    EXPECT_EQ(BesideDiffer(Stored(level), Stored(L"3"), Stored(L"True")), kBothFit);
    EXPECT_EQ(BesideDiffer(Stored(level), Stored(L"0"), Stored(L"false")), kBothDiffer);
  }
  for (const wchar_t* const level : {L"Error", L"Info", L"Trace ", L"bogus"}) {
    EXPECT_EQ(BesideDiffer(Stored(level), Stored(L"0"), Stored(L"false")), kBothFit);
    EXPECT_EQ(BesideDiffer(Stored(level), Stored(L"3"), Stored(L"true")), kBothDiffer);
  }
  EXPECT_EQ(BesideDiffer(Stored(L"Info"), kMissing, kMissing), kBothDiffer);
  EXPECT_EQ(BesideDiffer(kMissing, kMissing, kMissing), kBothFit);
  EXPECT_EQ(BesideDiffer(kMissing, Stored(L"0"), Stored(L"false")), kBothDiffer);
  EXPECT_EQ(BesideDiffer(kOtherType, Stored(L"0"), Stored(L"false")), kBothDiffer);
  EXPECT_EQ(BesideDiffer(kUnreadable, Stored(L"3"), Stored(L"true")), kBothFit);
}

TEST(SettingsTableTest, ASettingOfTheCurrentLayoutAloneDoesNotDiffer) {
  EXPECT_THAT(
      Marked({{"log level", kMissing, kMissing}, {"ZOLT disabled", Stored(L"true"), std::nullopt}}),
      IsEmpty());
}

TEST(ChangesTest, AreOfEachLayoutInTheOrderOfTheTable) {
  const Settings before = {{{"log level", kMissing, Stored(L"info")},
                            {"VerboseLevel", std::nullopt, Stored(L"0")},
                            {"maxLogSize", Stored(L"1"), Stored(L"1")},
                            {"ZOLT disabled", Stored(L"true"), std::nullopt}},
                           {},
                           {}};
  EXPECT_THAT(Changes(before, before), IsEmpty());
  EXPECT_THAT(
      Changes(before, {{{"log level", Stored(L"Trace"), Stored(L"trace")},
                        {"VerboseLevel", std::nullopt, kMissing},
                        {"maxLogSize", Stored(L"1"), Stored(L"2")},
                        {"ZOLT disabled", kUnreadable, std::nullopt}},
                       {"a missing key"},
                       {"a problem"}}),
      ElementsAre("log level, current layout: - -> Trace", "log level, older layout: info -> trace",
                  "VerboseLevel, older layout: 0 -> -", "maxLogSize, older layout: 1 -> 2",
                  "ZOLT disabled, current layout: true -> (unreadable)"));
}

}  // namespace
}  // namespace settings_tools
