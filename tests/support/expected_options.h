// The tool's options, as they are documented.
#pragma once

#include <cstddef>
#include <map>
#include <string>

namespace testing_support {

/// How many values must follow each option.
inline const std::map<std::string, std::size_t> kExpectedOptions = {
    {"-help", 0},
    {"-getLogLevel", 0},
    {"-setLogLevel", 1},
    {"-resetLogLevel", 0},
    {"-setLogConfiguration", 2},
    {"-resetLogConfiguration", 1},
    {"-resetAllLogSettings", 0},
    {"-collectLog", 0},
    {"-setZOLTDisabled", 1},
    {"-getZOLTDisabled", 0},
};

}  // namespace testing_support
