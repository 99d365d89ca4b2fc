#include "tests/support/vector_checks.h"

#include <bit>
#include <cmath>
#include <gtest/gtest.h>

namespace test_support {

void expect_near(standin::Vec3 actual, LongVector expected, double tolerance, const std::string& what) {
  const standin::Vec3 wanted = rounded(expected);
  EXPECT_LE(static_cast<double>(length(LongVector(actual) - expected)), tolerance)
      << what << " (" << actual.x << ", " << actual.y << ", " << actual.z << ") instead of (" << wanted.x << ", " << wanted.y
      << ", " << wanted.z << ")";
}

bool is_finite(standin::Vec3 v) { return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z); }

float single(double value) {
  const volatile auto rounded = static_cast<float>(value);
  return rounded;
}

RayBits bits_of(const standin::RayAnswer& ray) {
  return std::bit_cast<RayBits>(std::array{ray.position, ray.direction, ray.film_normal});
}

}  // namespace test_support
