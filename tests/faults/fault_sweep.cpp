// Runs the sweep over all operations and prints its totals.
#include <cstdlib>

#include <gtest/gtest.h>

#include "sweep.h"

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  const int result = RUN_ALL_TESTS();
  return faults::PrintTotals() ? result : EXIT_FAILURE;
}
