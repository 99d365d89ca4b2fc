#pragma once

#include <array>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tool {

/// Rows of a matrix by which a point is multiplied from the left: (x, y, z, 1) times the matrix.
using RowMatrix = std::array<std::array<double, 4>, 4>;

/// What a picture tells of itself. Nothing in it depends on when or where it was rendered. A text that is empty is left out;
/// without a scene, so is everything about the frame.
struct PictureMetadata {
  /// The scene file's name, without its folder.
  std::string scene;
  std::string camera;
  std::string server;
  /// Of the camera's parameters, at the frame; and its settings that are no parameters.
  std::vector<std::pair<std::string, double>> parameters;
  std::vector<std::pair<std::string, std::string>> settings;
  std::string module_version;
  std::string tool_version;
  /// How the frame is lit, where that is not plainly.
  std::string light;
  /// How it holds the frames of both eyes, where it does.
  std::string packing;
  /// The XMP packet that players read; empty where the picture is no panorama.
  std::string xmp;
  /// What a picture of its kind tells besides, as texts by name.
  std::vector<std::pair<std::string, std::string>> more;
  int frame = 0;
  double time_seconds = 0.0;
  double frames_per_second = 0.0;
  /// Of the host's camera: the film's distance over half its height.
  double zoom_factor = 0.0;
  double film_width_metres = 0.0;
  double film_height_metres = 0.0;
  double pixel_aspect = 1.0;
  RowMatrix world_to_camera{};
  /// Only of a picture of one frame.
  std::optional<RowMatrix> world_to_ndc;
};

}  // namespace tool
