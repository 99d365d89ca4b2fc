#pragma once

#include <functional>
#include <random>
#include <string>

namespace test_support {

/// Random numbers, which are the same in every run.
class Random {
 public:
  double between(double low, double high) { return low + (high - low) * fraction(); }
  bool coin() { return fraction() < 0.5; }
  double sign() { return coin() ? 1.0 : -1.0; }

 private:
  // The standard library's own distributions differ from one library to the next.
  double fraction() { return static_cast<double>(engine_() >> 11) * 0x1p-53; }
  std::mt19937_64 engine_{20261028};
};

/// Runs random cases, each of which returns its error, and prints the largest one. The first error above the tolerance, or
/// that is not a number, fails the running test and ends the cases.
void expect_small_errors(const std::string& what, double tolerance, const std::function<double()>& next, int count = 10'000);

}  // namespace test_support
