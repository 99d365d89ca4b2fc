#pragma once

#include <cstdint>
#include <optional>

#include "cameras/photographic/photographic_values.h"
#include "framework/lens.h"
#include "framework/server.h"
#include "platform/export.h"

extern "C" {
OVICAM_EXPORT extern const framework::TagTable tagInfo8, tagInfo10, tagInfo11, tagInfo15;
}

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

/// Direction of a film position in camera space, of any length: from the eye to the film plane, which stands in front of it.
/// Never refused. Threads: any.
inline framework::BasicVector<float> direction(const Lens& lens, framework::Film /*film*/, framework::FilmPoint at) {
  return framework::rounded({at.x, at.y, lens.film_distance});
}

/// The ray through a pinhole at the camera's position, in a direction of camera space.
inline framework::Ray pinhole_ray(const Pose& pose, framework::BasicVector<float> in_camera) {
  using namespace framework;
  const BasicVector<float> through = world_from_camera(pose, in_camera);
  const BasicVector<float> direction = through * (1.0F / length(through));
  return {widened(pose.position), widened(direction), widened(pose.forward)};
}

/// The ray through a point of a thin lens, where the pinhole's ray would go in a direction of camera space. What is in focus is
/// a sphere around the eye.
inline framework::Ray thin_lens_ray(const Lens& lens, const Pose& pose, framework::BasicVector<float> in_camera,
                                    framework::LensPoint through) {
  using namespace framework;
  const Vector offset = lens_offset(rounded_to<float>(lens.lens_radius), through);
  const BasicVector<float> pinhole = world_from_camera(pose, in_camera);
  const Vector toward = widened(pinhole);
  double reach = 1.0;
  if (!through_centre(offset, lens.focal_distance, toward)) reach = lens.focal_distance / static_cast<double>(length(pinhole));
  return {widened(pose.position) + offset, normalized(toward * reach - offset), widened(pose.forward)};
}

/// The film position that sees a point of camera space through the middle of the lens. None on the eye plane and behind it,
/// and for a film too near to the eye. Threads: any.
inline std::optional<framework::FilmPoint> film_point(const Lens& lens, framework::Film /*film*/, framework::Vector in_camera) {
  using namespace framework;
  if (too_small(in_camera.z) || too_small(lens.film_distance)) return std::nullopt;
  return FilmPoint{lens.film_distance * in_camera.x / in_camera.z, lens.film_distance * in_camera.y / in_camera.z};
}

ActivateFunc CameraHandler_DOF_MB, CameraHandler_NoDOF_MB, CameraHandler_NoDOF_NoMB, CameraHandler_DOF_NoMB;
ActivateFunc CameraInterface, CameraInterface2, CameraGizmo;

inline constexpr framework::CameraServer server{"QuorinPerspectiveCam", &tagInfo8, CameraHandler_DOF_MB, CameraInterface,
                                                CameraGizmo};
inline constexpr framework::CameraServer without_depth_of_field_server{"QuorinPerspectiveNoDOFCam", &tagInfo10,
                                                                       CameraHandler_NoDOF_MB, CameraInterface, CameraGizmo};
inline constexpr framework::CameraServer without_motion_blur_server{"QuorinPerspectiveNoDOFNoMBCam", &tagInfo11,
                                                                    CameraHandler_NoDOF_NoMB, CameraInterface2, CameraGizmo};

}  // namespace PerspectiveCam
