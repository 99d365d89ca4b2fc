#pragma once

#include "tests/support/mapping_pair_suite.h"

namespace test_support::mapping_pair {

/// What the pairs of lenses that see only ahead have in common.
template <class LensAhead>
struct PairAhead {
  using Lens = LensAhead;
  static constexpr bool sees_behind = false;
  static constexpr double film_share = 1.0;

  static Vector random_direction(Random& random, const Lens& /*lens*/, Film /*film*/) { return direction_ahead(random, 3.0); }

 protected:
  /// Takes each of the lens's sizes to the limit; a size is given by the function that sets it.
  template <class... SetSize>
  static Cases<Lens> sizes_around_limit(const Lens& lens, Film film, SetSize... set_size) {
    Cases<Lens> cases;
    for (const double number : around_limit)
      ((cases.push_back({lens, film, number != just_above_limit}), set_size(cases.back().lens, number)), ...);
    return cases;
  }
};

}  // namespace test_support::mapping_pair
