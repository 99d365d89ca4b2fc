#include "standin/scene/object_file.h"

#include <bit>
#include <cmath>
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
    if (size > remaining()) {
      fail("a number is cut short");
    }
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < size; ++i) {
      number = number << 8 | bytes_[position_++];
    }
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
    if (number >= 0xFF00) {
      number = (number & 0xFF) << 16 | unsigned_number(2);
    }
    if (number >= count) {
      position_ = at;
      fail(std::string(what) + " " + std::to_string(number) + " is used, but there are only " + std::to_string(count));
    }
    return number;
  }

  /// Up to a zero byte, plus a padding byte where that makes the length even.
  std::string text() {
    std::string text;
    for (std::uint32_t c = unsigned_number(1); c != 0; c = unsigned_number(1)) {
      text += static_cast<char>(c);
    }
    if (text.size() % 2 == 0 && !at_end()) {
      ++position_;
    }
    return text;
  }

  std::string four_letters() {
    std::string letters;
    for (int i = 0; i < 4; ++i) {
      letters += static_cast<char>(unsigned_number(1));
    }
    return letters;
  }

  /// The padding byte of an odd length; a file may end without it.
  void skip_padding(std::size_t size) {
    if (size % 2 == 1 && !at_end()) {
      ++position_;
    }
  }

 private:
  std::span<const std::uint8_t> bytes_;
  const std::string* file_name_;
  std::size_t start_ = 0;
  std::size_t position_ = 0;
};

/// As messages show them: four characters, each that is not printable as a question mark.
std::string printable(std::string letters) {
  for (char& c : letters) {
    c = c >= ' ' && c <= '~' ? c : '?';
  }
  return letters;
}

constexpr std::uint32_t no_surface = std::numeric_limits<std::uint32_t>::max();

class ObjectReader {
 public:
  ObjectFile read(ByteReader file) {
    if (file.remaining() < 12) {
      file.fail("is too short for an object file");
    }
    if (file.four_letters() != "FORM") {
      file.fail("is not an object file: it does not begin with FORM");
    }
    const std::size_t size = file.unsigned_number(4);
    ByteReader form = file.part(size, "the file");
    const std::string kind = form.four_letters();
    if (kind != "LWO2") {
      const bool older = kind == "LWOB" || kind == "LWLO";
      form.fail(
          "is of the form " + printable(kind) + ", which is not " +
          (older ? "read; open it in the modeler and save it in the newer form LWO2" : "known; save it in the form LWO2"));
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
    if (chunk == "TAGS") {
      while (!content.at_end()) {
        tags_.push_back(content.text());
      }
    } else if (chunk == "LAYR") {
      read_layer(content);
    } else if (chunk == "PNTS") {
      read_points(content);
    } else if (chunk == "POLS") {
      read_polygons(content);
    } else if (chunk == "PTAG") {
      read_polygon_tags(content);
    } else if (chunk == "VMAP" || chunk == "VMAD") {
      read_map(content, chunk == "VMAD");
    } else if (chunk == "SURF") {
      read_surface(content);
    }
  }

  Layer& layer() { return object_.layers.empty() ? object_.layers.emplace_back() : object_.layers.back(); }

  void read_layer(ByteReader& content) {
    Layer& added = object_.layers.emplace_back();
    first_point_ = 0;
    first_polygon_ = 0;
    polygons_read_ = true;
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
    while (!content.at_end()) {
      layer().points.push_back(content.vector());
    }
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
      for (std::uint32_t count = content.unsigned_number(2) & 0x3FF; count > 0; --count) {
        polygon.points.push_back(point_index(content));
      }
      layer().polygons.push_back(std::move(polygon));
    }
  }

  void read_polygon_tags(ByteReader& content) {
    if (content.four_letters() != "SURF" || !polygons_read_) {
      return;
    }
    while (!content.at_end()) {
      Polygon& polygon = layer().polygons[polygon_index(content)];
      const std::uint32_t tag = content.unsigned_number(2);
      if (tag >= tags_.size()) {
        content.fail("tag " + std::to_string(tag) + " is used, but there are only " + std::to_string(tags_.size()));
      }
      polygon.surface = surface_named(tags_[tag]);
    }
  }

  void read_map(ByteReader& content, bool of_polygons) {
    if (content.four_letters() != "TXUV" || (of_polygons && !polygons_read_)) {
      return;
    }
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
      for (std::uint32_t i = 0; i < dimension; ++i) {
        values.push_back(content.real_number());
      }
    }
  }

  UvMap& map_named(const std::string& name, int dimension) {
    for (UvMap& map : layer().uv_maps) {
      if (map.name == name) {
        return map;
      }
    }
    return layer().uv_maps.emplace_back(UvMap{name, dimension, {}, {}});
  }

  std::uint32_t surface_named(const std::string& name) {
    const auto [found, added] = surface_index_.try_emplace(name, static_cast<std::uint32_t>(object_.surfaces.size()));
    if (added) {
      object_.surfaces.emplace_back().name = name;
    }
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
      }
    }
  }

  void give_default_surface() {
    for (Layer& each : object_.layers) {
      for (Polygon& polygon : each.polygons) {
        if (polygon.surface == no_surface) {
          polygon.surface = surface_named("Default");
        }
      }
    }
  }

  ObjectFile object_;
  std::vector<std::string> tags_;
  std::map<std::string, std::uint32_t> surface_index_;
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
