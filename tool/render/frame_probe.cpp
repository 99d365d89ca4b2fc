#include "tool/render/frame_probe.h"

#include <algorithm>
#include <array>
#include <utility>

namespace tool {

std::vector<standin::RayAnswer> probe_frame(standin::Session& session, const standin::FrameSetup& setup, standin::Eye eye) {
  constexpr std::array shares{-0.5, -0.37, -0.11, 0.0, 0.23, 0.41, 0.5};
  constexpr std::array<std::pair<double, double>, 2> lens_points{{{0.0, 0.0}, {0.6, -0.5}}};
  std::vector<standin::RayQuery> queries;
  for (const double time : {0.0, 0.7})
    for (const auto& [lens_x, lens_y] : lens_points)
      for (const double x : shares)
        for (const double y : shares)
          queries.push_back({x * setup.film_width, y * setup.film_height, lens_x, lens_y, time, eye});
  std::vector<standin::RayAnswer> answers(queries.size());
  session.evaluate(queries, answers);
  return answers;
}

bool same_rays(const std::vector<standin::RayAnswer>& some, const std::vector<standin::RayAnswer>& others) {
  return std::ranges::equal(some, others, [](const standin::RayAnswer& a, const standin::RayAnswer& b) {
    return a.result == b.result && (a.result == 0 || (a.position == b.position && a.direction == b.direction));
  });
}

bool see_the_same(standin::Session& session, const standin::FrameSetup& setup, standin::Eye one, standin::Eye other) {
  return same_rays(probe_frame(session, setup, one), probe_frame(session, setup, other));
}

}  // namespace tool
