#include "tool/view/lens_measures.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <vector>

namespace tool {
namespace {

using standin::Vec3;

/// Some cameras work in single precision.
constexpr double most_difference = 1e-5;

constexpr std::size_t columns = 9;
constexpr std::size_t rows = 5;

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

bool is_full_sphere(standin::Session& session, const standin::FrameSetup& setup, standin::Eye eye) {
  std::vector<standin::RayQuery> queries;
  for (std::size_t row = 0; row < rows; ++row)
    for (std::size_t column = 0; column < columns; ++column)
      queries.push_back({.film_x = (static_cast<double>(column) / (columns - 1) - 0.5) * setup.film_width,
                         .film_y = (static_cast<double>(row) / (rows - 1) - 0.5) * setup.film_height,
                         .eye = eye});
  const auto seen = directions(session, queries);
  if (!std::ranges::all_of(seen, [](const auto& direction) { return direction.has_value(); })) return false;
  // The camera's axes, as the picture has them.
  const auto at = [&](std::size_t row, std::size_t column) { return *seen[row * columns + column]; };
  const Vec3 forward = at(rows / 2, columns / 2);
  const Vec3 right = at(rows / 2, columns / 2 + (columns - 1) / 4);
  const Vec3 up = at(rows - 1, columns / 2);
  if (length(cross(right, up) - forward) > most_difference) return false;
  for (std::size_t row = 0; row < rows; ++row) {
    const double elevation = (static_cast<double>(row) / (rows - 1) - 0.5) * std::numbers::pi;
    for (std::size_t column = 0; column < columns; ++column) {
      const double azimuth = (static_cast<double>(column) / (columns - 1) - 0.5) * 2.0 * std::numbers::pi;
      const Vec3 expected =
          (right * std::sin(azimuth) + forward * std::cos(azimuth)) * std::cos(elevation) + up * std::sin(elevation);
      if (length(at(row, column) - expected) > most_difference) return false;
    }
  }
  return true;
}

}  // namespace

LensMeasures measure_lens(standin::Session& session, const standin::FrameSetup& setup, standin::Eye eye) {
  LensMeasures measures;
  measures.full_sphere = is_full_sphere(session, setup, eye);
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
