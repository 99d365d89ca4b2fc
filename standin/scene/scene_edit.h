#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "standin/scene/camera_turn.h"
#include "standin/scene/scene.h"

namespace standin {

/// What is to be different about one camera of a scene's file.
struct CameraEdit {
  /// Its server, and what that has saved; none: what the file has.
  std::optional<PluginBlock> handler;
  /// Pixels; none: what the file has.
  std::optional<std::pair<int, int>> frame_size;
  CameraTurn turn;
};

/// The text of a scene's file with one of its cameras changed, and every other byte as it was. What comes out has been read
/// again, and is the same scene but for the camera. Throws FileError for a damaged scene, one without the camera, and where the
/// file does not have the form that this needs. `name` is for sentences. Threads: any.
std::string edited_scene(const std::string& text, const std::string& name, std::uint32_t camera_id, const CameraEdit& edit);

}  // namespace standin
