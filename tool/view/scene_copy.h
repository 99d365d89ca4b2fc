#pragma once

#include <filesystem>
#include <string>

namespace tool {

/// How a person wants a scene kept.
struct SceneCopy {
  /// Relative to the scene's folder.
  std::string name;
  /// Whether a file of that name may be replaced.
  bool replace = false;
  /// With the size of the frame as the page has it, and the camera turned and zoomed as it is there.
  bool frame_size = false;
  bool turn = false;
};

/// What a page sends as JSON. Throws std::runtime_error with a sentence where it is none.
SceneCopy parse_scene_copy(const std::string& text);

/// The file that a name means: in the folder of the scene or one within it, with the extension of a scene, and neither the
/// scene itself nor anything but a file. Throws std::runtime_error with a sentence. Threads: any.
std::filesystem::path scene_copy_file(const std::filesystem::path& scene, const std::string& name);

}  // namespace tool
