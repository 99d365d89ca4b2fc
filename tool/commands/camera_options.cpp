#include "tool/commands/camera_options.h"

#include <algorithm>
#include <cmath>
#include <iostream>
#include <stdexcept>

#include "standin/remote/program_file.h"
#include "standin/remote/ray_service.h"
#include "standin/scene/name_list.h"
#include "standin/scene/number_text.h"
#include "standin/session/settings.h"
#include "tool/commands/option_text.h"
#include "tool/commands/usage_error.h"
#include "tool/render/frame_probe.h"
#include "tool/render/scene_layers.h"

namespace tool {
namespace {

std::string server_name(const CameraOptions& options, const standin::Item& item) {
  std::string name = options.server;
  if (name.empty() && item.camera->handler) name = item.camera->handler->server_name;
  if (name.empty() || name == standin::own_camera_name) {
    throw std::runtime_error("\"" + item.name +
                             "\" is the host's own perspective camera; choose a camera of the module with "
                             "--camera or --server");
  }
  return name;
}

}  // namespace

void CameraOptions::add_to(CLI::App& command) {
  command.add_option("SCENE", scene, "Scene file")->required();
  add_module_to(command);
  command.add_option("--content", content,
                     "Folder of all content: objects are looked for there (default: folders above the scene)");
  command.add_option("--camera", camera, "Camera by name (default: the one that the scene was saved with)");
  command.add_option("--server", server, "Camera server (default: as the scene has it)");
  command
      .add_option(
          "--set", settings,
          "PARAMETER=VALUE, may be repeated. By channel name, VALUE is in radians, factors or metres; by panel label in "
          "degrees, per cent "
          "or metres. With a unit (180deg, 0.5rad, 20%, 6cm; also mm, m, km, in, ft) it means the same by both; yes or no "
          "for a check box, a choice by its text")
      ->allow_extra_args(false);
  command.add_flag("--strict", strict, "Take no warning: whatever is missing, left out or replaced is an error");
}

void CameraOptions::add_module_to(CLI::App& command) {
  command.add_option("--module", module, "Module file (default: OviCam.so beside this program)");
}

void CameraOptions::add_turn_to(CLI::App& command) {
  command.add_option("--turn", turn,
                     "HEADING,PITCH,BANK: degrees that are added to the camera's rotation; the scene is not changed");
  command.add_option("--zoom", zoom, "FACTOR: times the camera's zoom factor; the scene is not changed");
}

standin::CameraTurn CameraOptions::camera_turn() const {
  standin::CameraTurn by;
  if (turn) {
    const auto degrees = three_numbers(*turn);
    const auto is_allowed = [](double angle) { return std::abs(angle) <= standin::most_turn_degrees; };
    if (!degrees || !is_allowed(degrees->x) || !is_allowed(degrees->y) || !is_allowed(degrees->z))
      throw UsageError("--turn " + *turn + ": give HEADING,PITCH,BANK in degrees, 36000 at most, such as 15,-5,0");
    by = standin::turn_of_degrees(*degrees, 1.0);
  }
  if (zoom) {
    std::string_view rest = *zoom;
    const auto factor = standin::take_number(rest);
    if (!factor || !rest.empty() || !(*factor >= standin::least_zoom && *factor <= standin::greatest_zoom))
      throw UsageError("--zoom " + *zoom + ": give a factor from 0.001 to 1000, such as 1.5");
    by.zoom = *factor;
  }
  return by;
}

std::filesystem::path CameraOptions::module_file() const {
  if (module.empty()) return standin::program_file("OviCam.so");
  if (!std::filesystem::is_regular_file(module)) throw std::runtime_error(module + ": there is no such module file");
  return module;
}

std::vector<std::pair<std::string, std::string>> CameraOptions::parsed_settings() const {
  std::vector<std::pair<std::string, std::string>> pairs;
  for (const std::string& setting : settings) {
    const std::size_t equals = setting.find('=');
    if (equals == std::string::npos || equals == 0) throw UsageError("--set " + setting + ": give PARAMETER=VALUE");
    pairs.emplace_back(setting.substr(0, equals), setting.substr(equals + 1));
  }
  return pairs;
}

standin::SessionOptions CameraOptions::session_options() const {
  standin::SessionOptions options;
  options.scene_file = scene;
  options.module_file = module_file();
  options.content_folder = content;
  options.camera_name = camera;
  options.server_name = server;
  options.settings = parsed_settings();
  options.turn = camera_turn();
  return options;
}

standin::Scene CameraOptions::read_scene() const {
  if (!content.empty() && !std::filesystem::is_directory(content))
    throw std::runtime_error(content + ": there is no such folder; --content names the folder of all content");
  standin::Scene read = standin::read_scene_file(scene);
  read.content_folder = content;
  const standin::CameraTurn by = camera_turn();
  if (by == standin::CameraTurn()) return read;
  const standin::Item& found = find_camera(read);
  const auto item = std::ranges::find_if(read.items, [&](const standin::Item& each) { return &each == &found; });
  standin::turn_camera(*item, by);
  return read;
}

const standin::Item& CameraOptions::find_camera(const standin::Scene& from) const {
  if (const standin::Item* found = camera.empty() ? from.current_camera() : from.find_camera(camera)) return *found;
  std::vector<std::string> names;
  for (const standin::Item& item : from.items)
    if (item.camera) names.push_back(item.name);
  if (names.empty()) throw std::runtime_error(scene + ": the scene has no camera");
  throw std::runtime_error(scene + ": the scene has no camera \"" + camera + "\"; it has " + standin::joined(names));
}

void CameraOptions::tell_camera(const standin::Scene& from) const {
  std::cerr << "camera \"" << find_camera(from).name << "\"\n";
}

void add_missing_objects(const CameraOptions& options, const standin::Scene& scene, Warnings& warnings) {
  if (options.strict) placed_layers(scene, warnings.lines());
}

std::string camera_text(const standin::Item& camera, const standin::FrameSetup& setup) {
  return "camera \"" + camera.name + "\" (" + server_text(setup) + ")";
}

std::string server_text(const standin::FrameSetup& setup) {
  return setup.server_name.empty() ? "the host's own" : setup.server_name;
}

void add_eye_without_effect(standin::Session& session, const standin::FrameSetup& setup, standin::Eye eye, Warnings& warnings) {
  if (eye == standin::Eye::centre) return;
  if (see_the_same(session, setup, standin::Eye::centre, eye))
    warnings.add("this camera has one eye: what --eye left and --eye right show is the same");
}

std::filesystem::path local_module_file(const CameraOptions& options) {
  auto file = options.module_file();
  if (standin::is_windows_binary(file)) {
    throw std::runtime_error(file.string() +
                             ": panels and gizmos of a module for Windows cannot be shown on this system; give the OviCam.so "
                             "of the same build");
  }
  return file;
}

OpenCamera::OpenCamera(const CameraOptions& options, Warnings& warnings)
    : host(options.read_scene()),
      module(local_module_file(options)),
      camera(host, module, server_name(options, options.find_camera(host.scene())), options.find_camera(host.scene())) {
  camera.load_saved();
  for (const auto& [name, text] : options.parsed_settings()) {
    standin::AppliedSetting applied = standin::apply_setting(host, camera, name, text);
    warnings.lines() << "set " << applied.shown << '\n';
    if (!applied.warning.empty()) warnings.add(applied.warning);
  }
}

}  // namespace tool
