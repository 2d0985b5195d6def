// Values of the registry as text for people. Free functions without state, usable from any thread.
#pragma once

#include <string>
#include <string_view>

#include "tessel/config/storage_value.h"

namespace settings_tools {

/// UTF-16 as UTF-8. Control characters, which could steer a console, are written as `\x1b`, and
/// those that begin a line or change the direction of a text as `\u202e`.
std::string Printable(std::wstring_view text);

/// The type of a value as the registry calls it. Reading does not tell the byte order of a
/// REG_DWORD.
std::string_view TypeName(const tessel::config::StorageValue& value);

/// The content of a value on one line: numbers in decimal, texts in quotes, with a backslash before
/// quotes and backslashes in them, bytes in hexadecimal, a list in brackets, and nothing for
/// REG_NONE.
std::string Describe(const tessel::config::StorageValue& value);

}  // namespace settings_tools
