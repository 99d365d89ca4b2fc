#include "tool/commands/render_gizmo.h"

#include <algorithm>
#include <array>
#include <iostream>
#include <iterator>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tool/commands/frame_range.h"
#include "tool/commands/option_text.h"
#include "tool/commands/usage_error.h"
#include "tool/commands/warnings.h"
#include "tool/render/gizmo_picture.h"
#include "tool/render/scene_layers.h"

namespace tool {
namespace {

standin::Vec3 parse_point(const std::string& option, const std::string& text) {
  const auto point = three_numbers(text);
  if (!point) throw UsageError(option + " " + text + ": give X,Y,Z in metres, such as 0,5,-8");
  return *point;
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

}  // namespace

void render_gizmo(const RenderArguments& arguments) {
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
  arguments.camera.tell_camera(scene);
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

}  // namespace tool
