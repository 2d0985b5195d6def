#include "handlers/windows_handler.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

#include "handlers/log_collection.h"
#include "tessel/task/default_task_executor.h"
#include "text.h"

namespace ostrel {
namespace {

using tessel::config::RegistryStorage;
using StorageResult = WindowsHandler::StorageResult;

constexpr const wchar_t* kLogKey =
    L"SOFTWARE/Kestrane, Inc./Kestrane Vantor Telemetry/Service/Config/Log";
constexpr const wchar_t* kZoltKey = L"SOFTWARE/Kestrane, Inc./Kestrane Vantor Telemetry/ZOLT";
constexpr const wchar_t* kLogLevel = L"LogLevel";
constexpr const wchar_t* kDisabled = L"Disabled";

StorageResult openKey(const std::wstring& keyPath) {
  return RegistryStorage::Create(HKEY_LOCAL_MACHINE, keyPath,
                                 tessel::task::GetDefaultTaskExecutor());
}

StorageResult openSettingsStorage() { return openKey(kLogKey); }

// The level or the state whose stored name equals one of `names` when case is ignored.
template <class Index, std::size_t Size>
std::optional<Index> readName(const StorageResult& storage, const wchar_t* valueName,
                              const std::array<std::wstring_view, Size>& names) {
  if (!storage) {
    return std::nullopt;
  }
  const auto value = (*storage)->GetValue(valueName);
  if (!value) {
    return std::nullopt;
  }
  const auto& text = value->Get<std::wstring>();
  const auto found = std::ranges::find_if(
      names, [&text](std::wstring_view name) { return equalsIgnoreCase(text, name); });
  return found == names.end() ? std::nullopt
                              : std::optional(static_cast<Index>(found - names.begin()));
}

// Stores the name of `index`, which is a level or a state. If the key is open, only an index
// without a name fails: the result of writing the value is ignored.
template <std::size_t Size, class Index>
HandlerStatus writeName(const StorageResult& storage, const wchar_t* valueName,
                        const std::array<std::wstring_view, Size>& names, Index index) {
  const auto position = static_cast<std::size_t>(index);
  if (!storage || position >= Size) {
    return kWriteFailed;
  }
  static_cast<void>((*storage)->SetValue(valueName, names[position]));
  return kSuccess;
}

HandlerStatus writeDwordSetting(const wchar_t* valueName, std::uint32_t value) {
  const StorageResult storage = openSettingsStorage();
  if (!storage) {
    return kWriteFailed;
  }
  static_cast<void>((*storage)->SetValue(valueName, static_cast<std::int32_t>(value)));
  return kSuccess;
}

}  // namespace

LogLevel WindowsHandler::getLogLevel() {
  const auto level = readName<LogLevel>(openSettingsStorage(), kLogLevel, kLevelNames.current);
  return level ? *level : getDefaultLogLevel();
}

HandlerStatus WindowsHandler::setLogLevel(LogLevel level) {
  return writeName(openSettingsStorage(), kLogLevel, kLevelNames.current, level);
}

void WindowsHandler::collectLog() { ostrel::collectLog(); }

HandlerStatus WindowsHandler::setZOLTDisabled(ZoltDisabledState state) {
  return writeName(openStorage(kZoltKey), kDisabled, kZoltStateNames, state);
}

ZoltDisabledState WindowsHandler::getZOLTDisabled() {
  return readName<ZoltDisabledState>(openStorage(kZoltKey), kDisabled, kZoltStateNames)
      .value_or(ZoltDisabledState::NotConfigured);
}

HandlerStatus WindowsHandler::setMaxLogSize(std::uint32_t value) {
  return writeDwordSetting(L"MaxFileSize", value);
}

HandlerStatus WindowsHandler::setMaxTraceLogSize(std::uint32_t value) {
  return writeDwordSetting(L"MaxTraceLogSize", value);
}

HandlerStatus WindowsHandler::setMaxLogFiles(std::uint32_t value) {
  return writeDwordSetting(L"MaxNumFiles", value);
}

StorageResult WindowsHandler::openStorage(const std::wstring& keyPath) { return openKey(keyPath); }

}  // namespace ostrel
