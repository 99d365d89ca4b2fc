#include "tool/render/smoothing.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace tool {
namespace {

using standin::Vec3;

/// Polygons that meet in one point are compared each with each: a point with more of them than this stays as it is.
constexpr std::size_t most_around_a_point = 512;

/// Of length one; zero for a polygon without area.
Vec3 polygon_normal(std::span<const Vec3> points, std::span<const std::uint32_t> corners) {
  Vec3 sum;
  for (std::size_t i = 1; i + 1 < corners.size(); ++i)
    sum = sum + cross(points[corners[i]] - points[corners[0]], points[corners[i + 1]] - points[corners[0]]);
  return length(sum) > 0.0 ? normalized(sum) : Vec3{};
}

}  // namespace

std::vector<CornerNormals> smooth_normals(const standin::Layer& layer, std::span<const standin::Surface> surfaces,
                                          std::span<const std::uint32_t> polygon_of_triangle,
                                          std::span<const std::array<std::uint32_t, 3>> triangles) {
  const auto smoothing = [&](std::uint32_t polygon) {
    const std::uint32_t surface = layer.polygons[polygon].surface;
    return surface < surfaces.size() ? surfaces[surface].smoothing_radians : 0.0;
  };
  if (std::none_of(polygon_of_triangle.begin(), polygon_of_triangle.end(),
                   [&](std::uint32_t polygon) { return smoothing(polygon) > 0.0; })) {
    return {};
  }

  std::vector<Vec3> normal_of_polygon(layer.polygons.size());
  std::vector<std::vector<std::uint32_t>> polygons_of_point(layer.points.size());
  for (std::size_t i = 0; i < polygon_of_triangle.size(); ++i) {
    const std::uint32_t polygon = polygon_of_triangle[i];
    if (i > 0 && polygon_of_triangle[i - 1] == polygon) continue;
    const auto& corners = layer.polygons[polygon].points;
    normal_of_polygon[polygon] = polygon_normal(layer.points, corners);
    for (const std::uint32_t point : corners) polygons_of_point[point].push_back(polygon);
  }

  const auto corner_normal = [&](std::uint32_t polygon, std::uint32_t point) {
    const Vec3 own = normal_of_polygon[polygon];
    const auto& around = polygons_of_point[point];
    const double angle = smoothing(polygon);
    if (!(angle > 0.0) || around.size() > most_around_a_point) return own;
    const double least_cosine = std::cos(std::min(angle, 3.14159));
    Vec3 sum;
    for (const std::uint32_t other : around) {
      const bool joins =
          layer.polygons[other].surface == layer.polygons[polygon].surface && dot(own, normal_of_polygon[other]) > least_cosine;
      if (joins || other == polygon) sum = sum + normal_of_polygon[other];
    }
    return length(sum) > 1e-9 ? normalized(sum) : own;
  };

  std::vector<CornerNormals> normals;
  normals.reserve(triangles.size());
  for (std::size_t i = 0; i < triangles.size(); ++i) {
    CornerNormals& corners = normals.emplace_back();
    for (std::size_t corner = 0; corner < 3; ++corner) {
      // A flat surface keeps zeros: the triangle's own normal counts.
      if (!(smoothing(polygon_of_triangle[i]) > 0.0)) break;
      const Vec3 normal = corner_normal(polygon_of_triangle[i], triangles[i][corner]);
      corners[corner] = {static_cast<float>(normal.x), static_cast<float>(normal.y), static_cast<float>(normal.z)};
    }
  }
  return normals;
}

}  // namespace tool
