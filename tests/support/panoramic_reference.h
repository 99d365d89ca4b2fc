#pragma once

#include <array>
#include <cmath>
#include <optional>
#include <span>

#include "sdk/host.h"

/// The panoramic camera's mathematics once more, in more digits than the module has and written without a look at its code.
namespace test_support {

using Real = long double;
using RealVector = std::array<Real, 3>;

inline RealVector combine(const RealVector& a, Real s, const RealVector& b, Real t, const RealVector& c, Real u) {
  return {a[0] * s + b[0] * t + c[0] * u, a[1] * s + b[1] * t + c[1] * u, a[2] * s + b[2] * t + c[2] * u};
}

inline Real inner(const RealVector& a, const RealVector& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

struct RealPose {
  RealVector position{};
  RealVector right{};
  RealVector up{};
  RealVector forward{};
};

/// Angles in radians; film sizes in metres.
struct Panorama {
  Real horizontal_fov = 0.0L;
  Real upper = 0.0L;
  Real lower = 0.0L;
  Real film_width = 0.0L;
  Real film_height = 0.0L;
};

inline RealVector panoramic_direction(const Panorama& panorama, const RealPose& pose, Real film_x, Real film_y) {
  // Azimuth and elevation run linearly from edge to edge.
  const Real azimuth = panorama.horizontal_fov * film_x / panorama.film_width;
  const Real share = film_y / panorama.film_height + 0.5L;
  const Real elevation = panorama.lower + (panorama.upper - panorama.lower) * share;
  const RealVector d = combine(pose.right, std::sin(azimuth) * std::cos(elevation), pose.up, std::sin(elevation), pose.forward,
                               std::cos(azimuth) * std::cos(elevation));
  const Real length = std::sqrt(inner(d, d));
  return {d[0] / length, d[1] / length, d[2] / length};
}

/// Film x and y of a direction from the camera.
inline std::array<Real, 2> panoramic_film_point(const Panorama& panorama, const RealPose& pose, const RealVector& direction) {
  const Real x = inner(direction, pose.right);
  const Real y = inner(direction, pose.up);
  const Real z = inner(direction, pose.forward);
  const Real azimuth = std::atan2(x, z);
  const Real elevation = std::atan2(y, std::hypot(x, z));
  return {azimuth / panorama.horizontal_fov * panorama.film_width,
          ((elevation - panorama.lower) / (panorama.upper - panorama.lower) - 0.5L) * panorama.film_height};
}

/// A vector at a fractional time from samples that the host gave, by the interpolation that evaluation and projection share:
/// the index runs over all samples but two, while the share of the later sample is what exceeds index / count.
inline RealVector interpolated(std::span<const std::array<double, 3>> samples, double time) {
  const auto count = static_cast<Real>(samples.size());
  std::size_t index = 0;
  Real share = 0.0L;
  if (time >= 1.0) {
    index = samples.size() - 2;
    share = 1.0L;
  } else if (time > 0.0) {
    index = static_cast<std::size_t>(std::trunc(static_cast<double>(samples.size() - 2) * time));
    share = time - static_cast<Real>(index) / count;
  }
  RealVector result{};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    result[axis] = samples[index][axis] + share * (static_cast<Real>(samples[index + 1][axis]) - samples[index][axis]);
  }
  return result;
}

}  // namespace test_support
