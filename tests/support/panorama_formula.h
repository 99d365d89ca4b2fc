#pragma once

#include <cmath>

#include "sdk/host.h"
#include "tests/support/lens_stage.h"
#include "tests/support/long_vector.h"

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

  /// The record provides the film's size.
  LongRay ray(const LWCameraAccess& record, const LongPose& pose, double film_x, double film_y) const {
    const long double azimuth = (2.0L * film_x / record.filmSize[0] + shift_x) * field / 2.0L;
    const long double elevation =
        (highest + lowest + (2.0L * film_y / record.filmSize[1] + shift_y) * (highest - lowest)) / 2.0L;
    const long double sideways = std::sin(azimuth) * std::cos(elevation) * (azimuth > 0.0L ? right_scale : left_scale);
    const long double upward = std::sin(elevation) * (elevation > 0.0L ? top_scale : bottom_scale);
    const LongVector direction =
        normalized(pose.right * sideways + pose.up * upward + pose.forward * (std::cos(azimuth) * std::cos(elevation)));
    return {pose.position, direction, direction};
  }

  /// Ignores the scales, as the cameras do.
  LongFilmPoint film(const LWCameraAccess& record, const LongPose& pose, LongVector world) const {
    const LongVector seen = pose.seen(world);
    const long double azimuth = std::atan2(seen.x, seen.z);
    const long double elevation = std::atan2(seen.y, std::hypot(seen.x, seen.z));
    return {(azimuth / (field / 2.0L) - shift_x) * record.filmSize[0] / 2.0L,
            ((2.0L * elevation - highest - lowest) / (highest - lowest) - shift_y) * record.filmSize[1] / 2.0L};
  }

  LongRay ray(LensStage& stage, const standin::RayQuery& query) const {
    return ray(stage.camera().access(), stage.pose(query.fractional_time), query.film_x, query.film_y);
  }
  LongFilmPoint film(LensStage& stage, LongVector world, double fractional_time = 0.0) const {
    return film(stage.camera().access(), stage.pose(fractional_time), world);
  }
};

}  // namespace test_support
