#include "tool/commands/reproject_command.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <memory>
#include <numeric>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tool/commands/camera_options.h"
#include "tool/commands/lens_option.h"
#include "tool/commands/option_text.h"
#include "tool/commands/reproject_panes.h"
#include "tool/commands/usage_error.h"
#include "tool/commands/warnings.h"
#include "tool/output/file_extension.h"
#include "tool/output/new_file.h"
#include "tool/pictures/picture_views.h"

namespace tool {
namespace {

struct ReprojectArguments {
  CameraOptions options;
  std::string picture;
  std::string from;
  std::string to;
  std::string size;
  std::string eye;
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

/// What is reprojected through which eye of the lenses: each view through its own, unless an eye is given or there are no two.
std::vector<EyeView> eye_views(const LargePicture& picture, const std::optional<standin::Eye>& given) {
  if (!given) return eye_views_of(picture);
  std::vector<std::size_t> all(picture.channels().size());
  std::iota(all.begin(), all.end(), std::size_t{0});
  return {{*given, {{}, all}}};
}

/// One picture where all its views are seen through the same lenses.
std::vector<EyeView> joined(std::vector<EyeView> eyes) {
  EyeView all{eyes.front().eye, {}};
  for (const EyeView& each : eyes) std::ranges::copy(each.view.channels, std::back_inserter(all.view.channels));
  std::ranges::sort(all.view.channels);
  return {all};
}

void reproject(const ReprojectArguments& arguments) {
  const LensChoice from_choice = parse_lens("--from", arguments.from);
  const LensChoice to_choice = parse_lens("--to", arguments.to);
  std::optional<standin::Eye> given_eye;
  if (!arguments.eye.empty()) given_eye = parse_eye(arguments.eye);
  std::optional<PictureSize> size;
  if (!arguments.size.empty()) size = parse_size(arguments.size);
  if (lower_case_extension(arguments.output) != lower_case_extension(arguments.picture)) {
    throw UsageError("-o " + arguments.output + ": the name must end in " + lower_case_extension(arguments.picture) +
                     " as the picture's, whose kind of numbers and channels stay");
  }
  const auto picture = open_picture(arguments.picture);
  check_can_be_written(arguments.output);
  const PictureSize picture_size{picture->width(), picture->height()};
  if (!size) size = size_of(to_choice).value_or(picture_size);

  std::vector<EyeView> eyes = eye_views(*picture, given_eye);
  const standin::Eye eye = eyes.front().eye;
  Warnings warnings(arguments.options.strict);
  const OpenLens from = open_lens(from_choice, arguments.options, arguments.frame, picture_size, eye, false, warnings);
  if (from.server == "QuorinSkyboxCam") {
    throw std::runtime_error(
        "--from " + arguments.from +
        ": between the faces of a skybox there are gaps, which would be lines in the new picture; cut it into squares with "
        "\"ovicam skybox split --face\"");
  }
  const OpenLens to = open_lens(to_choice, arguments.options, arguments.frame, *size, eye, from.session != nullptr, warnings);
  warnings.tell();
  if (from.pose && to.pose && length(from.lens->position() - to.lens->position()) > same_position_metres) {
    std::cerr << "note: the two cameras stand " << length(from.lens->position() - to.lens->position())
              << " m apart; only directions count, as if all they see were far away\n";
  }
  if (eyes.size() > 1 && !from.has_two_eyes() && !to.has_two_eyes()) eyes = joined(std::move(eyes));
  std::vector<std::unique_ptr<EyeLenses>> lenses;
  std::vector<std::unique_ptr<PictureChannels>> pictures;
  std::vector<Pane> panes;
  for (const EyeView& each : eyes) {
    lenses.push_back(std::make_unique<EyeLenses>(from, to, each.eye));
    pictures.push_back(std::make_unique<PictureChannels>(*picture, each.view.channels));
    panes.push_back({*pictures.back(), *lenses.back(), {0, 0, size->width, size->height}, each.view.channels});
  }
  const std::string from_name = from.lens->description();
  const std::string to_name = to.lens->description();
  NewFile file(arguments.output);
  NewFileBytes bytes(file);
  const auto writer = picture->create(
      bytes, size->width, size->height,
      {{"ovicam/tool", OVICAM_VERSION}, {"ovicam/reproject/from", from_name}, {"ovicam/reproject/to", to_name}});
  const PaneReport report = write_panes(panes, *size, picture->channels().size(), *writer);
  if (!report.has_seen)
    throw std::runtime_error("the picture would be empty: " + from_name + " and " + to_name + " see nothing in common");
  if (report.has_broken_numbers)
    warnings.add(arguments.picture + " has numbers that are infinite or none at all; they were taken for 0");
  warnings.tell();
  writer->finish();
  file.finish();
  std::cerr << size->width << 'x' << size->height << " pixels of " << to_name << " from " << from_name << " -> "
            << arguments.output << '\n';
}

}  // namespace

void add_reproject_command(CLI::App& app) {
  auto* command = app.add_subcommand("reproject", "Shows a picture of one lens as another lens would have shown it.");
  command->footer(
      "Examples:\n"
      "  ovicam reproject plaza.png --from samples/plaza.lws:Panorama --to perspective:90deg --size 1280x720 -o flat.png\n"
      "  ovicam reproject all.exr --from equirectangular --to QuorinFisheyeCam,FisheyePower=2 --size 2048x2048 -o fisheye.exr\n"
      "A LENS is a camera of a scene, scene.lws:Name; a camera server with values as --set has them, "
      "QuorinFisheyeCam,FisheyePower=2; or equirectangular, fisheye180 (equidistant, the circle touches the shorter sides) or "
      "perspective:90deg (horizontal field of view). Two cameras of scenes look where they look in the world; otherwise both "
      "lenses look the same way. The new picture has the kind of numbers and all the channels of the old one. It is 0, and "
      "transparent, where the old one shows nothing.");
  const auto arguments = std::make_shared<ReprojectArguments>();
  command->add_option("PICTURE", arguments->picture, "Picture to begin with, PNG or EXR")->required();
  command->add_option("--from", arguments->from, "LENS that the picture was made with")->required();
  command->add_option("--to", arguments->to, "LENS of the new picture")->required();
  command->add_option("-o,--output", arguments->output, "New picture, of the same kind as the first")->required();
  command->add_option("--size", arguments->size,
                      "WIDTHxHEIGHT of the new picture in pixels (default: as the scene has it, or that of the picture)");
  command->add_option(
      "--eye", arguments->eye,
      "Of both lenses, for all that the picture holds: centre, left or right (default: each view's own, left or right, of two "
      "eyes; else centre)");
  command->add_option("--frame", arguments->frame, "Frame of the scenes (default: each scene's first)");
  arguments->options.add_module_to(*command);
  command->add_flag("--strict", arguments->options.strict,
                    "Take no warning: whatever is missing, left out or replaced is an error");
  command->callback([arguments] { reproject(*arguments); });
}

}  // namespace tool
