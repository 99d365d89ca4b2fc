#include "standin/scene/object_file.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string_view>
#include <utility>

#include "standin/scene/file_bytes.h"
#include "standin/scene/file_error.h"

namespace standin {
namespace {

/// Big-endian numbers from part of a file; reading past the part's end is an error that names the offset.
class ByteReader {
 public:
  ByteReader(std::span<const std::uint8_t> bytes, const std::string& file_name) : bytes_(bytes), file_name_(&file_name) {}

  bool at_end() const { return position_ == bytes_.size(); }
  std::size_t remaining() const { return bytes_.size() - position_; }

  [[noreturn]] void fail(const std::string& reason) const {
    throw FileError(*file_name_, "byte " + std::to_string(start_ + position_), reason);
  }

  ByteReader part(std::size_t size, std::string_view what) {
    if (size > remaining()) {
      fail(std::string(what) + " is cut short: it announces " + std::to_string(size) + " bytes and " +
           std::to_string(remaining()) + " are left");
    }
    ByteReader reader(bytes_.subspan(position_, size), *file_name_);
    reader.start_ = start_ + position_;
    position_ += size;
    return reader;
  }

  std::uint32_t unsigned_number(std::size_t size) {
    if (size > remaining()) fail("a number is cut short");
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < size; ++i) number = number << 8 | bytes_[position_++];
    return number;
  }

  float real_number() {
    const auto number = std::bit_cast<float>(unsigned_number(4));
    if (!std::isfinite(number)) {
      position_ -= 4;
      fail("a number is not finite");
    }
    return number;
  }

  Vec3 vector() {
    const float x = real_number();
    const float y = real_number();
    return {x, y, real_number()};
  }

  /// Two bytes, or four that begin with 0xFF.
  std::uint32_t index(std::size_t count, std::string_view what) {
    const std::size_t at = position_;
    std::uint32_t number = unsigned_number(2);
    if (number >= 0xFF00) number = (number & 0xFF) << 16 | unsigned_number(2);
    if (number >= count) {
      position_ = at;
      fail(std::string(what) + " " + std::to_string(number) + " is used, but there are only " + std::to_string(count));
    }
    return number;
  }

  /// Up to a zero byte, plus a padding byte where that makes the length even.
  std::string text() {
    std::string text;
    for (std::uint32_t c = unsigned_number(1); c != 0; c = unsigned_number(1)) text += static_cast<char>(c);
    if (text.size() % 2 == 0 && !at_end()) ++position_;
    return text;
  }

  std::string four_letters() {
    std::string letters;
    for (int i = 0; i < 4; ++i) letters += static_cast<char>(unsigned_number(1));
    return letters;
  }

  /// The padding byte of an odd length; a file may end without it.
  void skip_padding(std::size_t size) {
    if (size % 2 == 1 && !at_end()) ++position_;
  }

 private:
  std::span<const std::uint8_t> bytes_;
  const std::string* file_name_;
  std::size_t start_ = 0;
  std::size_t position_ = 0;
};

/// As messages show them: four characters, each that is not printable as a question mark.
std::string printable(std::string letters) {
  for (char& c : letters) c = c >= ' ' && c <= '~' ? c : '?';
  return letters;
}

constexpr std::uint32_t no_surface = std::numeric_limits<std::uint32_t>::max();

class ObjectReader {
 public:
  ObjectFile read(ByteReader file) {
    if (file.remaining() < 12) file.fail("is too short for an object file");
    if (file.four_letters() != "FORM") file.fail("is not an object file: it does not begin with FORM");
    const std::size_t size = file.unsigned_number(4);
    ByteReader form = file.part(size, "the file");
    const std::string kind = form.four_letters();
    older_form_ = kind == "LWOB";
    if (kind != "LWO2" && !older_form_) {
      form.fail("is of the form " + printable(kind) + ", which is not " +
                (kind == "LWLO" ? "read; open it in the modeler and save it in the newer form LWO2"
                                : "known; save it in the form LWO2"));
    }
    while (!form.at_end()) {
      const std::string chunk = form.four_letters();
      const std::size_t chunk_size = form.unsigned_number(4);
      read_chunk(chunk, form.part(chunk_size, "the part " + printable(chunk)));
      form.skip_padding(chunk_size);
    }
    give_default_surface();
    return std::move(object_);
  }

 private:
  void read_chunk(const std::string& chunk, ByteReader content) {
    if (older_form_)
      read_older_chunk(chunk, content);
    else if (chunk == "TAGS")
      while (!content.at_end()) tags_.push_back(content.text());
    else if (chunk == "LAYR")
      read_layer(content);
    else if (chunk == "PNTS")
      read_points(content);
    else if (chunk == "POLS")
      read_polygons(content);
    else if (chunk == "PTAG")
      read_polygon_tags(content);
    else if (chunk == "VMAP" || chunk == "VMAD")
      read_map(content, chunk == "VMAD");
    else if (chunk == "SURF")
      read_surface(content);
  }

  /// The older form: one layer without a name, surfaces by their number among the names.
  void read_older_chunk(const std::string& chunk, ByteReader content) {
    if (chunk == "PNTS")
      read_points(content);
    else if (chunk == "SRFS")
      while (!content.at_end()) tags_.push_back(content.text());
    else if (chunk == "POLS")
      read_older_polygons(content);
    else if (chunk == "SURF")
      read_older_surface(content);
  }

  void read_older_polygons(ByteReader& content) {
    while (!content.at_end()) {
      Polygon polygon{{}, no_surface};
      for (std::uint32_t count = content.unsigned_number(2); count > 0; --count) {
        const std::uint32_t point = content.unsigned_number(2);
        if (point >= layer().points.size()) {
          content.fail("point " + std::to_string(point) + " is named, and there are only " +
                       std::to_string(layer().points.size()));
        }
        polygon.points.push_back(point);
      }
      const int number = static_cast<std::int16_t>(content.unsigned_number(2));
      const auto surface = static_cast<std::size_t>(std::abs(number));
      if (surface > tags_.size())
        content.fail("surface " + std::to_string(surface) + " is named, and there are only " + std::to_string(tags_.size()));
      if (surface > 0) polygon.surface = surface_named(tags_[surface - 1]);
      if (number < 0) {
        // Polygons that lie on this one follow, after their count, like any others.
        content.unsigned_number(2);
      }
      layer().polygons.push_back(std::move(polygon));
    }
  }

  void read_older_surface(ByteReader& content) {
    constexpr std::uint32_t smooth_flag = 0x4;
    constexpr std::uint32_t both_sides_flag = 0x100;
    constexpr double whole = 256.0;
    /// Of a smooth surface that does not say: 89.5 degrees.
    constexpr double usual_smoothing_radians = 1.56207;
    Surface& surface = object_.surfaces[surface_named(content.text())];
    bool smooth = false;
    double smoothing_radians = usual_smoothing_radians;
    while (!content.at_end()) {
      const std::string part = content.four_letters();
      const std::size_t size = content.unsigned_number(2);
      ByteReader value = content.part(size, "the part " + printable(part));
      content.skip_padding(size);
      if (part == "COLR") {
        surface.color.x = value.unsigned_number(1) / 255.0;
        surface.color.y = value.unsigned_number(1) / 255.0;
        surface.color.z = value.unsigned_number(1) / 255.0;
      } else if (part == "FLAG") {
        const std::uint32_t flags = value.unsigned_number(2);
        smooth = (flags & smooth_flag) != 0;
        surface.back = (flags & both_sides_flag) != 0;
      } else if (part == "DIFF") {
        surface.diffuse = static_cast<std::int16_t>(value.unsigned_number(2)) / whole;
      } else if (part == "LUMI") {
        surface.luminosity = static_cast<std::int16_t>(value.unsigned_number(2)) / whole;
      } else if (part == "VDIF") {
        surface.diffuse = value.real_number();
      } else if (part == "VLUM") {
        surface.luminosity = value.real_number();
      } else if (part == "SMAN") {
        smoothing_radians = value.real_number();
      } else if (part == "CTEX") {
        surface.color_is_textured = true;
      }
    }
    surface.smoothing_radians = smooth ? std::max(0.0, smoothing_radians) : 0.0;
  }

  Layer& layer() { return object_.layers.empty() ? object_.layers.emplace_back() : object_.layers.back(); }

  void read_layer(ByteReader& content) {
    Layer& added = object_.layers.emplace_back();
    first_point_ = 0;
    first_polygon_ = 0;
    polygons_read_ = true;
    map_index_.clear();
    added.number = static_cast<int>(content.unsigned_number(2));
    added.hidden = (content.unsigned_number(2) & 1) != 0;
    added.pivot = content.vector();
    added.name = content.text();
    if (content.remaining() >= 2) {
      const std::uint32_t parent = content.unsigned_number(2);
      added.parent = parent == 0xFFFF ? -1 : static_cast<int>(parent);
    }
  }

  void read_points(ByteReader& content) {
    // Indices that follow count from the first point of this part.
    first_point_ = layer().points.size();
    while (!content.at_end()) layer().points.push_back(content.vector());
  }

  std::uint32_t point_index(ByteReader& content) {
    const std::size_t count = layer().points.size() - first_point_;
    return static_cast<std::uint32_t>(first_point_ + content.index(count, "point"));
  }

  std::uint32_t polygon_index(ByteReader& content) {
    const std::size_t count = layer().polygons.size() - first_polygon_;
    return static_cast<std::uint32_t>(first_polygon_ + content.index(count, "polygon"));
  }

  void read_polygons(ByteReader& content) {
    const std::string kind = content.four_letters();
    first_polygon_ = layer().polygons.size();
    polygons_read_ = kind == "FACE" || kind == "PTCH";
    while (polygons_read_ && !content.at_end()) {
      Polygon polygon{{}, no_surface};
      // The upper six bits are flags.
      for (std::uint32_t count = content.unsigned_number(2) & 0x3FF; count > 0; --count)
        polygon.points.push_back(point_index(content));
      layer().polygons.push_back(std::move(polygon));
    }
  }

  void read_polygon_tags(ByteReader& content) {
    if (content.four_letters() != "SURF" || !polygons_read_) return;
    while (!content.at_end()) {
      Polygon& polygon = layer().polygons[polygon_index(content)];
      const std::uint32_t tag = content.unsigned_number(2);
      if (tag >= tags_.size())
        content.fail("tag " + std::to_string(tag) + " is used, but there are only " + std::to_string(tags_.size()));
      polygon.surface = surface_named(tags_[tag]);
    }
  }

  void read_map(ByteReader& content, bool of_polygons) {
    if (content.four_letters() != "TXUV" || (of_polygons && !polygons_read_)) return;
    const std::uint32_t dimension = content.unsigned_number(2);
    const std::string name = content.text();
    UvMap& map = map_named(name, static_cast<int>(dimension));
    if (dimension == 0 || map.dimension != static_cast<int>(dimension)) {
      content.fail("the texture map \"" + printable(name) + "\" has " + std::to_string(dimension) + " values per point, not " +
                   std::to_string(dimension == 0 ? 2 : map.dimension));
    }
    while (!content.at_end()) {
      const std::uint32_t point = point_index(content);
      std::vector<float>& values = of_polygons ? map.of_point_in_polygon[{point, polygon_index(content)}] : map.of_point[point];
      values.clear();
      for (std::uint32_t i = 0; i < dimension; ++i) values.push_back(content.real_number());
    }
  }

  UvMap& map_named(const std::string& name, int dimension) {
    std::vector<UvMap>& maps = layer().uv_maps;
    const auto [found, added] = map_index_.try_emplace(name, maps.size());
    return added ? maps.emplace_back(UvMap{name, dimension, {}, {}}) : maps[found->second];
  }

  std::uint32_t surface_named(const std::string& name) {
    const auto [found, added] = surface_index_.try_emplace(name, static_cast<std::uint32_t>(object_.surfaces.size()));
    if (added) object_.surfaces.emplace_back().name = name;
    return found->second;
  }

  void read_surface(ByteReader& content) {
    Surface& surface = object_.surfaces[surface_named(content.text())];
    // The name of a surface that this one was made from.
    content.text();
    while (!content.at_end()) {
      const std::string part = content.four_letters();
      const std::size_t size = content.unsigned_number(2);
      ByteReader value = content.part(size, "the part " + printable(part));
      content.skip_padding(size);
      if (part == "COLR") {
        surface.color = value.vector();
      } else if (part == "DIFF") {
        surface.diffuse = value.real_number();
      } else if (part == "LUMI") {
        surface.luminosity = value.real_number();
      } else if (part == "SMAN") {
        surface.smoothing_radians = std::max(0.0F, value.real_number());
      } else if (part == "SIDE") {
        const std::uint32_t sides = value.unsigned_number(2);
        surface.back = (sides & 2) != 0;
        surface.front = (sides & 1) != 0 || !surface.back;
      } else if (part == "BLOK") {
        surface.color_is_textured = surface.color_is_textured || lies_on_color(value);
      }
    }
  }

  /// Whether a block is a texture of the surface's colour that is switched on. What such a block holds besides is not read, so
  /// nothing in it makes the file a bad one.
  static bool lies_on_color(ByteReader block) {
    try {
      const std::string kind = block.four_letters();
      ByteReader header = block.part(block.unsigned_number(2), "a texture");
      header.text();
      bool on_color = true;
      bool enabled = true;
      while (!header.at_end()) {
        const std::string part = header.four_letters();
        const std::size_t size = header.unsigned_number(2);
        ByteReader value = header.part(size, "a texture");
        header.skip_padding(size);
        if (part == "CHAN")
          on_color = value.four_letters() == "COLR";
        else if (part == "ENAB")
          enabled = value.unsigned_number(2) != 0;
      }
      return on_color && enabled && (kind == "IMAP" || kind == "PROC" || kind == "GRAD");
    } catch (const FileError&) {
      return false;
    }
  }

  void give_default_surface() {
    for (Layer& each : object_.layers) {
      for (Polygon& polygon : each.polygons)
        if (polygon.surface == no_surface) polygon.surface = surface_named("Default");
    }
  }

  ObjectFile object_;
  std::vector<std::string> tags_;
  std::map<std::string, std::uint32_t> surface_index_;
  /// The texture maps of the layer that is read.
  std::map<std::string, std::size_t> map_index_;
  bool older_form_ = false;
  std::size_t first_point_ = 0;
  std::size_t first_polygon_ = 0;
  /// Whether tags and maps refer to the polygons read last, rather than to some that were skipped.
  bool polygons_read_ = true;
};

}  // namespace

ObjectFile read_object(std::span<const std::uint8_t> bytes, const std::string& name) {
  return ObjectReader().read(ByteReader(bytes, name));
}

ObjectFile read_object_file(const std::filesystem::path& file) {
  const std::string bytes = read_file_bytes(file);
  return read_object({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()}, file.string());
}

}  // namespace standin
