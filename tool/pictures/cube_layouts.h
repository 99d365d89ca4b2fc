#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "standin/scene/vector.h"

namespace tool {

/// Which way a picture of a cube's side looks: the directions, in the picture's own sense, to its right, up and ahead.
struct CubeSide {
  standin::Vec3 right;
  standin::Vec3 up;
  standin::Vec3 forward;
};

/// One of a cube's six sides in a layout.
struct CubeFace {
  /// As a file of its own is called.
  std::string_view name;
  CubeSide side;
  /// In faces, from the left and from the top of a picture of all six.
  int column = 0;
  int row = 0;
};

/// An order of a cube's six sides, and how each is turned. The world's axes: +X right, +Y up, +Z ahead, left-handed.
struct CubeLayout {
  std::string_view name;
  /// For a person: who has it so.
  std::string_view used_by;
  /// Of one picture, in faces; 0 where each face is a file of its own.
  int columns = 0;
  int rows = 0;
  /// In the order in which programs name or store them.
  std::array<CubeFace, 6> faces;

  constexpr bool is_one_picture() const { return columns > 0; }
};

/// All layouts there are: those of one picture first. Threads: any.
std::span<const CubeLayout> cube_layouts();
/// None: there is no layout of that name. Threads: any.
const CubeLayout* find_cube_layout(std::string_view name);
/// The names of the layouts of one picture, or of files, for a sentence: "cross, alternate or 3x2". Threads: any.
std::string cube_layout_names(bool of_one_picture);
/// The layout of one picture that has this shape, of square faces; none where there is none. Threads: any.
const CubeLayout* cube_layout_of_shape(int width, int height);
/// Pixels along each side of a face, where a picture of that size holds six equal squares. Threads: any.
std::optional<int> cube_face_pixels(const CubeLayout& layout, int width, int height);

}  // namespace tool
