#pragma once

#include <array>
#include <cmath>

namespace standin {

/// World axes: left-handed, +X right, +Y up, +Z forward. Metres.
struct Vec3 {
  double x = 0.0;
  double y = 0.0;
  double z = 0.0;

  friend constexpr Vec3 operator+(Vec3 a, Vec3 b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
  friend constexpr Vec3 operator-(Vec3 a, Vec3 b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
  friend constexpr Vec3 operator*(Vec3 a, double s) { return {a.x * s, a.y * s, a.z * s}; }
  friend constexpr bool operator==(Vec3 a, Vec3 b) = default;
};

constexpr double dot(Vec3 a, Vec3 b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
constexpr Vec3 cross(Vec3 a, Vec3 b) { return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x}; }
inline double length(Vec3 a) { return std::sqrt(dot(a, a)); }
inline Vec3 normalized(Vec3 a) { return a * (1.0 / length(a)); }

/// Where an item is and how it is turned: its own axes (scaled) and its position, in world space.
struct ItemPose {
  Vec3 position;
  Vec3 right{1.0, 0.0, 0.0};
  Vec3 up{0.0, 1.0, 0.0};
  Vec3 forward{0.0, 0.0, 1.0};

  constexpr Vec3 direction_to_world(Vec3 v) const { return right * v.x + up * v.y + forward * v.z; }
  /// The way back where the axes have length one.
  constexpr Vec3 direction_from_world(Vec3 v) const { return {dot(v, right), dot(v, up), dot(v, forward)}; }
  constexpr Vec3 point_to_world(Vec3 p) const { return position + right * p.x + up * p.y + forward * p.z; }
};

}  // namespace standin
