#pragma once

#include <optional>

#include "framework/lens.h"
#include "framework/server.h"
#include "platform/export.h"

extern "C" {
OVICAM_EXPORT extern const framework::TagTable tagInfo20;
}

/// A perspective lens with radial distortion, image shift, image shear and a thin lens.
namespace RadialShiftCam {

struct Lens {
  double zoom_factor = 0.0;
  /// Coefficients of the fourth, third and second power of the normalised film radius.
  double distortion_a = 0.0;
  double distortion_b = 0.0;
  double distortion_c = 0.0;
  /// In units of the reference radius.
  double shift_horizontal = 0.0;
  double shift_vertical = 0.0;
  /// Film units per film unit.
  double shear_horizontal = 0.0;
  double shear_vertical = 0.0;

  /// From the host camera, metres.
  double half_inverse_f_stop = 0.0;
  double focal_distance = 0.0;
  double lens_radius = 0.0;
  double film_distance = 0.0;
  /// Half the smaller side of the film.
  double reference_radius = 0.0;
};

/// The radial law over the film radius in reference radii: a s^4 + b s^3 + c s^2 + d s, with d so that 1 stays 1.
struct RadialLaw {
  double a = 0.0;
  double b = 0.0;
  double c = 0.0;
  double d = 1.0;

  explicit RadialLaw(const Lens& lens)
      : a(lens.distortion_a),
        b(lens.distortion_b),
        c(lens.distortion_c),
        d(1.0 - lens.distortion_a - lens.distortion_b - lens.distortion_c) {}

  /// The law over the radius: how many times farther out a film position is imaged.
  double magnification(double s) const { return (a * s + b) * (s * s) + (c * s + d); }
  double slope(double s) const { return (4.0 * a * s + 3.0 * b) * (s * s) + (2.0 * c * s + d); }

  /// The radius that the law takes to `distorted`, sought from there by Newton's method. It goes no lower than the centre, and
  /// ends with the estimate at hand where the law is level, at a step below 1e-9, and after 24 steps. Threads: any.
  double inverse(double distorted) const {
    double s = distorted;
    for (int count = 0; count < 24; ++count) {
      const double rise = slope(s);
      if (framework::math::abs(rise) < 1e-12) break;
      const double step = (magnification(s) * s - distorted) / rise;
      s -= step;
      if (s < 0.0) s = 0.0;
      if (framework::math::abs(step) < 1e-9) break;
    }
    return s;
  }
};

/// Direction of a film position in camera space, of any length. Never refused: without a film it is not finite. The reference
/// radius counts in single precision, as it always has in scenes rendered with this lens. Threads: any.
inline framework::Vector direction(const Lens& lens, framework::Film /*film*/, framework::FilmPoint at) {
  using namespace framework;
  const double reference = rounded_to_single(lens.reference_radius);
  const double magnification = RadialLaw(lens).magnification(math::sqrt(at.x * at.x + at.y * at.y) / reference);
  return {at.x * magnification + at.y * lens.shear_horizontal + reference * lens.shift_horizontal,
          at.y * magnification + at.x * lens.shear_vertical + reference * lens.shift_vertical, lens.film_distance};
}

/// The film position that sees a point of camera space, with the radial law undone; shift, shear and the lens are left out,
/// because the host places what it projects by the radial law alone. None behind the camera and without a film. Threads: any.
inline std::optional<framework::FilmPoint> film_point(const Lens& lens, framework::Film /*film*/, framework::Vector in_camera) {
  using namespace framework;
  if (too_small(in_camera.z) || too_small(lens.reference_radius) || too_small(lens.film_distance)) return std::nullopt;
  const PolarPoint distorted = polar(in_camera.x, in_camera.y);
  const double distorted_radius = distorted.radius / in_camera.z * (lens.film_distance / lens.reference_radius);
  const double radius = RadialLaw(lens).inverse(distorted_radius) * lens.reference_radius;
  return FilmPoint{distorted.cosine * radius, distorted.sine * radius};
}

ActivateFunc CameraHandler, CameraInterface, CameraGizmo;

inline constexpr framework::CameraServer server{"QuorinRadialShiftCam", &tagInfo20, CameraHandler, CameraInterface,
                                                CameraGizmo};

}  // namespace RadialShiftCam
