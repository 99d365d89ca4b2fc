#include "tests/support/describe_camera.h"

#include <numbers>

namespace test_support {

SavedFacts envelope(const std::string& channel) { return {SavedFacts::Kind::envelope, channel}; }
SavedFacts word(double default_value) { return {SavedFacts::Kind::word, "", default_value}; }
SavedFacts reserved() { return {SavedFacts::Kind::reserved_word, "", 0.0}; }
SavedFacts number(const std::string& channel, double default_value) {
  return {SavedFacts::Kind::number, channel, default_value};
}

CameraFacts named(const std::string& server_name, const std::string& user_name, const std::string& name_space,
                  const std::string& tag_table, const std::string& description, unsigned flags) {
  CameraFacts camera;
  camera.server_name = server_name;
  camera.plugin_name = server_name;
  camera.user_name = user_name;
  camera.name_space = name_space;
  camera.tag_table = tag_table;
  camera.description = description;
  camera.flags = flags;
  return camera;
}

CameraFacts tiles(CameraFacts camera, const std::vector<std::pair<std::string, std::string>>& names_and_labels) {
  camera.looks_through_other_cameras = true;
  Rows rows{camera};
  rows.logo(0x8000).version(0x8002);
  std::uint32_t id = 0x8006;
  for (const auto& [name, label] : names_and_labels) {
    rows.word(id++, label, "iPopChoice", 0.0, name);
    camera.saved.push_back(word(0.0));
  }
  return camera;
}

std::vector<std::pair<std::string, std::string>> grid_names(int rows, int columns) {
  std::vector<std::pair<std::string, std::string>> names;
  for (int row = 1; row <= rows; ++row) {
    for (int column = 1; column <= columns; ++column) {
      const std::string name = std::to_string(row) + "-" + std::to_string(column) + " Camera";
      names.emplace_back(name, name);
    }
  }
  return names;
}

void add_panorama_parameters(CameraFacts& camera, double upper_angle_radians) {
  camera.channels = {{"ZoomFactor", scene_zoom_factor},
                     {"HorizontalFOVradians", 2.0 * std::numbers::pi},
                     {"MaxVerticalFOVradians", upper_angle_radians},
                     {"MinVerticalFOVradians", -upper_angle_radians},
                     {"HScalePos", 1.0},
                     {"VScalePos", 1.0},
                     {"HScaleNeg", 1.0},
                     {"VScaleNeg", 1.0},
                     {"HShift", 0.0},
                     {"VShift", 0.0}};
  for (const char* channel : {"HorizontalFOVradians", "MaxVerticalFOVradians", "MinVerticalFOVradians", "HScalePos",
                              "VScalePos", "HShift", "VShift", "HScaleNeg", "VScaleNeg"}) {
    camera.saved.push_back(envelope(channel));
  }
}

}  // namespace test_support
