#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "standin/host/gizmo_drawing.h"
#include "standin/host/ray_query.h"
#include "standin/scene/camera_turn.h"
#include "standin/scene/vector.h"
#include "standin/session/introspection.h"
#include "standin/session/settings.h"

namespace standin {

/// What the renderer needs to know of the camera it renders through, for one frame.
struct FrameSetup {
  int frame = 0;
  double start_seconds = 0.0;
  /// Length of the motion-blur interval; 0 without motion blur.
  double duration_seconds = 0.0;
  double film_width = 0.0;
  double film_height = 0.0;
  bool depth_of_field = false;

  /// The film position at a share of the frame from its left edge and from its upper edge, metres.
  double film_x(double share) const { return (share - 0.5) * film_width; }
  double film_y(double share) const { return (0.5 - share) * film_height; }

  /// The server that gives the rays; empty for the host's own perspective camera, which has nothing of what follows.
  std::string server_name;
  /// As the module's panel shows it.
  std::string module_version;
  /// Every envelope's value at the start of the frame, by channel name.
  std::vector<std::pair<std::string, double>> parameters;
  /// The panel's other values as texts, by label; of a choice, what is chosen.
  std::vector<std::pair<std::string, std::string>> settings;
};

/// The server name of the host's own perspective camera.
inline constexpr const char* own_camera_name = "Perspective";

struct SessionOptions {
  std::filesystem::path scene_file;
  std::filesystem::path module_file;
  /// Objects are looked for here and in the scene's own folder; empty for the folders above that one.
  std::filesystem::path content_folder;
  /// Empty for the scene's current camera.
  std::string camera_name;
  /// Empty for the server that the scene has for the camera. The host's own perspective camera is own_camera_name.
  std::string server_name;
  /// Envelopes by channel name and panel values by control label, set on the instance after loading; see apply_setting.
  std::vector<std::pair<std::string, std::string>> settings;
  /// 0 for the scene's own. The film height stays the same; its width follows the aspect ratio.
  int width_pixels = 0;
  int height_pixels = 0;
  /// How the camera is looked through otherwise than the scene has it.
  CameraTurn turn;
  /// Number of motion samples that the module is told to take.
  unsigned motion_steps = 2;
  bool motion_blur = false;
  bool depth_of_field = false;
};

/// One camera of one scene, seen through the module's callbacks in the host's order: activation, creation, loading, render
/// set-up, and per frame new time and new frame. Failure anywhere throws std::runtime_error with a sentence for a person.
class Session {
 public:
  virtual ~Session() = default;

  /// Sentences for a person, each told once: cameras of the scene that are rendered as plain perspectives because the module
  /// lacks their server, and messages of the module and the host. Threads: one.
  virtual std::vector<std::string> take_warnings() = 0;

  /// Every setting of the options as the panel shows it, told once. Threads: one.
  virtual std::vector<std::string> take_notes() = 0;

  /// Threads: one, with no ray asked for meanwhile.
  virtual FrameSetup begin_frame(int frame) = 0;

  /// Asks the module for one ray per query. Threads: any number at once.
  virtual void evaluate(std::span<const RayQuery> queries, std::span<RayAnswer> answers) = 0;

  /// Film position of a world point, or none. Threads: any number at once.
  virtual std::optional<std::pair<double, double>> project(Vec3 world, double fractional_time, Eye eye) = 0;

  /// The same of many points, one answer per query. Threads: any number at once.
  virtual void project(std::span<const PointQuery> queries, std::span<PointAnswer> answers) = 0;

  // --- The camera's open panel. Threads: one, with no ray asked for meanwhile.

  /// The panel's rows with their values at the time of the last frame; none for the host's own perspective camera.
  virtual std::vector<ControlDescription> panel() = 0;

  /// Sets a value as apply_setting does, and prepares the camera anew: a frame has to be begun before the next ray. Throws
  /// std::runtime_error where the value cannot be set, and then nothing has changed.
  virtual AppliedSetting set(const std::string& name, const std::string& text) = 0;

  /// Looks through the camera as SessionOptions::turn says, in place of how it was looked through before, and prepares it anew:
  /// a frame has to be begun before the next ray.
  virtual void turn(const CameraTurn& by) = 0;

  /// What the camera's gizmo draws for a viewport's eye at a position, looking along a direction of length one.
  virtual std::vector<GizmoElement> draw_gizmo(Vec3 eye_position, Vec3 direction) = 0;

  /// The lines that the camera keeps in a scene file; none for the host's own perspective camera.
  virtual std::vector<std::string> saved_lines() = 0;

  /// Ends the rendering and gives up camera and module, so that take_warnings also tells what they did wrong in that and since
  /// the last frame began. Nothing but that may be asked afterwards. Threads: one.
  virtual void end() = 0;
};

/// In this process: the module is loaded with the system's own loader.
std::unique_ptr<Session> open_session(const SessionOptions& options);

}  // namespace standin
