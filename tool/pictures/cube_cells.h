#pragma once

#include <array>

#include "tool/output/pixel_box.h"
#include "tool/pictures/cube_layouts.h"

namespace tool {

/// A side of a cube as a part of a frame shows it, in perspective. In shares of the frame, from its lower left corner.
struct CubeCell {
  CubeSide side;
  double left = 0.0;
  double right = 0.0;
  double bottom = 0.0;
  double top = 0.0;
  /// Where the side's axis meets the frame, and how far from there a direction of 45 degrees is.
  double middle_s = 0.0;
  double middle_t = 0.0;
  double s_at_45_degrees = 0.0;
  double t_at_45_degrees = 0.0;
};

/// The pixels that lie wholly in a rectangle of the frame, which is given in shares of it. Threads: any.
PixelBox whole_pixels(double left, double right, double bottom, double top, int width, int height);

/// Six squares of a quarter turn, in a layout of one picture. Threads: any.
std::array<CubeCell, 6> cube_cells(const CubeLayout& layout);

/// Where the skybox camera's tiles begin and end, in shares of the frame: from the left, and from the top.
struct SkyboxGrid {
  std::array<double, 5> columns{};
  std::array<double, 4> rows{};
};

/// Of a frame of so many square pixels, whose film is so high, metres. Threads: any.
SkyboxGrid skybox_grid(int width, int height, double film_height);
/// The faces of such a frame, each a touch narrower than a quarter turn, in the layout `cross` or `alternate`. Threads: any.
std::array<CubeCell, 6> skybox_cells(const CubeLayout& layout, int width, int height, double film_height);

}  // namespace tool
