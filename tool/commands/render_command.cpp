#include "tool/commands/render_command.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tbb/global_control.h>
#include <tbb/task_arena.h>
#include <utility>
#include <vector>

#include "standin/remote/ray_service.h"
#include "standin/scene/scene.h"
#include "standin/session/session.h"
#include "tool/commands/camera_options.h"
#include "tool/commands/frame_range.h"
#include "tool/commands/option_text.h"
#include "tool/commands/unused_settings.h"
#include "tool/commands/usage_error.h"
#include "tool/commands/warnings.h"
#include "tool/output/json_output.h"
#include "tool/output/new_file.h"
#include "tool/output/picture.h"
#include "tool/output/progress.h"
#include "tool/render/frame_metadata.h"
#include "tool/render/frame_renderer.h"
#include "tool/render/gizmo_picture.h"
#include "tool/render/render_scene.h"
#include "tool/render/scene_layers.h"

namespace tool {
namespace {

constexpr std::uint32_t most_samples = 65536;
constexpr int most_threads = 1024;

/// The command line as it was written.
struct Arguments {
  CameraOptions camera;
  std::string frames;
  std::string size;
  std::string region;
  std::uint32_t samples = 16;
  int threads = 0;
  std::string eye = "centre";
  bool stereo = false;
  std::string layers;
  bool motion_blur = false;
  bool depth_of_field = false;
  bool gizmo = false;
  bool skip_existing = false;
  bool dry_run = false;
  bool json = false;
  std::string view_from;
  std::string look_at;
  std::string output;
};

std::string frame_start(int frame, const std::string& camera) {
  return "frame " + std::to_string(frame) + ": camera \"" + camera + "\", ";
}

std::string frame_line(const FrameJob& job, const RayCounts& rays, double seconds, const std::string& camera,
                       const std::filesystem::path& file) {
  std::ostringstream line;
  line << frame_start(job.setup.frame, camera) << job.part.width << 'x' << job.part.height << ", " << job.samples_per_pixel
       << (job.samples_per_pixel == 1 ? " sample, " : " samples, ") << short_count(static_cast<double>(rays.asked)) << " rays, "
       << std::fixed << std::setprecision(1) << seconds << " s -> " << file.string();
  return line.str();
}

/// What came of a frame, as a line of JSON.
struct FrameReport {
  int frame = 0;
  std::filesystem::path file;
  double seconds = 0.0;
  std::uint64_t rays = 0;
  std::vector<std::string> warnings;
  bool skipped = false;
};

/// At once, so that a program can follow.
void write_frame(const FrameReport& report) {
  const nlohmann::json line = {{"frame", report.frame}, {"file", report.file.string()}, {"seconds", report.seconds},
                               {"rays", report.rays},   {"warnings", report.warnings},  {"skipped", report.skipped}};
  std::cout << line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << std::endl;
}

/// The speed of camera, tracing, shading and files together.
std::string speed_line(const RayCounts& rays, double seconds) {
  const double per_second = static_cast<double>(rays.traced) / std::max(seconds, 1e-9);
  return "traced " + short_count(static_cast<double>(rays.traced)) + " rays, " + short_count(per_second) + " a second";
}

/// The first lines, once nothing in the command line is refused any more.
void tell_camera(const Arguments& arguments, const standin::Scene& scene) {
  std::cerr << "camera \"" << arguments.camera.find_camera(scene).name << "\"\n";
}

/// What an EXR holds beside the light of one eye.
struct ExrContents {
  std::vector<ExrChannel> channels;
  std::vector<std::string> views;
};

ExrContents exr_contents(const std::vector<Layer>& layers, bool stereo) {
  ExrContents contents{channels_of(layers), {}};
  if (!stereo) return contents;
  contents.views = {"left", "right"};
  std::vector<ExrChannel> first{{"R"}, {"G"}, {"B"}, {"A"}};
  std::ranges::copy(contents.channels, std::back_inserter(first));
  for (const ExrChannel& channel : first)
    contents.channels.push_back({name_in_view(channel.name, contents.views, 1), channel.half});
  return contents;
}

void render(const Arguments& arguments) {
  standin::SessionOptions options = arguments.camera.session_options();
  options.motion_blur = arguments.motion_blur;
  options.depth_of_field = arguments.depth_of_field;
  if (!PictureFile::is_picture_name(arguments.output))
    throw UsageError("-o " + arguments.output + ": the name must end in .png or .exr");
  std::optional<FrameList> wanted_frames;
  if (!arguments.frames.empty()) wanted_frames = parse_frames(arguments.frames);
  const standin::Eye eye = arguments.stereo ? standin::Eye::left : parse_eye(arguments.eye);
  const std::vector<Layer> layers = parse_layers(arguments.layers);
  const ExrContents more = exr_contents(layers, arguments.stereo);
  if (!more.channels.empty() && !PictureFile::is_exr_name(arguments.output)) {
    throw UsageError("-o " + arguments.output + ": a PNG holds one view and no layers; with " +
                     (arguments.stereo ? "--stereo" : "--layers") + " the name must end in .exr");
  }

  const standin::Scene scene = arguments.camera.read_scene();
  const standin::CameraSettings& camera = *arguments.camera.find_camera(scene).camera;
  const PictureSize size = picture_size(arguments.size, camera, arguments.camera.scene);
  const PixelBox part = parse_region(arguments.region, size);
  options.width_pixels = size.width;
  options.height_pixels = size.height;
  const FrameList frames = wanted_frames.value_or(FrameList(scene.first_frame));
  const FrameName name(arguments.output, !frames.single());

  const std::vector<std::string> unused = unused_settings(options, frames.first());
  const auto session = standin::open_session_for(options);
  tell_camera(arguments, scene);
  Warnings warnings(arguments.camera.strict);
  warnings.add(scene);
  for (const std::string& sentence : unused) warnings.add(sentence);
  RenderScene render_scene(scene, warnings.lines());
  warnings.add(*session);
  const standin::FrameSetup first = session->begin_frame(frames.first());
  add_eye_without_effect(*session, first, eye, warnings);
  std::vector<std::string> told = warnings.tell();
  const std::string camera_name = arguments.camera.find_camera(scene).name;
  if (!render_scene.has_objects()) {
    throw std::runtime_error(
        arguments.camera.scene +
        ": there is nothing to render: the scene has no object with polygons, or none was found (--content "
        "names the folder of all content)");
  }
  const double pixels = static_cast<double>(part.width) * part.height * (arguments.stereo ? 2.0 : 1.0);
  RayCounts all_rays;
  double all_seconds = 0.0;
  {
    Progress progress(pixels * arguments.samples * static_cast<double>(frames.count()));
    for (std::optional<int> next = frames.first(); next; next = frames.next(*next)) {
      const int frame = *next;
      const auto start = std::chrono::steady_clock::now();
      const auto file = name.of(frame);
      if (arguments.skip_existing && std::filesystem::is_regular_file(file)) {
        progress.note(frame_start(frame, camera_name) + "skipped, there is " + file.string());
        progress.add(static_cast<std::uint64_t>(pixels) * arguments.samples);
        if (arguments.json) write_frame({frame, file, 0.0, 0, std::move(told), true});
        told.clear();
        continue;
      }
      if (arguments.dry_run) {
        check_can_be_written(file);
        progress.note(frame_start(frame, camera_name) + "would be written -> " + file.string());
        if (arguments.json) write_frame({frame, file, 0.0, 0, std::move(told), false});
        told.clear();
        continue;
      }
      const FrameJob job{.session = *session,
                         .scene = render_scene,
                         .setup = session->begin_frame(frame),
                         .width = size.width,
                         .height = size.height,
                         .part = part,
                         .samples_per_pixel = arguments.samples,
                         .eye = eye,
                         .second_eye = arguments.stereo ? std::optional(standin::Eye::right) : std::nullopt,
                         .layers = layers};
      PictureForm form{
          .width = size.width, .height = size.height, .part = part, .more_channels = more.channels, .views = more.views};
      form.metadata = frame_metadata(scene, arguments.camera.scene, arguments.camera.find_camera(scene), job.setup, size.width,
                                     size.height, eye);
      PictureFile picture(file, form);
      warnings.add(*session);
      std::ranges::move(warnings.tell(), std::back_inserter(told));
      render_scene.set_frame(job.setup.start_seconds, job.setup.duration_seconds);
      const RayCounts rays = render_frame(job, picture, progress);
      picture.finish();
      const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
      all_rays += rays;
      all_seconds += seconds;
      progress.note(frame_line(job, rays, seconds, camera_name, file));
      if (arguments.json) write_frame({frame, file, seconds, rays.traced, std::move(told), false});
      told.clear();
      // What is wrong with it is told once, by whoever reserved it.
      if (!std::cout) return;
    }
  }
  if (arguments.dry_run) return;
  std::cerr << speed_line(all_rays, all_seconds) << '\n';
  if (all_rays.broken > 0)
    std::cerr << "warning: " << all_rays.broken
              << " rays had no finite position and direction, or began too far away to be traced, and are left out\n";
}

standin::Vec3 parse_point(const std::string& option, const std::string& text) {
  std::array<double, 3> numbers{};
  const char* next = text.data();
  const char* end = next + text.size();
  bool written_right = true;
  for (std::size_t i = 0; i < numbers.size() && written_right; ++i) {
    const auto [rest, error] = std::from_chars(next, end, numbers[i]);
    const bool last = i + 1 == numbers.size();
    written_right = error == std::errc() && std::isfinite(numbers[i]) && (last ? rest == end : rest != end && *rest == ',');
    next = rest + (last ? 0 : 1);
  }
  if (!written_right) throw UsageError(option + " " + text + ": give X,Y,Z in metres, such as 0,5,-8");
  return {numbers[0], numbers[1], numbers[2]};
}

std::vector<standin::GizmoElement> drawn_gizmo(standin::HostedCamera& camera, const ViewLine& line) {
  standin::GizmoDrawing drawing;
  LWCustomObjAccess& access = *drawing.access;
  const standin::Vec3 way = line.at - line.from;
  const standin::Vec3 direction = length(way) > 0.0 ? normalized(way) : standin::Vec3{0.0, 0.0, 1.0};
  std::ranges::copy(std::array{line.from.x, line.from.y, line.from.z}, std::begin(access.viewPos));
  std::ranges::copy(std::array{direction.x, direction.y, direction.z}, std::begin(access.viewDir));
  camera.draw_gizmo(drawing);
  return std::move(drawing.elements);
}

void draw_gizmo(const Arguments& arguments) {
  if (!arguments.output.ends_with(".png"))
    throw UsageError("-o " + arguments.output + ": with --gizmo the name must end in .png");
  for (const auto& [option, is_given] :
       {std::pair{"--region", !arguments.region.empty()}, std::pair{"--stereo", arguments.stereo},
        std::pair{"--layers", !arguments.layers.empty()}})
    if (is_given) throw UsageError(std::string(option) + " is of rendered pictures; leave it out with --gizmo");
  constexpr PictureSize viewport{800, 600};
  const PictureSize size = arguments.size.empty() ? viewport : parse_size(arguments.size);
  std::optional<standin::Vec3> view_from;
  std::optional<standin::Vec3> look_at;
  if (!arguments.view_from.empty()) view_from = parse_point("--view-from", arguments.view_from);
  if (!arguments.look_at.empty()) look_at = parse_point("--look-at", arguments.look_at);
  std::optional<FrameList> wanted_frames;
  if (!arguments.frames.empty()) wanted_frames = parse_frames(arguments.frames);

  Warnings warnings(arguments.camera.strict);
  OpenCamera open(arguments.camera, warnings);
  const standin::Scene& scene = open.host.scene();
  const FrameList frames = wanted_frames.value_or(FrameList(scene.first_frame));
  const standin::Item& item = arguments.camera.find_camera(scene);
  tell_camera(arguments, scene);
  warnings.add(scene);
  const auto layers = placed_layers(scene, warnings.lines());
  warnings.tell();
  const FrameName name(arguments.output, !frames.single());
  for (std::optional<int> next = frames.first(); next; next = frames.next(*next)) {
    const int frame = *next;
    open.camera.begin_frame(frame);
    const double seconds = scene.time_of(frame);
    // Unless the command line says where to look from, that follows from what the gizmo draws.
    ViewLine line = view_of_gizmo(scene.world_pose(item, seconds), drawn_gizmo(open.camera, {}));
    line = {view_from.value_or(line.from), look_at.value_or(line.at)};
    const auto elements = drawn_gizmo(open.camera, line);
    if (elements.empty()) std::cerr << "note: the gizmo of \"" << item.name << "\" draws nothing\n";
    const auto file = name.of(frame);
    write_gizmo_picture({scene, layers, item, elements, line, seconds, size.width, size.height}, file);
    std::cerr << "frame " << frame << ": " << elements.size() << " shapes of the gizmo -> " << file.string() << '\n';
  }
}

void render_with_threads(const Arguments& arguments) {
  const auto threads =
      static_cast<std::size_t>(arguments.threads > 0 ? arguments.threads : tbb::this_task_arena::max_concurrency());
  const tbb::global_control limit(tbb::global_control::max_allowed_parallelism, threads);
  tbb::task_arena arena(static_cast<int>(threads));
  arena.execute([&] { render(arguments); });
}

}  // namespace

void add_render_command(CLI::App& app) {
  auto* command = app.add_subcommand("render", "Renders a scene through one of its cameras into PNG or EXR pictures.");
  command->footer(
      "Examples:\n"
      "  ovicam render samples/plaza.lws --camera Panorama -o plaza.png\n"
      "  ovicam render samples/plaza.lws --module build/windows/OviCam.p --frames 0-120:10 -o tram.####.png\n"
      "A frame depends on nothing but the scene and its number: a render farm can split a range anywhere.\n"
      "A picture tells of scene, camera and frame. In an EXR the world is the host's with Z negated, metres; worldToCamera has "
      "+Z "
      "ahead; worldToNDC, from 0,0 on the upper left to 1,1, is that of a plain perspective with the same zoom.");
  const auto arguments = std::make_shared<Arguments>();
  arguments->camera.add_to(*command);
  command->add_option("-o,--output", arguments->output, "Picture; %04d or #### in its name stands for the frame's number")
      ->required();
  command->add_option("--frames", arguments->frames,
                      "A, A-B, A-B:STEP or A-BxSTEP, several with commas between them (default: the scene's first frame)");
  command->add_option("--size", arguments->size, "WIDTHxHEIGHT in pixels (default: as the scene has it)");
  command->add_option("--region", arguments->region,
                      "X,Y,WIDTH,HEIGHT: only this part of the frame, in pixels from its upper left corner");
  command->add_option("--samples", arguments->samples, "Samples per pixel")
      ->check(CLI::Range(std::uint32_t{1}, most_samples))
      ->capture_default_str();
  command->add_option("--threads", arguments->threads, "Threads (default: one per processor)")
      ->check(CLI::Range(1, most_threads));
  auto* eye = command->add_option("--eye", arguments->eye, "centre, left or right")->capture_default_str();
  command->add_flag("--stereo", arguments->stereo, "Both eyes, as the views left and right of one EXR")->excludes(eye);
  command->add_option("--layers", arguments->layers,
                      "Any of depth,normal,position,uv,motion: more channels of an EXR (Z, N, P, UV, forward), "
                      "each of the ray through the pixel's centre");
  command->add_flag("--motion-blur", arguments->motion_blur, "Motion blur even if the scene has it off");
  command->add_flag("--depth-of-field", arguments->depth_of_field, "Depth of field even if the scene has it off");
  auto* gizmo =
      command->add_flag("--gizmo", arguments->gizmo, "Draw the camera's gizmo over the scene's edges, as a viewport does");
  command
      ->add_flag("--skip-existing", arguments->skip_existing,
                 "Leave out frames whose picture is there; one is there only whole")
      ->excludes(gizmo);
  command->add_flag("--dry-run", arguments->dry_run, "Check everything and tell what would be written, but render nothing")
      ->excludes(gizmo);
  command
      ->add_flag("--json", arguments->json,
                 "On standard output a line of JSON for every frame: frame, file, seconds, rays, "
                 "warnings, skipped")
      ->excludes(gizmo);
  command->add_option("--view-from", arguments->view_from, "X,Y,Z: position of the viewport, metres")->needs(gizmo);
  command->add_option("--look-at", arguments->look_at, "X,Y,Z: what the viewport looks at, metres")->needs(gizmo);
  command->callback([arguments] { arguments->gizmo ? draw_gizmo(*arguments) : render_with_threads(*arguments); });
}

}  // namespace tool
