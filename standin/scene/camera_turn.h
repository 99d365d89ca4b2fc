#pragma once

#include <cstddef>

#include "standin/scene/scene.h"

namespace standin {

/// The heading's place in a motion; pitch and bank follow.
inline constexpr std::size_t first_angle_channel = 3;

/// As far as a camera is turned, about each axis in either direction, and zoomed.
inline constexpr double most_turn_degrees = 36000.0;
inline constexpr double least_zoom = 0.001;
inline constexpr double greatest_zoom = 1000.0;

/// How a camera is looked through otherwise than its scene has it.
struct CameraTurn {
  /// Added to heading, pitch and bank.
  Vec3 radians;
  /// Multiplies the zoom factor.
  double zoom = 1.0;

  friend bool operator==(const CameraTurn&, const CameraTurn&) = default;
};

CameraTurn turn_of_degrees(Vec3 heading_pitch_bank, double zoom);

/// Turns a camera and changes its zoom, at all times alike: keyed values keep the shape of their curve. Where an envelope goes
/// back to 0 beyond its keys, it does so all the same. Threads: one, with nobody reading the item.
void turn_camera(Item& camera, const CameraTurn& by);

/// One key's value after a number is added, and after it is multiplied together with the tangents that are in its unit.
void add_to_key(Key& key, double number);
void multiply_key(Key& key, double factor);

}  // namespace standin
