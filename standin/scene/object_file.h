#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "standin/scene/vector.h"

namespace standin {

struct Surface {
  std::string name;
  Vec3 color{0.78, 0.78, 0.78};
  double diffuse = 1.0;
  double luminosity = 0.0;
  /// Polygons that meet at an angle below this are shaded as one; 0: none are.
  double smoothing_radians = 0.0;
  /// Which sides of its polygons are seen.
  bool front = true;
  bool back = false;
  /// An image or another texture lies on its colour, which is then only the ground of it.
  bool color_is_textured = false;
};

/// A texture map by name: values of points, and values of points within one polygon, which take precedence.
struct UvMap {
  std::string name;
  int dimension = 2;
  std::map<std::uint32_t, std::vector<float>> of_point;
  std::map<std::pair<std::uint32_t, std::uint32_t>, std::vector<float>> of_point_in_polygon;
};

struct Polygon {
  /// Indices of the layer's points, in the file's order (clockwise seen from the front).
  std::vector<std::uint32_t> points;
  /// Index into the object's surfaces.
  std::uint32_t surface = 0;
};

struct Layer {
  /// As in the object file: one less than the layer's number in a scene.
  int number = 0;
  int parent = -1;
  bool hidden = false;
  std::string name;
  Vec3 pivot;
  std::vector<Vec3> points;
  std::vector<Polygon> polygons;
  std::vector<UvMap> uv_maps;
};

/// One object file: layers of points, polygons and texture maps, and the surfaces they share.
struct ObjectFile {
  std::vector<Layer> layers;
  std::vector<Surface> surfaces;
};

/// Reads an object of form LWO2, or of the older LWOB, which is one layer. Throws FileError (standin/scene/file_error.h), which
/// names file, byte offset and reason, for a file that is missing, truncated, corrupt, or of another form. Threads: any.
ObjectFile read_object_file(const std::filesystem::path& file);

/// The same from memory; errors call it `name`.
ObjectFile read_object(std::span<const std::uint8_t> bytes, const std::string& name);

}  // namespace standin
