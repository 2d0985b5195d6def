#include "command_line/option_parser.h"

#include <array>
#include <iterator>
#include <type_traits>

#include <gmock/gmock-matchers.h>
#include <gtest/gtest.h>

#include "support/command_line_run.h"

namespace ostrel {
namespace {

using ::testing::ElementsAre;
using testing_support::Parse;
using StringList = std::vector<std::string>;

static_assert(!std::is_copy_constructible_v<OptionParser>);
static_assert(!std::is_copy_assignable_v<OptionParser>);
static_assert(std::is_move_constructible_v<OptionParser>);
static_assert(std::is_move_assignable_v<OptionParser>);
static_assert(static_cast<int>(ParseError::None) == 0);
static_assert(static_cast<int>(ParseError::UnknownArgument) == 1);
static_assert(static_cast<int>(ParseError::TooFewValues) == 2);
static_assert(static_cast<int>(ParseError::DuplicatedArgument) == 3);

Option option(std::vector<std::string> names, std::int32_t valueCount,
              std::string description = "text") {
  Option result;
  result.names = std::move(names);
  result.valueCount = valueCount;
  result.description = std::move(description);
  return result;
}

OptionParser emptyParser() { return {"tool", "What it is", "2.5", ""}; }

/// A parser with two switches and two options that take values.
OptionParser smallParser() {
  OptionParser parser = emptyParser();
  parser.addOption(option({"-switch"}, 0));
  parser.addOption(option({"-other"}, 0));
  parser.addOption(option({"-one"}, 1));
  parser.addOption(option({"-two"}, 2));
  return parser;
}

ParseResult parseSmall(const std::vector<std::string>& arguments) {
  OptionParser parser = smallParser();
  return Parse(parser, arguments);
}

std::string help(const OptionParser& parser) {
  MessageStream message;
  parser.printHelp(message);
  return fmt::to_string(message);
}

ParseResult parsed() { return {"", ParseError::None}; }

TEST(OptionTest, IsASwitchThatStandsForTrueByDefault) {
  const Option fresh;
  EXPECT_EQ(fresh.valueCount, 0);
  EXPECT_FALSE(fresh.parsed);
  EXPECT_EQ(std::any_cast<bool>(fresh.implicitValue), true);
  EXPECT_TRUE(fresh.values.empty());
}

TEST(OptionTest, HasNoValueBeforeItIsParsed) {
  const Option fresh;
  EXPECT_EQ(fresh.asBool(), std::nullopt);
  EXPECT_EQ(fresh.asString(), std::nullopt);
  EXPECT_EQ(fresh.asStringList(), std::nullopt);
}

TEST(OptionTest, GivesTheFirstValueOrAllOfThem) {
  Option strings;
  strings.values = {std::string("a"), std::string(), std::string("c")};
  EXPECT_EQ(strings.asString(), "a");
  EXPECT_EQ(strings.asStringList(), (StringList{"a", "", "c"}));
  Option booleans;
  booleans.values = {false, true};
  EXPECT_EQ(booleans.asBool(), false);
}

Option withValues(std::vector<std::any> values) {
  Option result;
  result.values = std::move(values);
  return result;
}

TEST(OptionTest, GivesNothingForAnotherType) {
  EXPECT_EQ(withValues({true}).asString(), std::nullopt);
  EXPECT_EQ(withValues({true}).asStringList(), std::nullopt);
  EXPECT_EQ(withValues({std::string("true")}).asBool(), std::nullopt);
  // Values of types that convert to bool or to a string do not count as such.
  for (const std::any& value : {std::any(), std::any(1), std::any("literal"),
                                std::any(std::string_view("view")), std::any(std::wstring(L"wide")),
                                std::any(StringList{"a"}), std::any(std::optional(true))}) {
    const Option other = withValues({value});
    EXPECT_NO_THROW({
      EXPECT_EQ(other.asBool(), std::nullopt);
      EXPECT_EQ(other.asString(), std::nullopt);
      EXPECT_EQ(other.asStringList(), std::nullopt);
    }) << value.type().name();
  }
}

TEST(OptionTest, LooksAtTheFirstValueOrAtAllOfThem) {
  const Option stringFirst = withValues({std::string("a"), true});
  EXPECT_EQ(stringFirst.asString(), "a");
  EXPECT_EQ(stringFirst.asBool(), std::nullopt);
  EXPECT_EQ(stringFirst.asStringList(), std::nullopt);
  const Option booleanFirst = withValues({false, std::string("a")});
  EXPECT_EQ(booleanFirst.asBool(), false);
  EXPECT_EQ(booleanFirst.asString(), std::nullopt);
  EXPECT_EQ(booleanFirst.asStringList(), std::nullopt);
}

TEST(OptionParserTest, ParsesNoArgument) {
  EXPECT_EQ(parseSmall({}), parsed());
  OptionParser parser = smallParser();
  EXPECT_EQ(parser.parseArguments(0, nullptr), parsed());
}

TEST(OptionParserTest, LeavesTheProgramsPathAlone) {
  OptionParser parser = smallParser();
  const std::array arguments = {"-switch", "-other"};
  EXPECT_EQ(parser.parseArguments(2, arguments.data()), parsed());
  EXPECT_EQ(parser.boolOf("-switch"), std::nullopt);
  EXPECT_EQ(parser.boolOf("-other"), true);
}

TEST(OptionParserTest, ReadsAsManyArgumentsAsItIsTold) {
  OptionParser parser = smallParser();
  const std::array arguments = {"path", "-switch", "-other"};
  EXPECT_EQ(parser.parseArguments(2, arguments.data()), parsed());
  EXPECT_EQ(parser.boolOf("-other"), std::nullopt);
}

TEST(OptionParserTest, GivesASwitchOneCopyOfItsImplicitValue) {
  OptionParser parser = emptyParser();
  Option named = option({"-named"}, 0);
  named.implicitValue = std::string("implicit");
  parser.addOption(std::move(named));
  parser.addOption(option({"-switch"}, 0));
  EXPECT_EQ(Parse(parser, {"-switch", "-named"}), parsed());
  EXPECT_EQ(parser.stringListOf("-named"), StringList{"implicit"});
  EXPECT_EQ(parser.boolOf("-switch"), true);
  EXPECT_EQ(parser.findOption("-switch").value().values.size(), 1U);
  EXPECT_TRUE(parser.findOption("-switch").value().parsed);
}

TEST(OptionParserTest, TakesEveryValueUpToTheNextDash) {
  OptionParser parser = smallParser();
  EXPECT_EQ(Parse(parser, {"-one", "a", "b", "c", "-switch", "-two", "d", "e"}), parsed());
  EXPECT_EQ(parser.stringOf("-one"), "a");
  EXPECT_EQ(parser.stringListOf("-one"), (StringList{"a", "b", "c"}));
  EXPECT_EQ(parser.stringListOf("-two"), (StringList{"d", "e"}));
  EXPECT_EQ(parser.boolOf("-switch"), true);
}

TEST(OptionParserTest, TakesAnEmptyArgumentAsAValue) {
  OptionParser parser = smallParser();
  EXPECT_EQ(Parse(parser, {"-two", "", ""}), parsed());
  EXPECT_EQ(parser.stringListOf("-two"), (StringList{"", ""}));
}

TEST(OptionParserTest, TakesNoValuesForASwitch) {
  EXPECT_EQ(parseSmall({"-switch", "value"}), (ParseResult{"value", ParseError::UnknownArgument}));
}

TEST(OptionParserTest, ReportsAnUnknownArgument) {
  EXPECT_EQ(parseSmall({"-bogus"}), (ParseResult{"-bogus", ParseError::UnknownArgument}));
  EXPECT_EQ(parseSmall({""}), (ParseResult{"", ParseError::UnknownArgument}));
  EXPECT_EQ(parseSmall({"-"}), (ParseResult{"-", ParseError::UnknownArgument}));
  EXPECT_EQ(parseSmall({"switch"}), (ParseResult{"switch", ParseError::UnknownArgument}));
  EXPECT_EQ(parseSmall({"--switch"}), (ParseResult{"--switch", ParseError::UnknownArgument}));
  EXPECT_EQ(parseSmall({"-SWITCH"}), (ParseResult{"-SWITCH", ParseError::UnknownArgument}));
  EXPECT_EQ(parseSmall({"-switc"}), (ParseResult{"-switc", ParseError::UnknownArgument}));
  EXPECT_EQ(parseSmall({"-switches"}), (ParseResult{"-switches", ParseError::UnknownArgument}));
  EXPECT_EQ(parseSmall({"-one=a"}), (ParseResult{"-one=a", ParseError::UnknownArgument}));
}

TEST(OptionParserTest, ReportsTheFirstUnknownArgument) {
  EXPECT_EQ(parseSmall({"-switch", "-x", "-y"}), (ParseResult{"-x", ParseError::UnknownArgument}));
}

TEST(OptionParserTest, ReportsTooFewValuesWithTheNameOfTheOption) {
  const ParseResult one{"-one", ParseError::TooFewValues};
  EXPECT_EQ(parseSmall({"-one"}), one);
  EXPECT_EQ(parseSmall({"-one", "-switch"}), one);
  EXPECT_EQ(parseSmall({"-one", "-5"}), one);
  EXPECT_EQ(parseSmall({"-one", "-"}), one);
  EXPECT_EQ(parseSmall({"-one", "-unknown"}), one);
  const ParseResult two{"-two", ParseError::TooFewValues};
  EXPECT_EQ(parseSmall({"-two", "a"}), two);
  EXPECT_EQ(parseSmall({"-two", "a", "-5"}), two);
  EXPECT_EQ(parseSmall({"-switch", "-two", "a", "-other"}), two);
}

TEST(OptionParserTest, ReportsADuplicate) {
  EXPECT_EQ(parseSmall({"-switch", "-switch"}),
            (ParseResult{"-switch", ParseError::DuplicatedArgument}));
  EXPECT_EQ(parseSmall({"-one", "a", "-other", "-one", "b"}),
            (ParseResult{"-one", ParseError::DuplicatedArgument}));
}

TEST(OptionParserTest, ReportsADuplicateBeforeItCountsValues) {
  EXPECT_EQ(parseSmall({"-one", "a", "-one"}),
            (ParseResult{"-one", ParseError::DuplicatedArgument}));
}

TEST(OptionParserTest, ReportsADuplicateUnderAnotherNameOfTheOption) {
  OptionParser parser = emptyParser();
  parser.addOption(option({"-long", "-l"}, 0));
  EXPECT_EQ(Parse(parser, {"-long", "-l"}), (ParseResult{"-l", ParseError::DuplicatedArgument}));
}

TEST(OptionParserTest, KeepsWhatItParsedBeforeAnError) {
  OptionParser parser = smallParser();
  EXPECT_EQ(Parse(parser, {"-one", "a", "-bogus", "-switch"}).code, ParseError::UnknownArgument);
  EXPECT_EQ(parser.stringOf("-one"), "a");
  EXPECT_EQ(parser.boolOf("-switch"), std::nullopt);
}

TEST(OptionParserTest, FindsAnOptionWhetherItWasGivenOrNot) {
  const OptionParser parser = smallParser();
  ASSERT_TRUE(parser.findOption("-one").has_value());
  EXPECT_FALSE(parser.findOption("-one").value().parsed);
  EXPECT_EQ(parser.findOption("-one").value().asString(), std::nullopt);
}

TEST(OptionParserTest, FindsAnOptionWithoutItsDash) {
  const OptionParser parser = smallParser();
  EXPECT_THAT(parser.findOption("switch").value().names, ElementsAre("-switch"));
  EXPECT_EQ(parser.findOption("Switch"), std::nullopt);
  EXPECT_EQ(parser.findOption(""), std::nullopt);
  EXPECT_EQ(parser.findOption("-"), std::nullopt);
  EXPECT_EQ(parser.findOption("--switch"), std::nullopt);
  EXPECT_EQ(parser.findOption("bogus"), std::nullopt);
}

TEST(OptionParserTest, PutsNoSecondDashInFront) {
  OptionParser parser = emptyParser();
  parser.addOption(option({"--double"}, 0));
  EXPECT_EQ(parser.findOption("-double"), std::nullopt);
  EXPECT_THAT(parser.findOption("--double").value().names, ElementsAre("--double"));
}

TEST(OptionParserTest, PrefersTheNameAsItIsToTheDashedOne) {
  OptionParser parser = emptyParser();
  parser.addOption(option({"-word"}, 0, "dashed"));
  parser.addOption(option({"word"}, 0, "plain"));
  EXPECT_EQ(parser.findOption("word").value().description, "plain");
}

TEST(OptionParserTest, GivesNothingForTheValueOfAnUnknownOption) {
  const OptionParser parser = smallParser();
  EXPECT_EQ(parser.boolOf("-bogus"), std::nullopt);
  EXPECT_EQ(parser.stringOf("-bogus"), std::nullopt);
  EXPECT_EQ(parser.stringListOf("-bogus"), std::nullopt);
}

TEST(OptionParserTest, GivesNothingForAValueOfAnotherType) {
  OptionParser parser = smallParser();
  EXPECT_EQ(Parse(parser, {"-switch", "-one", "true"}), parsed());
  EXPECT_NO_THROW({
    EXPECT_EQ(parser.stringOf("-switch"), std::nullopt);
    EXPECT_EQ(parser.stringListOf("-switch"), std::nullopt);
    EXPECT_EQ(parser.boolOf("-one"), std::nullopt);
  });
}

TEST(OptionParserTest, HandsOutCopies) {
  const OptionParser parser = smallParser();
  parser.findOption("-one").value().values.emplace_back(std::string("changed"));
  EXPECT_EQ(parser.stringOf("-one"), std::nullopt);
}

TEST(OptionParserTest, PointsATakenNameToTheNewOption) {
  OptionParser parser = emptyParser();
  parser.addOption(option({"-name", "-n"}, 1, "old"));
  parser.addOption(option({"-name"}, 0, "new"));
  EXPECT_EQ(parser.findOption("-name").value().description, "new");
  EXPECT_EQ(parser.findOption("-n").value().description, "old");
  EXPECT_EQ(Parse(parser, {"-name", "-n", "value"}), parsed());
  EXPECT_EQ(help(parser),
            "OVERVIEW: tool 2.5\nWhat it is\n\nOPTIONS:\n"
            "-name -n \told\n"
            "-name    \tnew\n");
}

TEST(OptionParserTest, StaysWholeWhenItIsMoved) {
  OptionParser parser = smallParser();
  const std::string before = help(parser);
  OptionParser moved(std::move(parser));
  OptionParser assigned = emptyParser();
  assigned.addOption(option({"-gone"}, 0));
  assigned = std::move(moved);
  EXPECT_EQ(help(assigned), before);
  EXPECT_EQ(Parse(assigned, {"-one", "a", "-switch"}), parsed());
  EXPECT_EQ(assigned.stringOf("-one"), "a");
  EXPECT_EQ(assigned.findOption("-gone"), std::nullopt);
}

TEST(OptionParserTest, TakesLongAndManyArguments) {
  const std::string longText(100000, 'x');
  EXPECT_EQ(parseSmall({longText}), (ParseResult{longText, ParseError::UnknownArgument}));
  EXPECT_EQ(parseSmall({"-" + longText}),
            (ParseResult{"-" + longText, ParseError::UnknownArgument}));
  OptionParser parser = smallParser();
  std::vector<std::string> arguments = {"-one", longText};
  arguments.insert(arguments.end(), 300, "{}");
  EXPECT_EQ(Parse(parser, arguments), parsed());
  EXPECT_EQ(parser.stringOf("-one"), longText);
  EXPECT_EQ(parser.stringListOf("-one").value().size(), 301U);
}

TEST(OptionParserTest, KeepsBytesThatAreNoText) {
  OptionParser parser = smallParser();
  EXPECT_EQ(Parse(parser, {"-one", "\xFF\xFE\x80"}), parsed());
  EXPECT_EQ(parser.stringOf("-one"), "\xFF\xFE\x80");
  EXPECT_EQ(parseSmall({"\xC3"}), (ParseResult{"\xC3", ParseError::UnknownArgument}));
}

TEST(OptionParserHelpTest, ShowsDescriptionAndUsageWhenThereAreAny) {
  EXPECT_EQ(help(OptionParser("tool", "", "2.5", "")), "OVERVIEW: tool 2.5\nOPTIONS:\n");
  EXPECT_EQ(help(OptionParser("tool", "What", "2.5", "tool [options]")),
            "OVERVIEW: tool 2.5\nWhat\n\nUSAGE:\ntool [options]\n\nOPTIONS:\n");
}

TEST(OptionParserHelpTest, AlignsOptionsInTheOrderInWhichTheyWereAdded) {
  OptionParser parser = emptyParser();
  parser.addOption(option({"-zz"}, 0, "first"));
  parser.addOption(option({"-aaaaa", "-b"}, 0, "second"));
  parser.addOption(option({"-m"}, 0, "\n    below"));
  EXPECT_EQ(help(parser),
            "OVERVIEW: tool 2.5\nWhat it is\n\nOPTIONS:\n"
            "-zz       \tfirst\n"
            "-aaaaa -b \tsecond\n"
            "-m        \t\n    below\n");
}

TEST(OptionParserHelpTest, LeavesAnOptionWithoutDescriptionOutButNotOutOfTheWidth) {
  OptionParser parser = emptyParser();
  parser.addOption(option({"-shown"}, 0, "text"));
  parser.addOption(option({"-not-shown"}, 0, ""));
  parser.addOption(option({"-behind"}, 0, "more text"));
  EXPECT_EQ(help(parser),
            "OVERVIEW: tool 2.5\nWhat it is\n\nOPTIONS:\n"
            "-shown     \ttext\n"
            "-behind    \tmore text\n");
}

// Both names of the first option now refer to other options, so it no longer widens the column.
TEST(OptionParserHelpTest, AlignsToTheOptionsThatCanStillBeNamed) {
  OptionParser parser = emptyParser();
  parser.addOption(option({"-a", "-name"}, 0, "nobody's"));
  parser.addOption(option({"-name"}, 0, "first"));
  parser.addOption(option({"-a"}, 0, "second"));
  EXPECT_EQ(help(parser),
            "OVERVIEW: tool 2.5\nWhat it is\n\nOPTIONS:\n"
            "-a -name \tnobody's\n"
            "-name \tfirst\n"
            "-a    \tsecond\n");
}

TEST(OptionParserHelpTest, CopiesBracesAsTheyAre) {
  OptionParser parser("{}", "{0}", "{:d}", "{");
  parser.addOption(option({"-{}"}, 0, "}{"));
  EXPECT_EQ(help(parser), "OVERVIEW: {} {:d}\n{0}\n\nUSAGE:\n{\n\nOPTIONS:\n-{} \t}{\n");
}

TEST(OptionParserHelpTest, AppendsToTheMessage) {
  MessageStream message;
  fmt::format_to(std::back_inserter(message), "before\n");
  OptionParser("tool", "", "2.5", "").printHelp(message);
  EXPECT_EQ(fmt::to_string(message), "before\nOVERVIEW: tool 2.5\nOPTIONS:\n");
}

}  // namespace
}  // namespace ostrel
