#include "handlers/windows_handler.h"

#include <array>
#include <cstddef>
#include <string_view>

#include "handlers/log_collection.h"
#include "handlers/text.h"
#include "tessel/config/storage_path.h"
#include "tessel/config/storage_value.h"
#include "tessel/task/default_task_executor.h"

namespace ostrel {
namespace {

using tessel::config::RegistryStorage;
using tessel::config::StoragePath;
using tessel::config::StorageValue;
using StorageResult = WindowsHandler::StorageResult;

constexpr const wchar_t* kLogKey =
    L"SOFTWARE/Kestrane, Inc./Kestrane Vantor Telemetry/Service/Config/Log";
constexpr const wchar_t* kZoltKey = L"SOFTWARE/Kestrane, Inc./Kestrane Vantor Telemetry/ZOLT";
constexpr const wchar_t* kLogLevel = L"LogLevel";
constexpr const wchar_t* kDisabled = L"Disabled";

// Indexed by LogLevel and by ZoltDisabledState.
constexpr std::array<std::wstring_view, 5> kLevelNames = {L"Error", L"Warn", L"Info", L"Debug",
                                                          L"Trace"};
constexpr std::array<std::wstring_view, 3> kStateNames = {L"not configured", L"true", L"false"};

StorageResult openKey(const std::wstring& keyPath) {
  return RegistryStorage::Create(HKEY_LOCAL_MACHINE, StoragePath(keyPath),
                                 tessel::task::GetDefaultTaskExecutor());
}

StorageResult openSettingsStorage() { return openKey(kLogKey); }

// The index of the name that equals `text` when case is ignored; the size of `names` if none does.
template <std::size_t Size>
std::size_t findName(const std::array<std::wstring_view, Size>& names, std::wstring_view text) {
  std::size_t index = 0;
  while (index < Size && !equalsIgnoreCase(text, names[index])) {
    ++index;
  }
  return index;
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
  static_cast<void>(
      (*storage)->SetValue(StoragePath(valueName), StorageValue(std::wstring(names[position]))));
  return kSuccess;
}

HandlerStatus writeDwordSetting(const wchar_t* valueName, std::uint32_t value) {
  const StorageResult storage = openSettingsStorage();
  if (!storage) {
    return kWriteFailed;
  }
  static_cast<void>(
      (*storage)->SetValue(StoragePath(valueName), StorageValue(static_cast<std::int32_t>(value))));
  return kSuccess;
}

}  // namespace

LogLevel WindowsHandler::getLogLevel() {
  const auto storage = openSettingsStorage();
  if (!storage) {
    return getDefaultLogLevel();
  }
  const auto value = (*storage)->GetValue(StoragePath(kLogLevel));
  if (!value) {
    return getDefaultLogLevel();
  }
  const std::size_t level = findName(kLevelNames, value->Get<std::wstring>());
  return level < kLevelNames.size() ? static_cast<LogLevel>(level) : getDefaultLogLevel();
}

HandlerStatus WindowsHandler::setLogLevel(LogLevel level) {
  return writeName(openSettingsStorage(), kLogLevel, kLevelNames, level);
}

void WindowsHandler::collectLog() { ostrel::collectLog(); }

HandlerStatus WindowsHandler::setZOLTDisabled(ZoltDisabledState state) {
  return writeName(openStorage(kZoltKey), kDisabled, kStateNames, state);
}

ZoltDisabledState WindowsHandler::getZOLTDisabled() {
  const auto storage = openStorage(kZoltKey);
  if (!storage) {
    return ZoltDisabledState::NotConfigured;
  }
  const auto value = (*storage)->GetValue(StoragePath(kDisabled));
  if (!value) {
    return ZoltDisabledState::NotConfigured;
  }
  const std::size_t state = findName(kStateNames, value->Get<std::wstring>());
  return state < kStateNames.size() ? static_cast<ZoltDisabledState>(state)
                                    : ZoltDisabledState::NotConfigured;
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
