#include "parser_benchmark.h"

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "command_line/option_table.h"
#include "handlers/handler_factory.h"
#include "handlers/legacy_windows_handler.h"
#include "handlers/windows_handler.h"
#include "measure.h"

namespace benchmarks {

ostrel::OptionParser BuildTable() {
  static ostrel::HandlerFactory factory(std::make_unique<ostrel::WindowsHandler>(),
                                        std::make_unique<ostrel::LegacyWindowsHandler>());
  return ostrel::buildOptionTable(factory);
}

ostrel::ParseError BuildAndParse() {
  const char* const arguments[] = {"ostrel", "-setLogLevel", "Debug"};
  return BuildTable().parseArguments(3, arguments).code;
}

namespace {

TEST(Own, CommandLineAllocations) {
  ASSERT_EQ(BuildAndParse(), ostrel::ParseError::None);
  CountAllocations("build and parse", "tessel", BuildAndParse, kParserBlocks);
}

TEST(Growth, Options) {
  for (const int count : {10, 100, 1000, 10'000}) {
    std::vector<std::string> names{"ostrel"};
    std::vector<const char*> arguments{names.front().c_str()};
    for (int index = 0; index < count; ++index) {
      names.push_back(fmt::format("-option{}", index));
    }
    for (const std::string& name : names) {
      arguments.push_back(name.c_str());
    }
    arguments.erase(arguments.begin());
    Compare(fmt::format("build and parse, options {}", count), kFewTurns,
            Side{"tessel", [&] {
                   ostrel::OptionParser parser("ostrel", "", "", "");
                   for (int index = 1; index <= count; ++index) {
                     ostrel::Option option;
                     option.names.push_back(names[static_cast<std::size_t>(index)]);
                     parser.addOption(std::move(option));
                   }
                   return parser.parseArguments(count + 1, arguments.data()).code;
                 }});
  }
}

}  // namespace
}  // namespace benchmarks
