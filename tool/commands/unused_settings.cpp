#include "tool/commands/unused_settings.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <utility>

#include "standin/remote/ray_service.h"

namespace tool {
namespace {

/// All over the film, at two places of the lens and two times, for every eye.
std::vector<standin::RayQuery> queries_of(const standin::FrameSetup& setup) {
  constexpr std::array shares{-0.5, -0.37, -0.11, 0.0, 0.23, 0.41, 0.5};
  constexpr std::array<std::pair<double, double>, 2> lens_points{{{0.0, 0.0}, {0.6, -0.5}}};
  std::vector<standin::RayQuery> queries;
  for (const standin::Eye eye : {standin::Eye::centre, standin::Eye::left, standin::Eye::right})
    for (const double time : {0.0, 0.7})
      for (const auto& [lens_x, lens_y] : lens_points)
        for (const double x : shares)
          for (const double y : shares)
            queries.push_back({x * setup.film_width, y * setup.film_height, lens_x, lens_y, time, eye});
  return queries;
}

bool same_ray(const standin::RayAnswer& a, const standin::RayAnswer& b) {
  if (a.result != b.result) return false;
  return a.result == 0 || (a.position == b.position && a.direction == b.direction);
}

struct Frame {
  standin::FrameSetup setup;
  std::vector<standin::RayAnswer> answers;

  Frame(const standin::SessionOptions& options, int frame) {
    const auto session = standin::open_session_for(options);
    setup = session->begin_frame(frame);
    const auto queries = queries_of(setup);
    answers.resize(queries.size());
    session->evaluate(queries, answers);
  }

  bool same_as(const Frame& other) const {
    return setup.film_width == other.setup.film_width && setup.film_height == other.setup.film_height &&
           setup.depth_of_field == other.setup.depth_of_field && std::ranges::equal(answers, other.answers, same_ray);
  }
};

}  // namespace

std::vector<std::string> unused_settings(const standin::SessionOptions& options, int frame) {
  std::vector<std::string> sentences;
  if (options.settings.empty()) return sentences;
  const Frame whole(options, frame);
  for (std::size_t i = 0; i < options.settings.size(); ++i) {
    standin::SessionOptions others = options;
    others.settings.erase(std::next(others.settings.begin(), static_cast<std::ptrdiff_t>(i)));
    if (!whole.same_as(Frame(others, frame))) continue;
    const auto& [name, value] = options.settings[i];
    sentences.push_back("--set " + name + "=" + value + " changes no ray of frame " + std::to_string(frame));
  }
  return sentences;
}

}  // namespace tool
