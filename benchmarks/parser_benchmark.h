// What is measured of the tool's parser, alone and against other libraries.
#pragma once

#include <cstddef>

#include "command_line/option_parser.h"

namespace benchmarks {

/// The blocks of memory that building the option table and parsing takes.
inline constexpr std::size_t kParserBlocks = 50;

ostrel::OptionParser BuildTable();

/// Builds the option table and parses `-setLogLevel Debug`.
ostrel::ParseError BuildAndParse();

}  // namespace benchmarks
