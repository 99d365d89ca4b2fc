#include "tool/commands/scene_command.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "standin/remote/ray_service.h"
#include "standin/scene/object_search.h"
#include "standin/scene/scene.h"
#include "standin/session/control_text.h"
#include "tool/commands/camera_options.h"
#include "tool/output/json_output.h"
#include "tool/output/text_table.h"

namespace tool {
namespace {

using nlohmann::json;
using standin::plain_number;

/// What a panel shows as long as it has not worked out a size.
constexpr const char* no_size = "Width x Height";
constexpr const char* not_known = "not known";

struct SceneArguments {
  CameraOptions options;
  bool json = false;
};

const std::string& server_of(const standin::Item& camera) {
  static const std::string own = standin::own_camera_name;
  return camera.camera->handler ? camera.camera->handler->server_name : own;
}

/// Whether the module's cameras of that server work out the size of their frame: the question is only asked of those.
bool works_out_size(const standin::Item& camera) {
  return server_of(camera) == "QuorinOverscanCam" || server_of(camera) == "QuorinDpiCam";
}

/// As the camera's panel shows the size at the scene's first frame.
std::string worked_out_size(const CameraOptions& options, const standin::Scene& scene, const standin::Item& camera) {
  standin::SessionOptions session_options = options.session_options();
  session_options.camera_name = camera.name;
  const auto setup = standin::open_session_for(session_options)->begin_frame(scene.first_frame);
  for (const auto& [label, value] : setup.settings)
    if (label.starts_with("Calc") && label.ends_with("Resolution") && value != no_size)
      return value.substr(std::min(value.find_first_not_of(' '), value.size()));
  return not_known;
}

/// The four letters that tell the version of an object's file; empty when it is none.
std::string object_version(const std::filesystem::path& file) {
  std::array<char, 12> start{};
  std::ifstream stream(file, std::ios::binary);
  if (!stream.read(start.data(), start.size()) || std::string_view(start.data(), 4) != "FORM") return {};
  const std::string form(start.data() + 8, 4);
  const bool printable = std::ranges::all_of(form, [](char c) { return c >= ' ' && c <= '~'; });
  return printable ? form : std::string();
}

json described_camera(const CameraOptions& options, const standin::Scene& scene, const standin::Item& item) {
  const standin::CameraSettings& camera = *item.camera;
  const double start = scene.time_of(scene.first_frame);
  const bool has_size = camera.width_pixels > 0 && camera.height_pixels > 0;
  const auto film = has_size ? standin::film_size(camera) : std::array{0.0, camera.aperture_height};
  json value = {{"name", item.name},
                {"server", server_of(item)},
                {"current", scene.current_camera() == &item},
                {"size_pixels", {camera.width_pixels, camera.height_pixels}},
                {"pixel_aspect", camera.pixel_aspect.at(start)},
                {"film_metres", {film[0], film[1]}},
                {"zoom", camera.zoom_factor.at(start)},
                {"zoom_animated", camera.zoom_factor.animated()},
                {"eye_separation_metres", camera.eye_separation.at(start)},
                {"depth_of_field", camera.depth_of_field},
                {"focal_distance_metres", camera.focal_distance.at(start)},
                {"f_stop", camera.lens_f_stop.at(start)},
                {"motion_blur", camera.motion_blur != 0},
                {"motion_blur_passes", camera.motion_blur_passes},
                {"blur_length", camera.blur_length.at(start)}};
  if (works_out_size(item)) {
    const std::string size = options.module.empty() ? not_known : worked_out_size(options, scene, item);
    value["worked_out_size"] = size == not_known ? json(nullptr) : json(size);
  }
  return value;
}

json described_object(standin::ObjectSearch& search, const standin::Item& item) {
  const auto file = search.find(item.object_file);
  return {{"name", item.name},
          {"null_object", item.object_file.empty()},
          {"file", item.object_file},
          {"layer", item.layer},
          {"found", file.empty() ? json(nullptr) : json(file.lexically_normal().string())},
          {"version", file.empty() || object_version(file).empty() ? json(nullptr) : json(object_version(file))}};
}

json described_light(const standin::Scene& scene, const standin::Item& item) {
  constexpr std::array<const char*, 5> kinds{"distant", "point", "spot", "linear", "area"};
  const auto kind = item.light->kind();
  const standin::Vec3 color = standin::color_at(item.light->color, scene.time_of(scene.first_frame));
  return {{"name", item.name},
          {"kind", kind ? json(kinds[static_cast<std::size_t>(*kind)]) : json(nullptr)},
          {"intensity", item.light->intensity.at(scene.time_of(scene.first_frame))},
          {"color", {color.x, color.y, color.z}},
          {"shadows", item.light->shadow_type != 0}};
}

json described(const SceneArguments& arguments, const standin::Scene& scene) {
  json cameras = json::array();
  json objects = json::array();
  json lights = json::array();
  standin::ObjectSearch search(scene);
  for (const standin::Item& item : scene.items) {
    if (item.camera) cameras.push_back(described_camera(arguments.options, scene, item));
    if (item.kind == standin::ItemKind::object) objects.push_back(described_object(search, item));
    if (item.light) lights.push_back(described_light(scene, item));
  }
  const standin::Item* current = scene.current_camera();
  return {{"file", arguments.options.scene},
          {"version", scene.version},
          {"first_frame", scene.first_frame},
          {"last_frame", scene.last_frame},
          {"frame_step", scene.frame_step},
          {"frames_per_second", scene.frames_per_second},
          {"current_camera", current != nullptr ? json(current->name) : json(nullptr)},
          {"cameras", std::move(cameras)},
          {"objects", std::move(objects)},
          {"lights", std::move(lights)},
          {"warnings", scene.notes.warnings}};
}

std::string number(const json& value) { return plain_number(value.get<double>()); }

std::string size_text(const json& camera) {
  std::string text =
      std::to_string(camera["size_pixels"][0].get<int>()) + 'x' + std::to_string(camera["size_pixels"][1].get<int>());
  if (!camera.contains("worked_out_size")) return text;
  const json& size = camera["worked_out_size"];
  return text + ", works out " + (size.is_null() ? std::string(not_known) : size.get<std::string>());
}

void write_cameras(const json& cameras) {
  TextTable table;
  table.add_row({"Camera", "Server", "Pixels", "Film, mm", "Zoom", "Eyes apart, m", "Depth of field", "Motion blur"});
  for (const json& camera : cameras) {
    const json& film = camera["film_metres"];
    table.add_row({(camera["current"].get<bool>() ? "* " : "  ") + camera["name"].get<std::string>(), camera["server"],
                   size_text(camera),
                   plain_number(film[0].get<double>() * 1000.0) + " x " + plain_number(film[1].get<double>() * 1000.0),
                   number(camera["zoom"]) + (camera["zoom_animated"].get<bool>() ? ", animated" : ""),
                   number(camera["eye_separation_metres"]),
                   camera["depth_of_field"].get<bool>()
                       ? "f/" + number(camera["f_stop"]) + " at " + number(camera["focal_distance_metres"]) + " m"
                       : "off",
                   camera["motion_blur"].get<bool>() ? number(camera["blur_length"]) + " of a frame" : "off"});
  }
  std::cout << "Cameras" << (cameras.empty() ? ": none\n" : ", * is the current one\n");
  if (!cameras.empty()) table.write(std::cout, "  ");
}

void write_objects(const json& objects) {
  TextTable table;
  table.add_row({"Object", "Layer", "Version", "File"});
  for (const json& object : objects) {
    const bool null_object = object["null_object"].get<bool>();
    const json& version = object["version"];
    const json& found = object["found"];
    table.add_row({object["name"], null_object ? "-" : std::to_string(object["layer"].get<int>()),
                   version.is_null() ? (null_object ? "-" : not_known) : version.get<std::string>(),
                   null_object       ? "null object"
                   : found.is_null() ? "MISSING: " + object["file"].get<std::string>()
                                     : found.get<std::string>()});
  }
  std::cout << "Objects" << (objects.empty() ? ": none\n" : "\n");
  if (!objects.empty()) table.write(std::cout, "  ");
}

void write_lights(const json& lights) {
  TextTable table;
  table.add_row({"Light", "Kind", "Intensity", "Colour", "Shadows"});
  for (const json& light : lights) {
    const json& color = light["color"];
    table.add_row({light["name"], light["kind"].is_null() ? not_known : light["kind"].get<std::string>(),
                   number(light["intensity"]), number(color[0]) + ' ' + number(color[1]) + ' ' + number(color[2]),
                   light["shadows"].get<bool>() ? "yes" : "no"});
  }
  std::cout << "Lights" << (lights.empty() ? ": none\n" : "\n");
  if (!lights.empty()) table.write(std::cout, "  ");
}

void write_tables(const json& scene) {
  std::cout << scene["file"].get<std::string>() << ": version " << scene["version"] << ", frames " << scene["first_frame"]
            << " to " << scene["last_frame"] << " by " << scene["frame_step"] << ", " << number(scene["frames_per_second"])
            << " a second\n";
  write_cameras(scene["cameras"]);
  write_objects(scene["objects"]);
  write_lights(scene["lights"]);
  for (const json& warning : scene["warnings"]) std::cout << "warning: " << warning.get<std::string>() << '\n';
}

void show_scene(const SceneArguments& arguments) {
  const json scene = described(arguments, arguments.options.read_scene());
  arguments.json ? write_json(std::cout, scene) : write_tables(scene);
}

}  // namespace

void add_scene_command(CLI::App& app) {
  auto* command = app.add_subcommand("scene", "Shows a scene's cameras, objects and lights, and which files are missing.");
  command->footer(
      "Example:\n  ovicam scene samples/cameras.lws --module build/native/OviCam.so\n"
      "Values are those of the first frame. Sizes that overscan and print cameras work out need --module.");
  const auto arguments = std::make_shared<SceneArguments>();
  command->add_option("SCENE", arguments->options.scene, "Scene file")->required();
  command->add_option("--module", arguments->options.module, "Module file, for the sizes that its cameras work out");
  command->add_option("--content", arguments->options.content,
                      "Folder of all content: objects are looked for there (default: folders above the scene)");
  command->add_flag("--json", arguments->json, "As JSON, for programs");
  command->callback([arguments] { show_scene(*arguments); });
}

}  // namespace tool
