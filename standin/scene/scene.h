#pragma once

#include <array>
#include <cstddef>
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

/// Lines of a file, from 0: the first, and the one after the last.
struct LineRange {
  std::size_t first = 0;
  std::size_t end = 0;
};

/// Where a camera's settings stand in the file that it was read from. It is no part of the scene: two cameras are the same
/// without it.
struct CameraPlaces {
  std::optional<LineRange> motion;
  std::optional<LineRange> zoom_factor;
  std::optional<LineRange> frame_size;
  std::optional<LineRange> handler;
  /// After the last line that is known to be the camera's: what it lacks can stand there.
  std::size_t end = 0;

  friend bool operator==(const CameraPlaces& /*one*/, const CameraPlaces& /*other*/) { return true; }
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
  CameraPlaces places;

  friend bool operator==(const CameraSettings&, const CameraSettings&) = default;
};

/// Red, green and blue, each a constant or keyed.
using KeyedColor = std::array<Envelope, 3>;

KeyedColor constant_color(double red, double green, double blue);
Vec3 color_at(const KeyedColor& color, double time_seconds);

enum class LightKind { distant = 0, point = 1, spot = 2, linear = 3, area = 4 };

/// How a light grows weaker with the distance. Linear: to nothing at the range. Inverse and inverse square: it has its
/// intensity at the range, more before it and less beyond.
enum class FallOff { off = 0, linear = 1, inverse = 2, inverse_square = 3 };

/// A light's settings as the scene file has them. The numbers of type and fall-off may be beyond the kinds that are known.
struct LightSettings {
  KeyedColor color = constant_color(1.0, 1.0, 1.0);
  Envelope intensity = Envelope::constant(1.0);
  int type = 0;
  int fall_off = 0;
  /// Metres.
  Envelope range = Envelope::constant(1.0);
  /// From the axis of a spot light to where it ends, and how much of that is its soft edge.
  Envelope cone_angle = Envelope::constant(30.0);
  Envelope edge_angle = Envelope::constant(5.0);
  /// 0: none.
  int shadow_type = 1;
  /// The light's server where it is a plug-in: it tells the kind where the type does not.
  std::string server_name;

  /// None for a kind that is not known.
  std::optional<LightKind> kind() const;
  double cone_radians(double time_seconds) const;
  double edge_radians(double time_seconds) const;
  /// Whether it ever gives light.
  bool shines() const;

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
  /// 0: switched off.
  Envelope active = Envelope::constant(1.0);

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

/// What a person should know of a file that was read. It is no part of the scene: two scenes are the same without it.
struct ReadingNotes {
  std::vector<std::string> warnings;

  friend bool operator==(const ReadingNotes& /*one*/, const ReadingNotes& /*other*/) { return true; }
};

/// A scene as its file describes it. Frames per second are never 0.
struct Scene {
  /// Of the file, 1 or more; older ones than 5 are the same scene once read, and are written as 5.
  int version = 5;
  int first_frame = 1;
  int last_frame = 60;
  int frame_step = 1;
  double frames_per_second = 30.0;
  KeyedColor ambient_color = constant_color(1.0, 1.0, 1.0);
  Envelope ambient_intensity = Envelope::constant(0.05);
  /// Multiplies the intensity of every light.
  Envelope light_intensity = Envelope::constant(1.0);
  /// Objects, lights and cameras, each kind in file order.
  std::vector<Item> items;
  /// Lines of the scene itself that are not understood: before the first item, between the objects and what follows them,
  /// and after that.
  std::vector<std::string> opening_lines;
  std::vector<std::string> lines_after_objects;
  std::vector<std::string> other_lines;
  /// The scene's own folder, and the folder of all content where somebody has named it. Object files are looked up in both.
  std::filesystem::path folder;
  std::filesystem::path content_folder;
  /// The camera that the scene was saved with; 0: it does not say.
  std::uint32_t current_camera_id = 0;
  ReadingNotes notes;

  const Item* find(std::uint32_t id) const;
  /// The n-th camera by name, or null. Threads: any.
  const Item* find_camera(const std::string& name) const;
  /// The camera of that id, or null: another kind of item may have the same one.
  const Item* find_camera(std::uint32_t id) const;
  /// The camera to look through where nobody has chosen one: the current one, or else the first; null without cameras.
  const Item* current_camera() const;

  /// Position and axes in world space at a time, parents applied (a parent loop ends where it closes). Threads: any.
  ItemPose world_pose(const Item& item, double time_seconds) const;

  /// The same for every item, by its place among the items, in the time that one walk through them takes. Threads: any.
  std::vector<ItemPose> world_poses(double time_seconds) const;

  double time_of(double frame) const { return frame / frames_per_second; }

  friend bool operator==(const Scene&, const Scene&) = default;
};

/// Film width and height in metres: the height is the aperture height, the width follows the frame's shape.
std::array<double, 2> film_size(const CameraSettings& camera);

/// Reads a scene file of version 1 or later. Throws FileError with file, line and reason for a damaged one. Unknown keywords
/// are kept, not refused; values of an unknown kind as well, and the scene's notes tell of each kind once.
Scene read_scene_file(const std::filesystem::path& file);
Scene read_scene(const std::string& text, const std::string& name);

/// Writes a scene so that reading it again gives the same scene, and the host can open it. Replaces the file whole or not at
/// all; throws FileError.
void write_scene_file(const Scene& scene, const std::filesystem::path& file);
std::string write_scene(const Scene& scene);

/// Where an object's file is found: as written, beside the scene, in the content folder, or in the folders above the scene
/// where there is no content folder, with either kind of slash and any case; empty when it is nowhere.
std::filesystem::path resolve_object_file(const Scene& scene, const std::string& written);

}  // namespace standin
