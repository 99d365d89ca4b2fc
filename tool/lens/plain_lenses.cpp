#include "tool/lens/plain_lenses.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <string>
#include <vector>

namespace tool {
namespace {

using standin::Vec3;

constexpr double half_turn = std::numbers::pi;
constexpr double quarter_turn = std::numbers::pi / 2.0;
/// Of the circle's radius or of the span: its edge belongs to it, whatever was lost in rounding.
constexpr double edge = 1.0 + 1e-9;

}  // namespace

void EquirectangularLens::look(std::span<const FramePlace> places, std::span<LensDirection> directions) const {
  for (std::size_t i = 0; i < places.size(); ++i) {
    const double azimuth = (places[i].s - 0.5) * span_radians_;
    const double elevation = (places[i].t - 0.5) * half_turn;
    const double level = std::cos(elevation);
    directions[i] = {pose_.direction_to_world({level * std::sin(azimuth), std::sin(elevation), level * std::cos(azimuth)}),
                     places[i].found};
  }
}

void EquirectangularLens::locate(std::span<const LensDirection> directions, std::span<FramePlace> places) const {
  for (std::size_t i = 0; i < directions.size(); ++i) {
    const Vec3 v = pose_.direction_from_world(directions[i].towards);
    const double azimuth = std::atan2(v.x, v.z);
    places[i] = {0.5 + azimuth / span_radians_, 0.5 + std::atan2(v.y, std::sqrt(v.x * v.x + v.z * v.z)) / half_turn,
                 directions[i].found && std::abs(azimuth) <= span_radians_ / 2.0 * edge};
  }
}

std::string EquirectangularLens::description() const {
  return span_radians_ < 2.0 * half_turn ? "equirectangular" + std::to_string(std::lround(span_radians_ * 180.0 / half_turn))
                                         : "equirectangular";
}

Fisheye180Lens::Fisheye180Lens(const standin::ItemPose& pose, double width_over_height)
    : pose_(pose), half_width_(std::max(1.0, width_over_height)), half_height_(std::max(1.0, 1.0 / width_over_height)) {}

void Fisheye180Lens::look(std::span<const FramePlace> places, std::span<LensDirection> directions) const {
  for (std::size_t i = 0; i < places.size(); ++i) {
    const double x = (2.0 * places[i].s - 1.0) * half_width_;
    const double y = (2.0 * places[i].t - 1.0) * half_height_;
    const double radius = std::sqrt(x * x + y * y);
    directions[i] = {};
    if (!places[i].found || !(radius <= edge)) continue;
    const double angle = radius * quarter_turn;
    const double across = radius > 0.0 ? std::sin(angle) / radius : 0.0;
    directions[i] = {pose_.direction_to_world({x * across, y * across, std::cos(angle)}), true};
  }
}

void Fisheye180Lens::locate(std::span<const LensDirection> directions, std::span<FramePlace> places) const {
  for (std::size_t i = 0; i < directions.size(); ++i) {
    const Vec3 v = pose_.direction_from_world(directions[i].towards);
    const double across = std::hypot(v.x, v.y);
    const double radius = std::atan2(across, v.z) / quarter_turn;
    const double scale = across > 0.0 ? radius / across : 0.0;
    places[i] = {0.5 + v.x * scale / (2.0 * half_width_), 0.5 + v.y * scale / (2.0 * half_height_),
                 directions[i].found && radius <= edge};
  }
}

bool Fisheye180Lens::is_blank(const FramePart& within) const {
  const double x = (2.0 * std::clamp(0.5, within.left, within.right) - 1.0) * half_width_;
  const double y = (2.0 * std::clamp(0.5, within.bottom, within.top) - 1.0) * half_height_;
  return std::hypot(x, y) > edge;
}

void LensInPose::look(std::span<const FramePlace> places, std::span<LensDirection> directions) const {
  lens_.look(places, directions);
  for (LensDirection& direction : directions) direction.towards = pose_.direction_from_world(direction.towards);
}

void LensInPose::locate(std::span<const LensDirection> directions, std::span<FramePlace> places) const {
  std::vector<LensDirection> in_world(directions.begin(), directions.end());
  for (LensDirection& direction : in_world) direction.towards = pose_.direction_to_world(direction.towards);
  lens_.locate(in_world, places);
}

}  // namespace tool
