#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "standin/scene/object_file.h"

namespace tool {

/// The normals in the corners of a triangle, in the object's space.
using CornerNormals = std::array<std::array<float, 3>, 3>;

/// For each triangle the normals that its surface's smoothing angle gives it: around each corner those of the polygons of the
/// same surface that meet there at a smaller angle, together. Empty where no surface is smooth. Threads: any.
std::vector<CornerNormals> smooth_normals(const standin::Layer& layer, std::span<const standin::Surface> surfaces,
                                          std::span<const std::uint32_t> polygon_of_triangle,
                                          std::span<const std::array<std::uint32_t, 3>> triangles);

/// Between the corners, where u and v are the shares of the second and the third; of any length.
inline standin::Vec3 smooth_normal(const CornerNormals& corners, float u, float v) {
  const auto between = [&](std::size_t axis) {
    return static_cast<double>((1.0F - u - v) * corners[0][axis] + u * corners[1][axis] + v * corners[2][axis]);
  };
  return {between(0), between(1), between(2)};
}

}  // namespace tool
