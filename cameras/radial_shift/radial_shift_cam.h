#pragma once

#include <optional>

#include "framework/lens.h"
#include "sdk/loading.h"

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

  /// The radius that the law takes to `bent`, sought from there by Newton's method. It goes no lower than the centre, and
  /// ends with the estimate at hand where the law is level, at a step below 1e-9, and after 24 steps. Threads: any.
  double inverse(double bent) const {
    double s = bent;
    for (int count = 0; count < 24; ++count) {
      const double rise = slope(s);
      if (framework::magnitude(rise) < 1e-12) break;
      const double step = (magnification(s) * s - bent) / rise;
      s -= step;
      if (s < 0.0) s = 0.0;
      if (framework::magnitude(step) < 1e-9) break;
    }
    return s;
  }
};

/// The ray of a film position. Never refused: without a film it is not finite. Threads: any.
inline framework::Ray map(const Lens& lens, const framework::Pose& pose, framework::FilmPoint at,
                          framework::LensPoint lens_point) {
  using namespace framework;
  // Both in single precision: meant so.
  const double lens_radius = rounded_to_single(lens.lens_radius);
  const double reference = rounded_to_single(lens.reference_radius);
  const double magnification = RadialLaw(lens).magnification(square_root(at.x * at.x + at.y * at.y) / reference);
  const double x = at.x * magnification + at.y * lens.shear_horizontal + reference * lens.shift_horizontal;
  const double y = at.y * magnification + at.x * lens.shear_vertical + reference * lens.shift_vertical;
  const Vector through_film = pose.right * x + pose.up * y + pose.forward * lens.film_distance;
  // Across the lens means along world X and Y, not along the camera's axes: meant so.
  const Vector across_lens{lens_radius * lens_point.x, lens_radius * lens_point.y, 0.0};
  Ray ray = thin_lens_ray(pose.position, through_film, lens.focal_distance, across_lens);
  ray.film_normal = pose.forward;
  return ray;
}

/// The film position of a world point, with the radial law undone; shift, shear and the lens are left out: meant so. None
/// behind the camera and without a film. Threads: any.
inline std::optional<framework::FilmPoint> project(const Lens& lens, const framework::Pose& pose, framework::Vector world) {
  using namespace framework;
  const Vector seen = camera_from_world(pose, world);
  if (too_small(seen.z) || too_small(lens.reference_radius) || too_small(lens.film_distance)) return std::nullopt;
  const PolarPoint bent = polar(seen.x, seen.y);
  const double bent_radius = bent.radius / seen.z * (lens.film_distance / lens.reference_radius);
  const double radius = RadialLaw(lens).inverse(bent_radius) * lens.reference_radius;
  return FilmPoint{bent.cosine * radius, bent.sine * radius};
}

ActivateFunc CameraHandler, CameraInterface, CameraGizmo;

}  // namespace RadialShiftCam
