#pragma once

#include <array>
#include <optional>

#include "framework/lens.h"
#include "framework/panorama.h"
#include "framework/parameters.h"
#include "framework/server.h"
#include "platform/export.h"

extern "C" {
OVICAM_EXPORT extern const framework::TagTable tagInfo12;
}

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

/// The panorama on a film, as it would be if every scale were 1, and whether one of them is not.
struct PreparedLens : framework::Panorama {
  bool is_stretched = false;
};

/// Without a film it is not finite. Threads: any.
inline PreparedLens prepared(const Lens& lens, framework::Film film) {
  const double span = lens.upper_angle_radians - lens.lower_angle_radians;
  return {{.azimuth_per_metre = lens.horizontal_fov_radians / film.width,
           .elevation_per_metre = span / film.height,
           .middle_azimuth = lens.horizontal_shift * lens.horizontal_fov_radians * 0.5,
           .middle_elevation = (lens.upper_angle_radians + lens.lower_angle_radians) * 0.5 + lens.vertical_shift * span * 0.5},
          lens.right_scale != 1.0 || lens.top_scale != 1.0 || lens.left_scale != 1.0 || lens.bottom_scale != 1.0};
}

/// Direction of a film position in camera space, stretched by the scales, each on its side of the axis; on the axis the left
/// and the bottom one hold. Never refused; scales of 0 can leave no direction. Threads: any.
inline framework::Vector stretched_direction(const Lens& lens, framework::Film film, framework::FilmPoint at) {
  using namespace framework;
  // By division, so that what is to lie on the axis is not a digit beside it, under another scale.
  const double azimuth = (at.x / film.half_width() + lens.horizontal_shift) * lens.horizontal_fov_radians * 0.5;
  const double elevation =
      (lens.upper_angle_radians + lens.lower_angle_radians) * 0.5 +
      (at.y / film.half_height() + lens.vertical_shift) * (lens.upper_angle_radians - lens.lower_angle_radians) * 0.5;
  const auto [around, up] = math::sines_and_cosines(azimuth, elevation);
  return {around.sine * up.cosine * (azimuth > 0.0 ? lens.right_scale : lens.left_scale),
          up.sine * (elevation > 0.0 ? lens.top_scale : lens.bottom_scale), around.cosine * up.cosine};
}

/// Direction of a film position in camera space, of unit length while every scale is 1. Threads: any.
inline framework::Vector direction(const Lens& lens, framework::Film film, framework::FilmPoint at) {
  const PreparedLens panorama = prepared(lens, film);
  return panorama.is_stretched ? stretched_direction(lens, film, at) : panorama.direction(at);
}

/// The film position that sees a point of camera space, as if every scale were 1, and the inverse of `direction` only then:
/// the host places what it projects by this. None at the camera's own position, and for a film, a field or a span of
/// elevations too small to divide by. Threads: any.
inline std::optional<framework::FilmPoint> film_point(const Lens& lens, framework::Film film, framework::Vector in_camera) {
  using namespace framework;
  const double half_fov = lens.horizontal_fov_radians * 0.5;
  const double span = lens.upper_angle_radians - lens.lower_angle_radians;
  if (too_small(film.half_width()) || too_small(film.half_height())) return std::nullopt;
  if (too_small(math::abs(half_fov)) || too_small(math::abs(span))) return std::nullopt;
  const double distance = length(in_camera);
  if (too_small(distance)) return std::nullopt;
  const double azimuth = math::atan2(in_camera.x / distance, in_camera.z / distance);
  const double elevation = math::asin(clamped(in_camera.y / distance, -1.0, 1.0));
  const double middle = (lens.upper_angle_radians + lens.lower_angle_radians) * 0.5;
  return FilmPoint{(azimuth / half_fov - lens.horizontal_shift) * film.half_width(),
                   ((elevation - middle) / (span * 0.5) - lens.vertical_shift) * film.half_height()};
}

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

ActivateFunc CameraHandler, CameraInterface, CameraGizmo;

inline constexpr framework::CameraServer server{"QuorinAdvPanCam", &tagInfo12, CameraHandler, CameraInterface, CameraGizmo};

}  // namespace AdvPanCam
