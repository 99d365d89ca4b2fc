#include "tests/support/write_object.h"

#include <bit>
#include <fstream>
#include <stdexcept>
#include <string_view>

namespace test_support {
namespace {

using standin::Vec3;

class Chunk {
 public:
  explicit Chunk(std::string_view identifier) : identifier_(identifier) {}

  Chunk& u2(std::size_t value) {
    if (value > 0xFFFF) throw std::invalid_argument("the object to write is too large for two-byte numbers");
    bytes_.push_back(static_cast<std::uint8_t>(value >> 8));
    bytes_.push_back(static_cast<std::uint8_t>(value));
    return *this;
  }

  Chunk& u4(std::uint32_t value) { return u2(value >> 16).u2(value & 0xFFFFU); }

  Chunk& f4(double value) { return u4(std::bit_cast<std::uint32_t>(static_cast<float>(value))); }

  Chunk& vector(Vec3 v) { return f4(v.x).f4(v.y).f4(v.z); }

  /// The text ends with a zero byte, and takes an even number of bytes.
  Chunk& text(std::string_view value) {
    bytes_.insert(bytes_.end(), value.begin(), value.end());
    bytes_.insert(bytes_.end(), value.size() % 2 == 0 ? 2 : 1, 0);
    return *this;
  }

  Chunk& four_letters(std::string_view value) {
    bytes_.insert(bytes_.end(), value.begin(), value.end());
    return *this;
  }

  /// A chunk's size is written in four bytes; inside a surface, in two.
  Chunk& chunk(const Chunk& inner) { return four_letters(inner.identifier_).u4(inner.size()).append(inner); }
  Chunk& sub_chunk(const Chunk& inner) { return four_letters(inner.identifier_).u2(inner.size()).append(inner); }

  const std::vector<std::uint8_t>& bytes() const { return bytes_; }

 private:
  std::uint32_t size() const { return static_cast<std::uint32_t>(bytes_.size()); }

  Chunk& append(const Chunk& inner) {
    bytes_.insert(bytes_.end(), inner.bytes_.begin(), inner.bytes_.end());
    return *this;
  }

  std::string_view identifier_;
  std::vector<std::uint8_t> bytes_;
};

}  // namespace

std::vector<std::uint8_t> object_bytes(const ObjectToWrite& object) {
  Chunk tags("TAGS");
  for (const SurfaceToWrite& surface : object.surfaces) tags.text(surface.name);
  Chunk layer("LAYR");
  layer.u2(0).u2(0).vector(object.pivot).text("");
  Chunk points("PNTS");
  for (const Vec3 point : object.points) points.vector(point);
  Chunk polygons("POLS");
  polygons.four_letters("FACE");
  Chunk polygon_tags("PTAG");
  polygon_tags.four_letters("SURF");
  for (std::size_t i = 0; i < object.polygons.size(); ++i) {
    polygons.u2(object.polygons[i].points.size());
    for (const std::uint16_t point : object.polygons[i].points) polygons.u2(point);
    polygon_tags.u2(i).u2(object.polygons[i].surface);
  }

  Chunk form("FORM");
  form.four_letters("LWO2").chunk(tags).chunk(layer).chunk(points);
  if (!object.texture_positions.empty()) {
    Chunk map("VMAP");
    map.four_letters("TXUV").u2(2).text("Map");
    for (std::size_t i = 0; i < object.texture_positions.size(); ++i)
      map.u2(i).f4(object.texture_positions[i][0]).f4(object.texture_positions[i][1]);
    form.chunk(map);
  }
  form.chunk(polygons).chunk(polygon_tags);
  for (const SurfaceToWrite& surface : object.surfaces) {
    Chunk color("COLR");
    color.vector(surface.color).u2(0);
    Chunk settings("SURF");
    settings.text(surface.name).text("").sub_chunk(color);
    if (surface.sides != 0) settings.sub_chunk(Chunk("SIDE").u2(surface.sides));
    if (surface.smoothing_radians > 0.0) settings.sub_chunk(Chunk("SMAN").f4(surface.smoothing_radians));
    if (surface.has_image) {
      Chunk header("IMAP");
      header.text("\x80").sub_chunk(Chunk("CHAN").four_letters("COLR"));
      settings.sub_chunk(Chunk("BLOK").sub_chunk(header).sub_chunk(Chunk("IMAG").u2(1)));
    }
    form.chunk(settings);
  }
  Chunk file("");
  file.chunk(form);
  return file.bytes();
}

void write_object(const ObjectToWrite& object, const std::filesystem::path& file) {
  const auto bytes = object_bytes(object);
  std::ofstream stream(file, std::ios::binary);
  for (const std::uint8_t byte : bytes) stream.put(static_cast<char>(byte));
  if (!stream.flush()) throw std::runtime_error(file.string() + ": cannot be written");
}

ObjectToWrite cube(double edge, Vec3 color) {
  ObjectToWrite object;
  object.surfaces = {{.name = "Cube", .color = color}};
  for (const double z : {-0.5, 0.5}) {
    for (const double y : {-0.5, 0.5})
      for (const double x : {-0.5, 0.5}) object.points.push_back(Vec3{x, y, z} * edge);
  }
  for (const std::vector<std::uint16_t>& face : std::vector<std::vector<std::uint16_t>>{
           {0, 2, 3, 1}, {5, 7, 6, 4}, {4, 6, 2, 0}, {1, 3, 7, 5}, {2, 6, 7, 3}, {4, 0, 1, 5}}) {
    object.polygons.push_back({face, 0});
  }
  return object;
}

}  // namespace test_support
