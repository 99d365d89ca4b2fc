#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "standin/scene/envelope.h"
#include "standin/scene/vector.h"

namespace standin {

enum class ItemKind { object = 0, light = 1, camera = 2, bone = 3 };

/// Position (metres), heading, pitch, bank (radians), scale.
using Motion = std::array<Envelope, 9>;

Motion motion_at_rest();

/// A server attached to an item: class, server name and, untouched, the lines it saved.
struct PluginBlock {
  std::string server_class;
  int slot = 1;
  std::string server_name;
  std::vector<std::string> saved_lines;

  friend bool operator==(const PluginBlock&, const PluginBlock&) = default;
};

/// A camera's settings, each a constant or keyed.
struct CameraSettings {
  Envelope zoom_factor = Envelope::constant(3.2);
  int width_pixels = 640;
  int height_pixels = 480;
  Envelope pixel_aspect = Envelope::constant(1.0);
  /// Film height, metres.
  double aperture_height = 0.015;
  bool depth_of_field = false;
  Envelope focal_distance = Envelope::constant(1.0);
  Envelope lens_f_stop = Envelope::constant(4.0);
  int motion_blur = 0;
  int motion_blur_passes = 1;
  /// Share of the frame's duration that the shutter is open.
  Envelope blur_length = Envelope::constant(0.5);
  Envelope eye_separation = Envelope::constant(0.06);
  /// The `Plugin CameraHandler` block; empty server name: the host's own perspective camera.
  std::optional<PluginBlock> handler;
  /// Every other plug-in block, unchanged.
  std::vector<PluginBlock> other_plugins;

  friend bool operator==(const CameraSettings&, const CameraSettings&) = default;
};

struct LightSettings {
  Vec3 color{1.0, 1.0, 1.0};
  Envelope intensity = Envelope::constant(1.0);
  /// 0 distant, 1 point, 2 spot, as in the scene file.
  int type = 0;

  friend bool operator==(const LightSettings&, const LightSettings&) = default;
};

struct Item {
  ItemKind kind = ItemKind::object;
  /// As written in the scene file (10000000 first object, 20000000 first light, 30000000 first camera).
  std::uint32_t id = 0;
  std::string name;
  Motion motion = motion_at_rest();
  /// 0: none.
  std::uint32_t parent_id = 0;
  Vec3 pivot;

  /// Objects: the file as written in the scene, the layer (1 first), and whether it is a null.
  std::string object_file;
  int layer = 1;

  std::optional<CameraSettings> camera;
  std::optional<LightSettings> light;

  /// Lines of this item that are not understood, kept in order so that writing the scene loses nothing.
  std::vector<std::string> other_lines;

  /// The name in the file; `name` is the same, or has a number added that makes it unique among its kind.
  std::string given_name;

  friend bool operator==(const Item&, const Item&) = default;
};

/// A scene as its file describes it. Frames per second are never 0.
struct Scene {
  int version = 5;
  int first_frame = 1;
  int last_frame = 60;
  int frame_step = 1;
  double frames_per_second = 30.0;
  Vec3 ambient_color{1.0, 1.0, 1.0};
  double ambient_intensity = 0.05;
  /// Objects, lights and cameras, each kind in file order.
  std::vector<Item> items;
  /// Lines of the scene itself that are not understood: before the first item, between the objects and what follows them,
  /// and after that.
  std::vector<std::string> opening_lines;
  std::vector<std::string> lines_after_objects;
  std::vector<std::string> other_lines;
  /// Object files are looked up in this folder.
  std::filesystem::path folder;

  const Item* find(std::uint32_t id) const;
  /// The n-th camera by name, or null. Threads: any.
  const Item* find_camera(const std::string& name) const;

  /// Position and axes in world space at a time, parents applied (a parent loop ends where it closes). Threads: any.
  ItemPose world_pose(const Item& item, double time_seconds) const;

  double time_of(double frame) const { return frame / frames_per_second; }

  friend bool operator==(const Scene&, const Scene&) = default;
};

/// Film width and height in metres: the height is the aperture height, the width follows the frame's shape.
std::array<double, 2> film_size(const CameraSettings& camera);

/// Reads a scene file. Throws FileError with file, line and reason. Unknown keywords are kept, not refused.
Scene read_scene_file(const std::filesystem::path& file);
Scene read_scene(const std::string& text, const std::string& name);

/// Writes a scene so that reading it again gives the same scene, and the host can open it. Replaces the file whole or not at
/// all; throws FileError.
void write_scene_file(const Scene& scene, const std::filesystem::path& file);
std::string write_scene(const Scene& scene);

/// Where an object's file is found: as written, beside the scene, or in the content folders above it, with either kind of
/// slash and any case; empty when it is not found.
std::filesystem::path resolve_object_file(const Scene& scene, const std::string& written);

}  // namespace standin
