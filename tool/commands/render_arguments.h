#pragma once

#include <cstdint>
#include <string>

#include "tool/commands/camera_options.h"

namespace tool {

/// The command line of `ovicam render` as it was written.
struct RenderArguments {
  CameraOptions camera;
  std::string frames;
  std::string size;
  std::string region;
  std::uint32_t samples = 16;
  std::string light = "plain";
  int threads = 0;
  std::string eye = "centre";
  bool stereo = false;
  std::string packing;
  std::string layers;
  bool motion_blur = false;
  bool depth_of_field = false;
  bool gizmo = false;
  bool skip_existing = false;
  bool dry_run = false;
  bool json = false;
  std::string view_from;
  std::string look_at;
  std::string output;
};

}  // namespace tool
