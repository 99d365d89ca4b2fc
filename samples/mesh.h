#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "standin/scene/vector.h"

namespace samples {

using standin::ItemPose;
using standin::Vec3;

/// What a surface of an object file looks like: red, green and blue from 0 to 1, how much light it reflects, and how much it
/// emits.
struct Paint {
  std::string name;
  Vec3 color;
  double luminosity = 0.0;
};

/// A point of an outline that is turned about an upright axis: distance from the axis and height, metres.
struct ProfilePoint {
  double radius = 0.0;
  double height = 0.0;
};

/// Polygons of one object, built from simple solids in metres. Every shape is given in the current frame and painted with
/// the current surface; every face looks outward, its points clockwise as seen from outside. Threads: one per mesh.
class Mesh {
 public:
  /// The shapes that follow are placed in this frame of the object.
  void place(const ItemPose& frame) { frame_ = frame; }
  const ItemPose& frame() const { return frame_; }

  /// The shapes that follow get this surface, which is created if its name is new.
  void paint(const Paint& paint);

  /// Points clockwise as seen from the front; three or more, in one plane, convex.
  void polygon(std::span<const Vec3> points);
  /// A parallelogram seen from its front: lower left corner, the way to the right, the way up.
  void quad(Vec3 corner, Vec3 right, Vec3 up);
  /// An upright box between two corners. It has no underside where it stands on the ground, at height 0.
  void box(Vec3 low, Vec3 high);
  /// A solid of revolution about an upright axis through `foot`. The outline runs with the outside on its left, so upwards
  /// on the outside; open ends are closed by flat caps. `second`, if given, paints every other side.
  void turned(Vec3 foot, std::span<const ProfilePoint> outline, int sides, const Paint* second = nullptr);
  /// A ball, flattened to `height_share` of its height.
  void ball(Vec3 centre, double radius, int sides, int rings, double height_share = 1.0, const Paint* second = nullptr);
  /// A thin bar of three sides between two points.
  void bar(Vec3 from, Vec3 to, double radius);
  /// A roof over the rectangle from low to high (its height range is the roof's): two slopes and two gables, the ridge
  /// running left to right, or front to back.
  void gable_roof(Vec3 low, Vec3 high, bool ridge_runs_back);
  /// Flat lettering on a wall or floor, centred on a point, in most capital letters, the digits 1 to 8, plus and minus.
  void lettering(Vec3 centre, Vec3 right, Vec3 up, std::string_view text, double height);

  /// Gives every point of the object a texture position. From above: u and v along x and z over the square of this half side.
  void map_from_above(const std::string& map_name, double half_side);
  /// From the south: u and v along x and y over a square of this side, which stands in the middle with its foot at that height.
  void map_from_south(const std::string& map_name, double foot, double side);

  std::size_t polygon_count() const { return polygons_.size(); }

  /// The object file's bytes. Throws std::length_error for more points or polygons than its short indices can name.
  std::vector<std::uint8_t> object_file(const std::string& layer_name) const;

 private:
  struct Face {
    std::vector<std::uint16_t> points;
    std::uint16_t surface = 0;
  };

  void stroke(Vec3 origin, Vec3 right, Vec3 up, std::span<const std::array<double, 2>> line, double half_width);

  ItemPose frame_;
  std::vector<Paint> paints_;
  std::uint16_t current_paint_ = 0;
  /// In tenths of a millimetre: whole numbers, so that differences in a machine's sine function cannot change the file.
  std::vector<std::array<std::int32_t, 3>> points_;
  std::map<std::array<std::int32_t, 3>, std::uint16_t> point_index_;
  std::vector<Face> polygons_;
  /// A square that the points are projected onto along an axis; u and v run along its sides.
  struct TextureMap {
    std::string name;
    std::array<std::size_t, 2> axes{};
    std::array<double, 2> low{};
    double side = 0.0;
  };
  std::optional<TextureMap> map_;
};

}  // namespace samples
