// How the examples print what a storage holds.
#pragma once

#include <string>

#include "tessel/config/storage_value.h"

namespace examples {

/// UTF-16 as UTF-8 for the console; invalid surrogates are replaced.
std::string ToUtf8(const std::wstring& text);

/// The type of a value as the registry calls it.
std::string TypeName(const tessel::config::StorageValue& value);

/// A value on one line.
std::string Describe(const tessel::config::StorageValue& value);

}  // namespace examples
