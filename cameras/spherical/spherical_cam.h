#pragma once

#include <optional>

#include "cameras/photographic/photographic_values.h"
#include "framework/lens.h"
#include "framework/server.h"
#include "framework/sine_cosine.h"
#include "platform/export.h"

extern "C" {
OVICAM_EXPORT extern const framework::TagTable tagInfo22;
}

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

/// The lens on a film: how fast the angle from the axis grows.
struct PreparedLens {
  double radians_per_metre = 0.0;

  /// Direction of a film position in camera space, of any length and in single precision: so are the pictures that this lens
  /// has made. Never refused: beyond the inscribed circle the same law goes on, and past an angle of pi it looks back. Formula:
  /// the equidistant projection. Threads: any.
  framework::BasicVector<float> direction(framework::FilmPoint at) const {
    using namespace framework;
    if (at.x == 0.0 && at.y == 0.0) return {0.0F, 0.0F, 1.0F};
    const double radius = math::sqrt(at.x * at.x + at.y * at.y);
    const auto [sine, cosine] = math::sine_and_cosine(radius * radians_per_metre);
    return rounded({at.x * sine, at.y * sine, radius * cosine});
  }
};

/// The film is in the lens's reference radius; without one, this is not finite. Threads: any.
inline PreparedLens prepared(const Lens& lens, framework::Film /*film*/) {
  return {lens.angular_fov_radians * 0.5 / lens.reference_radius};
}

/// The same from the lens itself. Threads: any.
inline framework::BasicVector<float> direction(const Lens& lens, framework::Film film, framework::FilmPoint at) {
  return prepared(lens, film).direction(at);
}

/// The ray from the camera's position in a direction of camera space; its direction is also its film normal. The direction of
/// the world and its length are rounded to single precision on their way, as the direction itself.
inline framework::Ray world_ray(const framework::Pose& pose, framework::BasicVector<float> in_camera) {
  using namespace framework;
  const BasicVector<float> world = rounded(world_from_camera(pose, widened(in_camera)));
  const Vector direction = widened(world) * (1.0 / static_cast<double>(length(world)));
  return {pose.position, direction, direction};
}

/// The film position that sees a point of camera space, behind the camera too. None at the camera's own position, and for a
/// field of view too small to divide by. Threads: any.
inline std::optional<framework::FilmPoint> film_point(const Lens& lens, framework::Film /*film*/, framework::Vector in_camera) {
  using namespace framework;
  const double distance = length(in_camera);
  const double half_fov = lens.angular_fov_radians * 0.5;
  if (too_small(distance) || too_small(half_fov)) return std::nullopt;
  const double angle = math::acos(clamped(in_camera.z / distance, -1.0, 1.0));
  const double radius = (angle / half_fov) * lens.reference_radius;
  const double around = math::atan2(in_camera.y / distance, in_camera.x / distance);
  return FilmPoint{radius * math::cos(around), radius * math::sin(around)};
}

ActivateFunc CameraHandler, CameraInterface, CameraGizmo;

inline constexpr framework::CameraServer server{"QuorinSphericalCam", &tagInfo22, CameraHandler, CameraInterface, CameraGizmo};

}  // namespace SphericalCam
