// What the example programs share: how they print what a storage holds, and their argument.
#pragma once

#include <optional>
#include <string>

#include "tessel/config/storage_value.h"

namespace examples {

/// UTF-16 as UTF-8 for the console; invalid surrogates are replaced.
std::string ToUtf8(const std::wstring& text);

/// The type of a value as the registry calls it.
std::string TypeName(const tessel::config::StorageValue& value);

/// A value on one line.
std::string Describe(const tessel::config::StorageValue& value);

/// The only argument of a program, which may be left out, as a number: the largest one without it.
/// Nothing for anything else.
std::optional<unsigned long> ReadCount(int argc, const char* const* argv);

}  // namespace examples
