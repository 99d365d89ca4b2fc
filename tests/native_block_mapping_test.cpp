/// Places that are interpolated, against those that are asked.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <gtest/gtest.h>
#include <span>
#include <vector>

#include "tests/support/direction_picture.h"
#include "tool/lens/block_mapping.h"
#include "tool/lens/cube_lens.h"
#include "tool/lens/perspective_lens.h"
#include "tool/lens/plain_lenses.h"
#include "tool/pictures/cube_cells.h"

namespace tool::native_block_mapping_test {

constexpr int width = 1280;
constexpr int height = 800;

/// From a frame of that size into a picture of 8192 x 4096 pixels.
BlockMapping::Points points_of(const Lens& from, const Lens& to) {
  return [&](std::span<const FramePlace> places) {
    std::vector<LensDirection> directions(places.size());
    std::vector<FramePlace> found(places.size());
    to.look(places, directions);
    from.locate(directions, found);
    std::vector<PicturePoint> points;
    for (const FramePlace& place : found)
      points.push_back({place.s * 8192 - 0.5, (1.0 - place.t) * 4096 - 0.5, place.found, std::max(0, place.part)});
    return points;
  };
}

struct Comparison {
  double worst = 0.0;
  std::size_t smooth = 0;
  std::size_t cells = 0;
};

Comparison compare(const Lens& from, const Lens& to, double period) {
  const BlockMapping::Points points = points_of(from, to);
  Comparison comparison;
  // A last block that is no whole number of cells.
  for (int top = 0; top < height; top += 60) {
    for (int left = 0; left < width; left += 60) {
      const PixelBox block{left, top, std::min(60, width - left), std::min(60, height - top)};
      const BlockMapping mapping(points, block, width, height, period);
      int pixels = 0;
      for (std::size_t i = 0; i < mapping.cells().size(); ++i) {
        const BlockMapping::Cell& cell = mapping.cells()[i];
        pixels += cell.pixels.width * cell.pixels.height;
        ++comparison.cells;
        if (!cell.is_smooth) continue;
        ++comparison.smooth;
        std::array<float, 64> columns{};
        std::array<float, 64> rows{};
        mapping.positions(i, columns, rows);
        std::vector<FramePlace> places;
        for (int row = 0; row < cell.pixels.height; ++row)
          for (int column = 0; column < cell.pixels.width; ++column)
            places.push_back({(cell.pixels.left + column + 0.5) / width, 1.0 - (cell.pixels.top + row + 0.5) / height, true});
        const std::vector<PicturePoint> asked = points(places);
        const auto [base_column, base_row] = mapping.base(cell.part);
        for (std::size_t each = 0; each < asked.size(); ++each) {
          const std::size_t row = each / static_cast<std::size_t>(cell.pixels.width);
          const std::size_t at = 8 * row + each % static_cast<std::size_t>(cell.pixels.width);
          EXPECT_TRUE(asked[each].found);
          EXPECT_EQ(asked[each].part, cell.part);
          double column_off = static_cast<double>(base_column) + columns[at] - asked[each].column;
          if (period > 0.0) column_off -= std::round(column_off / period) * period;
          comparison.worst =
              std::max({comparison.worst,
                        std::abs(column_off) / std::max(1.0, std::abs(cell.across_column) + std::abs(cell.down_column)),
                        std::abs(static_cast<double>(base_row) + rows[at] - asked[each].row) /
                            std::max(1.0, std::abs(cell.across_row) + std::abs(cell.down_row))});
        }
      }
      EXPECT_EQ(pixels, block.width * block.height);
    }
  }
  return comparison;
}

TEST(BlockMapping, InterpolatedPlacesAreRightToAThousandthOfAPixel) {
  const double shape = static_cast<double>(width) / height;
  for (const double heading : {0.0, 3.0}) {
    const standin::ItemPose pose = test_support::turned(heading, 0.6);
    const EquirectangularLens all(standin::ItemPose{});
    const PerspectiveLens plain(pose, 1.4, 1.0 / shape);
    const Fisheye180Lens fisheye(pose, shape);
    const CubeLens cube(pose, cube_cells(*find_cube_layout("cross")), "cube");
    struct Pair {
      const Lens& from;
      const Lens& to;
      double period;
      double least_share;
    };
    for (const auto& [from, to, period, least_share] :
         {Pair{all, plain, 8192.0, 0.7}, Pair{all, fisheye, 8192.0, 0.2}, Pair{fisheye, plain, 0.0, 0.7},
          Pair{plain, fisheye, 0.0, 0.05}, Pair{cube, plain, 0.0, 0.6}, Pair{all, cube, 8192.0, 0.1}}) {
      const Comparison comparison = compare(from, to, period);
      const std::string name = from.description() + " to " + to.description();
      EXPECT_LT(comparison.worst, 1e-3) << name;
      EXPECT_GT(static_cast<double>(comparison.smooth), least_share * static_cast<double>(comparison.cells)) << name;
    }
  }
}

/// A hole or a jump that lies between the nodes is found by what is asked between them.
TEST(BlockMapping, WhatIsNotSmoothIsNotInterpolated) {
  const auto smooth_cells = [](auto&& change) {
    const BlockMapping mapping(
        [&](std::span<const FramePlace> places) {
          std::vector<PicturePoint> points;
          for (const FramePlace& place : places) {
            points.push_back({place.s * 100.0, (1.0 - place.t) * 100.0, true, 0});
            change(points.back());
          }
          return points;
        },
        {0, 0, 64, 64}, 64, 64, 0.0);
    return std::ranges::count_if(mapping.cells(), &BlockMapping::Cell::is_smooth);
  };
  EXPECT_EQ(smooth_cells([](PicturePoint&) {}), 64);
  EXPECT_EQ(smooth_cells([](PicturePoint& point) { point.found = false; }), 0);
  EXPECT_EQ(smooth_cells([](PicturePoint& point) { point.column += point.column > 50.0 ? 5.0 : 0.0; }), 24);
  EXPECT_LT(smooth_cells([](PicturePoint& point) { point.part = point.row > 50.0 ? 1 : 0; }), 64);
  EXPECT_EQ(smooth_cells([](PicturePoint& point) { point.column += 0.01 * std::sin(point.row * 0.2); }), 0);
  // As saddles are, which are right in the very middle.
  EXPECT_EQ(smooth_cells([](PicturePoint& point) {
              point.column += 5e-5 * (std::pow(point.column - 50.0, 4) - std::pow(point.row - 50.0, 4));
            }),
            0);
}

}  // namespace tool::native_block_mapping_test
