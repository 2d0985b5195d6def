// The settings of both layouts side by side, and the changes from one reading to the next, as text.
#pragma once

#include <string>
#include <vector>

#include "settings_tools/settings.h"

namespace settings_tools {

/// A table with a line for each setting, and a line for each key that does not exist. A setting is
/// marked when the older layout does not hold what belongs to the value of the current one: the
/// same word in any case, the same number as text, and for the two values beside the level those of
/// the current layout's level. What cannot be read is not compared.
std::string Table(const Settings& settings);

/// A line for each value that is not shown as it was before, without a line end.
std::vector<std::string> Changes(const Settings& before, const Settings& after);

}  // namespace settings_tools
