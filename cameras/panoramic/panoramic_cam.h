#pragma once

#include <optional>

#include "framework/lens.h"
#include "sdk/loading.h"

/// An equirectangular strip: the film's width spans azimuth, its height elevation, both linearly.
namespace PanoramicCam {

struct Lens {
  double zoom_factor = 0.0;
  double horizontal_fov_radians = framework::two_pi;
  /// Elevations of the upper and lower film edge, from the camera's forward and right plane toward its up axis.
  double upper_angle_radians = framework::quarter_pi;
  double lower_angle_radians = -framework::quarter_pi;
};

/// The ray of a film position, from the camera's position; its direction is also its film normal. Never refused: film edges
/// and beyond go on by the same law. Formula: the plate carree (equirectangular) projection. Threads: any.
inline framework::Ray map(const Lens& lens, framework::Film film, const framework::Pose& pose, framework::FilmPoint at) {
  using namespace framework;
  const double azimuth = lens.horizontal_fov_radians * (at.x / film.half_width()) * 0.5;
  const double elevation = (lens.upper_angle_radians + lens.lower_angle_radians) * 0.5 +
                           (at.y / film.half_height()) * (lens.upper_angle_radians - lens.lower_angle_radians) * 0.5;
  const double cosine_elevation = cosine(elevation);
  const Vector direction = normalized(pose.right * (sine(azimuth) * cosine_elevation) + pose.up * sine(elevation) +
                                      pose.forward * (cosine(azimuth) * cosine_elevation));
  return {pose.position, direction, direction};
}

/// The film position of a world point: the exact inverse inside the field of view, and beyond the film's edges outside it.
/// None at the camera's own position, and for a film, a field or a span of elevations too small to divide by. Threads: any.
inline std::optional<framework::FilmPoint> project(const Lens& lens, framework::Film film, const framework::Pose& pose,
                                                   framework::Vector world) {
  using namespace framework;
  const Vector seen = camera_from_world(pose, world);
  const double distance = length(seen);
  if (too_small(distance)) return std::nullopt;
  const double elevation = arc_sine(clamped(seen.y / distance, -1.0, 1.0));
  const double azimuth = arc_tangent(seen.x / distance, seen.z / distance);
  const double half_fov = lens.horizontal_fov_radians / 2.0;
  const double span = lens.upper_angle_radians - lens.lower_angle_radians;
  if (too_small(film.half_width()) || too_small(film.half_height())) return std::nullopt;
  if (too_small(magnitude(half_fov)) || too_small(magnitude(span))) return std::nullopt;
  const double middle = (lens.upper_angle_radians + lens.lower_angle_radians) / 2.0;
  return FilmPoint{azimuth / half_fov * film.half_width(), (elevation - middle) / (span / 2.0) * film.half_height()};
}

ActivateFunc CameraHandler, CameraInterface, CameraGizmo;

}  // namespace PanoramicCam
