/// The errors of sines and cosines, against the library's in the 64-bit mantissas of this machine's long double.

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>

#include "framework/sine_cosine.h"
#include "tests/support/random_cases.h"

namespace native_sine_cosine_test {

using framework::math::sines_and_cosines;

constexpr double infinity = std::numeric_limits<double>::infinity();

/// In units of the last place of the exact value.
double error_of(double value, long double exact) {
  const double rounded = std::fabs(static_cast<double>(exact));
  const double unit = std::nextafter(rounded, infinity) - rounded;
  return static_cast<double>(std::fabs(static_cast<long double>(value) - exact) / static_cast<long double>(unit));
}

struct Worst {
  double error = 0.0;
  double radians = 0.0;

  void see(double first, double second) {
    const auto found = sines_and_cosines(first, second);
    take(first, found[0]);
    take(second, found[1]);
  }

 private:
  void take(double angle, framework::math::SineCosine found) {
    const double larger = std::max(error_of(found.sine, std::sin(static_cast<long double>(angle))),
                                   error_of(found.cosine, std::cos(static_cast<long double>(angle))));
    if (larger <= error) return;
    error = larger;
    radians = angle;
  }
};

TEST(SineCosineErrors, AreWithinOneUnitInTheLastPlaceEverywhere) {
  test_support::Random random;
  Worst worst;
  for (int i = 0; i < 2'500'000; ++i) {
    worst.see(random.between(-7.0, 7.0), random.between(-400.0, 400.0));
    worst.see(random.between(-1e5, 1e5), std::exp2(random.between(-60.0, 16.6)));
  }
  EXPECT_LE(worst.error, 1.0) << worst.radians;
  RecordProperty("worst_units", std::to_string(worst.error));
}

TEST(SineCosineErrors, AreWithinOneUnitAtEveryMultipleOfAQuarterTurnAndBesideIt) {
  constexpr long double half_pi = 1.57079632679489661923132169163975144L;
  test_support::Random random;
  Worst worst;
  for (int quarter = -63'662; quarter <= 63'662; ++quarter) {
    const auto angle = static_cast<double>(quarter * half_pi);
    double above = angle;
    double below = angle;
    for (int step = 0; step < 4; ++step) {
      worst.see(above, below);
      above = std::nextafter(above, infinity);
      below = std::nextafter(below, -infinity);
    }
    worst.see(static_cast<double>(quarter * half_pi * 0.5L), std::nextafter(angle * 0.5, infinity));
    // Two steps of the table to each side: what is nearest to the one beside a quarter turn is counted from the turn.
    worst.see(angle + random.between(-0.05, 0.05), angle + random.between(-0.05, 0.05));
  }
  EXPECT_LE(worst.error, 1.0) << worst.radians;
}

}  // namespace native_sine_cosine_test
