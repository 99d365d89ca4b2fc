#pragma once

#include <algorithm>
#include <cmath>

#include "tests/support/lens_stage.h"

namespace test_support {

/// The panoramas' mapping in wider numbers than the module's. Angles in radians, scales and shifts as fractions.
struct PanoramaFormula {
  long double field;
  long double highest;
  long double lowest;
  long double right_scale = 1.0L;
  long double left_scale = 1.0L;
  long double top_scale = 1.0L;
  long double bottom_scale = 1.0L;
  long double shift_x = 0.0L;
  long double shift_y = 0.0L;

  LongRay ray(LensStage& stage, const standin::RayQuery& query) const {
    const LongPose pose = stage.pose(query.fractional_time);
    const long double azimuth = (2.0L * query.film_x / stage.film_width() + shift_x) * field / 2.0L;
    const long double elevation =
        (highest + lowest + (2.0L * query.film_y / stage.film_height() + shift_y) * (highest - lowest)) / 2.0L;
    const long double sideways = std::sin(azimuth) * std::cos(elevation) * (azimuth > 0.0L ? right_scale : left_scale);
    const long double upward = std::sin(elevation) * (elevation > 0.0L ? top_scale : bottom_scale);
    const LongVector direction =
        normalized(pose.right * sideways + pose.up * upward + pose.forward * (std::cos(azimuth) * std::cos(elevation)));
    return {pose.position, direction, direction};
  }

  LongFilmPoint film(LensStage& stage, LongVector world, double fractional_time = 0.0) const {
    const LongVector seen = stage.pose(fractional_time).seen(world);
    const long double azimuth = std::atan2(seen.x, seen.z);
    const long double elevation = std::asin(std::clamp(seen.y / length(seen), -1.0L, 1.0L));
    return {(azimuth / (field / 2.0L) - shift_x) * stage.film_width() / 2.0L,
            ((2.0L * elevation - highest - lowest) / (highest - lowest) - shift_y) * stage.film_height() / 2.0L};
  }
};

}  // namespace test_support
