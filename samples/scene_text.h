#pragma once

#include <array>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace samples {

/// A value at a time; the host draws a smooth curve through its keys.
struct MotionKey {
  double value = 0.0;
  double time_seconds = 0.0;
};

/// Position in metres, then heading, pitch and bank in degrees; `keys` replace one of the six channels.
struct Placement {
  std::array<double, 3> position{};
  std::array<double, 3> turn_degrees{};
  int keyed_channel = -1;
  std::vector<MotionKey> keys;
};

struct SceneObject {
  std::string file;
  Placement placement;
};

/// A named point without a shape.
struct SceneNull {
  std::string name;
  Placement placement;
};

/// A camera of a sample scene.
struct SceneCamera {
  std::string name;
  /// The camera handler's server name, and the lines it saved; without lines it starts with its defaults.
  std::string server;
  int width_pixels = 640;
  int height_pixels = 480;
  Placement placement;
  double zoom_factor = 3.2;
  std::vector<std::string> saved_lines = {};
  /// Metres.
  double film_height = 0.015;
  bool depth_of_field = false;
  double focal_distance = 10.0;
  double f_stop = 4.0;
  bool motion_blur = false;
};

/// The sun: its direction, and the ambient light.
struct SceneLight {
  double heading_degrees = 0.0;
  double pitch_degrees = 0.0;
  double intensity = 1.0;
  double ambient_intensity = 0.25;
};

/// The text of a scene file of version 5, lines ending with a line feed. Threads: any.
std::string scene_text(std::span<const SceneObject> objects, std::span<const SceneNull> nulls, const SceneLight& sun,
                       std::span<const SceneCamera> cameras, int last_frame);

/// The shortest decimal that reads back as the same number, whatever the language of the machine. Threads: any.
std::string number(double value);

}  // namespace samples
