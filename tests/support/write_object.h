#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "standin/scene/vector.h"

namespace test_support {

struct SurfaceToWrite {
  std::string name;
  standin::Vec3 color;
  /// As in the file: 1 front, 2 back, 3 both; 0 leaves it out.
  std::size_t sides = 0;
  /// 0 leaves it out.
  double smoothing_radians = 0.0;
  /// Whether an image lies on the colour.
  bool has_image = false;
};

struct PolygonToWrite {
  /// Clockwise seen from the front.
  std::vector<std::uint16_t> points;
  std::uint16_t surface = 0;
};

/// An object of one layer.
struct ObjectToWrite {
  std::vector<SurfaceToWrite> surfaces;
  standin::Vec3 pivot;
  std::vector<standin::Vec3> points;
  std::vector<PolygonToWrite> polygons;
  /// Each point's place in the texture map; empty without one.
  std::vector<std::array<double, 2>> texture_positions;
};

/// The object as a file of form LWO2.
std::vector<std::uint8_t> object_bytes(const ObjectToWrite& object);

void write_object(const ObjectToWrite& object, const std::filesystem::path& file);

/// A cube around the origin, all of one colour.
ObjectToWrite cube(double edge, standin::Vec3 color);

}  // namespace test_support
