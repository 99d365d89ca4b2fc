#include "samples/mesh.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <iterator>
#include <numbers>
#include <stdexcept>

namespace samples {
namespace {

constexpr double units_per_metre = 10000.0;
/// Indices from here on need the long form of the file format.
constexpr std::size_t short_index_limit = 0xff00;

/// A glyph's lines on a grid four wide and six high: points as two digits, x then y; a bar starts a new line.
struct Glyph {
  char letter = ' ';
  std::string_view lines;
};

constexpr auto glyphs = std::to_array<Glyph>({
    {'A', "000416364440|0242"},
    {'B', "00063645443303|3342413000"},
    {'C', "4130100105163645"},
    {'D', "00063644423000"},
    {'E', "40000646|0333"},
    {'F', "000646|0333"},
    {'G', "45361605011030414323"},
    {'H', "0006|4046|0343"},
    {'I', "1030|2026|1636"},
    {'K', "0006|460340"},
    {'L', "060040"},
    {'M', "0006234640"},
    {'N', "00064046"},
    {'O', "103041453616050110"},
    {'P', "00063645443303"},
    {'R', "00063645443303|2340"},
    {'S', "011030414233130405163645"},
    {'T', "0646|2026"},
    {'W', "0610243046"},
    {'X', "0046|0640"},
    {'Y', "062346|2320"},
    {'Z', "06460040"},
    {'+', "0343|2125"},
    {'-', "0343"},
    {'1', "152620|1030"},
    {'2', "05163645440040"},
    {'3', "064623334241301001"},
    {'4', "30360242"},
    {'5', "4606033342413000"},
    {'6', "4536160501103041423303"},
    {'7', "064610"},
    {'8', "13040516364544331302011030414233"},
});

std::string_view glyph_lines(char letter) {
  const auto found = std::ranges::find(glyphs, letter, &Glyph::letter);
  if (found == glyphs.end()) throw std::invalid_argument(std::string("no glyph for the letter ") + letter);
  return found->lines;
}

/// Big-endian bytes of an object file.
class Bytes {
 public:
  void u2(std::uint16_t value) {
    bytes_.push_back(static_cast<std::uint8_t>(value >> 8));
    bytes_.push_back(static_cast<std::uint8_t>(value & 0xff));
  }
  void u4(std::uint32_t value) {
    u2(static_cast<std::uint16_t>(value >> 16));
    u2(static_cast<std::uint16_t>(value & 0xffff));
  }
  void f4(double value) { u4(std::bit_cast<std::uint32_t>(static_cast<float>(value))); }
  void id(std::string_view four_letters) { append(std::span(four_letters.data(), four_letters.size())); }
  /// A terminating zero, and a second one where the length would be odd.
  void text(std::string_view value) {
    id(value);
    bytes_.resize(bytes_.size() + 2 - value.size() % 2);
  }
  void chunk(std::string_view name, const Bytes& body) {
    id(name);
    u4(static_cast<std::uint32_t>(body.bytes_.size()));
    append(std::span(body.bytes_));
    if (body.bytes_.size() % 2 != 0) bytes_.push_back(0);
  }
  /// A chunk inside a surface, which has a short length.
  void small_chunk(std::string_view name, const Bytes& body) {
    id(name);
    u2(static_cast<std::uint16_t>(body.bytes_.size()));
    append(std::span(body.bytes_));
  }
  std::vector<std::uint8_t> take() { return std::move(bytes_); }

 private:
  template <typename T>
  void append(std::span<T> values) {
    bytes_.insert(bytes_.end(), values.begin(), values.end());
  }

  std::vector<std::uint8_t> bytes_;
};

Bytes surface_chunk(const Paint& paint) {
  Bytes color;
  for (const double part : {paint.color.x, paint.color.y, paint.color.z}) color.f4(part);
  color.u2(0);
  Bytes diffuse;
  diffuse.f4(1.0 - paint.luminosity);
  diffuse.u2(0);

  Bytes surface;
  surface.text(paint.name);
  surface.text("");
  surface.small_chunk("COLR", color);
  surface.small_chunk("DIFF", diffuse);
  if (paint.luminosity > 0.0) {
    Bytes luminosity;
    luminosity.f4(paint.luminosity);
    luminosity.u2(0);
    surface.small_chunk("LUMI", luminosity);
  }
  // Both: cloth has no inside, and the open ends of bars show theirs.
  Bytes side;
  side.u2(3);
  surface.small_chunk("SIDE", side);
  return surface;
}

}  // namespace

void Mesh::paint(const Paint& paint) {
  const auto found = std::ranges::find(paints_, paint.name, &Paint::name);
  current_paint_ = static_cast<std::uint16_t>(found - paints_.begin());
  if (found == paints_.end()) paints_.push_back(paint);
}

void Mesh::polygon(std::span<const Vec3> points) {
  Face face;
  face.surface = current_paint_;
  for (const Vec3& local : points) {
    const Vec3 point = frame_.point_to_world(local);
    std::array<std::int32_t, 3> key{};
    std::ranges::transform(std::array{point.x, point.y, point.z}, key.begin(),
                           [](double metres) { return static_cast<std::int32_t>(std::lround(metres * units_per_metre)); });
    const auto [entry, fresh] = point_index_.try_emplace(key, static_cast<std::uint16_t>(points_.size()));
    if (fresh) points_.push_back(key);
    if (points_.size() >= short_index_limit) throw std::length_error("too many points for one sample object");
    face.points.push_back(entry->second);
  }
  polygons_.push_back(std::move(face));
}

void Mesh::quad(Vec3 corner, Vec3 right, Vec3 up) {
  polygon(std::array{corner, corner + up, corner + up + right, corner + right});
}

void Mesh::box(Vec3 low, Vec3 high) {
  const Vec3 x{high.x - low.x, 0.0, 0.0};
  const Vec3 y{0.0, high.y - low.y, 0.0};
  const Vec3 z{0.0, 0.0, high.z - low.z};
  quad(low, x, y);
  quad(low + x + z, x * -1.0, y);
  quad(low + z, z * -1.0, y);
  quad(low + x, z, y);
  quad(low + y, x, z);
  if (low.y != 0.0) quad(low + z, x, z * -1.0);
}

void Mesh::turned(Vec3 foot, std::span<const ProfilePoint> outline, int sides, const Paint* second) {
  const auto rim_point = [&](const ProfilePoint& at, int side) {
    const double heading = 2.0 * std::numbers::pi * (side % sides) / sides;
    return foot + Vec3{at.radius * std::sin(heading), at.height, at.radius * std::cos(heading)};
  };
  const Paint first = paints_[current_paint_];
  for (int side = 0; side < sides; ++side) {
    if (second != nullptr) paint(side % 2 == 0 ? first : *second);
    for (std::size_t i = 0; i + 1 < outline.size(); ++i) {
      const ProfilePoint& lower = outline[i];
      const ProfilePoint& upper = outline[i + 1];
      std::vector<Vec3> face{rim_point(lower, side + 1), rim_point(upper, side + 1)};
      if (upper.radius > 0.0) face.push_back(rim_point(upper, side));
      if (lower.radius > 0.0) face.push_back(rim_point(lower, side));
      polygon(face);
    }
  }
  if (second != nullptr) paint(first);
  std::vector<Vec3> cap;
  for (int side = 0; side < sides && outline.back().radius > 0.0; ++side) cap.push_back(rim_point(outline.back(), side));
  if (!cap.empty()) polygon(cap);
  cap.clear();
  const bool stands = foot.y + outline.front().height == 0.0;
  for (int side = sides; side > 0 && outline.front().radius > 0.0 && !stands; --side)
    cap.push_back(rim_point(outline.front(), side));
  if (!cap.empty()) polygon(cap);
}

void Mesh::ball(Vec3 centre, double radius, int sides, int rings, double height_share, const Paint* second) {
  std::vector<ProfilePoint> outline;
  for (int ring = 0; ring <= rings; ++ring) {
    const double angle = std::numbers::pi * ring / rings;
    const bool pole = ring == 0 || ring == rings;
    outline.push_back({pole ? 0.0 : radius * std::sin(angle), -radius * std::cos(angle) * height_share});
  }
  turned(centre, outline, sides, second);
}

void Mesh::bar(Vec3 from, Vec3 to, double radius) {
  const Vec3 along = normalized(to - from);
  const Vec3 side = normalized(cross(std::abs(along.y) > 0.9 ? Vec3{1.0, 0.0, 0.0} : Vec3{0.0, 1.0, 0.0}, along));
  const Vec3 top = cross(along, side);
  std::array<Vec3, 3> around{};
  for (int i = 0; i < 3; ++i) {
    const double angle = 2.0 * std::numbers::pi * i / 3.0;
    around[static_cast<std::size_t>(i)] = side * (radius * std::sin(angle)) + top * (radius * std::cos(angle));
  }
  for (std::size_t i = 0; i < 3; ++i) {
    const Vec3 a = around[i];
    const Vec3 b = around[(i + 1) % 3];
    polygon(std::array{from + a, to + a, to + b, from + b});
  }
}

void Mesh::gable_roof(Vec3 low, Vec3 high, bool ridge_runs_back) {
  const auto corner = [&](bool right, bool back) { return Vec3{right ? high.x : low.x, low.y, back ? high.z : low.z}; };
  const Vec3 middle{(low.x + high.x) / 2.0, high.y, (low.z + high.z) / 2.0};
  const Vec3 front_left = corner(false, false);
  const Vec3 front_right = corner(true, false);
  const Vec3 back_left = corner(false, true);
  const Vec3 back_right = corner(true, true);
  if (ridge_runs_back) {
    const Vec3 front{middle.x, high.y, low.z};
    const Vec3 back{middle.x, high.y, high.z};
    polygon(std::array{front_left, front, front_right});
    polygon(std::array{back_right, back, back_left});
    polygon(std::array{back_left, back, front, front_left});
    polygon(std::array{front_right, front, back, back_right});
  } else {
    const Vec3 left{low.x, high.y, middle.z};
    const Vec3 right{high.x, high.y, middle.z};
    polygon(std::array{front_left, left, right, front_right});
    polygon(std::array{back_right, right, left, back_left});
    polygon(std::array{back_left, left, front_left});
    polygon(std::array{front_right, right, back_right});
  }
  polygon(std::array{front_left, front_right, back_right, back_left});
}

void Mesh::stroke(Vec3 origin, Vec3 right, Vec3 up, std::span<const std::array<double, 2>> line, double half_width) {
  const auto normal_of = [&](std::size_t i) {
    const double x = line[i + 1][0] - line[i][0];
    const double y = line[i + 1][1] - line[i][1];
    const double size = std::hypot(x, y);
    return std::array{-y / size, x / size};
  };
  // Left and right edge of the stroke at each of its points, mitred where it bends.
  constexpr double longest_mitre = 1.8;
  std::vector<std::array<Vec3, 2>> edges;
  for (std::size_t i = 0; i < line.size(); ++i) {
    const auto before = normal_of(i == 0 ? 0 : i - 1);
    const auto after = normal_of(i + 1 == line.size() ? i - 1 : i);
    const double share = std::max(1.0 + before[0] * after[0] + before[1] * after[1], 1e-6);
    std::array mitre{(before[0] + after[0]) / share, (before[1] + after[1]) / share};
    const double size = std::hypot(mitre[0], mitre[1]);
    const double reach = half_width * std::min(1.0, longest_mitre / size);
    const Vec3 centre = origin + right * line[i][0] + up * line[i][1];
    const Vec3 offset = right * (mitre[0] * reach) + up * (mitre[1] * reach);
    edges.push_back({centre + offset, centre - offset});
  }
  for (std::size_t i = 0; i + 1 < edges.size(); ++i)
    polygon(std::array{edges[i][0], edges[i + 1][0], edges[i + 1][1], edges[i][1]});
}

void Mesh::lettering(Vec3 centre, Vec3 right, Vec3 up, std::string_view text, double height) {
  constexpr double advance = 6.2;
  constexpr double half_stroke = 0.45;
  const double unit = height / 6.0;
  const double width = advance * static_cast<double>(text.size()) - (advance - 4.0);
  for (std::size_t place = 0; place < text.size(); ++place) {
    const double left = advance * static_cast<double>(place) - width / 2.0;
    std::vector<std::array<double, 2>> line;
    const auto finish = [&] {
      if (line.size() > 1) stroke(centre, right * unit, up * unit, line, half_stroke);
      line.clear();
    };
    const std::string_view lines = glyph_lines(text[place]);
    for (std::size_t i = 0; i < lines.size(); ++i) {
      if (lines[i] == '|') finish();
      if (lines[i] < '0' || lines[i] > '9') continue;
      line.push_back({left + (lines[i] - '0'), (lines[i + 1] - '0') - 3.0});
      ++i;
    }
    finish();
  }
}

void Mesh::map_from_above(const std::string& map_name, double half_side) {
  map_ = {map_name, {0, 2}, {-half_side, -half_side}, 2 * half_side};
}

void Mesh::map_from_south(const std::string& map_name, double foot, double side) {
  map_ = {map_name, {0, 1}, {-side / 2, foot}, side};
}

std::vector<std::uint8_t> Mesh::object_file(const std::string& layer_name) const {
  if (polygons_.size() >= short_index_limit) throw std::length_error("too many polygons for one sample object");

  Bytes tags;
  for (const Paint& paint : paints_) tags.text(paint.name);

  Bytes layer;
  layer.u2(0);
  layer.u2(0);
  for (int axis = 0; axis < 3; ++axis) layer.f4(0.0);
  layer.text(layer_name);

  Bytes points;
  auto low = points_.at(0);
  auto high = low;
  for (const auto& point : points_) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
      points.f4(point[axis] / units_per_metre);
      low[axis] = std::min(low[axis], point[axis]);
      high[axis] = std::max(high[axis], point[axis]);
    }
  }
  Bytes bounds;
  for (const auto& corner : {low, high})
    for (const std::int32_t value : corner) bounds.f4(value / units_per_metre);

  Bytes faces;
  faces.id("FACE");
  Bytes face_surfaces;
  face_surfaces.id("SURF");
  std::uint16_t number = 0;
  for (const Face& face : polygons_) {
    faces.u2(static_cast<std::uint16_t>(face.points.size()));
    for (const std::uint16_t point : face.points) faces.u2(point);
    face_surfaces.u2(number++);
    face_surfaces.u2(face.surface);
  }

  Bytes form;
  form.id("LWO2");
  form.chunk("TAGS", tags);
  form.chunk("LAYR", layer);
  form.chunk("PNTS", points);
  form.chunk("BBOX", bounds);
  if (map_) {
    Bytes map;
    map.id("TXUV");
    map.u2(2);
    map.text(map_->name);
    std::uint16_t index = 0;
    for (const auto& point : points_) {
      map.u2(index++);
      for (const std::size_t i : {0U, 1U}) map.f4((point[map_->axes[i]] / units_per_metre - map_->low[i]) / map_->side);
    }
    form.chunk("VMAP", map);
  }
  form.chunk("POLS", faces);
  form.chunk("PTAG", face_surfaces);
  for (const Paint& paint : paints_) form.chunk("SURF", surface_chunk(paint));

  Bytes file;
  file.chunk("FORM", form);
  return file.take();
}

}  // namespace samples
