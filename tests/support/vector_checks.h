#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "standin/host/ray_query.h"
#include "standin/scene/vector.h"
#include "tests/support/long_vector.h"

namespace test_support {

/// The running test fails when the two are further apart than that. With a tolerance of 0 they must be the same.
void expect_near(standin::Vec3 actual, LongVector expected, double tolerance = 1e-12, const std::string& what = "");

bool is_finite(standin::Vec3 v);

/// Rounded to single precision, by way of memory: GCC 12 leaves the rounding out where it vectorises a rounding together with
/// the widening after it.
float single(double value);

/// Position, direction and film normal bit by bit, so that numbers that are not numbers can be compared as well.
using RayBits = std::array<std::uint64_t, 9>;
RayBits bits_of(const standin::RayAnswer& ray);

}  // namespace test_support
