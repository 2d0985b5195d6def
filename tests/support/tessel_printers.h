// How the messages of failed expectations print what the library defines. GoogleTest finds these
// functions by the namespace: each file that compares such a value must include this header.
#pragma once

#include <ostream>
#include <system_error>

#include "support/print_name.h"
#include "tessel/config/error.h"
#include "tessel/config/storage_event.h"

namespace tessel::config {

/// As the error code that it becomes.
inline void PrintTo(Error error, std::ostream* stream) { *stream << make_error_code(error); }
inline void PrintTo(StorageEvent event, std::ostream* stream) {
  testing_support::PrintName(event, {"none", "WatchLost", "Changed"}, stream);
}

}  // namespace tessel::config
