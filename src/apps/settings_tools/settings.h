// The settings of both registry layouts as they are stored.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "tessel/config/registry_storage.h"
#include "tessel/config/storage.h"
#include "tessel/expected.h"

namespace settings_tools {

/// The key below HKEY_LOCAL_MACHINE below which all settings lie.
inline constexpr const wchar_t* kMakerKey = L"SOFTWARE/Kestrane, Inc.";

/// What stands in the place of one value.
struct Reading {
  enum class State { Missing, Unreadable, Stored };
  State state = State::Missing;
  /// For people: `-` for a missing value, and the type in front of the content where it is not the
  /// one that the layout has for this value.
  std::string shown = "-";
  /// A text, or a number in decimal. Empty where the value does not have its layout's type.
  std::optional<std::wstring> content = {};
};

/// One setting. A layout without this setting has no reading.
struct Setting {
  /// As ostrel's options call it, or the name of the value where they do not.
  std::string name;
  std::optional<Reading> current;
  std::optional<Reading> older;
};

/// Everything that is stored, read value by value: a writer may come in between.
struct Settings {
  /// Always the same settings in the same order. The log level is the first.
  std::vector<Setting> settings;
  /// The keys that do not exist.
  std::vector<std::string> missingKeys;
  /// What exists and cannot be read, each with the reason.
  std::vector<std::string> problems;
};

/// Why something failed, with the number of an error of the system.
std::string Reason(const std::error_code& error);

/// The storage on HKEY_LOCAL_MACHINE, for reading only. Reading through it creates no key: the root
/// is always there.
tessel::expected<std::shared_ptr<tessel::config::RegistryStorage>, std::error_code> OpenMachine();

/// Reads all settings from the storage on HKEY_LOCAL_MACHINE.
Settings ReadSettings(tessel::config::Storage& machine);

}  // namespace settings_tools
