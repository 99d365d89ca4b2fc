#include "tool/render/triangulate.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace tool {
namespace {

using standin::Vec3;

struct Point2 {
  double x = 0.0;
  double y = 0.0;

  friend bool operator==(Point2 a, Point2 b) = default;
};

/// Twice the signed area, positive counter-clockwise.
double turn(Point2 a, Point2 b, Point2 c) { return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x); }

/// A normal whose length is twice the polygon's area; it is meaningful even for a polygon that is not quite flat.
Vec3 area_normal(std::span<const Vec3> points, std::span<const std::uint32_t> corners) {
  const Vec3 origin = points[corners[0]];
  Vec3 sum;
  for (std::size_t i = 1; i + 1 < corners.size(); ++i)
    sum = sum + cross(points[corners[i]] - origin, points[corners[i + 1]] - origin);
  return sum;
}

/// A corner of the remaining polygon while ears are cut off.
struct Corner {
  Point2 at;
  std::uint32_t point = 0;
};

double ear_turn(const std::vector<Corner>& ring, std::size_t i) {
  const std::size_t count = ring.size();
  return turn(ring[(i + count - 1) % count].at, ring[i].at, ring[(i + 1) % count].at);
}

bool holds_another_corner(const std::vector<Corner>& ring, std::size_t i) {
  const std::size_t count = ring.size();
  const Corner& a = ring[(i + count - 1) % count];
  const Corner& b = ring[i];
  const Corner& c = ring[(i + 1) % count];
  return std::any_of(ring.begin(), ring.end(), [&](const Corner& other) {
    return other.at != a.at && other.at != b.at && other.at != c.at && turn(a.at, b.at, other.at) >= 0.0 &&
           turn(b.at, c.at, other.at) >= 0.0 && turn(c.at, a.at, other.at) >= 0.0;
  });
}

/// The next corner to cut off; where the polygon crosses itself and has no ear left, the one with the largest triangle.
std::size_t find_ear(const std::vector<Corner>& ring) {
  std::size_t widest = 0;
  for (std::size_t i = 0; i < ring.size(); ++i) {
    const double area = ear_turn(ring, i);
    if (area > 0.0 && !holds_another_corner(ring, i)) return i;
    if (area > ear_turn(ring, widest)) widest = i;
  }
  return widest;
}

}  // namespace

void triangulate(std::span<const Vec3> points, std::span<const std::uint32_t> corners,
                 std::vector<std::array<std::uint32_t, 3>>& triangles) {
  if (corners.size() < 3) return;
  const Vec3 normal = area_normal(points, corners);
  const double double_area = length(normal);
  if (!(double_area > 0.0) || !std::isfinite(double_area)) return;
  if (corners.size() == 3) {
    triangles.push_back({corners[0], corners[1], corners[2]});
    return;
  }

  // Project onto two axes of the polygon's own plane, in which it is counter-clockwise.
  const Vec3 up = normal * (1.0 / double_area);
  const Vec3 beside = std::abs(up.x) < 0.5 ? Vec3{1.0, 0.0, 0.0} : Vec3{0.0, 1.0, 0.0};
  const Vec3 u = normalized(cross(beside, up));
  const Vec3 v = cross(up, u);
  std::vector<Corner> ring;
  ring.reserve(corners.size());
  for (const std::uint32_t point : corners) {
    if (!ring.empty() && ring.back().point == point) continue;
    const Vec3 from_first = points[point] - points[corners[0]];
    ring.push_back({{dot(from_first, u), dot(from_first, v)}, point});
  }

  while (ring.size() > 2) {
    const std::size_t ear = find_ear(ring);
    const std::size_t count = ring.size();
    if (ear_turn(ring, ear) > 0.0)
      triangles.push_back({ring[(ear + count - 1) % count].point, ring[ear].point, ring[(ear + 1) % count].point});
    ring.erase(ring.begin() + static_cast<std::ptrdiff_t>(ear));
  }
}

}  // namespace tool
