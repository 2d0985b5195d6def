#include "expected_settings.h"

namespace end_to_end {

using testing_support::RawDword;
using testing_support::RawText;

void PutLogLevel(Settings& settings, const std::wstring& level) {
  static const std::map<std::wstring, std::wstring> kLegacyNames = {{L"Error", L"error"},
                                                                    {L"Warn", L"warn"},
                                                                    {L"Info", L"info"},
                                                                    {L"Debug", L"debug"},
                                                                    {L"Trace", L"trace"}};
  const bool isTrace = level == L"Trace";
  settings[kLogKey][L"LogLevel"] = RawText(level);
  settings[kLegacyKey][L"LogLevel"] = RawText(kLegacyNames.at(level));
  settings[kLegacyKey][L"VerboseLevel"] = RawText(isTrace ? L"3" : L"0");
  settings[kLegacyKey][L"kst_windows_log_verbose"] = RawText(isTrace ? L"true" : L"false");
}

void PutLogConfiguration(Settings& settings, const std::wstring& name, std::uint32_t number) {
  for (const LogConfiguration& configuration : kLogConfigurations) {
    if (configuration.name == name) {
      settings[kLogKey][configuration.value] = RawDword(number);
      settings[kLegacyKey][configuration.legacyValue] = RawText(std::to_wstring(number));
    }
  }
}

void PutLogDefaults(Settings& settings) {
  PutLogLevel(settings, L"Info");
  for (const LogConfiguration& configuration : kLogConfigurations) {
    PutLogConfiguration(settings, configuration.name, configuration.defaultNumber);
  }
}

void PutZoltDisabled(Settings& settings, const std::wstring& text) {
  settings[kZoltKey][L"Disabled"] = RawText(text);
}

}  // namespace end_to_end
