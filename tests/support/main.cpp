#include <gtest/gtest.h>

#include "tests/support/link_folder.h"
#include "tests/support/paths.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  // Cameras publish their exposure for the programs of the user who renders, not of one who runs tests.
  test_support::LinkFolder::point_to(test_support::scratch_folder());
  return RUN_ALL_TESTS();
}
