#pragma once

#include <cstdint>
#include <optional>

#include "framework/lens.h"
#include "framework/server.h"
#include "platform/export.h"

extern "C" {
OVICAM_EXPORT extern const framework::TagTable tagInfo9;
}

/// A lens that bends the film radius by a power law, with a thin lens in front.
namespace FisheyeCam {

struct Lens {
  double zoom_factor = 0.0;
  /// Exponent and factor of the radial law.
  double distortion_power = 1.0;
  double distortion_scale = 1.0;
  /// On: the scale follows from the film size.
  std::uint32_t auto_distortion_scale = 1;
  /// On: the film normal is the camera's forward axis, else the ray's own direction.
  std::uint32_t parallel_film_normals = 1;
  std::uint32_t preview_in_camera_view = 0;
  /// 0 "Ray Tracing Grid", 1 "Line Matching Grid".
  std::uint32_t preview_grid = 1;

  /// From the host camera: half the inverse f-stop, and metres.
  double lens_factor = 0.0;
  double focal_distance = 0.0;
};

/// Of the pinhole camera that the law bends, metres.
inline double film_distance(const Lens& lens, framework::Film film) { return lens.zoom_factor * film.height * 0.5; }

/// The scale with which the film corner, half a diagonal from the centre, stays where the pinhole camera has it.
inline double corner_keeping_scale(framework::Film film, double distortion_power) {
  const framework::Vector corner{film.half_width(), film.half_height(), 0.0};
  return framework::math::pow(framework::length(corner), 1.0 - distortion_power);
}

/// `base` to the power of `exponent`. The laws that most lenses have need neither logarithm nor exponential function, which
/// would take longer than the rest of a ray.
inline double powered(double base, double exponent) {
  if (exponent == 1.0) return base;
  if (exponent == 2.0) return base * base;
  return framework::math::pow(base, exponent);
}

/// The radial law: where the pinhole camera has what is seen at a film position, at a radius of scale * radius^power.
inline framework::FilmPoint distorted(const Lens& lens, framework::FilmPoint at) {
  const framework::PolarPoint on_film = framework::polar(at.x, at.y);
  // At the centre the law gives 0 for every power above 0, even where the scale that keeps the corners is infinite.
  if (on_film.radius == 0.0 && lens.distortion_power > 0.0) return {};
  const double radius = lens.distortion_scale * powered(on_film.radius, lens.distortion_power);
  return {radius * on_film.cosine, radius * on_film.sine};
}

/// Direction of a film position in camera space, of any length. Never refused: a law that is not finite there gives a
/// direction that is not. Threads: any.
inline framework::Vector direction(const Lens& lens, framework::Film film, framework::FilmPoint at) {
  const framework::FilmPoint on_pinhole_film = distorted(lens, at);
  return {on_pinhole_film.x, on_pinhole_film.y, film_distance(lens, film)};
}

/// The film position that sees a point of camera space, through the centre of the lens. None behind the camera, without a
/// film distance, and for a power or a scale too small to divide by. Threads: any.
inline std::optional<framework::FilmPoint> film_point(const Lens& lens, framework::Film film, framework::Vector in_camera) {
  using namespace framework;
  const double distance = film_distance(lens, film);
  if (too_small(in_camera.z) || too_small(distance)) return std::nullopt;
  if (too_small(lens.distortion_power) || too_small(lens.distortion_scale)) return std::nullopt;
  const PolarPoint straight = polar(in_camera.x, in_camera.y);
  const double radius = powered(straight.radius / in_camera.z * distance / lens.distortion_scale, 1.0 / lens.distortion_power);
  return FilmPoint{radius * straight.cosine, radius * straight.sine};
}

ActivateFunc CameraHandler, CameraInterface, CameraGizmo;

inline constexpr framework::CameraServer server{"QuorinFisheyeCam", &tagInfo9, CameraHandler, CameraInterface, CameraGizmo};

}  // namespace FisheyeCam
