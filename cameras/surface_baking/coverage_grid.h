#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <optional>

#include "sdk/types.h"

namespace BakingCam {

/// A position on a texture map: 0 to 1 across and up.
template <class Number>
struct Uv {
  Number u;
  Number v;
};

/// A frame's size in pixels.
struct Raster {
  int width = 0;
  int height = 0;
};

/// How many cells a frame's grid has: two columns and two rows more than it has pixels.
constexpr std::uint64_t cell_count(Raster raster) {
  return (std::uint64_t{2} + static_cast<unsigned>(raster.width)) * (std::uint64_t{2} + static_cast<unsigned>(raster.height));
}

/// The whole part of a number, toward zero; none of one that is not finite or whose whole part is no int.
template <class Number>
constexpr std::optional<std::int64_t> whole_part(Number value) {
  constexpr auto limit = Number(2147483648.0);
  // The lower limit is exclusive for a number whose whole part just fits, which single precision cannot tell apart.
  const bool fits = value < limit && (value >= -limit || value > -limit - Number(1));
  return fits ? std::optional(static_cast<std::int64_t>(value)) : std::nullopt;
}

/// Position of a cell in the grid of a frame: the whole part of `u` times the width is its column, that of `v` times
/// `rows_across_v` its row, and a row follows the one before it after as many cells as the frame is wide. Rows and columns
/// count as they come, those off the map too, as long as the cell lies in the grid. None otherwise, and for a coordinate that
/// is not finite or is no int. Threads: any.
template <class Number>
constexpr std::optional<std::size_t> cell_of(Raster raster, int rows_across_v, Uv<Number> at) {
  const auto row = whole_part(at.v * static_cast<Number>(rows_across_v));
  const auto column = whole_part(at.u * static_cast<Number>(raster.width));
  if (!row || !column) return std::nullopt;
  const std::int64_t cell = *row * raster.width + *column;
  if (cell < 0 || static_cast<std::uint64_t>(cell) >= cell_count(raster)) return std::nullopt;
  return static_cast<std::size_t>(cell);
}

/// Which polygon's texture lies on which pixel of a frame, with two rows and two columns to spare. Threads: marking from one,
/// reading from any number at once.
class CoverageGrid {
 public:
  bool exists() const { return cells_ != nullptr; }

  void release() { cells_.reset(); }

  /// An empty grid in place of the old one, which is given back first. Throws std::bad_alloc when there is no memory for
  /// it, and when the size is negative; then there is none.
  void make(Raster raster) {
    release();
    if (raster.width < 0 || raster.height < 0) throw std::bad_alloc();
    raster_ = raster;
    // The product of two 32-bit numbers cannot overflow, and what calloc multiplies it by, calloc looks after. It also leaves
    // a large frame's untouched pages unused.
    cells_.reset(static_cast<LWPolID*>(std::calloc(cell_count(raster), sizeof(LWPolID))));
    if (!cells_) throw std::bad_alloc();
  }

  /// One corner of a polygon. Off the grid nothing happens.
  void mark_corner(Uv<float> at, LWPolID polygon) { mark(raster_.height, at, polygon); }

  /// One point of a polygon's edge. Its row is counted in pixels of the frame's width, unlike a corner's, so that on a frame
  /// that is not square the edges do not lie on the corners: what has been baked depends on it.
  void mark_edge_point(Uv<float> at, LWPolID polygon) { mark(raster_.width, at, polygon); }

  /// The polygon marked last at a position; null for none, and off the grid. The grid must exist.
  LWPolID polygon_at(Uv<double> at) const {
    const auto cell = cell_of(raster_, raster_.height, at);
    return cell ? cells_[*cell] : nullptr;
  }

 private:
  struct Free {
    void operator()(LWPolID* cells) const { std::free(cells); }  // NOLINT(*-no-malloc)
  };

  void mark(int rows_across_v, Uv<float> at, LWPolID polygon) {
    if (const auto cell = cell_of(raster_, rows_across_v, at)) cells_[*cell] = polygon;
  }

  Raster raster_;
  std::unique_ptr<LWPolID[], Free> cells_;
};

using UvTriangle = std::array<Uv<float>, 3>;

/// Marks a triangle's corners; its interior stays as it is.
inline void mark_corners(CoverageGrid& grid, const UvTriangle& triangle, LWPolID polygon) {
  for (const Uv<float> corner : triangle) grid.mark_corner(corner, polygon);
}

/// Marks points along a triangle's edges, from one end to the other.
inline void mark_edges(CoverageGrid& grid, const UvTriangle& triangle, LWPolID polygon) {
  constexpr int steps = 34;
  constexpr float step = 0.030303030303030304F;
  struct Edge {
    /// What the weight is of, and what the rest is of.
    Uv<float> weighted;
    Uv<float> other;
  };
  const auto [p0, p1, p2] = triangle;
  const std::array edges{Edge{p0, p1}, Edge{p2, p1}, Edge{p0, p2}};
  // Added up, not multiplied: the rounding of the weights is part of where the points lie.
  float weight = 0.0F;
  for (int i = 0; i < steps; ++i) {
    const float rest = 1.0F - weight;
    for (const auto& [weighted, other] : edges)
      grid.mark_edge_point({weight * weighted.u + rest * other.u, weight * weighted.v + rest * other.v}, polygon);
    weight += step;
  }
}

}  // namespace BakingCam
