// Building the option table and parsing, against two libraries with the same options.
#include <CLI/CLI.hpp>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cxxopts.hpp>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "command_line/option_table.h"
#include "measure.h"
#include "parser_benchmark.h"

namespace benchmarks {
namespace {

/// An option as the other libraries get it; they take the names behind two dashes only.
struct OptionText {
  std::string name;
  std::string description;
  std::int32_t valueCount;
};

std::vector<OptionText> OptionTexts(const ostrel::OptionParser& parser) {
  std::vector<OptionText> texts;
  for (const std::string_view name :
       {ostrel::kHelp, ostrel::kGetLogLevel, ostrel::kSetLogLevel, ostrel::kResetLogLevel,
        ostrel::kSetLogConfiguration, ostrel::kResetLogConfiguration, ostrel::kResetAllLogSettings,
        ostrel::kCollectLog, ostrel::kSetZOLTDisabled, ostrel::kGetZOLTDisabled}) {
    const ostrel::Option option = parser.findOption(name).value();
    texts.push_back({std::string(name.substr(1)), option.description, option.valueCount});
  }
  return texts;
}

std::size_t ParseWithCli11(const std::vector<OptionText>& options, int argc,
                           const char* const* argv) {
  CLI::App app("The tool for telemetry service, MUST run as admin/root", "ostrel");
  app.set_help_flag();
  std::array<bool, 10> flags{};
  std::array<std::vector<std::string>, 10> values;
  std::size_t index = 0;
  for (const OptionText& option : options) {
    if (option.valueCount == 0) {
      app.add_flag("--" + option.name, flags[index], option.description);
    } else {
      app.add_option("--" + option.name, values[index], option.description)
          ->expected(option.valueCount, 16);
    }
    ++index;
  }
  app.parse(argc, argv);
  return app.count("--setLogLevel");
}

std::size_t ParseWithCxxopts(const std::vector<OptionText>& options, int argc,
                             const char* const* argv) {
  cxxopts::Options parser("ostrel", "The tool for telemetry service, MUST run as admin/root");
  for (const OptionText& option : options) {
    if (option.valueCount == 0) {
      parser.add_options()(option.name, option.description);
    } else {
      parser.add_options()(option.name, option.description,
                           cxxopts::value<std::vector<std::string>>());
    }
  }
  return parser.parse(argc, argv).count("setLogLevel");
}

/// What the heap alone costs.
void AllocateBlocks() {
  struct Block {
    std::array<std::byte, 64> bytes;
  };
  std::array<std::unique_ptr<Block>, kParserBlocks> blocks;
  for (auto& block : blocks) {
    block = std::make_unique<Block>();
  }
  Keep(&blocks);
}

TEST(Pairs, CommandLine) {
  const char* const arguments[] = {"ostrel", "--setLogLevel", "Debug"};
  const auto options = OptionTexts(BuildTable());
  const auto parseWithCli11 = [&] { return ParseWithCli11(options, 3, arguments); };
  const auto parseWithCxxopts = [&] { return ParseWithCxxopts(options, 3, arguments); };
  ASSERT_EQ(parseWithCli11(), 1);
  ASSERT_EQ(parseWithCxxopts(), 1);
  Compare("build and parse", kTurns, Side{"tessel", BuildAndParse}, Side{"CLI11", parseWithCli11},
          Side{"cxxopts", parseWithCxxopts}, Side{"as many heap blocks", AllocateBlocks});
  CountAllocations("build and parse", "CLI11", parseWithCli11);
  CountAllocations("build and parse", "cxxopts", parseWithCxxopts);
}

}  // namespace
}  // namespace benchmarks
