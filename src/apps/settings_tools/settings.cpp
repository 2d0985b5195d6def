#include "settings_tools/settings.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <set>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "settings_tools/describe.h"
#include "tessel/config/error.h"

namespace settings_tools {
namespace {

using tessel::config::Error;
using tessel::config::RegistryStorage;
using tessel::config::Storage;
using tessel::config::StoragePath;
using tessel::config::StorageValue;

constexpr const wchar_t* kCurrentKey =
    L"SOFTWARE/Kestrane, Inc./Kestrane Vantor Telemetry/Service/Config/Log";
constexpr const wchar_t* kOlderKey =
    L"SOFTWARE/Kestrane, Inc./Kestrane Harlen Telemetry/Service/Configuration/Logging";
constexpr const wchar_t* kZoltKey = L"SOFTWARE/Kestrane, Inc./Kestrane Vantor Telemetry/ZOLT";

constexpr std::string_view kText = "REG_SZ";
constexpr std::string_view kNumber = "REG_DWORD";

/// Where a layout has a setting; without a key it has none.
struct Place {
  const wchar_t* key = nullptr;
  const wchar_t* value = nullptr;
  std::string_view type = {};
};

struct SettingPlaces {
  const char* name;
  Place current;
  Place older;
};

constexpr std::array<SettingPlaces, 7> kSettings = {{
    {"log level", {kCurrentKey, L"LogLevel", kText}, {kOlderKey, L"LogLevel", kText}},
    {"VerboseLevel", {}, {kOlderKey, L"VerboseLevel", kText}},
    {"kst_windows_log_verbose", {}, {kOlderKey, L"kst_windows_log_verbose", kText}},
    {"maxLogSize", {kCurrentKey, L"MaxFileSize", kNumber}, {kOlderKey, L"MaxLogSize", kText}},
    {"maxTraceLogSize",
     {kCurrentKey, L"MaxTraceLogSize", kNumber},
     {kOlderKey, L"MaxTraceLogSize", kText}},
    {"maxLogFiles", {kCurrentKey, L"MaxNumFiles", kNumber}, {kOlderKey, L"MaxLogFiles", kText}},
    {"ZOLT disabled", {kZoltKey, L"Disabled", kText}, {}},
}};

std::string NameOf(const StoragePath& path) {
  return "HKLM\\" + Printable(path.WithSeparator(L'\\').Text());
}

bool IsPlainWord(const std::wstring& text) {
  return !text.empty() && std::ranges::all_of(text, [](wchar_t character) {
    return (character >= L'0' && character <= L'9') || (character >= L'A' && character <= L'Z') ||
           (character >= L'a' && character <= L'z');
  });
}

// A key may be deleted between its opening and a reading of it.
bool IsMissing(const std::error_code& error) {
  return error == Error::not_found ||
         error == std::error_code(ERROR_KEY_DELETED, std::system_category());
}

Reading ReadingOf(const StorageValue& value, std::string_view type) {
  Reading reading{Reading::State::Stored, Describe(value)};
  if (TypeName(value) != type) {
    reading.shown = fmt::format("{} {}", TypeName(value), reading.shown);
  } else if (type == kNumber) {
    reading.content = std::wstring(reading.shown.begin(), reading.shown.end());
  } else {
    reading.content = ToText(value).value();
    if (IsPlainWord(*reading.content)) {
      reading.shown = Printable(*reading.content);  // without the quotes
    }
  }
  return reading;
}

class Reader {
 public:
  explicit Reader(Storage& machine) : machine_(machine) {}

  // Says once what holds for all values of the key.
  void OpenKey(const wchar_t* key) {
    const auto opened = machine_.Iterate(key);
    if (opened) {
      return;
    }
    if (IsMissing(opened.error())) {
      missingKeys_.push_back(NameOf(key));
    } else {
      refusedKeys_.insert(key);
      AddProblem(key, opened.error());
    }
  }

  std::optional<Reading> Read(const Place& place) {
    if (place.key == nullptr) {
      return std::nullopt;
    }
    if (refusedKeys_.contains(place.key)) {
      return Unreadable();
    }
    const StoragePath path = StoragePath(place.key).Join(place.value);
    const auto value = machine_.GetValue(path);
    if (value) {
      return ReadingOf(*value, place.type);
    }
    if (IsMissing(value.error())) {
      return Reading();
    }
    AddProblem(path, value.error());
    return Unreadable();
  }

  Settings Finish(std::vector<Setting> settings) {
    return {std::move(settings), std::move(missingKeys_), std::move(problems_)};
  }

 private:
  static Reading Unreadable() { return {Reading::State::Unreadable, "(unreadable)"}; }

  void AddProblem(const StoragePath& path, const std::error_code& error) {
    problems_.push_back(fmt::format("cannot read {}: {}", NameOf(path), Reason(error)));
  }

  Storage& machine_;
  std::set<std::wstring_view> refusedKeys_;
  std::vector<std::string> missingKeys_;
  std::vector<std::string> problems_;
};

}  // namespace

std::string Reason(const std::error_code& error) {
  if (error.category() == std::system_category()) {
    return fmt::format("{} (system error {})", error.message(), error.value());
  }
  return error.message();
}

tessel::expected<std::shared_ptr<RegistryStorage>, std::error_code> OpenMachine() {
  return RegistryStorage::Create(HKEY_LOCAL_MACHINE, StoragePath(), /*executor=*/nullptr, {},
                                 tessel::config::kReadOnly);
}

Settings ReadSettings(Storage& machine) {
  Reader reader(machine);
  for (const wchar_t* const key : {kCurrentKey, kZoltKey, kOlderKey}) {
    reader.OpenKey(key);
  }
  std::vector<Setting> settings;
  for (const SettingPlaces& places : kSettings) {
    const auto current = reader.Read(places.current);
    const auto older = reader.Read(places.older);
    settings.push_back({places.name, current, older});
  }
  return reader.Finish(std::move(settings));
}

}  // namespace settings_tools
