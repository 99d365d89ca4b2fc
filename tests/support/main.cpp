#include <gtest/gtest.h>

#include "tests/support/link_folder.h"
#include "tests/support/paths.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  // Cameras publish their exposure for other programs of the user, who should not see what tests publish.
  test_support::LinkFolder::point_to(test_support::scratch_folder());
  return RUN_ALL_TESTS();
}
