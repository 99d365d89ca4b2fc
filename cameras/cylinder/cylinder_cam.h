#pragma once

#include <cstdint>

#include "framework/lens.h"
#include "framework/server.h"
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

/// The ray of a film position; its direction is also its film normal. Never refused: without a film it is not finite.
/// Threads: any.
inline framework::Ray map(const Lens& lens, framework::Film film, const framework::Pose& pose, framework::FilmPoint at) {
  using namespace framework;
  const bool vertical = lens.axis_choice != 0;
  const Vector axis = vertical ? pose.up : pose.right;
  const Vector across = vertical ? pose.right : pose.up;
  const double around = vertical ? at.x / film.half_width() : at.y / film.half_height();
  // Either slide counts in half film heights, so that the horizontal one spans more than the size on a wide film.
  const double along = (vertical ? at.y : at.x) / film.half_height();
  const double angle = around * lens.span_radians() * 0.5 + lens.middle_radians();
  const Vector direction = normalized(across * math::sin(angle) + pose.forward * math::cos(angle));
  return {pose.position + axis * (along * lens.cylinder_size * 0.5), direction, direction};
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
