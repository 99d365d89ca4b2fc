#include "tool/commands/bake_coverage_command.h"

#include <algorithm>
#include <cstddef>
#include <iostream>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "sdk/handlers.h"
#include "standin/remote/ray_service.h"
#include "standin/scene/name_list.h"
#include "standin/scene/scene.h"
#include "standin/session/session.h"
#include "tool/commands/camera_options.h"
#include "tool/commands/option_text.h"
#include "tool/commands/usage_error.h"
#include "tool/commands/warnings.h"
#include "tool/output/picture.h"
#include "tool/render/frame_metadata.h"

namespace tool {
namespace {

constexpr const char* baking_server = "QuorinBakingCam";

constexpr Pixel covered{1.0F, 1.0F, 1.0F, 1.0F};
constexpr Pixel uncovered{0.01F, 0.012F, 0.02F, 1.0F};

struct BakeCoverageArguments {
  CameraOptions camera;
  std::string size;
  std::string picture;
};

bool bakes(const standin::Item& item) {
  return item.camera && item.camera->handler && item.camera->handler->server_name == baking_server;
}

std::string no_baking_camera(const standin::Scene& scene, const standin::Item& item) {
  std::vector<std::string> names;
  for (const standin::Item& other : scene.items)
    if (bakes(other)) names.push_back('"' + other.name + '"');
  return '"' + item.name + "\" is no baking camera; " +
         (names.empty() ? std::string("the scene has none: ")
                        : "choose one with --camera (" + standin::joined(names) + "), or ") +
         "give --server " + baking_server + " to look through it as one";
}

/// How many pixels of the row are covered, that is, have no ray of the camera.
std::size_t show_row(standin::Session& session, std::span<const standin::RayQuery> queries, std::span<Pixel> pixels) {
  std::vector<standin::RayAnswer> answers(queries.size());
  session.evaluate(queries, answers);
  const auto is_covered = [](const standin::RayAnswer& answer) { return answer.result == LWCAMEVAL_NONE; };
  std::ranges::transform(answers, pixels.begin(), [&](const auto& answer) { return is_covered(answer) ? covered : uncovered; });
  return static_cast<std::size_t>(std::ranges::count_if(answers, is_covered));
}

void write_coverage(const BakeCoverageArguments& arguments) {
  if (!arguments.camera.server.empty() && arguments.camera.server != baking_server)
    throw UsageError("--server " + arguments.camera.server + ": only " + baking_server + " shows coverage");
  if (!PictureFile::is_picture_name(arguments.picture))
    throw UsageError("-o " + arguments.picture + ": the name must end in .png or .exr");
  const standin::Scene scene = arguments.camera.read_scene();
  const standin::Item& item = arguments.camera.find_camera(scene);
  if (arguments.camera.server.empty() && !bakes(item)) throw std::runtime_error(no_baking_camera(scene, item));
  const auto [width, height] = picture_size(arguments.size, *item.camera, arguments.camera.scene);
  standin::SessionOptions options = arguments.camera.session_options();
  options.server_name = baking_server;
  options.width_pixels = width;
  options.height_pixels = height;
  const auto session = standin::open_session_for(options);
  const standin::FrameSetup setup = session->begin_frame(scene.first_frame);
  Warnings warnings(arguments.camera.strict);
  warnings.add(scene);
  add_missing_objects(arguments.camera, scene, warnings);
  warnings.add(*session);
  warnings.tell();
  PictureForm form{.width = width, .height = height};
  form.metadata = frame_metadata(scene, arguments.camera.scene, item, setup, width, height, standin::Eye::centre);
  PictureFile picture(arguments.picture, form);

  std::vector<standin::RayQuery> queries(static_cast<std::size_t>(width));
  std::vector<Pixel> pixels(queries.size());
  std::size_t covered_pixels = 0;
  for (int row = 0; row < height; ++row) {
    for (int column = 0; column < width; ++column) {
      standin::RayQuery& query = queries[static_cast<std::size_t>(column)];
      query.film_x = setup.film_x((column + 0.5) / width);
      query.film_y = setup.film_y((row + 0.5) / height);
    }
    covered_pixels += show_row(*session, queries, pixels);
    picture.write_rows(pixels);
  }
  picture.finish();
  std::cout << width << 'x' << height << " pixels, " << covered_pixels << " of them covered -> " << arguments.picture << '\n';
}

}  // namespace

void add_bake_coverage_command(CLI::App& app) {
  auto* command = app.add_subcommand(
      "bake-coverage", "Shows which pixels an object's texture map covers, as the surface baking camera sees it.");
  command->footer(
      "Example:\n  ovicam bake-coverage samples/cameras.lws --camera Baking -o coverage.png\n"
      "Covered pixels are white. --set Mesh=NAME and --set \"UV Map\"=NAME choose what is shown; with --set \"Bake "
      "surroundings\"=1 the polygons' edges count as well as their corners.");
  const auto arguments = std::make_shared<BakeCoverageArguments>();
  arguments->camera.add_to(*command);
  command->add_option("--size", arguments->size, "WIDTHxHEIGHT in pixels (default: as the scene has it)");
  command->add_option("-o,--output", arguments->picture, "Picture, .png or .exr")->required();
  command->callback([arguments] { write_coverage(*arguments); });
}

}  // namespace tool
