#pragma once

#include <array>
#include <optional>

#include "framework/lens.h"
#include "framework/parameters.h"
#include "sdk/loading.h"

/// A panorama with vertical limits of its own above and below, a scale for each side of the axis, and two shifts.
namespace AdvPanCam {

/// Scales and shifts are fractions: 1 is 100 %. Shifts are in half frames.
struct Lens {
  double zoom_factor = 0.0;
  double horizontal_fov_radians = framework::two_pi;
  double upper_angle_radians = framework::quarter_pi;
  double lower_angle_radians = -framework::quarter_pi;
  double right_scale = 1.0;
  double top_scale = 1.0;
  double left_scale = 1.0;
  double bottom_scale = 1.0;
  double horizontal_shift = 0.0;
  double vertical_shift = 0.0;
};

/// The parameter family, in order of creation and of saving; the immersive camera has the same.
inline constexpr std::array parameters{
    framework::host_zoom_parameter(&Lens::zoom_factor),
    framework::parameter("HorizontalFOVradians", &Lens::horizontal_fov_radians),
    framework::parameter("MaxVerticalFOVradians", &Lens::upper_angle_radians),
    framework::parameter("MinVerticalFOVradians", &Lens::lower_angle_radians),
    framework::parameter("HScalePos", &Lens::right_scale),
    framework::parameter("VScalePos", &Lens::top_scale),
    framework::parameter("HScaleNeg", &Lens::left_scale),
    framework::parameter("VScaleNeg", &Lens::bottom_scale),
    framework::parameter("HShift", &Lens::horizontal_shift),
    framework::parameter("VShift", &Lens::vertical_shift),
};

inline constexpr std::array saved{
    framework::saved_envelope(&Lens::horizontal_fov_radians),
    framework::saved_envelope(&Lens::upper_angle_radians),
    framework::saved_envelope(&Lens::lower_angle_radians),
    framework::saved_envelope(&Lens::right_scale),
    framework::saved_envelope(&Lens::top_scale),
    framework::saved_envelope(&Lens::horizontal_shift),
    framework::saved_envelope(&Lens::vertical_shift),
    framework::saved_envelope(&Lens::left_scale),
    framework::saved_envelope(&Lens::bottom_scale),
};

/// The ray of a film position, from the camera's position; its direction is also its film normal. The scales stretch the
/// direction, each on its side of the axis; on the axis the left and the bottom one hold. Never refused: where scales of 0
/// leave no direction, it is not finite. Threads: any.
inline framework::Ray map(const Lens& lens, framework::Film film, const framework::Pose& pose, framework::FilmPoint at) {
  using namespace framework;
  const double azimuth = (at.x / film.half_width() + lens.horizontal_shift) * lens.horizontal_fov_radians * 0.5;
  const double elevation =
      (lens.upper_angle_radians + lens.lower_angle_radians) * 0.5 +
      (at.y / film.half_height() + lens.vertical_shift) * (lens.upper_angle_radians - lens.lower_angle_radians) * 0.5;
  const double cosine_elevation = cosine(elevation);
  const double sideways = sine(azimuth) * cosine_elevation * (azimuth > 0.0 ? lens.right_scale : lens.left_scale);
  const double upward = sine(elevation) * (elevation > 0.0 ? lens.top_scale : lens.bottom_scale);
  const Vector direction =
      normalized(pose.right * sideways + pose.up * upward + pose.forward * (cosine(azimuth) * cosine_elevation));
  return {pose.position, direction, direction};
}

/// The film position of a world point, as if every scale were 1: meant so, the exact inverse only then. None at the camera's
/// own position, and for a film, a field or a span of elevations too small to divide by. Threads: any.
inline std::optional<framework::FilmPoint> project(const Lens& lens, framework::Film film, const framework::Pose& pose,
                                                   framework::Vector world) {
  using namespace framework;
  const double half_fov = lens.horizontal_fov_radians * 0.5;
  const double span = lens.upper_angle_radians - lens.lower_angle_radians;
  if (too_small(film.half_width()) || too_small(film.half_height())) return std::nullopt;
  if (too_small(magnitude(half_fov)) || too_small(magnitude(span))) return std::nullopt;
  const Vector seen = camera_from_world(pose, world);
  const double distance = length(seen);
  if (too_small(distance)) return std::nullopt;
  const double azimuth = arc_tangent(seen.x, seen.z);
  const double elevation = arc_sine(clamped(seen.y / distance, -1.0, 1.0));
  const double middle = (lens.upper_angle_radians + lens.lower_angle_radians) * 0.5;
  return FilmPoint{(azimuth / half_fov - lens.horizontal_shift) * film.half_width(),
                   ((elevation - middle) / (span * 0.5) - lens.vertical_shift) * film.half_height()};
}

ActivateFunc CameraHandler, CameraInterface, CameraGizmo;

}  // namespace AdvPanCam
