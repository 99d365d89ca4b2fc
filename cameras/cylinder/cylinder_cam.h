#pragma once

#include <cstdint>

#include "framework/lens.h"
#include "framework/server.h"
#include "framework/sine_cosine.h"
#include "platform/export.h"

extern "C" {
OVICAM_EXPORT extern const framework::TagTable tagInfo7;
}

/// Angular across, orthographic along: rays fan out around an axis and slide along it.
namespace CylinderCam {

struct Lens {
  /// Length of the slide along the axis, metres.
  double cylinder_size = 1.0;
  /// Angles reached at the positive and the negative film edge.
  double maximum_angle_radians = 0.17453292519943295;
  double minimum_angle_radians = -0.17453292519943295;
  /// 0: the camera's right axis; anything else: its up axis.
  std::uint32_t axis_choice = 1;

  double middle_radians() const { return (maximum_angle_radians + minimum_angle_radians) * 0.5; }
  double span_radians() const { return maximum_angle_radians - minimum_angle_radians; }
};

/// The lens on a film, for an angle across the film's width and across its height.
struct PreparedLens {
  double radians_per_metre_of_width = 0.0;
  double radians_per_metre_of_height = 0.0;
  double middle_radians = 0.0;
  /// Along the axis. Either slide counts in half film heights, so that the horizontal one spans more than the size on a wide
  /// film.
  double slide_per_metre = 0.0;
};

/// Without a film it is not finite. Threads: any.
inline PreparedLens prepared(const Lens& lens, framework::Film film) {
  return {lens.span_radians() / film.width, lens.span_radians() / film.height, lens.middle_radians(),
          lens.cylinder_size / film.height};
}

/// The ray of a film position; its direction is also its film normal. Never refused: without a film it is not finite.
/// Threads: any.
inline framework::Ray map(const PreparedLens& lens, bool vertical, const framework::Pose& pose, framework::FilmPoint at) {
  using namespace framework;
  const double around = vertical ? at.x * lens.radians_per_metre_of_width : at.y * lens.radians_per_metre_of_height;
  const double along = (vertical ? at.y : at.x) * lens.slide_per_metre;
  const auto [sine, cosine] = math::sine_and_cosine(around + lens.middle_radians);
  // Where they stand: copies would take the registers that the angle needs.
  const Vector& axis = vertical ? pose.up : pose.right;
  const Vector& across = vertical ? pose.right : pose.up;
  Vector direction = across * sine + pose.forward * cosine;
  if (!pose.keeps_lengths) [[unlikely]]
    direction = normalized(direction);
  return {pose.position + axis * along, direction, direction};
}

/// The same from the lens itself. Threads: any.
inline framework::Ray map(const Lens& lens, framework::Film film, const framework::Pose& pose, framework::FilmPoint at) {
  return map(prepared(lens, film), lens.axis_choice != 0, pose, at);
}

/// Puts the film position of a world point into `at`; returns whether there is one. A film, a size or a span of angles too
/// small to divide by leaves `at` alone; a point on the axis or straight behind it has no angle, but its coordinate along the
/// axis is already in `at` then, where hosts have come to find it. Threads: any.
inline bool project(const Lens& lens, framework::Film film, const framework::Pose& pose, framework::Vector world,
                    framework::FilmPoint& at) {
  using namespace framework;
  const double half_size = 0.5 * lens.cylinder_size;
  if (too_small(film.half_width()) || too_small(film.half_height())) return false;
  if (too_small(math::abs(lens.span_radians())) || too_small(math::abs(half_size))) return false;
  const bool vertical = lens.axis_choice != 0;
  const Vector seen = camera_from_world(pose, world);
  const double across = vertical ? seen.x : seen.y;
  (vertical ? at.y : at.x) = (vertical ? seen.y : seen.x) / half_size * film.half_height();
  if (too_small(seen.z) && too_small(math::abs(across))) return false;
  const double around = (math::atan2(across, seen.z) - lens.middle_radians()) / (lens.span_radians() * 0.5);
  (vertical ? at.x : at.y) = around * (vertical ? film.half_width() : film.half_height());
  return true;
}

ActivateFunc CameraHandler, CameraInterface, CameraGizmo;

inline constexpr framework::CameraServer server{"QuorinCylinderCam", &tagInfo7, CameraHandler, CameraInterface, CameraGizmo};

}  // namespace CylinderCam
