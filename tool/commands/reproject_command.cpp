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
#include "tool/lens/panorama.h"
#include "tool/output/file_extension.h"
#include "tool/output/new_file.h"
#include "tool/output/packing.h"
#include "tool/pictures/cube_layouts.h"
#include "tool/pictures/large_picture.h"
#include "tool/pictures/picture_filter.h"

namespace tool {
namespace {

struct ReprojectArguments {
  CameraOptions options;
  std::string picture;
  std::string from;
  std::string to;
  std::string size;
  std::string eye;
  std::string packed;
  std::string packing;
  std::string filter = "triangle";
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

/// What the command line asks for, as far as that can be told without the picture.
struct Plan {
  LensChoice from;
  LensChoice to;
  std::optional<standin::Eye> eye;
  std::optional<PictureSize> size;
  /// Of the picture, and of the new one.
  std::optional<Packing> packed;
  std::optional<Packing> packing;
  PictureFilter filter;

  explicit Plan(const ReprojectArguments& arguments) {
    packed = parse_packing(arguments.packed, "--packed");
    packing = parse_packing(arguments.packing);
    const auto lens = [](const char* option, const std::string& text, const std::optional<Packing>& of) {
      if (text.empty() && of == Packing::vr180) return parse_lens(option, "equirectangular180");
      if (text.empty()) throw UsageError(std::string(option) + " is required: give a LENS");
      LensChoice choice = parse_lens(option, text);
      if (of == Packing::vr180 && choice.kind != LensChoice::Kind::equirectangular180)
        throw UsageError(std::string(option) + " " + text + ": vr180 is always equirectangular180; leave " + option + " out");
      return choice;
    };
    from = lens("--from", arguments.from, packed);
    to = lens("--to", arguments.to, packing);
    // Both eyes stay where they are.
    if (packed && !packing) packing = packed == Packing::vr180 ? Packing::side_by_side : *packed;
    if (!arguments.eye.empty()) eye = parse_eye(arguments.eye);
    if (!arguments.size.empty()) size = parse_size(arguments.size);
    if (size && packing) check_size_of_eye(*packing, *size);
    if (lower_case_extension(arguments.output) != lower_case_extension(arguments.picture)) {
      throw UsageError("-o " + arguments.output + ": the name must end in " + lower_case_extension(arguments.picture) +
                       " as the picture's, whose kind of numbers and channels stay");
    }
    try {
      filter = picture_filter(arguments.filter);
    } catch (const std::invalid_argument& error) {
      throw UsageError("--filter " + arguments.filter + ": " + error.what());
    }
  }

  EyePictures pictures_of(const LargePicture& picture, const std::string& name) const {
    if (packed) return unpacked(picture, *packed, name);
    if (packing) return views_to_pack(picture, name);
    return eye ? seen_by(picture, *eye) : by_views(picture);
  }

  PictureSize size_of_eye(PictureSize of_old) const {
    if (size) return *size;
    PictureSize found = size_of(to, from, of_old);
    if (packing == Packing::vr180) found.width = found.height;
    return found;
  }
};

/// For players, where what all the panes show is a panorama.
std::vector<std::pair<std::string, std::string>> panorama_of(const std::vector<Pane>& panes, PictureSize size,
                                                             const std::optional<Packing>& packing) {
  std::optional<PanoramaCover> cover;
  for (const Pane& pane : panes) {
    const auto found = panorama_cover(pane.lenses.to());
    if (!found || (cover && cover != found)) return {};
    cover = found;
  }
  return panorama_properties({cover.value(), size.width, size.height, packing});
}

void reproject(const ReprojectArguments& arguments) {
  const Plan plan(arguments);
  const auto picture = open_picture(arguments.picture);
  check_can_be_written(arguments.output);
  EyePictures pictures = plan.pictures_of(*picture, arguments.picture);
  const PictureSize of_eye = plan.size_of_eye(pictures.size);
  const PictureSize size = plan.packing ? packed_size(*plan.packing, of_eye) : of_eye;

  const standin::Eye first = pictures.eyes.front().eye;
  Warnings warnings(arguments.options.strict);
  const OpenLens from = open_lens(plan.from, arguments.options, arguments.frame, pictures.size, first, false, warnings);
  if (from.server == "QuorinSkyboxCam") {
    throw std::runtime_error(
        "--from " + arguments.from +
        ": between the faces of a skybox there are gaps, which would be lines in the new picture; close them with \"ovicam "
        "skybox split --face\", or give --from skybox and have the lines");
  }
  const OpenLens to = open_lens(plan.to, arguments.options, arguments.frame, of_eye, first, from.session != nullptr, warnings);
  warnings.tell();
  if (from.pose && to.pose && length(from.lens->position() - to.lens->position()) > same_position_metres) {
    std::cerr << "note: the two cameras stand " << length(from.lens->position() - to.lens->position())
              << " m apart; only directions count, as if all they see were far away\n";
  }
  // Views that are seen through the same lenses are one picture.
  if (pictures.eyes.size() > 1 && !plan.packing && !from.has_two_eyes() && !to.has_two_eyes())
    pictures = seen_by(*picture, first);
  std::vector<std::unique_ptr<EyeLenses>> lenses;
  std::vector<Pane> panes;
  for (const EyePicture& each : pictures.eyes) {
    lenses.push_back(std::make_unique<EyeLenses>(from, to, each.eye));
    const bool right = each.eye == standin::Eye::right;
    panes.push_back({each, *lenses.back(),
                     plan.packing ? place_of_eye(*plan.packing, right, of_eye.width, of_eye.height)
                                  : PixelBox{0, 0, size.width, size.height}});
  }
  const std::string from_name = from.lens->description();
  const std::string to_name = to.lens->description();
  NewFile file(arguments.output);
  NewFileBytes bytes(file);
  NewPicture form{size.width,
                  size.height,
                  pictures.channels,
                  pictures.names,
                  !plan.packing,
                  {{"ovicam/tool", OVICAM_VERSION}, {"ovicam/reproject/from", from_name}, {"ovicam/reproject/to", to_name}},
                  panorama_of(panes, of_eye, plan.packing)};
  if (plan.packing) form.facts.emplace_back("ovicam/packing", name_of(*plan.packing));
  const auto writer = picture->create(bytes, form);
  const PaneReport report = write_panes(panes, size, pictures.channels.size(), plan.filter, *writer);
  if (!report.has_seen)
    throw std::runtime_error("the picture would be empty: " + from_name + " and " + to_name + " see nothing in common");
  if (report.has_broken_numbers)
    warnings.add(arguments.picture + " has numbers that are infinite or none at all; they were taken for 0");
  warnings.tell();
  writer->finish();
  file.finish();
  std::cerr << size.width << 'x' << size.height << " pixels of " << to_name << " from " << from_name << " -> "
            << arguments.output << '\n';
}

}  // namespace

void add_reproject_command(CLI::App& app) {
  auto* command = app.add_subcommand("reproject", "Shows a picture of one lens as another lens would have shown it.");
  command->footer(
      "Examples:\n"
      "  ovicam reproject plaza.png --from samples/plaza.lws:Panorama --to perspective:90deg --size 1280x720 -o flat.png\n"
      "  ovicam reproject all.exr --from equirectangular --to QuorinFisheyeCam,FisheyePower=2 --size 2048x2048 -o fisheye.exr\n"
      "  ovicam reproject both.exr --from 'samples/cameras.lws:Stereo' --packing vr180 --size 2048x2048 -o vr180.exr\n"
      "A LENS is a camera of a scene, scene.lws:Name; a camera server with values as --set has them, "
      "QuorinFisheyeCam,FisheyePower=2; or equirectangular, equirectangular180 (the half ahead), fisheye180 (equidistant, the "
      "circle touches the shorter sides), perspective:90deg (horizontal field of view), cubemap or skybox (as that camera "
      "renders "
      "it, with its gaps). cubemap:cross and the like name the layout: " +
      cube_layout_names(true) +
      "; without it, the shape of the picture tells. Two cameras of scenes look where they look in the world; otherwise both "
      "lenses look the same way. The new picture has the kind of numbers and all the channels of the old one. It is 0, and "
      "transparent, where the old one shows nothing.");
  const auto arguments = std::make_shared<ReprojectArguments>();
  command->add_option("PICTURE", arguments->picture, "Picture to begin with, PNG or EXR")->required();
  command->add_option("--from", arguments->from, "LENS that the picture was made with");
  command->add_option("--to", arguments->to, "LENS of the new picture");
  command->add_option("-o,--output", arguments->output, "New picture, of the same kind as the first")->required();
  command->add_option("--size", arguments->size,
                      "WIDTHxHEIGHT of the new picture in pixels, of each eye where it has both (default: as the scene has it; "
                      "of a cube, faces a "
                      "quarter as wide as the picture, or the picture's own; else that of the picture)");
  auto* eye = command->add_option(
      "--eye", arguments->eye,
      "Of both lenses, for all that the picture holds: centre, left or right (default: each view's own, left or right, of two "
      "eyes; else centre)");
  command
      ->add_option(
          "--packing", arguments->packing,
          "Both eyes, each of --size, in one picture: side-by-side, over-under (the left one above), or vr180 (the half "
          "that lies ahead, side by side; --to is equirectangular180 then)")
      ->excludes(eye);
  command
      ->add_option("--packed", arguments->packed,
                   "How PICTURE has both eyes in it already, with the same words; they stay so unless --packing is given")
      ->excludes(eye);
  command
      ->add_option("--filter", arguments->filter,
                   "What is taken between the pixels of PICTURE: triangle (between neighbours), box (the nearest, for names "
                   "and masks), catmull-rom, lanczos3 or another of OpenImageIO's filters (sharper, or smoother)")
      ->capture_default_str();
  command->add_option("--frame", arguments->frame, "Frame of the scenes (default: each scene's first)");
  arguments->options.add_module_to(*command);
  command->add_flag("--strict", arguments->options.strict,
                    "Take no warning: whatever is missing, left out or replaced is an error");
  command->callback([arguments] { reproject(*arguments); });
}

}  // namespace tool
