#include "tool/lens/block_mapping.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace tool {
namespace {

constexpr int size = BlockMapping::cell_pixels;
/// Pixels of the picture, or of the frame where those are larger, by which the interpolation may be off in a cell's middle and
/// in the middles of its upper and lower edges. The error of a cubic polynomial between its two inner nodes is largest in their
/// middle, and along rows and columns they add up: what is off along a column is off by twice that at most, and both together
/// by three times.
constexpr double largest_error = 3e-4;

/// Formula: Lagrange's cubic polynomial through -1, 0, 1 and 2.
constexpr std::array<double, 4> cubic_weights(double at) {
  return {-at * (at - 1.0) * (at - 2.0) / 6.0, (at + 1.0) * (at - 1.0) * (at - 2.0) / 2.0, -(at + 1.0) * at * (at - 2.0) / 2.0,
          (at + 1.0) * at * (at - 1.0) / 6.0};
}

constexpr std::array<std::array<double, 4>, size> weights_of_pixels() {
  std::array<std::array<double, 4>, size> weights{};
  for (std::size_t i = 0; i < size; ++i) weights[i] = cubic_weights(static_cast<double>(i) / size);
  return weights;
}

constexpr auto weights = weights_of_pixels();
constexpr std::array<double, 4> middle = cubic_weights(0.5);

}  // namespace

BlockMapping::BlockMapping(const Points& points, PixelBox block, int frame_width, int frame_height, double period,
                           int frame_part)
    : cells_across_((block.width + size - 1) / size), cells_down_((block.height + size - 1) / size) {
  std::vector<FramePlace> places;
  const auto ask = [&](int column, int row) {
    places.push_back(
        {(block.left + column + 0.5) / frame_width, 1.0 - (block.top + row + 0.5) / frame_height, true, frame_part});
  };
  for (int row = -1; row <= cells_down_ + 1; ++row)
    for (int column = -1; column <= cells_across_ + 1; ++column) ask(column * size, row * size);
  const std::size_t node_count = places.size();
  for (int row = 0; row < cells_down_; ++row)
    for (int column = 0; column < cells_across_; ++column) ask(column * size + size / 2, row * size + size / 2);
  const std::size_t middle_count = places.size() - node_count;
  for (int row = 0; row <= cells_down_; ++row)
    for (int column = 0; column < cells_across_; ++column) ask(column * size + size / 2, row * size);
  nodes_ = points(places);

  const auto first = std::ranges::find_if(nodes_, &PicturePoint::found);
  if (first != nodes_.end() && period > 0.0) {
    const double near = first->column;
    for (PicturePoint& point : nodes_) point.column -= std::round((point.column - near) / period) * period;
  }
  const std::vector<PicturePoint> middles(nodes_.begin() + static_cast<std::ptrdiff_t>(node_count),
                                          nodes_.begin() + static_cast<std::ptrdiff_t>(node_count + middle_count));
  const std::vector<PicturePoint> edges(nodes_.begin() + static_cast<std::ptrdiff_t>(node_count + middle_count), nodes_.end());
  nodes_.resize(node_count);
  std::vector<bool> has_base;
  for (const PicturePoint& point : nodes_) {
    const auto part = static_cast<std::size_t>(point.part);
    if (part >= bases_.size()) {
      bases_.resize(part + 1);
      has_base.resize(part + 1);
    }
    if (!point.found || has_base[part]) continue;
    bases_[part] = {static_cast<int>(std::floor(point.column)), static_cast<int>(std::floor(point.row))};
    has_base[part] = true;
  }
  for (int row = 0; row < cells_down_; ++row) {
    for (int column = 0; column < cells_across_; ++column) {
      Cell cell;
      cell.pixels = {block.left + column * size, block.top + row * size, std::min(size, block.width - column * size),
                     std::min(size, block.height - row * size)};
      cell.is_smooth = is_in_one_part(cell, column, row);
      cells_.push_back(cell);
    }
  }
  std::vector<bool> imprecise(cells_.size());
  for (std::size_t i = 0; i < cells_.size(); ++i) {
    const int column = static_cast<int>(i) % cells_across_;
    const int row = static_cast<int>(i) / cells_across_;
    imprecise[i] = cells_[i].is_smooth && !is_precise(cells_[i], column, row, middles, edges);
  }
  // What bends one way and then the other can be right in the very middle of a cell, but not in those beside it.
  for (int row = 0; row < cells_down_; ++row) {
    for (int column = 0; column < cells_across_; ++column) {
      Cell& cell = cells_[index_of(column, row)];
      for (int j = std::max(row - 1, 0); j <= std::min(row + 1, cells_down_ - 1); ++j)
        for (int i = std::max(column - 1, 0); i <= std::min(column + 1, cells_across_ - 1); ++i)
          if (imprecise[index_of(i, j)]) cell.is_smooth = false;
      smooth_ = smooth_ || cell.is_smooth;
    }
  }
}

const PicturePoint& BlockMapping::node(int column, int row) const {
  return nodes_[static_cast<std::size_t>(row + 1) * static_cast<std::size_t>(cells_across_ + 3) +
                static_cast<std::size_t>(column + 1)];
}

bool BlockMapping::is_in_one_part(Cell& cell, int column, int row) const {
  cell.part = node(column, row).part;
  for (int j = -1; j <= 2; ++j) {
    for (int i = -1; i <= 2; ++i) {
      const PicturePoint& each = node(column + i, row + j);
      if (!each.found || each.part != cell.part) return false;
    }
  }
  const PicturePoint& a = node(column, row);
  const PicturePoint& b = node(column + 1, row);
  const PicturePoint& c = node(column, row + 1);
  const PicturePoint& d = node(column + 1, row + 1);
  constexpr double each = 1.0 / (2.0 * size);
  cell.across_column = (b.column - a.column + d.column - c.column) * each;
  cell.across_row = (b.row - a.row + d.row - c.row) * each;
  cell.down_column = (c.column - a.column + d.column - b.column) * each;
  cell.down_row = (c.row - a.row + d.row - b.row) * each;
  return true;
}

bool BlockMapping::is_precise(const Cell& cell, int column, int row, std::span<const PicturePoint> middles,
                              std::span<const PicturePoint> edges) const {
  /// In the middle of a row of nodes, by its number from the cell's upper edge.
  const auto between = [&](int j) {
    PicturePoint point;
    for (int i = 0; i < 4; ++i) {
      const PicturePoint& each = node(column + i - 1, row + j);
      point.column += middle[static_cast<std::size_t>(i)] * each.column;
      point.row += middle[static_cast<std::size_t>(i)] * each.row;
    }
    return point;
  };
  const std::array lines{between(-1), between(0), between(1), between(2)};
  PicturePoint centre;
  for (std::size_t j = 0; j < 4; ++j) {
    centre.column += middle[j] * lines[j].column;
    centre.row += middle[j] * lines[j].row;
  }
  const double column_error = largest_error * std::max(1.0, std::abs(cell.across_column) + std::abs(cell.down_column));
  const double row_error = largest_error * std::max(1.0, std::abs(cell.across_row) + std::abs(cell.down_row));
  const auto is_right = [&](const PicturePoint& interpolated, const PicturePoint& asked) {
    return asked.found && asked.part == cell.part && std::abs(interpolated.column - asked.column) <= column_error &&
           std::abs(interpolated.row - asked.row) <= row_error;
  };
  const auto number = index_of(column, row);
  return is_right(centre, middles[number]) && is_right(lines[1], edges[number]) &&
         is_right(lines[2], edges[number + static_cast<std::size_t>(cells_across_)]);
}

void BlockMapping::positions(std::size_t cell, std::span<float> columns, std::span<float> rows) const {
  const int across = static_cast<int>(cell) % cells_across_;
  const int down = static_cast<int>(cell) / cells_across_;
  const Base from = base(cells_[cell].part);
  for (std::size_t j = 0; j < size; ++j) {
    std::array<double, 4> column_at{};
    std::array<double, 4> row_at{};
    for (std::size_t i = 0; i < 4; ++i) {
      for (std::size_t k = 0; k < 4; ++k) {
        const PicturePoint& each = node(across + static_cast<int>(i) - 1, down + static_cast<int>(k) - 1);
        column_at[i] += weights[j][k] * each.column;
        row_at[i] += weights[j][k] * each.row;
      }
      column_at[i] -= from.column;
      row_at[i] -= from.row;
    }
    for (std::size_t i = 0; i < size; ++i) {
      const auto& [a, b, c, d] = weights[i];
      columns[j * size + i] = static_cast<float>(a * column_at[0] + b * column_at[1] + c * column_at[2] + d * column_at[3]);
      rows[j * size + i] = static_cast<float>(a * row_at[0] + b * row_at[1] + c * row_at[2] + d * row_at[3]);
    }
  }
}

}  // namespace tool
