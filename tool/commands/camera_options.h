#pragma once

#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "standin/host/host.h"
#include "standin/host/hosted_camera.h"
#include "standin/host/module.h"
#include "standin/scene/scene.h"
#include "standin/session/session.h"
#include "tool/commands/warnings.h"

namespace tool {

/// Which camera of which scene, through which module: the part of the command line that subcommands share.
struct CameraOptions {
  std::string scene;
  std::string module;
  std::string content;
  std::string camera;
  std::string server;
  std::vector<std::string> settings;
  bool strict = false;
  /// Of --turn and --zoom.
  std::optional<std::string> turn;
  std::optional<std::string> zoom;

  void add_to(CLI::App& command);
  /// Only the option --module.
  void add_module_to(CLI::App& command);

  /// Only the options --turn and --zoom.
  void add_turn_to(CLI::App& command);

  /// --module, or OviCam.so beside this program. Throws when --module is not a file: the host's own camera loads no
  /// module, and would hide the mistake.
  std::filesystem::path module_file() const;
  /// --set as names and values.
  std::vector<std::pair<std::string, std::string>> parsed_settings() const;
  /// --turn and --zoom. Throws UsageError.
  standin::CameraTurn camera_turn() const;
  /// Options that open a session of the camera.
  standin::SessionOptions session_options() const;
  /// Reads the scene, with the camera turned. Throws when there is none.
  standin::Scene read_scene() const;
  /// Throws with the names there are when the scene has no such camera.
  const standin::Item& find_camera(const standin::Scene& from) const;
  /// The first line that a command writes, to standard error, once nothing of its command line is refused any more.
  void tell_camera(const standin::Scene& from) const;
};

/// Adds what is missing for a command that needs none of the objects itself: its files are looked for only if it is strict.
void add_missing_objects(const CameraOptions& options, const standin::Scene& scene, Warnings& warnings);

/// For a person, a camera with the server that gives its rays: camera "Front" (QuorinFisheyeCam). And the server alone.
std::string camera_text(const standin::Item& camera, const standin::FrameSetup& setup);
std::string server_text(const standin::FrameSetup& setup);

/// Adds a warning when the module gives the same rays for the eye as for the centre.
void add_eye_without_effect(standin::Session& session, const standin::FrameSetup& setup, standin::Eye eye, Warnings& warnings);

/// The module's file. Throws std::runtime_error for a module of another system, whose panels cannot be used in this process.
std::filesystem::path local_module_file(const CameraOptions& options);

/// A camera of the module in this process, loaded from the scene, with the settings of the command line, and its host.
class OpenCamera {
 public:
  /// Throws std::runtime_error for a module of another system and for the host's own camera. What was set is added to the
  /// warnings' lines.
  OpenCamera(const CameraOptions& options, Warnings& warnings);

  standin::Host host;
  standin::Module module;
  standin::HostedCamera camera;
};

}  // namespace tool
