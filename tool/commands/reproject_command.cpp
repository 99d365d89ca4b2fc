#include "tool/commands/reproject_command.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "tool/commands/camera_options.h"
#include "tool/commands/lens_option.h"
#include "tool/commands/option_text.h"
#include "tool/commands/usage_error.h"
#include "tool/commands/warnings.h"
#include "tool/lens/plain_lenses.h"
#include "tool/lens/reprojection.h"
#include "tool/output/file_extension.h"
#include "tool/output/new_file.h"
#include "tool/output/progress.h"
#include "tool/pictures/cube_layouts.h"
#include "tool/pictures/large_picture.h"

namespace tool {
namespace {

/// Numbers of the new picture that are in memory at once, and its rows at least and at most.
constexpr std::size_t numbers_at_once = std::size_t{1} << 23;
constexpr int fewest_rows = 64;
constexpr int most_rows = 256;

struct ReprojectArguments {
  CameraOptions options;
  std::string picture;
  std::string from;
  std::string to;
  std::string size;
  std::string eye = "centre";
  std::optional<int> frame;
  std::string output;
};

/// Bytes of a file that appears when it is complete.
class NewFileBytes final : public PictureBytes {
 public:
  /// The file must outlive this.
  explicit NewFileBytes(NewFile& file) : file_(file) {}
  void write(std::span<const std::byte> bytes) override { file_.write(bytes); }
  void move_to(std::uint64_t position) override { file_.move_to(position); }

 private:
  NewFile& file_;
};

/// The lens among the directions of both: a scene's camera in its own axes where the other lens is in none of a scene.
const Lens& in_common_axes(const OpenLens& lens, const OpenLens& other, std::unique_ptr<LensInPose>& turned) {
  if (!lens.pose || other.pose) return *lens.lens;
  turned = std::make_unique<LensInPose>(*lens.lens, *lens.pose);
  return *turned;
}

void write_picture(Reprojection& reprojection, const LargePicture& picture, PictureSize size, const std::string& name,
                   const std::string& output, const Lens& from, const Lens& to, Warnings& warnings) {
  NewFile file(output);
  NewFileBytes bytes(file);
  const auto writer = picture.create(bytes, size.width, size.height,
                                     {{"ovicam/tool", OVICAM_VERSION},
                                      {"ovicam/reproject/from", from.description()},
                                      {"ovicam/reproject/to", to.description()}});
  const std::size_t row = static_cast<std::size_t>(size.width) * picture.channels().size();
  const int rows_at_once = std::clamp(static_cast<int>(numbers_at_once / row), fewest_rows, most_rows);
  std::vector<float> samples;
  {
    Progress progress(static_cast<double>(size.width) * size.height);
    for (int first = 0; first < size.height; first += rows_at_once) {
      const PixelBox part{0, first, size.width, std::min(rows_at_once, size.height - first)};
      samples.resize(row * static_cast<std::size_t>(part.height));
      reprojection.fill(part, samples);
      writer->write_rows(samples);
      progress.add(static_cast<std::uint64_t>(part.width) * static_cast<std::uint64_t>(part.height));
    }
  }
  if (!reprojection.has_seen()) {
    throw std::runtime_error("the picture would be empty: " + from.description() + " and " + to.description() +
                             " see nothing in common");
  }
  if (reprojection.has_broken_numbers())
    warnings.add(name + " has numbers that are infinite or none at all; they were taken for 0");
  warnings.tell();
  writer->finish();
  file.finish();
}

void reproject(const ReprojectArguments& arguments) {
  const LensChoice from_choice = parse_lens("--from", arguments.from);
  const LensChoice to_choice = parse_lens("--to", arguments.to);
  const standin::Eye eye = parse_eye(arguments.eye);
  std::optional<PictureSize> size;
  if (!arguments.size.empty()) size = parse_size(arguments.size);
  if (lower_case_extension(arguments.output) != lower_case_extension(arguments.picture)) {
    throw UsageError("-o " + arguments.output + ": the name must end in " + lower_case_extension(arguments.picture) +
                     " as the picture's, whose kind of numbers and channels stay");
  }
  const auto picture = open_picture(arguments.picture);
  check_can_be_written(arguments.output);
  const PictureSize picture_size{picture->width(), picture->height()};
  if (!size) size = size_of(to_choice, from_choice, picture_size);

  Warnings warnings(arguments.options.strict);
  const OpenLens from = open_lens(from_choice, arguments.options, arguments.frame, picture_size, eye, false, warnings);
  if (from.server == "QuorinSkyboxCam") {
    throw std::runtime_error(
        "--from " + arguments.from +
        ": between the faces of a skybox there are gaps, which would be lines in the new picture; close them with \"ovicam "
        "skybox split --face\", or give --from skybox and have the lines");
  }
  const OpenLens to = open_lens(to_choice, arguments.options, arguments.frame, *size, eye, from.session != nullptr, warnings);
  warnings.tell();
  if (from.pose && to.pose && length(from.lens->position() - to.lens->position()) > same_position_metres) {
    std::cerr << "note: the two cameras stand " << length(from.lens->position() - to.lens->position())
              << " m apart; only directions count, as if all they see were far away\n";
  }
  std::unique_ptr<LensInPose> turned_from;
  std::unique_ptr<LensInPose> turned_to;
  const Lens& from_lens = in_common_axes(from, to, turned_from);
  const Lens& to_lens = in_common_axes(to, from, turned_to);
  Reprojection reprojection(*picture, from_lens, to_lens, size->width, size->height);
  write_picture(reprojection, *picture, *size, arguments.picture, arguments.output, from_lens, to_lens, warnings);
  std::cerr << size->width << 'x' << size->height << " pixels of " << to_lens.description() << " from "
            << from_lens.description() << " -> " << arguments.output << '\n';
}

}  // namespace

void add_reproject_command(CLI::App& app) {
  auto* command = app.add_subcommand("reproject", "Shows a picture of one lens as another lens would have shown it.");
  command->footer(
      "Examples:\n"
      "  ovicam reproject plaza.png --from samples/plaza.lws:Panorama --to perspective:90deg --size 1280x720 -o flat.png\n"
      "  ovicam reproject all.exr --from equirectangular --to QuorinFisheyeCam,FisheyePower=2 --size 2048x2048 -o fisheye.exr\n"
      "A LENS is a camera of a scene, scene.lws:Name; a camera server with values as --set has them, "
      "QuorinFisheyeCam,FisheyePower=2; or equirectangular, fisheye180 (equidistant, the circle touches the shorter sides), "
      "perspective:90deg (horizontal field of view), cubemap or skybox (as that camera renders it, with its gaps). "
      "cubemap:cross "
      "and the like name the layout: " +
      cube_layout_names(true) +
      "; without it, the shape of the picture tells. Two cameras of scenes look where they look in the world; otherwise both "
      "lenses look the same way. The new picture has the kind of numbers and all the channels of the old one. It is 0, and "
      "transparent, where the old one shows nothing.");
  const auto arguments = std::make_shared<ReprojectArguments>();
  command->add_option("PICTURE", arguments->picture, "Picture to begin with, PNG or EXR")->required();
  command->add_option("--from", arguments->from, "LENS that the picture was made with")->required();
  command->add_option("--to", arguments->to, "LENS of the new picture")->required();
  command->add_option("-o,--output", arguments->output, "New picture, of the same kind as the first")->required();
  command->add_option(
      "--size", arguments->size,
      "WIDTHxHEIGHT of the new picture in pixels (default: as the scene has it; of a cube, faces a quarter as wide "
      "as the picture, or the picture's own; else that of the picture)");
  command->add_option("--eye", arguments->eye, "Of both lenses: centre, left or right")->capture_default_str();
  command->add_option("--frame", arguments->frame, "Frame of the scenes (default: each scene's first)");
  arguments->options.add_module_to(*command);
  command->add_flag("--strict", arguments->options.strict,
                    "Take no warning: whatever is missing, left out or replaced is an error");
  command->callback([arguments] { reproject(*arguments); });
}

}  // namespace tool
