#include "tool/lens/perspective_lens.h"

#include <cmath>
#include <cstddef>
#include <numbers>
#include <sstream>

namespace tool {
namespace {

using standin::Vec3;

/// What lies this little in front of the lens, or behind it, has no place on a plane.
constexpr double least_depth = 1e-9;

}  // namespace

PerspectiveLens::PerspectiveLens(const standin::ItemPose& pose, double field_radians, double height_over_width)
    : pose_(pose),
      field_radians_(field_radians),
      half_width_(std::tan(field_radians / 2.0)),
      half_height_(half_width_ * height_over_width) {}

void PerspectiveLens::look(std::span<const FramePlace> places, std::span<LensDirection> directions) const {
  for (std::size_t i = 0; i < places.size(); ++i) {
    const auto& [s, t, found, part] = places[i];
    const Vec3 ahead =
        pose_.forward + pose_.right * ((2.0 * s - 1.0) * half_width_) + pose_.up * ((2.0 * t - 1.0) * half_height_);
    directions[i] = {normalized(ahead), found};
  }
}

void PerspectiveLens::locate(std::span<const LensDirection> directions, std::span<FramePlace> places) const {
  for (std::size_t i = 0; i < directions.size(); ++i) {
    const auto& [towards, found] = directions[i];
    const double depth = dot(towards, pose_.forward);
    places[i] = {};
    if (!found || !(depth > least_depth)) continue;
    places[i] = {0.5 + dot(towards, pose_.right) / (2.0 * depth * half_width_),
                 0.5 + dot(towards, pose_.up) / (2.0 * depth * half_height_), true};
  }
}

std::string PerspectiveLens::description() const {
  std::ostringstream text;
  text << "the perspective of " << field_radians_ * 180.0 / std::numbers::pi << " degrees";
  return text.str();
}

}  // namespace tool
