#pragma once

#include <array>
#include <cstddef>
#include <optional>

namespace multiview {

/// A share of the film's size.
struct Share {
  int numerator;
  int denominator;

  constexpr double of(double size) const { return numerator == 0 ? 0.0 : size * numerator / denominator; }
};

/// One direction of a grid of tiles: `Bands` bands from smaller to larger film coordinates.
template <std::size_t Bands>
struct GridAxis {
  /// Where each band ends and the next one begins, from the split line.
  std::array<Share, Bands - 1> boundaries;
  /// What a film coordinate in the band is moved by, so that the tile shows the centre of its camera's film.
  std::array<Share, Bands> shifts;
  /// Whether a coordinate exactly on a boundary belongs to the band before it. The grids differ in this, and scenes depend on
  /// it.
  bool boundary_belongs_before;

  /// The last band takes what is in none before it, or, where every comparison must hold, nothing that is not a number.
  constexpr std::optional<std::size_t> band_of(double coordinate, double split, double size, bool every_comparison) const {
    for (std::size_t band = 0; band < boundaries.size(); ++band) {
      const double line = split + boundaries[band].of(size);
      if (boundary_belongs_before ? coordinate <= line : coordinate < line) return band;
      if (every_comparison && !(boundary_belongs_before ? coordinate > line : coordinate >= line)) return std::nullopt;
    }
    return boundaries.size();
  }
};

/// Undivided.
inline constexpr GridAxis<1> single_band{{}, {{{0, 1}}}, false};

/// Two halves around the split line; a coordinate on it belongs to the second.
inline constexpr GridAxis<2> halves{{{{0, 1}}}, {{{1, 4}, {-1, 4}}}, false};

/// Tiles in row-major order; row 0 and column 0 are those of the smallest film coordinates.
template <std::size_t Rows, std::size_t Columns>
struct TileGrid {
  GridAxis<Rows> rows;
  GridAxis<Columns> columns;
  /// Whether a ray, and a projection, needs every comparison with a split line to hold; elsewhere the last row and the last
  /// column take what is not a number. The grids differ in this, too.
  bool rays_compare;
  bool projections_compare;

  static constexpr std::size_t tile_count = Rows * Columns;

  constexpr std::size_t row_of(std::size_t tile) const { return tile / Columns; }
  constexpr std::size_t column_of(std::size_t tile) const { return tile % Columns; }
};

}  // namespace multiview
