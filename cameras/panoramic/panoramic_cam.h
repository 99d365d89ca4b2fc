#pragma once

#include <optional>

#include "framework/lens.h"
#include "framework/panorama.h"
#include "framework/server.h"
#include "platform/export.h"

extern "C" {
OVICAM_EXPORT extern const framework::TagTable tagInfo6;
}

/// An equirectangular strip: the film's width spans azimuth, its height elevation, both linearly.
namespace PanoramicCam {

struct Lens {
  double zoom_factor = 0.0;
  double horizontal_fov_radians = framework::two_pi;
  /// Elevations of the upper and lower film edge, from the camera's forward and right plane toward its up axis.
  double upper_angle_radians = framework::quarter_pi;
  double lower_angle_radians = -framework::quarter_pi;
};

/// The panorama on a film. Without a film it is not finite. Threads: any.
inline framework::Panorama prepared(const Lens& lens, framework::Film film) {
  return {.azimuth_per_metre = lens.horizontal_fov_radians / film.width,
          .elevation_per_metre = (lens.upper_angle_radians - lens.lower_angle_radians) / film.height,
          .middle_elevation = (lens.upper_angle_radians + lens.lower_angle_radians) * 0.5};
}

/// Direction of a film position in camera space, of unit length. Never refused: beyond the film's edges the same law goes on.
/// Threads: any.
inline framework::Vector direction(const Lens& lens, framework::Film film, framework::FilmPoint at) {
  return prepared(lens, film).direction(at);
}

/// The film position that sees a point of camera space: the inverse of `direction` inside the field of view, and beyond the
/// film's edges outside it. None at the camera's own position, and for a film, a field or a span of elevations too small to
/// divide by. Threads: any.
inline std::optional<framework::FilmPoint> film_point(const Lens& lens, framework::Film film, framework::Vector in_camera) {
  using namespace framework;
  const double distance = length(in_camera);
  if (too_small(distance)) return std::nullopt;
  const double elevation = math::asin(clamped(in_camera.y / distance, -1.0, 1.0));
  const double azimuth = math::atan2(in_camera.x / distance, in_camera.z / distance);
  const double half_fov = lens.horizontal_fov_radians / 2.0;
  const double span = lens.upper_angle_radians - lens.lower_angle_radians;
  if (too_small(film.half_width()) || too_small(film.half_height())) return std::nullopt;
  if (too_small(math::abs(half_fov)) || too_small(math::abs(span))) return std::nullopt;
  const double middle = (lens.upper_angle_radians + lens.lower_angle_radians) / 2.0;
  return FilmPoint{azimuth / half_fov * film.half_width(), (elevation - middle) / (span / 2.0) * film.half_height()};
}

ActivateFunc CameraHandler, CameraInterface, CameraGizmo;

inline constexpr framework::CameraServer server{"QuorinPanoramicCam", &tagInfo6, CameraHandler, CameraInterface, CameraGizmo};

}  // namespace PanoramicCam
