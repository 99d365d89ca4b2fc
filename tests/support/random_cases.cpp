#include "tests/support/random_cases.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <iostream>

namespace test_support {

void expect_small_errors(const std::string& what, double tolerance, const std::function<double()>& next, int count) {
  double largest = 0.0;
  for (int i = 0; i < count; ++i) {
    const double error = next();
    ASSERT_LE(error, tolerance) << what << ", case " << i;
    largest = std::max(largest, error);
  }
  std::cout << what << ": largest error " << largest << " in " << count << " cases\n";
}

}  // namespace test_support
