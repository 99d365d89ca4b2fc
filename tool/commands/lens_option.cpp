#include "tool/commands/lens_option.h"

#include <algorithm>
#include <cstddef>
#include <numbers>
#include <stdexcept>

#include "standin/host/plain_camera.h"
#include "standin/remote/ray_service.h"
#include "standin/scene/number_text.h"
#include "tool/commands/usage_error.h"
#include "tool/lens/camera_lens.h"
#include "tool/lens/cube_lens.h"
#include "tool/lens/perspective_lens.h"
#include "tool/lens/plain_lenses.h"
#include "tool/output/picture.h"
#include "tool/pictures/cube_cells.h"
#include "tool/render/frame_probe.h"

namespace tool {
namespace {

constexpr std::string_view scene_end = ".lws:";

CameraOptions options_of(const LensChoice& choice, const CameraOptions& options) {
  CameraOptions of_camera = options;
  of_camera.scene = choice.scene;
  of_camera.camera = choice.camera;
  return of_camera;
}

/// A scene of one camera, at rest, with the server.
standin::Scene scene_of(const LensChoice& choice) {
  standin::Item camera;
  camera.kind = standin::ItemKind::camera;
  camera.id = 0x30000000U;
  camera.name = choice.server;
  camera.camera.emplace();
  if (choice.server != standin::own_camera_name)
    camera.camera->handler = standin::PluginBlock{"CameraHandler", 1, choice.server, {}};
  standin::Scene scene;
  scene.items.push_back(camera);
  return scene;
}

/// The layout of a cube map's frame. Throws std::runtime_error where it cannot be one.
const CubeLayout& cube_layout_of(const LensChoice& choice, PictureSize size) {
  const CubeLayout* layout = choice.layout != nullptr ? choice.layout : cube_layout_of_shape(size.width, size.height);
  if (layout != nullptr && cube_face_pixels(*layout, size.width, size.height)) return *layout;
  const std::string frame = std::to_string(size.width) + "x" + std::to_string(size.height);
  if (layout == nullptr) {
    throw std::runtime_error(
        "a frame of " + frame +
        " pixels has the shape of no cube map of six squares; give the layout, as in cubemap:cross, and for a "
        "new picture --size");
  }
  const std::string shape = std::to_string(layout->columns) + "x" + std::to_string(layout->rows);
  throw std::runtime_error("a frame of " + frame + " pixels is no " + shape +
                           " equal squares, as cubemap:" + std::string(layout->name) +
                           " has them; give another layout, or for a new picture a --size such as " +
                           std::to_string(layout->columns * 512) + "x" + std::to_string(layout->rows * 512));
}

const CubeLayout& skybox_layout_of(const LensChoice& choice) {
  return choice.layout != nullptr ? *choice.layout : *find_cube_layout("cross");
}

}  // namespace

double parse_field_radians(const std::string& option, const std::string& text) {
  std::string_view rest = text;
  const auto number = standin::take_number(rest);
  const double radians = rest == "rad" ? number.value_or(0.0) : number.value_or(0.0) * std::numbers::pi / 180.0;
  const bool has_unit = rest.empty() || rest == "deg" || rest == "°" || rest == "rad";
  if (!number || !has_unit || !(radians >= 1e-4) || !(radians <= std::numbers::pi - 1e-4))
    throw UsageError(option + " " + text + ": give an angle above 0 and below 180 degrees, such as 60deg");
  return radians;
}

LensChoice parse_lens(const std::string& option, const std::string& text) {
  LensChoice choice;
  if (const std::size_t end = text.find(scene_end); end != std::string::npos) {
    choice.kind = LensChoice::Kind::scene_camera;
    choice.scene = text.substr(0, end + scene_end.size() - 1);
    choice.camera = text.substr(end + scene_end.size());
    if (choice.camera.empty()) throw UsageError(option + " " + text + ": give the name of a camera after the colon");
    return choice;
  }
  if (text == "equirectangular") return choice;
  if (text == "equirectangular180") {
    choice.kind = LensChoice::Kind::equirectangular180;
    return choice;
  }
  if (text == "fisheye180") {
    choice.kind = LensChoice::Kind::fisheye180;
    return choice;
  }
  if (constexpr std::string_view perspective = "perspective:"; text.starts_with(perspective)) {
    choice.kind = LensChoice::Kind::perspective;
    choice.field_radians = parse_field_radians(option + " perspective:", text.substr(perspective.size()));
    return choice;
  }
  const std::string shape = text.substr(0, text.find(':'));
  if (shape == "cubemap" || shape == "skybox") {
    const bool is_cube_map = shape == "cubemap";
    choice.kind = is_cube_map ? LensChoice::Kind::cubemap : LensChoice::Kind::skybox;
    if (text == shape) return choice;
    const std::string name = text.substr(shape.size() + 1);
    choice.layout = find_cube_layout(name);
    const bool fits = choice.layout != nullptr && choice.layout->is_one_picture();
    if (is_cube_map ? !fits : name != "cross" && name != "alternate") {
      throw UsageError(std::string(option)
                           .append(" ")
                           .append(text)
                           .append(": after ")
                           .append(shape)
                           .append(": give ")
                           .append(is_cube_map ? cube_layout_names(true) : "cross or alternate"));
    }
    return choice;
  }
  choice.kind = LensChoice::Kind::server;
  choice.server = text.substr(0, text.find(','));
  for (std::size_t start = choice.server.size(); start < text.size();) {
    const std::size_t end = std::min(text.find(',', start + 1), text.size());
    const std::string setting = text.substr(start + 1, end - start - 1);
    const std::size_t equals = setting.find('=');
    if (equals == std::string::npos || equals == 0)
      throw UsageError(
          std::string(option).append(" ").append(text).append(": \"").append(setting).append("\" is not PARAMETER=VALUE"));
    choice.settings.emplace_back(setting.substr(0, equals), setting.substr(equals + 1));
    start = end;
  }
  const bool is_server = choice.server.starts_with("Quorin") || choice.server == standin::own_camera_name;
  if (!is_server) {
    throw UsageError(option + " " + text +
                     ": give a camera of a scene (scene.lws:Name), a server with values (QuorinFisheyeCam,FisheyePower=2), "
                     "equirectangular, equirectangular180, fisheye180, perspective:90deg, cubemap or skybox");
  }
  return choice;
}

PictureSize size_of(const LensChoice& choice, const LensChoice& from, PictureSize picture) {
  using Kind = LensChoice::Kind;
  if (choice.kind == Kind::cubemap || choice.kind == Kind::skybox) {
    const CubeLayout& layout = choice.layout != nullptr ? *choice.layout : *find_cube_layout("cross");
    const int columns = from.kind == Kind::cubemap ? cube_layout_of(from, picture).columns : 4;
    const int side = std::max(1, picture.width / columns);
    if (side * std::max(layout.columns, layout.rows) > largest_picture_side)
      throw std::runtime_error("six faces of " + std::to_string(side) + " pixels are too large for one picture; give --size");
    return {side * layout.columns, side * layout.rows};
  }
  if (choice.kind != Kind::scene_camera) return picture;
  const CameraOptions options = options_of(choice, {});
  const standin::Scene scene = options.read_scene();
  return picture_size("", *options.find_camera(scene).camera, choice.scene);
}

bool OpenLens::has_two_eyes() const {
  return session != nullptr && !see_the_same(*session, setup, standin::Eye::left, standin::Eye::right);
}

std::unique_ptr<Lens> OpenLens::of_another_eye(standin::Eye other) const {
  if (session == nullptr || other == eye) return nullptr;
  return std::make_unique<CameraLens>(*session, setup, other, lens->description());
}

OpenLens open_lens(const LensChoice& choice, const CameraOptions& options, std::optional<int> frame, PictureSize size,
                   standin::Eye eye, bool elsewhere, Warnings& warnings) {
  OpenLens opened;
  const double width_over_height = static_cast<double>(size.width) / size.height;
  switch (choice.kind) {
    case LensChoice::Kind::equirectangular:
      opened.lens = std::make_unique<EquirectangularLens>(standin::ItemPose{});
      return opened;
    case LensChoice::Kind::equirectangular180:
      opened.lens = std::make_unique<EquirectangularLens>(standin::ItemPose{}, std::numbers::pi);
      return opened;
    case LensChoice::Kind::fisheye180:
      opened.lens = std::make_unique<Fisheye180Lens>(standin::ItemPose{}, width_over_height);
      return opened;
    case LensChoice::Kind::perspective:
      opened.lens = std::make_unique<PerspectiveLens>(standin::ItemPose{}, choice.field_radians, 1.0 / width_over_height);
      return opened;
    case LensChoice::Kind::cubemap: {
      const CubeLayout& layout = cube_layout_of(choice, size);
      opened.lens = std::make_unique<CubeLens>(standin::ItemPose{}, cube_cells(layout), "cubemap:" + std::string(layout.name));
      return opened;
    }
    case LensChoice::Kind::skybox: {
      const CubeLayout& layout = skybox_layout_of(choice);
      const double film_height = standin::CameraSettings().aperture_height;
      const auto cells = skybox_cells(layout, size.width, size.height, film_height);
      opened.lens = std::make_unique<CubeLens>(standin::ItemPose{}, cells, "skybox:" + std::string(layout.name));
      return opened;
    }
    case LensChoice::Kind::scene_camera:
    case LensChoice::Kind::server:
      break;
  }
  CameraOptions of_camera = options_of(choice, options);
  if (choice.kind == LensChoice::Kind::server) {
    opened.folder = std::make_unique<standin::ScratchFolder>("lens");
    of_camera.scene = (opened.folder->path() / "lens.lws").string();
    standin::write_scene_file(scene_of(choice), of_camera.scene);
  }
  const standin::Scene scene = of_camera.read_scene();
  const standin::Item& item = of_camera.find_camera(scene);
  standin::SessionOptions session = of_camera.session_options();
  session.settings = choice.settings;
  session.width_pixels = size.width;
  session.height_pixels = size.height;
  opened.session = elsewhere ? standin::open_remote_session(session) : standin::open_session_for(session);
  opened.setup = opened.session->begin_frame(frame.value_or(scene.first_frame));
  opened.eye = eye;
  const standin::FrameSetup& setup = opened.setup;
  if (!(setup.film_width > 0.0 && setup.film_height > 0.0))
    throw std::runtime_error("camera \"" + item.name + "\" has a film without a size; give it one in the scene");
  opened.server = setup.server_name;
  const bool of_scene = choice.kind == LensChoice::Kind::scene_camera;
  if (!of_scene && setup.server_name != choice.server && choice.server != standin::own_camera_name)
    throw std::runtime_error("the module has no camera server \"" + choice.server +
                             R"("; "ovicam info" lists those that it has)");
  if (of_scene) warnings.add(scene);
  warnings.add(*opened.session);
  const std::string name = of_scene ? camera_text(item, setup) : "the camera server " + server_text(setup);
  opened.lens = std::make_unique<CameraLens>(*opened.session, setup, eye, name);
  if (of_scene) opened.pose = standin::with_unit_axes(scene.world_pose(item, setup.start_seconds));
  return opened;
}

}  // namespace tool
