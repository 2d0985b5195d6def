// A model of the tool that does not use its code: what it leaves in the registry.
//
// Each function changes `settings` as one successful command changes the registry: the key and the
// values of the current layout, and those of the older one where it is written as well.
#pragma once

#include <cstdint>
#include <string>

#include "tool.h"

namespace end_to_end {

/// One log configuration: what the command line and the two layouts call it, and its numbers.
struct LogConfiguration {
  std::wstring name;
  std::wstring value;
  std::wstring legacyValue;
  std::uint32_t defaultNumber;
  std::uint32_t minimum;
  std::uint32_t maximum;
};
inline const LogConfiguration kLogConfigurations[] = {
    {L"maxLogSize", L"MaxFileSize", L"MaxLogSize", 1, 1, 50},
    {L"maxTraceLogSize", L"MaxTraceLogSize", L"MaxTraceLogSize", 10, 1, 50},
    {L"maxLogFiles", L"MaxNumFiles", L"MaxLogFiles", 10, 1, 30},
};

/// `level` as the command line names it.
void PutLogLevel(Settings& settings, const std::wstring& level);
void PutLogConfiguration(Settings& settings, const std::wstring& name, std::uint32_t number);
/// The log level and the three configurations.
void PutLogDefaults(Settings& settings);
/// `text` as it is stored.
void PutZoltDisabled(Settings& settings, const std::wstring& text);

}  // namespace end_to_end
