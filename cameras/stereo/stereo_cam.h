#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "cameras/photographic/photographic_values.h"
#include "framework/lens.h"
#include "framework/server.h"
#include "platform/export.h"

extern "C" {
OVICAM_EXPORT extern const framework::TagTable tagInfo4;
}

/// Two eyes side by side behind thin lenses, with optional convergence on an item of the scene.
namespace StereoCam {

/// The camera at one moment, and the item that the eyes converge on, or the origin without one.
struct StereoPose {
  static constexpr std::size_t vector_count = 5;

  framework::Vector position;
  framework::Vector right;
  framework::Vector up;
  framework::Vector forward;
  framework::Vector convergence_item;
};

struct Lens {
  double zoom_factor = 0.0;
  /// Metres.
  double eye_separation = 0.0;
  double convergence_limit = 10.0;
  /// How far the horizontal axis follows the convergence, 0 to 1.
  double toe_in = 1.0;
  /// Kept with the scene; no ray depends on it.
  double horizontal_shift_factor = 1.0;
  double photo_iso = photographic::default_iso;
  double photo_iris = photographic::default_iris;
  double photo_shutter_degrees = photographic::default_shutter_degrees;
  /// 0: none; n: the n-th object of the scene.
  std::uint32_t convergence_index = 0;
  std::uint32_t show_convergence_plane = 0;

  /// From the host camera; distances in metres.
  double half_inverse_f_stop = 0.0;
  double focal_distance = 0.0;
  double film_height = 0.0;
  /// Film positions to the right of it belong to the right eye where both eyes share one image: just under one pixel.
  double split_threshold_x = 0.0;
  bool convergence_on = false;

  double film_distance() const { return zoom_factor * film_height * 0.5; }
  double half_separation() const { return eye_separation * 0.5; }
};

/// One eye and what it looks at: its place on the camera's right axis in half separations, and the film position in an
/// image of its own.
struct EyeView {
  double side = 0.0;
  framework::FilmPoint film;
};
inline constexpr double left_side = -1.0;
inline constexpr double right_side = 1.0;

/// Both eyes in one image, each centred in its half.
inline EyeView side_by_side(const Lens& lens, double film_width, framework::FilmPoint at) {
  if (at.x > lens.split_threshold_x) return {right_side, {at.x - 0.25 * film_width, at.y}};
  return {left_side, {at.x + 0.25 * film_width, at.y}};
}

inline framework::Vector eye_position(const Lens& lens, const StereoPose& pose, double side) {
  return pose.position + pose.right * (side * lens.half_separation());
}

/// What spans the film with the camera's up axis.
struct Axes {
  framework::Vector right;
  framework::Vector forward;
};

/// The axes of an eye on the lens: a convergence item within the limit aims the forward axis at it, and toe-in blends the
/// right axis toward the one square to it. Not inlined: eyes that stay parallel would pay for its registers.
[[gnu::noinline]] inline Axes converged(const Lens& lens, const StereoPose& pose, framework::Vector origin) {
  using namespace framework;
  const Vector to_item = pose.convergence_item - origin;
  const double distance = length(to_item);
  if (!(distance <= lens.convergence_limit)) return {pose.right, pose.forward};
  return {normalized(cross(pose.up, to_item)) * lens.toe_in + pose.right * (1.0 - lens.toe_in), to_item * (1.0 / distance)};
}

/// Direction of a film position in the space of an eye that looks straight ahead, of any length. Never refused. Threads: any.
inline framework::Vector direction(const Lens& lens, framework::Film /*film*/, framework::FilmPoint at) {
  return {at.x, at.y, lens.film_distance()};
}

/// The ray of one eye, through a point of its lens; without a film normal. Never refused. Threads: any. Inlined by force:
/// handing over vectors through memory doubles its time.
[[gnu::always_inline]] inline framework::Ray eye_ray(const Lens& lens, const StereoPose& pose, const EyeView& view,
                                                     framework::LensPoint through) {
  using namespace framework;
  const Vector in_eye = direction(lens, {}, view.film);
  const Vector offset = lens_offset(lens.half_inverse_f_stop * in_eye.z, through);
  const Vector origin = eye_position(lens, pose, view.side) + offset;
  // Written out twice, so that parallel eyes take their axes from where they stand.
  const auto along = [&](const Vector& right, const Vector& forward) {
    const Vector toward = right * in_eye.x + pose.up * in_eye.y + forward * in_eye.z;
    return Ray{origin, thin_lens_direction(toward, lens.focal_distance, offset), {}};
  };
  if (!lens.convergence_on) [[likely]]
    return along(pose.right, pose.forward);
  const Axes axes = converged(lens, pose, origin);
  return along(axes.right, axes.forward);
}

/// The film position at which an eye sees a point of its own space; convergence and lens have no part in it. None on the eye
/// plane and behind it, and for a film too near to the eye. Threads: any.
inline std::optional<framework::FilmPoint> film_point(const Lens& lens, framework::Film /*film*/, framework::Vector in_eye) {
  using namespace framework;
  const double film_distance = lens.film_distance();
  if (too_small(in_eye.z) || too_small(film_distance)) return std::nullopt;
  return FilmPoint{in_eye.x / in_eye.z * film_distance, in_eye.y / in_eye.z * film_distance};
}

ActivateFunc CameraHandler, CameraInterface, CameraGizmo;

inline constexpr framework::CameraServer server{"QuorinStereoCam", &tagInfo4, CameraHandler, CameraInterface, CameraGizmo};

}  // namespace StereoCam
