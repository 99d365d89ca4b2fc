#pragma once

/// The value types of the ray mappings: what goes in and what comes out, free of the host's records.

#include "framework/math.h"

namespace framework {

template <class Scalar>
struct BasicVector {
  Scalar x = 0;
  Scalar y = 0;
  Scalar z = 0;

  friend constexpr BasicVector operator+(BasicVector a, BasicVector b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
  friend constexpr BasicVector operator-(BasicVector a, BasicVector b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
  friend constexpr BasicVector operator*(BasicVector a, Scalar s) { return {a.x * s, a.y * s, a.z * s}; }
  friend constexpr BasicVector operator-(BasicVector a) { return {-a.x, -a.y, -a.z}; }
  friend constexpr bool operator==(BasicVector, BasicVector) = default;
};

using Vector = BasicVector<double>;

template <class Scalar>
constexpr Scalar dot(BasicVector<Scalar> a, BasicVector<Scalar> b) {
  return a.x * b.x + a.y * b.y + a.z * b.z;
}

template <class Scalar>
Scalar length(BasicVector<Scalar> v) {
  return square_root(dot(v, v));
}

template <class Scalar>
constexpr BasicVector<Scalar> cross(BasicVector<Scalar> a, BasicVector<Scalar> b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

constexpr Vector widened(BasicVector<float> v) { return {v.x, v.y, v.z}; }

inline BasicVector<float> rounded(Vector v) { return {rounded_to<float>(v.x), rounded_to<float>(v.y), rounded_to<float>(v.z)}; }

/// A zero vector gives non-finite components.
inline Vector normalized(Vector v) { return v * (1.0 / length(v)); }

/// The camera at one moment, in world space: position in metres, axes of unit length.
template <class Scalar>
struct BasicPose {
  BasicVector<Scalar> position;
  BasicVector<Scalar> right;
  BasicVector<Scalar> up;
  BasicVector<Scalar> forward;
};

using Pose = BasicPose<double>;

/// A world point as the camera sees it: along its right, up and forward axes, from its position.
inline Vector camera_from_world(const Pose& pose, Vector world) {
  const Vector offset = world - pose.position;
  return {dot(offset, pose.right), dot(offset, pose.up), dot(offset, pose.forward)};
}

/// Film size in metres.
struct Film {
  double width = 0.0;
  double height = 0.0;

  constexpr double half_width() const { return width * 0.5; }
  constexpr double half_height() const { return height * 0.5; }
};

/// Metres from the film centre: x to the right, y up.
struct FilmPoint {
  double x = 0.0;
  double y = 0.0;
};

/// Position on the lens, as the host samples it.
struct LensPoint {
  double x = 0.0;
  double y = 0.0;
};

/// A point of a plane by its distance from the centre, and cosine and sine of its angle from the first axis.
struct PolarPoint {
  double radius = 0.0;
  double cosine = 1.0;
  double sine = 0.0;
};

/// Without a trigonometric function, except where the squares of the coordinates leave the range of numbers. The centre is
/// at angle 0.
inline PolarPoint polar(double x, double y) {
  const double squared = x * x + y * y;
  const double radius = square_root(squared);
  // Squares below this bound have lost digits, and the quotients with them.
  if (squared > 1e-280 && squared < 1e300) return {radius, x / radius, y / radius};
  const double angle = arc_tangent(y, x);
  return {radius, cosine(angle), sine(angle)};
}

struct Ray {
  Vector position;
  Vector direction;
  Vector film_normal;
};

/// The ray of a thin lens whose centre would send its own ray `toward`, a vector of any length: both meet at the focal
/// distance. It starts off the centre by a world-space offset. Its film normal is its direction.
inline Ray thin_lens_ray(Vector centre, Vector toward, double focal_distance, Vector offset) {
  const Vector focus = toward * (focal_distance / length(toward));
  const Vector direction = normalized(focus - offset);
  return {centre + offset, direction, direction};
}

}  // namespace framework
