#include "tool/commands/render_command.h"

#include <algorithm>
#include <chrono>
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
#include <tbb/global_control.h>
#include <tbb/task_arena.h>
#include <utility>
#include <vector>

#include "standin/host/plain_camera.h"
#include "standin/remote/ray_service.h"
#include "standin/scene/scene.h"
#include "standin/session/session.h"
#include "tool/commands/frame_range.h"
#include "tool/commands/option_text.h"
#include "tool/commands/render_arguments.h"
#include "tool/commands/render_gizmo.h"
#include "tool/commands/unused_settings.h"
#include "tool/commands/usage_error.h"
#include "tool/commands/warnings.h"
#include "tool/lens/half_ahead.h"
#include "tool/lens/panorama.h"
#include "tool/output/json_output.h"
#include "tool/output/new_file.h"
#include "tool/output/picture.h"
#include "tool/output/progress.h"
#include "tool/render/frame_metadata.h"
#include "tool/render/frame_probe.h"
#include "tool/render/frame_renderer.h"
#include "tool/render/packed_frame.h"
#include "tool/render/render_scene.h"

namespace tool {
namespace {

constexpr std::uint32_t most_samples = 65536;
constexpr int most_threads = 1024;

std::string frame_start(int frame, const std::string& camera) {
  return "frame " + std::to_string(frame) + ": camera \"" + camera + "\", ";
}

std::string frame_line(const FrameJob& job, const PixelBox& part, const RayCounts& rays, double seconds,
                       const std::string& camera, const std::filesystem::path& file) {
  std::ostringstream line;
  line << frame_start(job.setup.frame, camera) << part.width << 'x' << part.height << ", " << job.samples_per_pixel
       << (job.samples_per_pixel == 1 ? " sample, " : " samples, ") << short_count(static_cast<double>(rays.asked)) << " rays, "
       << std::fixed << std::setprecision(1) << seconds << " s -> " << file.string();
  return line.str();
}

/// What came of a frame, as a line of JSON.
struct FrameReport {
  int frame = 0;
  std::filesystem::path file = {};
  double seconds = 0.0;
  std::uint64_t rays = 0;
  bool skipped = false;
  std::vector<std::string> warnings = {};
};

/// At once, so that a program can follow.
void write_frame(const FrameReport& report) {
  const nlohmann::json line = {{"frame", report.frame}, {"file", report.file.string()}, {"seconds", report.seconds},
                               {"rays", report.rays},   {"warnings", report.warnings},  {"skipped", report.skipped}};
  std::cout << json_line(line) << std::endl;
}

/// The speed of camera, tracing, shading and files together.
std::string speed_line(const RayCounts& rays, double seconds) {
  const double per_second = static_cast<double>(rays.traced) / std::max(seconds, 1e-9);
  return "traced " + short_count(static_cast<double>(rays.traced)) + " rays, " + short_count(per_second) + " a second";
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

/// What the command line asks for, as far as that can be told without the scene.
struct Plan {
  std::optional<FrameList> frames;
  standin::Eye eye;
  bool red_cyan;
  std::optional<Packing> packing;
  std::vector<Layer> layers;
  ExrContents more;

  explicit Plan(const RenderArguments& arguments) {
    if (!PictureFile::is_picture_name(arguments.output))
      throw UsageError("-o " + arguments.output + ": the name must end in .png or .exr");
    arguments.camera.camera_turn();
    if (!arguments.frames.empty()) frames = parse_frames(arguments.frames);
    red_cyan = arguments.eye == "red-cyan";
    packing = parse_packing(arguments.packing);
    eye = arguments.stereo || red_cyan || packing ? standin::Eye::left : parse_eye(arguments.eye, "red-cyan");
    layers = parse_layers(arguments.layers);
    if (red_cyan && !layers.empty())
      throw UsageError("--layers are of one eye; leave them out with --eye red-cyan, or give --stereo");
    more = exr_contents(layers, arguments.stereo);
    if (!more.channels.empty() && !PictureFile::is_exr_name(arguments.output)) {
      throw UsageError("-o " + arguments.output + ": a PNG holds one view and no layers; with " +
                       (arguments.stereo ? "--stereo" : "--layers") + " the name must end in .exr");
    }
  }
};

/// The frames of one command, one after the other.
class Rendering {
 public:
  /// Opens everything and tells what is missing or left out. Throws where nothing can be rendered.
  Rendering(const RenderArguments& arguments, Plan plan)
      : arguments_(arguments),
        plan_(std::move(plan)),
        scene_(arguments.camera.read_scene()),
        item_(arguments.camera.find_camera(scene_)),
        size_(size_of_frame()),
        picture_size_(plan_.packing ? packed_size(*plan_.packing, size_) : size_),
        part_(parse_region(arguments.region, size_)),
        frames_(plan_.frames.value_or(FrameList(scene_.first_frame))),
        name_(arguments.output, !frames_.single()),
        warnings_(arguments.camera.strict) {
    standin::SessionOptions options = arguments.camera.session_options();
    options.motion_blur = arguments.motion_blur;
    options.depth_of_field = arguments.depth_of_field;
    options.width_pixels = size_.width;
    options.height_pixels = size_.height;
    const FramesWithoutASetting without(options, frames_.first());
    session_ = standin::open_session_for(options);
    arguments.camera.tell_camera(scene_);
    warnings_.add(scene_);
    setup_ = session_->begin_frame(frames_.first());
    without.add_unused(*session_, setup_, warnings_);
    render_scene_.emplace(scene_, warnings_.lines());
    warnings_.add(*session_);
    add_eye_without_effect(*session_, setup_, plan_.eye, warnings_);
    if (plan_.packing) check_eyes();
    if (plan_.packing == Packing::vr180) look_ahead();
    told_ = warnings_.tell();
    if (!render_scene_->has_objects()) {
      throw std::runtime_error(
          arguments.camera.scene +
          ": there is nothing to render: the scene has no object with polygons, or none was found (--content "
          "names the folder of all content)");
    }
  }

  void run() {
    {
      Progress progress(static_cast<double>(samples_per_frame()) * static_cast<double>(frames_.count()));
      for (std::optional<int> frame = frames_.first(); frame; frame = frames_.next(*frame)) {
        if (!is_left_out(*frame, progress)) render_one(*frame, progress);
        // What is wrong with it is told once, by whoever reserved it.
        if (!std::cout) return;
      }
    }
    if (arguments_.dry_run) return;
    // What came to light in the last frame, and what does when camera and module are given up.
    session_->end();
    warnings_.add(*session_);
    warnings_.tell();
    std::cerr << speed_line(all_rays_, all_seconds_) << '\n';
    if (all_rays_.broken > 0)
      std::cerr << "warning: " << all_rays_.broken
                << " rays had no finite position and direction, or began too far away to be traced, and are left out\n";
  }

 private:
  bool has_both_eyes() const { return arguments_.stereo || plan_.red_cyan || plan_.packing; }

  PictureSize size_of_frame() const {
    PictureSize size = picture_size(arguments_.size, *item_.camera, arguments_.camera.scene);
    if (plan_.packing == Packing::vr180 && arguments_.size.empty()) size.width = size.height;
    if (plan_.packing) check_size_of_eye(*plan_.packing, size);
    return size;
  }

  void check_eyes() {
    if (see_the_same(*session_, setup_, standin::Eye::left, standin::Eye::right)) {
      throw std::runtime_error("--packing " + arguments_.packing + ": " + camera_text(item_, setup_) +
                               " shows the same to both eyes; choose a camera whose eyes stand apart, or leave --packing out");
    }
  }

  standin::ItemPose pose_at(double seconds) const { return standin::with_unit_axes(scene_.world_pose(item_, seconds)); }

  void look_ahead() {
    auto ahead = std::make_unique<HalfAheadSession>(
        std::move(session_), [this](double seconds) { return pose_at(seconds); }, camera_text(item_, setup_));
    half_ahead_ = ahead.get();
    session_ = std::move(ahead);
    setup_ = session_->begin_frame(frames_.first());
    warnings_.add(*session_);
  }

  std::uint64_t samples_per_frame() const {
    const auto pixels = static_cast<std::uint64_t>(part_.width) * static_cast<std::uint64_t>(part_.height);
    return pixels * arguments_.samples * (has_both_eyes() ? 2 : 1);
  }

  void report(FrameReport frame) {
    frame.warnings = std::exchange(told_, {});
    if (arguments_.json) write_frame(frame);
  }

  /// Because its picture is there, or because nothing is to be written at all.
  bool is_left_out(int frame, Progress& progress) {
    const auto file = name_.of(frame);
    if (arguments_.skip_existing && std::filesystem::is_regular_file(file)) {
      progress.note(frame_start(frame, item_.name) + "skipped, there is " + file.string());
      progress.add(samples_per_frame());
      report({.frame = frame, .file = file, .skipped = true});
      return true;
    }
    if (!arguments_.dry_run) return false;
    check_can_be_written(file);
    progress.note(frame_start(frame, item_.name) + "would be written -> " + file.string());
    report({.frame = frame, .file = file});
    return true;
  }

  /// For players, where the whole frame is a panorama.
  std::string packet() const {
    if (part_.width != size_.width || part_.height != size_.height) return {};
    const auto cover = panorama_cover(*session_, setup_, plan_.eye);
    if (!cover) return {};
    return panorama_packet(panorama_properties({*cover, size_.width, size_.height, plan_.packing}));
  }

  PictureMetadata metadata() const {
    PictureMetadata metadata = frame_metadata(scene_, arguments_.camera.scene, item_, setup_, size_.width, size_.height,
                                              plan_.red_cyan || plan_.packing ? standin::Eye::centre : plan_.eye);
    if (half_ahead_ != nullptr) metadata.film_width_metres = half_ahead_->camera_setup().film_width;
    if (plan_.packing) {
      metadata.packing = name_of(*plan_.packing);
      metadata.world_to_ndc.reset();
    }
    metadata.xmp = packet();
    if (arguments_.light != RenderArguments().light) metadata.light = arguments_.light;
    return metadata;
  }

  void render_one(int frame, Progress& progress) {
    const auto start = std::chrono::steady_clock::now();
    if (frame != setup_.frame) setup_ = session_->begin_frame(frame);
    const FrameJob job{.session = *session_,
                       .scene = *render_scene_,
                       .setup = setup_,
                       .width = size_.width,
                       .height = size_.height,
                       .part = part_,
                       .samples_per_pixel = arguments_.samples,
                       .eye = plan_.eye,
                       .second_eye = has_both_eyes() ? std::optional(standin::Eye::right) : std::nullopt,
                       .red_cyan = plan_.red_cyan,
                       .soft_light = arguments_.light == "soft",
                       .layers = plan_.layers};
    const PictureForm form{.width = picture_size_.width,
                           .height = picture_size_.height,
                           .part = plan_.packing ? std::nullopt : std::optional(part_),
                           .more_channels = plan_.more.channels,
                           .views = plan_.more.views,
                           .metadata = metadata()};
    const auto file = name_.of(frame);
    PictureFile picture(file, form);
    warnings_.add(*session_);
    std::ranges::move(warnings_.tell(), std::back_inserter(told_));
    render_scene_->set_frame(setup_.start_seconds, setup_.duration_seconds);
    const RayCounts rays =
        plan_.packing ? render_packed(job, *plan_.packing, picture, progress) : render_frame(job, picture, progress);
    picture.finish();
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    all_rays_ += rays;
    all_seconds_ += seconds;
    progress.note(frame_line(job, plan_.packing ? packed_frame(*plan_.packing, size_.width, size_.height) : part_, rays,
                             seconds, item_.name, file));
    report({.frame = frame, .file = file, .seconds = seconds, .rays = rays.traced});
  }

  const RenderArguments& arguments_;
  const Plan plan_;
  const standin::Scene scene_;
  const standin::Item& item_;
  /// Of an eye's frame, and of the whole picture.
  const PictureSize size_;
  const PictureSize picture_size_;
  const PixelBox part_;
  const FrameList frames_;
  const FrameName name_;
  Warnings warnings_;
  std::unique_ptr<standin::Session> session_;
  /// The same, where it is one.
  const HalfAheadSession* half_ahead_ = nullptr;
  /// Of the frame that was begun last.
  standin::FrameSetup setup_;
  std::optional<RenderScene> render_scene_;
  /// Warnings that no frame's report has had yet.
  std::vector<std::string> told_;
  RayCounts all_rays_;
  double all_seconds_ = 0.0;
};

void render(const RenderArguments& arguments) { Rendering(arguments, Plan(arguments)).run(); }

void render_with_threads(const RenderArguments& arguments) {
  const auto threads = arguments.threads > 0 ? static_cast<unsigned>(arguments.threads)
                                             : standin::threads_that_ask(arguments.camera.module_file());
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
  const auto arguments = std::make_shared<RenderArguments>();
  arguments->camera.add_to(*command);
  arguments->camera.add_turn_to(*command);
  command->add_option("-o,--output", arguments->output, "Picture; %04d or #### in its name stands for the frame's number")
      ->required();
  command->add_option("--frames", arguments->frames,
                      "A, A-B, A-B:STEP or A-BxSTEP, several with commas between them (default: the scene's first frame)");
  command->add_option("--size", arguments->size, "WIDTHxHEIGHT in pixels (default: as the scene has it)");
  auto* region = command->add_option("--region", arguments->region,
                                     "X,Y,WIDTH,HEIGHT: only this part of the frame, in pixels from its upper left corner");
  command->add_option("--samples", arguments->samples, "Samples per pixel")
      ->check(CLI::Range(std::uint32_t{1}, most_samples))
      ->capture_default_str();
  command
      ->add_option("--threads", arguments->threads,
                   "Threads (default: one per processor, and twice as many with a module for Windows, which answers in a "
                   "process of its own)")
      ->check(CLI::Range(1, most_threads));
  auto* light =
      command
          ->add_option("--light", arguments->light,
                       "plain, or soft: darker corners, and shadows with the sun's soft edge; takes about three times as long")
          ->check(CLI::IsMember({"plain", "soft"}))
          ->capture_default_str();
  auto* eye =
      command->add_option("--eye", arguments->eye, "centre, left, right or red-cyan, for the glasses")->capture_default_str();
  auto* stereo =
      command->add_flag("--stereo", arguments->stereo, "Both eyes, as the views left and right of one EXR")->excludes(eye);
  auto* packing =
      command
          ->add_option(
              "--packing", arguments->packing,
              "Both eyes, each of --size, in one picture: side-by-side, over-under (the left one above), or vr180 (the "
              "half that lies ahead, equirectangular, side by side)")
          ->excludes(eye)
          ->excludes(stereo)
          ->excludes(region);
  command->add_option("--layers", arguments->layers,
                      "Any of depth,normal,position,uv,motion: more channels of an EXR (Z, N, P, UV, forward), "
                      "each of the ray through the pixel's centre");
  command->add_flag("--motion-blur", arguments->motion_blur, "Motion blur even if the scene has it off");
  command->add_flag("--depth-of-field", arguments->depth_of_field, "Depth of field even if the scene has it off");
  auto* gizmo =
      command->add_flag("--gizmo", arguments->gizmo, "Draw the camera's gizmo over the scene's edges, as a viewport does")
          ->excludes(light)
          ->excludes(packing);
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
  command->callback([arguments] { arguments->gizmo ? render_gizmo(*arguments) : render_with_threads(*arguments); });
}

}  // namespace tool
