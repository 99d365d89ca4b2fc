#include "tool/lens/camera_lens.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <stdexcept>
#include <utility>
#include <vector>

namespace tool {
namespace {

using standin::Vec3;

/// A point that is projected lies this far away, metres: where in the camera a ray begins does not matter then.
constexpr double far_away = 1e9;
/// Places along each side of the frame, at which it is found out what the camera is like.
constexpr int probes = 33;
/// In frames, over which the direction of a probe's neighbours changes.
constexpr double neighbour_distance = 1e-3;
/// Of the frame. Some cameras compute with single precision.
constexpr double tolerance = 1e-9;
constexpr double single_tolerance = 1e-6;

bool is_single(double number) { return static_cast<double>(static_cast<float>(number)) == number; }

/// Directions all around, at which it is found out whether the projection makes places up.
constexpr int sphere_probes = 8192;
/// Of directions, radians: more than any place is off.
constexpr double astray = 1e-4;

/// Evenly over the sphere. Formula: the Fibonacci lattice.
std::vector<LensDirection> directions_all_around() {
  std::vector<LensDirection> directions;
  for (int i = 0; i < sphere_probes; ++i) {
    const double up = 1.0 - (2.0 * i + 1.0) / sphere_probes;
    const double level = std::sqrt(1.0 - up * up);
    const double turn = i * std::numbers::pi * (3.0 - std::sqrt(5.0));
    directions.push_back({{level * std::sin(turn), up, level * std::cos(turn)}, true});
  }
  return directions;
}

std::vector<FramePlace> probe_places(double s_offset, double t_offset) {
  std::vector<FramePlace> places;
  for (int row = 0; row < probes; ++row)
    for (int column = 0; column < probes; ++column)
      places.push_back({(column + 0.5) / probes + s_offset, (row + 0.5) / probes + t_offset, true});
  return places;
}

}  // namespace

void look_through(standin::Session& session, double film_width, double film_height, standin::Eye eye,
                  std::span<const FramePlace> places, std::span<LensDirection> directions) {
  std::vector<standin::RayQuery> queries(places.size());
  for (std::size_t i = 0; i < places.size(); ++i) {
    queries[i].film_x = (places[i].s - 0.5) * film_width;
    queries[i].film_y = (places[i].t - 0.5) * film_height;
    queries[i].eye = eye;
  }
  std::vector<standin::RayAnswer> rays(places.size());
  session.evaluate(queries, rays);
  for (std::size_t i = 0; i < places.size(); ++i) {
    const double size = length(rays[i].direction);
    directions[i].found = places[i].found && rays[i].result != 0 && std::isfinite(size) && size > 0.0;
    if (directions[i].found) directions[i].towards = rays[i].direction * (1.0 / size);
  }
}

CameraLens::CameraLens(standin::Session& session, const standin::FrameSetup& setup, standin::Eye eye, std::string name)
    : session_(session), film_width_(setup.film_width), film_height_(setup.film_height), eye_(eye), name_(std::move(name)) {
  const auto looked = [&](const std::vector<FramePlace>& places) {
    std::vector<LensDirection> directions(places.size());
    look(places, directions);
    return directions;
  };
  const std::vector<FramePlace> places = probe_places(0.0, 0.0);
  std::vector<standin::RayQuery> queries;
  queries.reserve(places.size());
  for (const FramePlace& place : places)
    queries.push_back({(place.s - 0.5) * film_width_, (place.t - 0.5) * film_height_, 0.0, 0.0, 0.0, eye_});
  std::vector<standin::RayAnswer> rays(queries.size());
  session_.evaluate(queries, rays);
  // The middle one, if it can be.
  std::size_t seen = 0;
  bool all_single = true;
  for (std::size_t i = 0; i < rays.size(); ++i) {
    if (rays[i].result == 0) continue;
    if (++seen == 1 || i <= rays.size() / 2) position_ = rays[i].position;
    const auto& [x, y, z] = rays[i].direction;
    all_single = all_single && is_single(x) && is_single(y) && is_single(z);
  }

  const std::vector<LensDirection> directions = looked(places);
  const std::vector<LensDirection> right = looked(probe_places(neighbour_distance, 0.0));
  const std::vector<LensDirection> above = looked(probe_places(0.0, neighbour_distance));
  std::size_t distinct = 0;
  double field = 0.0;
  for (std::size_t i = 0; i < directions.size(); ++i) {
    if (!directions[i].found || !right[i].found || !above[i].found) continue;
    const Vec3 by_s = right[i].towards - directions[i].towards;
    const Vec3 by_t = above[i].towards - directions[i].towards;
    const double most = std::max(length(by_s), length(by_t));
    field = std::max(field, most / neighbour_distance);
    if (length(cross(by_s, by_t)) > 1e-3 * most * most && most > 1e-3 * neighbour_distance) ++distinct;
  }
  if (seen == 0)
    trouble_ = "it gives no ray anywhere in its frame";
  else if (distinct * 2 < seen)
    trouble_ = "whole stretches of its frame look in one and the same direction";
  if (!trouble_.empty()) return;

  std::vector<FramePlace> projected(places.size());
  project(directions, projected);
  const std::vector<LensDirection> again = looked(projected);
  const double most_off = 2e-6 * std::min(field, 1.0);
  projects_ = true;
  for (std::size_t i = 0; i < directions.size(); ++i) {
    if (!directions[i].found) continue;
    if (!again[i].found || !(length(again[i].towards - directions[i].towards) <= most_off)) projects_ = false;
  }
  if (projects_) {
    const std::vector<LensDirection> around = directions_all_around();
    std::vector<FramePlace> claimed(around.size());
    project(around, claimed);
    std::vector<FramePlace> true_ones = claimed;
    drop_astray(around, true_ones);
    strays_ = !std::ranges::equal(claimed, true_ones, {}, &FramePlace::found, &FramePlace::found);
    return;
  }
  inverse_ =
      std::make_unique<NumericalInverse>([this](auto at, auto to) { look(at, to); }, all_single ? single_tolerance : tolerance);
  std::vector<FramePlace> found(places.size());
  inverse_->locate(directions, found);
  const auto count = static_cast<std::size_t>(std::ranges::count_if(found, &FramePlace::found));
  if (count * 2 < seen) trouble_ = "no places of its frame can be found for the directions it looks in";
}

void CameraLens::look(std::span<const FramePlace> places, std::span<LensDirection> directions) const {
  look_through(session_, film_width_, film_height_, eye_, places, directions);
}

void CameraLens::locate(std::span<const LensDirection> directions, std::span<FramePlace> places) const {
  if (!trouble_.empty())
    throw std::runtime_error(name_ + " has no inverse: " + trouble_ + "; a map can only be made from its pixels");
  if (inverse_)
    inverse_->locate(directions, places);
  else
    project(directions, places);
  if (strays_) drop_astray(directions, places);
}

void CameraLens::drop_astray(std::span<const LensDirection> directions, std::span<FramePlace> places) const {
  std::vector<LensDirection> seen(places.size());
  look(places, seen);
  for (std::size_t i = 0; i < places.size(); ++i) {
    const bool leads_back = seen[i].found && length(seen[i].towards - directions[i].towards) < astray;
    const bool in_frame = places[i].s >= 0.0 && places[i].s <= 1.0 && places[i].t >= 0.0 && places[i].t <= 1.0;
    // Beyond its frame a camera may have no rays, and places nevertheless.
    if (places[i].found && !leads_back && (in_frame || seen[i].found)) places[i] = {};
  }
}

void CameraLens::project(std::span<const LensDirection> directions, std::span<FramePlace> places) const {
  std::vector<standin::PointQuery> points(directions.size());
  for (std::size_t i = 0; i < directions.size(); ++i) {
    points[i].world = directions[i].found ? position_ + directions[i].towards * far_away : position_;
    points[i].eye = eye_;
  }
  std::vector<standin::PointAnswer> film(directions.size());
  session_.project(points, film);
  for (std::size_t i = 0; i < directions.size(); ++i) {
    const FramePlace place{film[i].film_x / film_width_ + 0.5, film[i].film_y / film_height_ + 0.5, true};
    const bool found = directions[i].found && film[i].found != 0 && std::isfinite(place.s) && std::isfinite(place.t);
    places[i] = found ? place : FramePlace{};
  }
}

}  // namespace tool
