#include "settings_tools/settings_table.h"

#include <cstddef>
#include <optional>
#include <string_view>

#include <fmt/format.h>

#include "text.h"

namespace settings_tools {
namespace {

bool Fits(const Reading& current, const Reading& older) {
  using State = Reading::State;
  if (current.state == State::Unreadable || older.state == State::Unreadable) {
    return true;
  }
  if (current.state == State::Missing || older.state == State::Missing) {
    return current.state == older.state;
  }
  return current.content && older.content &&
         ostrel::equalsIgnoreCase(*current.content, *older.content);
}

/// What the current layout's level asks of a value that the older one has beside its level.
Reading Beside(Reading level, std::wstring_view withTrace, std::wstring_view withAnother) {
  if (level.content) {
    level.content = ostrel::equalsIgnoreCase(*level.content, L"Trace") ? withTrace : withAnother;
  }
  return level;
}

bool Differs(const Setting& setting, const Reading& level) {
  if (!setting.older) {
    return false;
  }
  if (setting.name == "VerboseLevel") {
    return !Fits(Beside(level, L"3", L"0"), *setting.older);
  }
  if (setting.name == "kst_windows_log_verbose") {
    return !Fits(Beside(level, L"true", L"false"), *setting.older);
  }
  return !Fits(setting.current.value(), *setting.older);
}

std::string Shown(const std::optional<Reading>& reading) {
  if (!reading) {
    return "n/a";
  }
  return reading->shown;
}

std::string Line(std::string_view name, std::string_view current, std::string_view older,
                 std::string_view mark) {
  std::string line = fmt::format("{:<24} {:<15} {:<15} {}", name, current, older, mark);
  line.resize(line.find_last_not_of(' ') + 1);
  return line + '\n';
}

}  // namespace

std::string Table(const Settings& settings) {
  std::string table = Line("setting", "current layout", "older layout", "");
  const Reading& level = settings.settings.front().current.value();
  for (const Setting& setting : settings.settings) {
    table += Line(setting.name, Shown(setting.current), Shown(setting.older),
                  Differs(setting, level) ? "differs" : "");
  }
  for (const std::string& key : settings.missingKeys) {
    table += fmt::format("There is no key {}\n", key);
  }
  return table;
}

std::vector<std::string> Changes(const Settings& before, const Settings& after) {
  std::vector<std::string> changes;
  const auto compare = [&](const std::string& name, const char* layout,
                           const std::optional<Reading>& old,
                           const std::optional<Reading>& present) {
    if (Shown(old) != Shown(present)) {
      changes.push_back(
          fmt::format("{}, {} layout: {} -> {}", name, layout, Shown(old), Shown(present)));
    }
  };
  for (std::size_t index = 0; index < after.settings.size(); ++index) {
    const Setting& old = before.settings[index];
    const Setting& present = after.settings[index];
    compare(present.name, "current", old.current, present.current);
    compare(present.name, "older", old.older, present.older);
  }
  return changes;
}

}  // namespace settings_tools
