#pragma once

/// The value types of the ray mappings: what goes in and what comes out, free of the host's records.

#include <cstddef>

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
  return math::sqrt(dot(v, v));
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
  static constexpr std::size_t vector_count = 4;

  BasicVector<Scalar> position;
  BasicVector<Scalar> right;
  BasicVector<Scalar> up;
  BasicVector<Scalar> forward;
  /// Whether the axes are known to keep the lengths of directions, as those of a camera that turns within a frame do not.
  bool keeps_lengths = false;
};

using Pose = BasicPose<double>;

/// Whether the axes have unit length and stand at right angles to one another: the length of a direction that they turn into
/// the world changes by less than 2e-13 of it then. What is not finite does not. Threads: any.
inline bool has_orthonormal_axes(const Pose& pose) {
  const auto is_near = [](double found, double meant) { return math::abs(found - meant) < 1e-13; };
  return is_near(dot(pose.right, pose.right), 1.0) && is_near(dot(pose.up, pose.up), 1.0) &&
         is_near(dot(pose.forward, pose.forward), 1.0) && is_near(dot(pose.right, pose.up), 0.0) &&
         is_near(dot(pose.right, pose.forward), 0.0) && is_near(dot(pose.up, pose.forward), 0.0);
}

/// A world point as the camera sees it: along its right, up and forward axes, from its position.
inline Vector camera_from_world(const Pose& pose, Vector world) {
  const Vector offset = world - pose.position;
  return {dot(offset, pose.right), dot(offset, pose.up), dot(offset, pose.forward)};
}

/// The way back: what lies so far along the camera's right, up and forward axes, as a direction of the world.
template <class Scalar>
constexpr BasicVector<Scalar> world_from_camera(const BasicPose<Scalar>& pose, BasicVector<Scalar> in_camera) {
  return pose.right * in_camera.x + pose.up * in_camera.y + pose.forward * in_camera.z;
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
  const double radius = math::sqrt(squared);
  // Squares below this bound have lost digits, and the quotients with them.
  if (squared > 1e-280 && squared < 1e300) return {radius, x / radius, y / radius};
  const double angle = math::atan2(y, x);
  return {radius, math::cos(angle), math::sin(angle)};
}

struct Ray {
  Vector position;
  Vector direction;
  Vector film_normal;
};

/// The ray from the camera's position in a direction of camera space, of any length; its direction is also its film normal. A
/// direction of no length gives non-finite components.
inline Ray pinhole_ray(const Pose& pose, Vector in_camera) {
  const Vector direction = normalized(world_from_camera(pose, in_camera));
  return {pose.position, direction, direction};
}

/// The same for a direction of unit length: under a pose that keeps lengths there is nothing to divide by.
inline Ray unit_pinhole_ray(const Pose& pose, Vector in_camera) {
  Vector direction = world_from_camera(pose, in_camera);
  if (!pose.keeps_lengths) [[unlikely]]
    direction = normalized(direction);
  return {pose.position, direction, direction};
}

/// Where on the lens a ray starts, from the lens's centre. A position on the lens counts along the world's X and Y axes and
/// not along the camera's: that is the depth of field which scenes rendered with these cameras have, so it stays.
constexpr Vector lens_offset(double lens_radius, LensPoint through) {
  return {lens_radius * through.x, lens_radius * through.y, 0.0};
}

/// Whether the ray through a point of a thin lens is the pinhole's: at the centre of the lens the focal distance cancels out
/// of the ray's direction. Not so where it is reversed, or where its product with a length may leave the range of numbers.
/// `toward` is the pinhole's direction.
constexpr bool through_centre(Vector offset, double focal_distance, Vector toward) {
  const auto moderate = [](double value) { return value > 1e-90 && value < 1e90; };
  return offset.x == 0.0 && offset.y == 0.0 && moderate(focal_distance) && moderate(dot(toward, toward));
}

/// Direction of the ray through a point of a thin lens, which meets the pinhole's ray in the direction `toward`, of any length,
/// at the focal distance.
inline Vector thin_lens_direction(Vector toward, double focal_distance, Vector offset) {
  if (through_centre(offset, focal_distance, toward)) return normalized(toward);
  return normalized(toward * (focal_distance / length(toward)) - offset);
}

/// The ray through a point of a thin lens around the camera's position: the pinhole's ray in that direction of camera space
/// and this one meet at the focal distance, so that what is in focus is a sphere around the camera. Its film normal is its
/// direction. Not finite for a direction of no length.
inline Ray thin_lens_ray(const Pose& pose, Vector in_camera, double focal_distance, Vector offset) {
  const Vector direction = thin_lens_direction(world_from_camera(pose, in_camera), focal_distance, offset);
  return {pose.position + offset, direction, direction};
}

}  // namespace framework
