#include "tool/render/frame_metadata.h"

#include <cstddef>
#include <filesystem>
#include <string>

#include "standin/host/plain_camera.h"

namespace tool {
namespace {

RowMatrix product(const RowMatrix& a, const RowMatrix& b) {
  RowMatrix result{};
  for (std::size_t row = 0; row < 4; ++row)
    for (std::size_t column = 0; column < 4; ++column)
      for (std::size_t i = 0; i < 4; ++i) result[row][column] += a[row][i] * b[i][column];
  return result;
}

RowMatrix world_to_camera(const standin::ItemPose& pose) {
  const auto& [position, right, up, forward] = pose;
  return {{{right.x, up.x, forward.x, 0.0},
           {right.y, up.y, forward.y, 0.0},
           {-right.z, -up.z, -forward.z, 0.0},
           {-dot(position, right), -dot(position, up), -dot(position, forward), 1.0}}};
}

/// Of the panel's "v1.2.3.4", and a date after it, the number.
std::string version_number(const std::string& shown) {
  const std::size_t first = shown.find_first_of("0123456789");
  return first == std::string::npos ? shown : shown.substr(first, shown.find(' ', first) - first);
}

}  // namespace

PictureMetadata frame_metadata(const standin::Scene& scene, const std::string& scene_file, const standin::Item& camera,
                               const standin::FrameSetup& setup, int width, int height, standin::Eye eye) {
  PictureMetadata metadata;
  metadata.scene = std::filesystem::path(scene_file).filename().string();
  metadata.camera = camera.name;
  metadata.server = setup.server_name;
  metadata.parameters = setup.parameters;
  metadata.settings = setup.settings;
  metadata.module_version = version_number(setup.module_version);
  metadata.tool_version = OVICAM_VERSION;
  metadata.frame = setup.frame;
  metadata.time_seconds = setup.start_seconds;
  metadata.frames_per_second = scene.frames_per_second;
  metadata.film_width_metres = setup.film_width;
  metadata.film_height_metres = setup.film_height;
  metadata.pixel_aspect = setup.film_width / setup.film_height * height / width;

  standin::ItemPose pose = standin::with_unit_axes(scene.world_pose(camera, setup.start_seconds));
  const double half_separation = camera.camera->eye_separation.at(setup.start_seconds) * 0.5;
  if (eye == standin::Eye::left) pose.position = pose.position - pose.right * half_separation;
  if (eye == standin::Eye::right) pose.position = pose.position + pose.right * half_separation;
  metadata.world_to_camera = world_to_camera(pose);
  const double zoom = camera.camera->zoom_factor.at(setup.start_seconds);
  metadata.zoom_factor = zoom;
  // The third number goes from 0 at a metre to 1 far away, so that the matrix can be inverted.
  const RowMatrix camera_to_ndc{{{0.5 * zoom * setup.film_height / setup.film_width, 0.0, 0.0, 0.0},
                                 {0.0, -0.5 * zoom, 0.0, 0.0},
                                 {0.5, 0.5, 1.0, 1.0},
                                 {0.0, 0.0, -1.0, 0.0}}};
  metadata.world_to_ndc = product(metadata.world_to_camera, camera_to_ndc);
  return metadata;
}

}  // namespace tool
