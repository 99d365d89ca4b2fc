#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "standin/scene/vector.h"

namespace tool {

/// Appends the triangles of one polygon, as indices into `points`, wound as the polygon is. The polygon may be concave or
/// not quite flat; without three distinct corners, or without an area, it gives no triangle. Every corner must be an index of
/// `points`. Threads: any.
void triangulate(std::span<const standin::Vec3> points, std::span<const std::uint32_t> corners,
                 std::vector<std::array<std::uint32_t, 3>>& triangles);

}  // namespace tool
