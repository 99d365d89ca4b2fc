#pragma once

#include <cmath>

#include "standin/scene/vector.h"

namespace test_support {

/// A vector of wider numbers than those that the module computes with, as a reference for it.
struct LongVector {
  long double x = 0.0L;
  long double y = 0.0L;
  long double z = 0.0L;

  constexpr LongVector() = default;
  constexpr LongVector(long double x, long double y, long double z) : x(x), y(y), z(z) {}
  constexpr LongVector(standin::Vec3 v) : x(v.x), y(v.y), z(v.z) {}  // NOLINT(google-explicit-constructor)

  friend constexpr LongVector operator+(LongVector a, LongVector b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
  friend constexpr LongVector operator-(LongVector a, LongVector b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
  friend constexpr LongVector operator*(LongVector a, long double s) { return {a.x * s, a.y * s, a.z * s}; }
};

constexpr long double dot(LongVector a, LongVector b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
constexpr LongVector cross(LongVector a, LongVector b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline long double length(LongVector a) { return std::sqrt(dot(a, a)); }
inline LongVector normalized(LongVector a) { return a * (1.0L / length(a)); }

inline standin::Vec3 rounded(LongVector v) {
  return {static_cast<double>(v.x), static_cast<double>(v.y), static_cast<double>(v.z)};
}

struct LongPose {
  LongVector position;
  LongVector right;
  LongVector up;
  LongVector forward;

  /// A world point as the camera sees it: along the axes, from the position.
  LongVector seen(LongVector world) const {
    const LongVector offset = world - position;
    return {dot(offset, right), dot(offset, up), dot(offset, forward)};
  }
  /// The world point that the camera sees there.
  LongVector world(LongVector seen_point) const {
    return position + right * seen_point.x + up * seen_point.y + forward * seen_point.z;
  }
};

struct LongRay {
  LongVector position;
  LongVector direction;
  LongVector film_normal;
};

struct LongFilmPoint {
  long double x = 0.0L;
  long double y = 0.0L;
};

}  // namespace test_support
