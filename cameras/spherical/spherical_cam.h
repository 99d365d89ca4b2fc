#pragma once

#include <optional>

#include "cameras/photographic/photographic_values.h"
#include "framework/lens.h"
#include "sdk/loading.h"

/// An equidistant wide-angle lens: the angle from the axis grows with the distance from the film centre.
namespace SphericalCam {

struct Lens {
  /// Across the circle inscribed in the film.
  double angular_fov_radians = framework::pi;
  double photo_iso = photographic::default_iso;
  double photo_iris = photographic::default_iris;
  double photo_shutter_degrees = photographic::default_shutter_degrees;

  /// Half the smaller side of the film, metres.
  double reference_radius = 0.0;
};

/// The ray of a film position, from the camera's position; its direction is also its film normal. Never refused: beyond the
/// inscribed circle the same law goes on, and past an angle of pi it looks back. Formula: the equidistant projection.
/// The direction is rounded to single precision on its way: meant so. Threads: any.
inline framework::Ray map(const Lens& lens, const framework::Pose& pose, framework::FilmPoint at) {
  using namespace framework;
  BasicVector<float> seen{0.0F, 0.0F, 1.0F};
  if (at.x != 0.0 || at.y != 0.0) {
    const double radius = square_root(at.x * at.x + at.y * at.y);
    const double angle = (radius / lens.reference_radius) * lens.angular_fov_radians * 0.5;
    const double sine_angle = sine(angle);
    seen = rounded({at.x * sine_angle, at.y * sine_angle, radius * cosine(angle)});
  }
  const Vector exact = widened(seen);
  const BasicVector<float> world = rounded(pose.right * exact.x + pose.up * exact.y + pose.forward * exact.z);
  const Vector direction = widened(world) * (1.0 / static_cast<double>(length(world)));
  return {pose.position, direction, direction};
}

/// The film position of a world point, behind the camera too. None at the camera's own position, and for a field of view too
/// small to divide by. Threads: any.
inline std::optional<framework::FilmPoint> project(const Lens& lens, const framework::Pose& pose, framework::Vector world) {
  using namespace framework;
  const Vector seen = camera_from_world(pose, world);
  const double distance = length(seen);
  const double half_fov = lens.angular_fov_radians * 0.5;
  if (too_small(distance) || too_small(half_fov)) return std::nullopt;
  const double angle = arc_cosine(clamped(seen.z / distance, -1.0, 1.0));
  const double radius = (angle / half_fov) * lens.reference_radius;
  const double direction = arc_tangent(seen.y / distance, seen.x / distance);
  return FilmPoint{radius * cosine(direction), radius * sine(direction)};
}

ActivateFunc CameraHandler, CameraInterface, CameraGizmo;

}  // namespace SphericalCam
