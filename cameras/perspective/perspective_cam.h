#pragma once

#include <cstdint>
#include <optional>

#include "cameras/photographic/photographic_values.h"
#include "framework/lens.h"
#include "sdk/loading.h"

/// A thin-lens camera, offered with and without depth of field and motion blur.
namespace PerspectiveCam {

/// Single precision by intent: so is the ray arithmetic.
using Pose = framework::BasicPose<float>;

struct Lens {
  double zoom_factor = 0.0;
  /// Kept with the scene; no ray depends on it.
  double size_axis = 0.0;
  double photo_iso = photographic::default_iso;
  double photo_iris = photographic::default_iris;
  double photo_shutter_degrees = photographic::default_shutter_degrees;
  std::uint32_t save_version = 1;

  /// From the host camera, metres.
  double lens_radius = 0.0;
  double film_distance = 0.0;
  double half_inverse_f_stop = 0.0;
  double focal_distance = 0.0;
};

/// From the eye to a point of the film plane, which stands in front of it.
inline framework::BasicVector<float> eye_to_film(const Lens& lens, const Pose& pose, framework::FilmPoint at) {
  using framework::rounded_to;
  return pose.right * rounded_to<float>(at.x) + pose.up * rounded_to<float>(at.y) +
         pose.forward * rounded_to<float>(lens.film_distance);
}

/// The ray of a film position through a pinhole at the camera's position. Never refused. Threads: any.
inline framework::Ray map_pinhole(const Lens& lens, const Pose& pose, framework::FilmPoint at) {
  using namespace framework;
  const BasicVector<float> through = eye_to_film(lens, pose, at);
  const BasicVector<float> direction = through * (1.0F / length(through));
  return {widened(pose.position), widened(direction), widened(pose.forward)};
}

/// The ray of a film position through a point of a thin lens. What is in focus is a sphere around the eye. The lens lies
/// along the world's X and Y axes, whichever way the camera looks: meant so. Never refused. Threads: any.
inline framework::Ray map(const Lens& lens, const Pose& pose, framework::FilmPoint at, framework::LensPoint through) {
  using namespace framework;
  const double lens_radius = rounded_to<float>(lens.lens_radius);
  const Vector lens_offset{lens_radius * through.x, lens_radius * through.y, 0.0};
  const BasicVector<float> pinhole = eye_to_film(lens, pose, at);
  const Vector focus = widened(pinhole) * (lens.focal_distance / static_cast<double>(length(pinhole)));
  return {widened(pose.position) + lens_offset, normalized(focus - lens_offset), widened(pose.forward)};
}

/// The film position of a world point, seen through the middle of the lens. None on the eye plane and behind it, and for a
/// film too near to the eye. Threads: any.
inline std::optional<framework::FilmPoint> project(const Lens& lens, const Pose& pose, framework::Vector world) {
  using namespace framework;
  const framework::Pose exact{widened(pose.position), widened(pose.right), widened(pose.up), widened(pose.forward)};
  const Vector seen = camera_from_world(exact, world);
  if (too_small(seen.z) || too_small(lens.film_distance)) return std::nullopt;
  return FilmPoint{lens.film_distance * seen.x / seen.z, lens.film_distance * seen.y / seen.z};
}

ActivateFunc CameraHandler_DOF_MB, CameraHandler_NoDOF_MB, CameraHandler_NoDOF_NoMB, CameraHandler_DOF_NoMB;
ActivateFunc CameraInterface, CameraInterface2, CameraGizmo;

}  // namespace PerspectiveCam
