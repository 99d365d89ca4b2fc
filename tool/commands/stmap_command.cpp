#include "tool/commands/stmap_command.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <future>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "standin/host/plain_camera.h"
#include "standin/remote/ray_service.h"
#include "standin/scene/number_text.h"
#include "standin/scene/scene.h"
#include "standin/session/session.h"
#include "tool/commands/camera_options.h"
#include "tool/commands/lens_option.h"
#include "tool/commands/option_text.h"
#include "tool/commands/usage_error.h"
#include "tool/commands/warnings.h"
#include "tool/lens/camera_lens.h"
#include "tool/lens/perspective_lens.h"
#include "tool/lens/st_map.h"
#include "tool/output/exr_file.h"
#include "tool/output/new_file.h"
#include "tool/output/picture.h"
#include "tool/output/progress.h"
#include "tool/render/frame_metadata.h"

namespace tool {
namespace {

/// Of the frame's size.
constexpr double most_overscan_percent = 1000.0;
/// Pixels that are computed before they are written.
constexpr int pixels_at_once = 1 << 19;

struct StMapArguments {
  CameraOptions camera;
  std::optional<int> frame;
  std::string direction = "undistort";
  std::string target_field;
  std::string to;
  std::string overscan = "auto";
  std::string size;
  std::string eye = "centre";
  std::string output;
};

enum class Direction { undistort, distort };

std::vector<Direction> parse_directions(const std::string& text) {
  if (text == "undistort") return {Direction::undistort};
  if (text == "distort") return {Direction::distort};
  if (text == "both") return {Direction::undistort, Direction::distort};
  throw UsageError("--direction " + text + ": give undistort, distort or both");
}

/// None: automatic.
std::optional<double> parse_overscan_percent(const std::string& text) {
  if (text == "auto") return std::nullopt;
  std::string_view rest = text;
  const auto number = standin::take_number(rest);
  if (!number || !(rest.empty() || rest == "%") || !(*number >= 0.0 && *number <= most_overscan_percent))
    throw UsageError("--overscan " + text + ": give auto, or per cent of the frame from 0 to 1000");
  return number;
}

/// As far as it can be told without the scene.
struct MapPlan {
  explicit MapPlan(const StMapArguments& arguments)
      : directions(parse_directions(arguments.direction)),
        overscan_percent(parse_overscan_percent(arguments.overscan)),
        eye(parse_eye(arguments.eye)) {
    if (!arguments.target_field.empty()) field_radians = parse_field_radians("--target-fov", arguments.target_field);
    if (arguments.to.empty() == arguments.target_field.empty())
      throw UsageError("give the second lens: either --target-fov for a plain perspective, or --to for another camera");
    const std::filesystem::path output = arguments.output;
    if (!PictureFile::is_exr_name(output)) throw UsageError("-o " + arguments.output + ": the name must end in .exr");
    for (const Direction direction : directions) {
      std::filesystem::path file = output;
      if (directions.size() > 1) {
        file.replace_extension();
        file += direction == Direction::undistort ? ".undistort" : ".distort";
        file += output.extension();
      }
      files.push_back(file);
    }
  }

  std::vector<Direction> directions;
  /// One for each direction.
  std::vector<std::filesystem::path> files;
  std::optional<double> overscan_percent;
  /// None: another camera.
  std::optional<double> field_radians;
  standin::Eye eye;
};

/// One of the two lenses, and its frame.
struct LensFrame {
  std::unique_ptr<standin::Session> session;
  std::unique_ptr<Lens> lens;
  int width = 0;
  int height = 0;
  PictureMetadata metadata;
};

/// Opens a camera of the scene. There is one host in a process: where there is one already, `elsewhere` opens it in another.
LensFrame open_camera(const CameraOptions& options, const standin::Scene& scene, int frame, const std::string& size,
                      standin::Eye eye, bool elsewhere, Warnings& warnings) {
  LensFrame opened;
  const standin::Item& item = options.find_camera(scene);
  const auto [width, height] = picture_size(size, *item.camera, options.scene);
  standin::SessionOptions session = options.session_options();
  session.width_pixels = opened.width = width;
  session.height_pixels = opened.height = height;
  opened.session = elsewhere ? standin::open_remote_session(session) : standin::open_session_for(session);
  const standin::FrameSetup setup = opened.session->begin_frame(frame);
  if (!(setup.film_width > 0.0 && setup.film_height > 0.0))
    throw std::runtime_error("camera \"" + item.name + "\" has a film without a size; give it one in the scene");
  warnings.add(*opened.session);
  opened.lens = std::make_unique<CameraLens>(*opened.session, setup, eye, camera_text(item, setup));
  opened.metadata = frame_metadata(scene, options.scene, item, setup, width, height, eye);
  return opened;
}

/// A plain perspective where the camera stands, with its frame.
LensFrame perspective_at(const LensFrame& camera, const standin::ItemPose& pose, double field_radians) {
  LensFrame frame;
  frame.width = camera.width;
  frame.height = camera.height;
  frame.lens = std::make_unique<PerspectiveLens>(pose, field_radians,
                                                 camera.metadata.film_height_metres / camera.metadata.film_width_metres);
  frame.metadata = camera.metadata;
  return frame;
}

PixelBox grown_by(int width, int height, double percent) {
  const int columns = static_cast<int>(std::ceil(width * percent / 200.0 - 1e-9));
  const int rows = static_cast<int>(std::ceil(height * percent / 200.0 - 1e-9));
  if (width + 2 * columns > largest_picture_side || height + 2 * rows > largest_picture_side) {
    throw std::runtime_error("with that --overscan the map is larger than " + std::to_string(largest_picture_side) +
                             " pixels; give less, or a smaller --size");
  }
  return {-columns, -rows, width + 2 * columns, height + 2 * rows};
}

PictureMetadata map_metadata(const LensFrame& camera, const LensFrame& second, const LensFrame& pixels, const LensFrame& into,
                             Direction direction) {
  PictureMetadata metadata = camera.metadata;
  metadata.pixel_aspect = pixels.metadata.pixel_aspect;
  const auto described = [](const LensFrame& frame) {
    return frame.lens->description() + ", " + std::to_string(frame.width) + "x" + std::to_string(frame.height) + " pixels";
  };
  metadata.more = {
      {"stMap/direction", direction == Direction::undistort ? "undistort" : "distort"},
      {"stMap/camera", described(camera)},
      {"stMap/secondLens", described(second)},
      {"stMap/pixelsOf", pixels.lens->description()},
      {"stMap/pointsInto", into.lens->description()},
      {"stMap/convention",
       "R is s, to the right, G is t, upward: 0 to 1 from edge to edge of the display window of the picture that is read, at "
       "the centres of this map's pixels; A is 1 where there is an answer"}};
  return metadata;
}

void write_map(const MapPlan& plan, Direction direction, const LensFrame& camera, const LensFrame& second, NewFile& file,
               Progress& progress) {
  const LensFrame& pixels = direction == Direction::undistort ? second : camera;
  const LensFrame& into = direction == Direction::undistort ? camera : second;
  MapPixels form{pixels.width, pixels.height, {0, 0, pixels.width, pixels.height}};
  form.window = plan.overscan_percent
                    ? grown_by(pixels.width, pixels.height, *plan.overscan_percent)
                    : window_that_shows(*pixels.lens, pixels.width, pixels.height, *into.lens, largest_picture_side);
  const ExrLayout layout{
      .frame_width = pixels.width,
      .frame_height = pixels.height,
      .part = form.window,
      .channels = {{"R", false}, {"G", false}, {"B", false}, {"A", false}},
      .views = {},
      .metadata = map_metadata(camera, second, pixels, into, direction),
      .smooth = true,
  };
  ExrWriter writer(file, layout);
  const int rows_at_once = std::max(1, pixels_at_once / form.window.width);
  std::vector<float> samples;
  std::vector<float> written;
  bool found = false;
  // Rows are written while the next ones are made.
  std::future<void> writing;
  for (int row = 0; row < form.window.height; row += rows_at_once) {
    const PixelBox rows{form.window.left, form.window.top + row, form.window.width,
                        std::min(rows_at_once, form.window.height - row)};
    const std::size_t count = static_cast<std::size_t>(rows.width) * static_cast<std::size_t>(rows.height);
    samples.resize(count * map_channels);
    map_rows(*pixels.lens, form, *into.lens, rows, samples);
    for (std::size_t i = 0; i < count && !found; ++i) found = samples[i * map_channels + 3] > 0.0F;
    if (writing.valid()) writing.get();
    written.swap(samples);
    writing = std::async(std::launch::async, [&] { writer.write_rows(written); });
    progress.add(count);
  }
  if (writing.valid()) writing.get();
  if (!found) {
    throw std::runtime_error("the map would be empty: " + pixels.lens->description() + " and " + into.lens->description() +
                             " see nothing in common; turn one towards the other, or give --target-fov");
  }
  writer.finish();
  file.complete();
  const PixelBox& window = form.window;
  std::ostringstream line;
  line << (direction == Direction::undistort ? "undistort" : "distort") << " map: " << pixels.width << 'x' << pixels.height
       << " pixels";
  if (window.width != pixels.width || window.height != pixels.height)
    line << ", with overscan " << window.width << 'x' << window.height << " from " << window.left << ',' << window.top;
  line << ", of " << pixels.lens->description() << " into " << into.lens->description() << " -> " << file.name().string();
  progress.note(line.str());
}

void make_maps(const StMapArguments& arguments) {
  const MapPlan plan(arguments);
  const standin::Scene scene = arguments.camera.read_scene();
  const standin::Item& item = arguments.camera.find_camera(scene);
  const int frame = arguments.frame.value_or(scene.first_frame);
  CameraOptions other = arguments.camera;
  other.camera = arguments.to;
  other.server.clear();
  other.settings.clear();
  if (!plan.field_radians) other.find_camera(scene);
  Warnings warnings(arguments.camera.strict);
  warnings.add(scene);
  add_missing_objects(arguments.camera, scene, warnings);
  // Before anything takes long: the folders may be missing.
  std::vector<std::unique_ptr<NewFile>> files;
  for (const auto& file : plan.files) files.push_back(std::make_unique<NewFile>(file));

  const LensFrame camera = open_camera(arguments.camera, scene, frame, arguments.size, plan.eye, false, warnings);
  arguments.camera.tell_camera(scene);
  const LensFrame second =
      plan.field_radians
          ? perspective_at(camera, standin::with_unit_axes(scene.world_pose(item, scene.time_of(frame))), *plan.field_radians)
          : open_camera(other, scene, frame, arguments.size, plan.eye, true, warnings);
  warnings.tell();
  if (const double apart = length(camera.lens->position() - second.lens->position());
      !plan.field_radians && apart > same_position_metres) {
    std::cerr << "note: the two cameras stand " << apart
              << " m apart; the map goes by directions alone, as if all they see were far away\n";
  }
  {
    const double pixels = static_cast<double>(second.width) * second.height;
    Progress progress(pixels * static_cast<double>(plan.directions.size()));
    for (std::size_t i = 0; i < files.size(); ++i) write_map(plan, plan.directions[i], camera, second, *files[i], progress);
  }
  // What comes to light only when camera and module are given up.
  for (const LensFrame* frame : {&camera, &second}) {
    if (!frame->session) continue;
    frame->session->end();
    warnings.add(*frame->session);
  }
  warnings.tell();
  for (const auto& file : files) file->finish();
}

}  // namespace

void add_stmap_command(CLI::App& app) {
  auto* command =
      app.add_subcommand("stmap", "Writes the map that distorts or undistorts a camera's picture, for compositing.");
  command->footer(
      "Examples:\n"
      "  ovicam stmap samples/cameras.lws --camera \"Fisheye Power 2\" --target-fov 90deg --overscan 0 -o flat.exr\n"
      "  ovicam stmap samples/cameras.lws --camera Panoramic --to \"Fisheye Power 2\" --overscan 0 --direction both -o "
      "map.exr\n"
      "The map is a 32-bit EXR: R is s, from 0 to 1 to the right, G is t, from 0 to 1 upward, both over the whole frame of the "
      "picture that is read, and A is 1 where there is an answer. An undistort map, applied to the camera's picture, gives the "
      "picture of the second lens; a distort map, applied to a picture of the second lens, gives the camera's. With "
      "--direction "
      "both, \".undistort\" and \".distort\" go into the two names.");
  const auto arguments = std::make_shared<StMapArguments>();
  arguments->camera.add_to(*command);
  command->add_option("-o,--output", arguments->output, "Map; its name ends in .exr")->required();
  command->add_option("--direction", arguments->direction, "undistort, distort or both")->capture_default_str();
  auto* field = command->add_option("--target-fov", arguments->target_field,
                                    "Second lens: a plain perspective of this horizontal field of view, in degrees, or with a "
                                    "unit (60deg, 1.2rad), where the camera stands");
  command->add_option("--to", arguments->to, "Second lens: another camera of the scene, by name")->excludes(field);
  command
      ->add_option("--overscan", arguments->overscan,
                   "auto: more than the frame, so that nothing of the picture that is read is lost; or so many per cent of the "
                   "frame's width and height, half of them on each side")
      ->capture_default_str();
  command->add_option("--size", arguments->size, "WIDTHxHEIGHT of both frames in pixels (default: as the scene has them)");
  command->add_option("--eye", arguments->eye, "centre, left or right")->capture_default_str();
  command->add_option("--frame", arguments->frame, "Frame (default: the scene's first)");
  command->callback([arguments] { make_maps(*arguments); });
}

}  // namespace tool
