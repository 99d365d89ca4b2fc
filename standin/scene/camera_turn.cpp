#include "standin/scene/camera_turn.h"

#include <array>
#include <cstddef>
#include <numbers>

namespace standin {

CameraTurn turn_of_degrees(Vec3 heading_pitch_bank, double zoom) {
  return {heading_pitch_bank * (std::numbers::pi / 180.0), zoom};
}

void add_to_key(Key& key, double number) { key.value += number; }

void multiply_key(Key& key, double factor) {
  key.value *= factor;
  if (key.span == Span::hermite || key.span == Span::bezier) {
    key.parameters[0] *= factor;
    key.parameters[1] *= factor;
  } else if (key.span == Span::bezier_2d) {
    key.parameters[1] *= factor;
    key.parameters[3] *= factor;
  }
}

void turn_camera(Item& camera, const CameraTurn& by) {
  const std::array angles{by.radians.x, by.radians.y, by.radians.z};
  for (std::size_t i = 0; i < angles.size(); ++i) {
    Envelope& channel = camera.motion[first_angle_channel + i];
    if (angles[i] == 0.0) continue;
    if (channel.keys.empty()) channel.keys.push_back(Key{});
    for (Key& key : channel.keys) add_to_key(key, angles[i]);
  }
  if (camera.camera && by.zoom != 1.0)
    for (Key& key : camera.camera->zoom_factor.keys) multiply_key(key, by.zoom);
}

}  // namespace standin
