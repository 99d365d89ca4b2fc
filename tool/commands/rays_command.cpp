#include "tool/commands/rays_command.h"

#include <array>
#include <cstddef>
#include <iomanip>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "standin/host/plain_camera.h"
#include "standin/remote/ray_service.h"
#include "standin/scene/scene.h"
#include "standin/session/session.h"
#include "tool/commands/camera_options.h"
#include "tool/commands/option_text.h"
#include "tool/commands/usage_error.h"
#include "tool/commands/warnings.h"
#include "tool/output/json_output.h"
#include "tool/output/text_table.h"

namespace tool {
namespace {

using nlohmann::json;

constexpr int most_columns_or_rows = 1000;

struct RaysArguments {
  CameraOptions camera;
  std::string grid = "9x5";
  std::string eye = "centre";
  std::optional<int> frame;
  bool json = false;
};

/// A film position of the grid and the module's answer; column 0 is the film's left edge, row 0 its top one.
struct GridRay {
  int column = 0;
  int row = 0;
  standin::RayQuery query;
  standin::RayAnswer answer;
};

struct Grid {
  int columns = 0;
  int rows = 0;
};

Grid parse_grid(const std::string& text) {
  const auto numbers = two_numbers(text);
  const auto allowed = [](int count) { return count >= 1 && count <= most_columns_or_rows; };
  if (!numbers || !allowed(numbers->first) || !allowed(numbers->second)) {
    throw UsageError("--grid " + text + ": give COLUMNSxROWS, each from 1 to " + std::to_string(most_columns_or_rows) +
                     ", such as 9x5");
  }
  return {numbers->first, numbers->second};
}

/// From -1/2 to 1/2; a single position is in the middle.
double share(int index, int count) { return count == 1 ? 0.0 : static_cast<double>(index) / (count - 1) - 0.5; }

std::vector<GridRay> asked_rays(standin::Session& session, const standin::FrameSetup& setup, Grid grid, standin::Eye eye) {
  std::vector<GridRay> rays;
  std::vector<standin::RayQuery> queries;
  for (int row = 0; row < grid.rows; ++row) {
    for (int column = 0; column < grid.columns; ++column) {
      standin::RayQuery query;
      query.film_x = share(column, grid.columns) * setup.film_width;
      query.film_y = -share(row, grid.rows) * setup.film_height;
      query.eye = eye;
      rays.push_back({column, row, query, {}});
      queries.push_back(query);
    }
  }
  std::vector<standin::RayAnswer> answers(queries.size());
  session.evaluate(queries, answers);
  for (std::size_t i = 0; i < rays.size(); ++i) rays[i].answer = answers[i];
  return rays;
}

json numbers(standin::Vec3 vector) { return {vector.x, vector.y, vector.z}; }

json described(const GridRay& ray) {
  json value = {
      {"column", ray.column}, {"row", ray.row}, {"film", {ray.query.film_x, ray.query.film_y}}, {"result", ray.answer.result}};
  if (ray.answer.result != 0) {
    value["start"] = numbers(ray.answer.position);
    value["direction"] = numbers(ray.answer.direction);
  }
  return value;
}

std::string six_decimals(double number) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(6) << (number == 0.0 ? 0.0 : number);
  return text.str();
}

void write_table(const std::vector<GridRay>& rays) {
  TextTable table;
  table.add_row({"Column", "Row", "Film x", "Film y", "Start x", "y", "z", "Direction x", "y", "z"});
  for (const GridRay& ray : rays) {
    std::vector<std::string> cells = {std::to_string(ray.column), std::to_string(ray.row), six_decimals(ray.query.film_x),
                                      six_decimals(ray.query.film_y)};
    if (ray.answer.result == 0) {
      cells.emplace_back("no ray");
    } else {
      const auto& [start, direction] = std::pair{ray.answer.position, ray.answer.direction};
      for (const double number : {start.x, start.y, start.z, direction.x, direction.y, direction.z})
        cells.push_back(six_decimals(number));
    }
    table.add_row(std::move(cells));
  }
  table.write(std::cout, "");
}

void show_rays(const RaysArguments& arguments) {
  const Grid grid = parse_grid(arguments.grid);
  const standin::Eye eye = parse_eye(arguments.eye);

  const standin::Scene scene = arguments.camera.read_scene();
  const standin::Item& item = arguments.camera.find_camera(scene);
  const auto session = standin::open_session_for(arguments.camera.session_options());
  const standin::FrameSetup setup = session->begin_frame(arguments.frame.value_or(scene.first_frame));
  Warnings warnings(arguments.camera.strict);
  warnings.add(scene);
  add_missing_objects(arguments.camera, scene, warnings);
  warnings.add(*session);
  add_eye_without_effect(*session, setup, eye, warnings);
  warnings.tell();
  const auto rays = asked_rays(*session, setup, grid, eye);
  if (!arguments.json) {
    write_table(rays);
    return;
  }
  const standin::ItemPose pose = standin::with_unit_axes(scene.world_pose(item, setup.start_seconds));
  json list = json::array();
  for (const GridRay& ray : rays) list.push_back(described(ray));
  write_json(std::cout, {{"camera", item.name},
                         {"frame", setup.frame},
                         {"film", {setup.film_width, setup.film_height}},
                         {"pose",
                          {{"position", numbers(pose.position)},
                           {"right", numbers(pose.right)},
                           {"up", numbers(pose.up)},
                           {"forward", numbers(pose.forward)}}},
                         {"columns", grid.columns},
                         {"rows", grid.rows},
                         {"rays", std::move(list)}});
}

}  // namespace

void add_rays_command(CLI::App& app) {
  auto* command = app.add_subcommand(
      "rays", "Shows the ray that the module gives for each film position, in metres, in the scene's world space.");
  command->footer("Example:\n  ovicam rays samples/cameras.lws --camera Panoramic --grid 5x3");
  const auto arguments = std::make_shared<RaysArguments>();
  arguments->camera.add_to(*command);
  command->add_option("--grid", arguments->grid, "COLUMNSxROWS of film positions, from edge to edge")->capture_default_str();
  command->add_option("--eye", arguments->eye, "centre, left or right")->capture_default_str();
  command->add_option("--frame", arguments->frame, "Frame (default: the scene's first)");
  command->add_flag("--json", arguments->json, "As JSON, for programs, with the camera's place and the film's size");
  command->callback([arguments] { show_rays(*arguments); });
}

}  // namespace tool
