#include "tessel/config/storage_iterator.h"

#include <windows.h>

namespace tessel::config {

bool StorageIterator::Cursor::operator==(std::default_sentinel_t /*end*/) const noexcept {
  return !current_ &&
         current_.error() == std::error_code(ERROR_NO_MORE_ITEMS, std::system_category());
}

}  // namespace tessel::config
