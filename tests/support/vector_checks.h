#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "standin/host/ray_query.h"
#include "standin/scene/vector.h"
#include "tests/support/long_vector.h"

namespace test_support {

/// Fails the running test when the two are farther apart than the tolerance. With a tolerance of 0 they must be equal.
void expect_near(standin::Vec3 actual, LongVector expected, double tolerance = 1e-12, const std::string& what = "");

bool is_finite(standin::Vec3 v);

/// Rounds to single precision, through memory: GCC 12 drops the rounding where it vectorises it together with the widening
/// that follows.
float single(double value);

/// The bits of position, direction and film normal, which can be compared even where they are not numbers.
using RayBits = std::array<std::uint64_t, 9>;
RayBits bits_of(const standin::RayAnswer& ray);

}  // namespace test_support
