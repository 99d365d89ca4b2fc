#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <vector>

#include "tool/lens/lens.h"
#include "tool/output/pixel_box.h"

namespace tool {

/// A place in pixels of a picture, from the centre of its upper left one to the right and down.
struct PicturePoint {
  double column = 0.0;
  double row = 0.0;
  bool found = false;
  /// Of the parts that the picture holds.
  int part = 0;
};

/// Where in a picture the pixels of a block of a frame lie: asked on a grid, and interpolated in between by cubic polynomials
/// where that is off by less than a thousandth of a pixel: of the picture, or of the frame where one of its pixels sees
/// several.
class BlockMapping {
 public:
  static constexpr int cell_pixels = 8;

  /// The points of places.
  using Points = std::function<std::vector<PicturePoint>(std::span<const FramePlace>)>;

  /// Some pixels of the block, as many along each side as a cell has, fewer at its right and lower edges.
  struct Cell {
    PixelBox pixels;
    /// Whether `position` can be asked. What follows has no meaning where it cannot.
    bool is_smooth = false;
    int part = 0;
    /// From one pixel to the next, in pixels of the picture.
    double across_column = 0.0;
    double across_row = 0.0;
    double down_column = 0.0;
    double down_row = 0.0;
  };

  /// `period`: pixels of the picture after which its columns come round; 0: they do not. `frame_part`: the one of the frame
  /// that the block lies in; -1: it may lie anywhere. Asks once.
  BlockMapping(const Points& points, PixelBox block, int frame_width, int frame_height, double period, int frame_part = -1);

  std::span<const Cell> cells() const { return cells_; }
  bool has_smooth_cells() const { return smooth_; }

  /// A whole pixel of the picture near the points of that part: what positions count from.
  struct Base {
    int column = 0;
    int row = 0;
  };
  Base base(int part) const { return bases_[static_cast<std::size_t>(part)]; }
  /// Columns and rows of a smooth cell's pixels, from the base of its part; row by row, `cell_pixels` for each.
  void positions(std::size_t cell, std::span<float> columns, std::span<float> rows) const;

 private:
  std::size_t index_of(int column, int row) const {
    return static_cast<std::size_t>(row) * static_cast<std::size_t>(cells_across_) + static_cast<std::size_t>(column);
  }
  const PicturePoint& node(int column, int row) const;
  /// Whether the nodes around a cell lie in one part. Sets that, and how its pixels follow one another.
  bool is_in_one_part(Cell& cell, int column, int row) const;
  /// Whether what was asked between the nodes is what interpolation gives.
  bool is_precise(const Cell& cell, int column, int row, std::span<const PicturePoint> middles,
                  std::span<const PicturePoint> edges) const;

  int cells_across_;
  int cells_down_;
  bool smooth_ = false;
  std::vector<Cell> cells_;
  /// Those of the cells' corners, and one more around them.
  std::vector<PicturePoint> nodes_;
  std::vector<Base> bases_;
};

}  // namespace tool
