#include "tool/view/lens_measures.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "tool/lens/panorama.h"

namespace tool {
namespace {

using standin::Vec3;

std::vector<std::optional<Vec3>> directions(standin::Session& session, const std::vector<standin::RayQuery>& queries) {
  std::vector<standin::RayAnswer> answers(queries.size());
  session.evaluate(queries, answers);
  std::vector<std::optional<Vec3>> found;
  found.reserve(answers.size());
  for (const standin::RayAnswer& answer : answers) {
    const double size = length(answer.direction);
    const bool is_ray = answer.result != 0 && std::isfinite(size) && size > 0.0;
    found.push_back(is_ray ? std::optional(answer.direction * (1.0 / size)) : std::nullopt);
  }
  return found;
}

}  // namespace

LensMeasures measure_lens(standin::Session& session, const standin::FrameSetup& setup, standin::Eye eye) {
  LensMeasures measures;
  measures.panorama = panorama_cover(session, setup, eye);
  constexpr double share = 0.01;
  const auto seen = directions(session, {{.film_x = 0.0, .film_y = -0.5 * share * setup.film_height, .eye = eye},
                                         {.film_x = 0.0, .film_y = 0.5 * share * setup.film_height, .eye = eye}});
  if (seen[0] && seen[1]) {
    const double radians = 2.0 * std::asin(std::min(1.0, 0.5 * length(*seen[1] - *seen[0])));
    if (radians > 0.0) measures.degrees_per_height = radians / share * 180.0 / std::numbers::pi;
  }
  return measures;
}

}  // namespace tool
