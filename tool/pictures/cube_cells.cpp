#include "tool/pictures/cube_cells.h"

#include <cmath>
#include <cstddef>

#include "standin/scene/scene.h"

namespace tool {
namespace {

/// The skybox camera shifts its grid by this fraction of a pixel towards smaller film positions.
constexpr double grid_shift_pixels = 0.95;
/// Its film distance, as a share of the film's height.
constexpr double film_distance = 0.1685;
/// Of a pixel, lost in rounding.
constexpr double rounding = 1e-6;

/// The camera truncates film sizes to four decimals.
double cut(double film_size) { return std::floor(film_size * 10000.0) / 10000.0; }

double film_width_of(int width, int height, double film_height) {
  standin::CameraSettings camera;
  camera.width_pixels = width;
  camera.height_pixels = height;
  camera.aperture_height = film_height;
  return standin::film_size(camera)[0];
}

}  // namespace

PixelBox whole_pixels(double left, double right, double bottom, double top, int width, int height) {
  const auto first_column = static_cast<int>(std::ceil(left * width - rounding));
  const auto end_column = static_cast<int>(std::floor(right * width + rounding));
  const auto first_row = static_cast<int>(std::ceil((1.0 - top) * height - rounding));
  const auto end_row = static_cast<int>(std::floor((1.0 - bottom) * height + rounding));
  return {first_column, first_row, end_column - first_column, end_row - first_row};
}

std::array<CubeCell, 6> cube_cells(const CubeLayout& layout) {
  std::array<CubeCell, 6> cells;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    const CubeFace& face = layout.faces[i];
    CubeCell& cell = cells[i];
    cell.side = face.side;
    cell.left = static_cast<double>(face.column) / layout.columns;
    cell.right = (face.column + 1.0) / layout.columns;
    cell.top = 1.0 - static_cast<double>(face.row) / layout.rows;
    cell.bottom = 1.0 - (face.row + 1.0) / layout.rows;
    cell.s_at_45_degrees = 0.5 / layout.columns;
    cell.t_at_45_degrees = 0.5 / layout.rows;
    cell.middle_s = cell.left + cell.s_at_45_degrees;
    cell.middle_t = cell.bottom + cell.t_at_45_degrees;
  }
  return cells;
}

SkyboxGrid skybox_grid(int width, int height, double film_height) {
  const double film_width = film_width_of(width, height, film_height);
  const double quarter = 0.25 * cut(film_width) / film_width;
  const double sixth = cut(film_height) / 6.0 / film_height;
  // The outermost tiles reach to the edge of the film.
  SkyboxGrid grid{{0.0, 0.0, 0.0, 0.0, 1.0}, {1.0, 0.0, 0.0, 0.0}};
  for (std::size_t column = 1; column < 4; ++column)
    grid.columns[column] = 0.5 - grid_shift_pixels / width + (static_cast<double>(column) - 2.0) * quarter;
  grid.rows[1] = 0.5 - grid_shift_pixels / height + sixth;
  grid.rows[2] = 0.5 - grid_shift_pixels / height - sixth;
  return grid;
}

std::array<CubeCell, 6> skybox_cells(const CubeLayout& layout, int width, int height, double film_height) {
  const double film_width = film_width_of(width, height, film_height);
  const SkyboxGrid grid = skybox_grid(width, height, film_height);
  std::array<CubeCell, 6> cells;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    const CubeFace& face = layout.faces[i];
    const auto column = static_cast<std::size_t>(face.column);
    const auto row = static_cast<std::size_t>(face.row);
    CubeCell& cell = cells[i];
    cell.side = face.side;
    cell.left = grid.columns[column];
    cell.right = grid.columns[column + 1];
    cell.top = grid.rows[row];
    cell.bottom = grid.rows[row + 1];
    // The camera moves the tiles' borders, and not what is in them.
    cell.middle_s = 0.5 + (face.column - 1.5) * 0.25 * cut(film_width) / film_width;
    cell.middle_t = 0.5 + (1.0 - face.row) * cut(film_height) / 3.0 / film_height;
    cell.s_at_45_degrees = film_distance * film_height / film_width;
    cell.t_at_45_degrees = film_distance;
  }
  return cells;
}

}  // namespace tool
