#include <gmock/gmock.h>

#include "support/wait_callback_filter.h"

int main(int argc, char** argv) {
  // Static, so that it outlives the default executor: that is static too, and made later.
  static const testing_support::WaitCallbackFilter kFilter;
  ::testing::InitGoogleMock(&argc, argv);
  return RUN_ALL_TESTS();
}
