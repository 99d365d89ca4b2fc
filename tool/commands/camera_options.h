#pragma once

#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "standin/host/host.h"
#include "standin/host/hosted_camera.h"
#include "standin/host/module.h"
#include "standin/scene/scene.h"
#include "standin/session/session.h"

namespace tool {

/// Which camera of which scene, through which module: the part of the command line that subcommands share.
struct CameraOptions {
  std::string scene;
  std::string module;
  std::string camera;
  std::string server;
  std::vector<std::string> settings;

  void add_to(CLI::App& command);
  /// The option --module alone.
  void add_module_to(CLI::App& command);

  /// --module, or OviCam.so beside this program. Throws when --module names no file: a camera of the host's own loads none,
  /// and would hide the mistake.
  std::filesystem::path module_file() const;
  /// --set as names and values.
  std::vector<std::pair<std::string, std::string>> parsed_settings() const;
  /// What opens a session of the camera.
  standin::SessionOptions session_options() const;
  /// Throws with the names there are when the scene has no such camera.
  const standin::Item& find_camera(const standin::Scene& from) const;
};

/// Writes what the session has to say to a person by now, a line each.
void tell_warnings(standin::Session& session, std::ostream& out);

/// A camera of the module in this process, loaded from the scene and set as the command line wants, with the host around it.
class OpenCamera {
 public:
  /// Throws std::runtime_error for a module of another system and for a camera that is the host's own.
  explicit OpenCamera(const CameraOptions& options);

  standin::Host host;
  standin::Module module;
  standin::HostedCamera camera;
};

}  // namespace tool
