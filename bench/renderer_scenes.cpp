#include "bench/renderer_scenes.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "standin/scene/scene.h"

namespace bench {
namespace {

using standin::Vec3;

/// Big-endian numbers, and chunks of them.
class ObjectBytes {
 public:
  ObjectBytes& letters(std::string_view text) {
    bytes_.append(text);
    return *this;
  }
  ObjectBytes& u2(std::uint32_t value) {
    bytes_ += static_cast<char>(value >> 8);
    bytes_ += static_cast<char>(value);
    return *this;
  }
  ObjectBytes& u4(std::uint32_t value) { return u2(value >> 16).u2(value & 0xFFFFU); }
  ObjectBytes& f4(double value) { return u4(std::bit_cast<std::uint32_t>(static_cast<float>(value))); }
  ObjectBytes& vector(Vec3 v) { return f4(v.x).f4(v.y).f4(v.z); }
  /// Of a point or a polygon: two bytes, or four for a large one.
  ObjectBytes& index(std::uint32_t value) { return value < 0xFF00U ? u2(value) : u4(0xFF000000U | value); }
  ObjectBytes& chunk(std::string_view name, const ObjectBytes& body) {
    return letters(name).u4(static_cast<std::uint32_t>(body.bytes_.size())).letters(body.bytes_);
  }
  /// Within a surface.
  ObjectBytes& small_chunk(std::string_view name, const ObjectBytes& body) {
    return letters(name).u2(static_cast<std::uint32_t>(body.bytes_.size())).letters(body.bytes_);
  }
  const std::string& text() const { return bytes_; }

 private:
  std::string bytes_;
};

struct Object {
  std::vector<Vec3> points;
  /// Clockwise seen from the front.
  std::vector<std::array<std::uint32_t, 4>> quads;
  Vec3 color;
  double smoothing_radians = 0.0;
};

void write_object(const Object& object, const std::filesystem::path& file) {
  using namespace std::string_view_literals;
  constexpr std::string_view name = "Surface\0"sv;
  ObjectBytes points;
  for (const Vec3 point : object.points) points.vector(point);
  ObjectBytes polygons;
  polygons.letters("FACE");
  ObjectBytes surfaces;
  surfaces.letters("SURF");
  for (std::size_t i = 0; i < object.quads.size(); ++i) {
    polygons.u2(4);
    for (const std::uint32_t point : object.quads[i]) polygons.index(point);
    surfaces.index(static_cast<std::uint32_t>(i)).u2(0);
  }
  ObjectBytes surface;
  surface.letters(name).letters("\0\0"sv).small_chunk("COLR", ObjectBytes().vector(object.color).u2(0));
  if (object.smoothing_radians > 0.0) surface.small_chunk("SMAN", ObjectBytes().f4(object.smoothing_radians));
  ObjectBytes content;
  content.letters("LWO2")
      .chunk("TAGS", ObjectBytes().letters(name))
      .chunk("LAYR", ObjectBytes().u2(0).u2(0).vector({}).letters("\0\0"sv))
      .chunk("PNTS", points)
      .chunk("POLS", polygons)
      .chunk("PTAG", surfaces)
      .chunk("SURF", surface);
  std::ofstream stream(file, std::ios::binary);
  stream << ObjectBytes().chunk("FORM", content).text();
  if (!stream.flush()) throw std::runtime_error(file.string() + ": cannot be written");
}

Object cube() {
  Object object;
  for (const double z : {-1.0, 1.0})
    for (const double y : {-1.0, 1.0})
      for (const double x : {-1.0, 1.0}) object.points.push_back({x, y, z});
  object.quads = {{0, 2, 3, 1}, {5, 7, 6, 4}, {4, 6, 2, 0}, {1, 3, 7, 5}, {2, 6, 7, 3}, {4, 0, 1, 5}};
  object.color = {0.9, 0.05, 0.05};
  return object;
}

Object hills() {
  constexpr std::uint32_t quads_along = 708;
  constexpr double half_side = 10.0;
  constexpr double smooth_radians = 1.5;
  Object object;
  for (std::uint32_t row = 0; row <= quads_along; ++row) {
    for (std::uint32_t column = 0; column <= quads_along; ++column) {
      const double x = half_side * (2.0 * column / quads_along - 1.0);
      const double z = half_side * (2.0 * row / quads_along - 1.0);
      object.points.push_back({x, 0.6 * std::sin(1.3 * x) * std::cos(1.1 * z) + 0.05 * std::sin(11.0 * x + 7.0 * z), z});
    }
  }
  for (std::uint32_t row = 0; row < quads_along; ++row) {
    for (std::uint32_t column = 0; column < quads_along; ++column) {
      const std::uint32_t corner = row * (quads_along + 1) + column;
      object.quads.push_back({corner, corner + quads_along + 1, corner + quads_along + 2, corner + 1});
    }
  }
  object.color = {0.35, 0.55, 0.25};
  object.smoothing_radians = smooth_radians;
  return object;
}

std::filesystem::path write_scene(const std::filesystem::path& folder, const std::string& name, const Object& object,
                                  Vec3 camera_position, double camera_pitch_radians) {
  write_object(object, folder / (name + ".lwo"));
  standin::Scene scene;
  scene.folder = folder;
  standin::Item& item = scene.items.emplace_back();
  item.kind = standin::ItemKind::object;
  item.id = 0x10000000U;
  item.name = name;
  item.object_file = name + ".lwo";
  standin::Item& camera = scene.items.emplace_back();
  camera.kind = standin::ItemKind::camera;
  camera.id = 0x30000000U;
  camera.name = "Front";
  camera.camera.emplace();
  camera.camera->zoom_factor = standin::Envelope::constant(2.0);
  camera.motion[0] = standin::Envelope::constant(camera_position.x);
  camera.motion[1] = standin::Envelope::constant(camera_position.y);
  camera.motion[2] = standin::Envelope::constant(camera_position.z);
  camera.motion[4] = standin::Envelope::constant(camera_pitch_radians);
  auto file = folder / (name + ".lws");
  standin::write_scene_file(scene, file);
  return file;
}

}  // namespace

std::filesystem::path write_cube_scene(const std::filesystem::path& folder) {
  return write_scene(folder, "cube", cube(), {0.0, 0.0, -5.0}, 0.0);
}

std::filesystem::path write_mesh_scene(const std::filesystem::path& folder) {
  return write_scene(folder, "hills", hills(), {0.0, 2.5, -11.0}, 0.2);
}

}  // namespace bench
