#include <algorithm>
#include <cmath>

#include "standin/host/services.h"

namespace standin {
namespace {

/// The settings of a camera, or null after recording the violation.
const CameraSettings* require_camera(LWItemID id, const char* call) {
  const Item* item = require_item(id, call);
  if (item == nullptr) return nullptr;
  if (!item->camera) {
    violation(call, "the item \"" + item->name + "\" is not a camera");
    return nullptr;
  }
  return &*item->camera;
}

double value_at(LWItemID id, const Envelope CameraSettings::*setting, LWTime time, const char* call) {
  const CameraSettings* camera = require_camera(id, call);
  return camera != nullptr ? (camera->*setting).at(time) : 0.0;
}

double zoom_factor(LWItemID id, LWTime time) {
  return value_at(id, &CameraSettings::zoom_factor, time, "LW Camera Info zoomFactor");
}

double focal_length(LWItemID id, LWTime time) {
  const CameraSettings* camera = require_camera(id, "LW Camera Info focalLength");
  return camera != nullptr ? camera->zoom_factor.at(time) * camera->aperture_height * 0.5 : 0.0;
}

double focal_distance(LWItemID id, LWTime time) {
  return value_at(id, &CameraSettings::focal_distance, time, "LW Camera Info focalDistance");
}

double f_stop(LWItemID id, LWTime time) { return value_at(id, &CameraSettings::lens_f_stop, time, "LW Camera Info fStop"); }

double blur_length(LWItemID id, LWTime time) {
  return value_at(id, &CameraSettings::blur_length, time, "LW Camera Info blurLength");
}

void fov_angles(LWItemID id, LWTime time, double* horizontal, double* vertical) {
  const CameraSettings* camera = require_camera(id, "LW Camera Info fovAngles");
  if (camera == nullptr) return;
  const auto [width, height] = film_size(*camera);
  const double film_distance = camera->zoom_factor.at(time) * height * 0.5;
  *horizontal = 2.0 * std::atan2(width * 0.5, film_distance);
  *vertical = 2.0 * std::atan2(height * 0.5, film_distance);
}

void resolution(LWItemID id, int* width, int* height) {
  if (const CameraSettings* camera = require_camera(id, "LW Camera Info resolution")) {
    *width = camera->width_pixels;
    *height = camera->height_pixels;
  }
}

double pixel_aspect(LWItemID id, LWTime time) {
  return value_at(id, &CameraSettings::pixel_aspect, time, "LW Camera Info pixelAspect");
}

double separation(LWItemID id, LWTime time) {
  return value_at(id, &CameraSettings::eye_separation, time, "LW Camera Info separation");
}

void camera_film_size(LWItemID id, double* width, double* height) {
  if (const CameraSettings* camera = require_camera(id, "LW Camera Info filmSize")) {
    const auto [film_width, film_height] = film_size(*camera);
    *width = film_width;
    *height = film_height;
  }
}

LWCameraInfo camera_table() {
  LWCameraInfo info{};
  info.zoomFactor = zoom_factor;
  info.focalLength = focal_length;
  info.focalDistance = focal_distance;
  info.fStop = f_stop;
  info.blurLength = blur_length;
  info.fovAngles = fov_angles;
  info.flags = unsupported_slot;
  info.resolution = resolution;
  info.pixelAspect = pixel_aspect;
  info.separation = separation;
  std::fill(std::begin(info.regionLimitsToNoiseSampler), std::end(info.regionLimitsToNoiseSampler), unsupported_slot);
  info.filmSize = camera_film_size;
  std::fill(std::begin(info.frameTimingToOverscanPixels), std::end(info.frameTimingToOverscanPixels), unsupported_slot);
  return info;
}

}  // namespace

Service camera_service() {
  static ServiceTable<LWCameraInfo> handed(camera_table());
  return handed.service(LWCAMERAINFO_GLOBAL);
}

}  // namespace standin
