#pragma once

#include <cmath>
#include <limits>
#include <numbers>
#include <utility>

#include "tests/support/mapping_pair_suite.h"

namespace test_support::mapping_pair {

/// Mirrored and upside down as well, by fields and limits that are below zero and swapped.
template <class Lens>
void set_random_field(Lens& lens, Random& random) {
  lens.horizontal_fov_radians = random.between(0.1, 2.0 * pi) * random.sign();
  lens.lower_angle_radians = random.between(-1.5, 1.4);
  lens.upper_angle_radians = random.between(lens.lower_angle_radians + 0.05, 1.5);
  if (random.coin()) std::swap(lens.lower_angle_radians, lens.upper_angle_radians);
}

/// What the pairs of all panoramas have in common.
template <class PanoramaLens>
struct PanoramaPair {
  using Lens = PanoramaLens;
  static constexpr bool sees_behind = true;
  static constexpr double film_tolerance = 1e-13;
  static constexpr double angle_tolerance = 1e-14;
  /// An azimuth of half a turn belongs to the left edge as much as to the right one.
  static constexpr double film_share = 0.98;

  static Vector random_direction(Random& random, const Lens& /*lens*/, Film /*film*/) { return direction_anywhere(random); }

  static Cases<Lens> cases(const Lens& lens, Film film) {
    Cases<Lens> cases;
    for (const double number : around_limit) {
      const bool refused = number != just_above_limit;
      cases.push_back({lens, {2.0 * number, film.height}, refused});
      cases.push_back({lens, {film.width, 2.0 * number}, refused});
    }
    // Fields and spans may be below zero.
    for (const double number : {limit, -limit, 0.0, not_a_number, just_above_limit, -just_above_limit}) {
      const bool refused = std::abs(number) != just_above_limit;
      cases.push_back({lens, film, refused});
      cases.back().lens.horizontal_fov_radians = 2.0 * number;
      cases.push_back({lens, film, refused});
      cases.back().lens.lower_angle_radians = 0.0;
      cases.back().lens.upper_angle_radians = number;
    }
    return cases;
  }
};

}  // namespace test_support::mapping_pair
