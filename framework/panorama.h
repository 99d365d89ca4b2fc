#pragma once

#include "framework/lens.h"
#include "framework/sine_cosine.h"

namespace framework {

/// A panorama on a film: azimuth and elevation, in radians, grow with the film position in metres.
struct Panorama {
  double azimuth_per_metre = 0.0;
  double elevation_per_metre = 0.0;
  /// At the film centre.
  double middle_azimuth = 0.0;
  double middle_elevation = 0.0;

  /// Direction of a film position in camera space, of unit length. Never refused: beyond the film's edges the same law goes on.
  /// Formula: the plate carree (equirectangular) projection. Threads: any.
  Vector direction(FilmPoint at) const {
    const auto [around, up] =
        math::sines_and_cosines(_mm_set_pd(at.y, at.x) * _mm_set_pd(elevation_per_metre, azimuth_per_metre) +
                                _mm_set_pd(middle_elevation, middle_azimuth));
    return {around.sine * up.cosine, up.sine, around.cosine * up.cosine};
  }
};

}  // namespace framework
