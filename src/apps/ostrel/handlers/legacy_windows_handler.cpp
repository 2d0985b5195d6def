#include "handlers/legacy_windows_handler.h"

#include <array>
#include <cstddef>
#include <string>
#include <unordered_map>
#include <utility>

#include <fmt/compile.h>

#include "tessel/config/registry_storage.h"
#include "tessel/task/default_task_executor.h"

namespace ostrel {
namespace {

using tessel::config::RegistryStorage;

auto openLegacyStorage() {
  return RegistryStorage::Create(
      HKEY_LOCAL_MACHINE,
      L"SOFTWARE/Kestrane, Inc./Kestrane Harlen Telemetry/Service/Configuration/Logging",
      tessel::task::GetDefaultTaskExecutor());
}

// The result of writing the value is ignored: a write succeeds if the key could be opened.
void writeText(RegistryStorage& storage, const wchar_t* valueName, std::wstring text) {
  static_cast<void>(storage.SetValue(valueName, std::move(text)));
}

HandlerStatus writeLegacyNumber(const wchar_t* valueName, std::uint32_t value) {
  const auto storage = openLegacyStorage();
  if (!storage) {
    return kWriteFailed;
  }
  // FMT_COMPILE: the run-time parser for wide format strings would add an eighth to the executable.
  writeText(**storage, valueName, fmt::format(FMT_COMPILE(L"{}"), value));
  return kSuccess;
}

// The level codes of the older service with the names that it has for them, indexed by LogLevel.
const std::array<std::unordered_map<std::wstring, std::wstring>, 5>& legacyLevelCodes() {
  static const std::array<std::unordered_map<std::wstring, std::wstring>, 5> kCodes = {{
      {{L"0", L"Audit"}, {L"1", L"Fatal"}, {L"2", L"Error"}},
      {{L"3", L"Warning"}},
      {{L"4", L"Info"}},
      {{L"5", L"Debug"}},
      {{L"6", L"Trace"}},
  }};
  return kCodes;
}

}  // namespace

LogLevel LegacyWindowsHandler::getLogLevel() {
  const auto storage = openLegacyStorage();
  if (!storage) {
    return getDefaultLogLevel();
  }
  const auto value = (*storage)->GetValue(L"LogLevel");
  if (!value) {
    return getDefaultLogLevel();
  }
  const auto& code = value->Get<std::wstring>();
  std::uint32_t level = 0;
  for (const auto& codes : legacyLevelCodes()) {
    if (codes.contains(code)) {
      return static_cast<LogLevel>(level);
    }
    ++level;
  }
  return getDefaultLogLevel();
}

HandlerStatus LegacyWindowsHandler::setLogLevel(LogLevel level) {
  const auto storage = openLegacyStorage();
  const auto index = static_cast<std::size_t>(level);
  if (!storage || index >= kLevelNames.older.size()) {
    return kWriteFailed;
  }
  const bool isTrace = level == LogLevel::Trace;
  writeText(**storage, L"LogLevel", std::wstring(kLevelNames.older[index]));
  writeText(**storage, L"VerboseLevel", isTrace ? L"3" : L"0");
  writeText(**storage, L"kst_windows_log_verbose", isTrace ? L"true" : L"false");
  return kSuccess;
}

void LegacyWindowsHandler::collectLog() {}

HandlerStatus LegacyWindowsHandler::setZOLTDisabled(ZoltDisabledState /*state*/) {
  return kUnsupported;
}

ZoltDisabledState LegacyWindowsHandler::getZOLTDisabled() {
  return ZoltDisabledState::NotConfigured;
}

HandlerStatus LegacyWindowsHandler::setMaxLogSize(std::uint32_t value) {
  return writeLegacyNumber(L"MaxLogSize", value);
}

HandlerStatus LegacyWindowsHandler::setMaxTraceLogSize(std::uint32_t value) {
  return writeLegacyNumber(L"MaxTraceLogSize", value);
}

HandlerStatus LegacyWindowsHandler::setMaxLogFiles(std::uint32_t value) {
  return writeLegacyNumber(L"MaxLogFiles", value);
}

}  // namespace ostrel
