#include "tool/lens/cube_lens.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace tool {
namespace {

using standin::Vec3;

/// Of the frame: what lies on the edge of a cell belongs to it, whatever was lost in rounding.
constexpr double rounding = 1e-12;

bool meets(const CubeCell& cell, const FramePart& part) {
  return part.right >= cell.left - rounding && part.left <= cell.right + rounding && part.top >= cell.bottom - rounding &&
         part.bottom <= cell.top + rounding;
}

bool holds(const CubeCell& cell, double s, double t) { return meets(cell, {s, s, t, t}); }

}  // namespace

CubeLens::CubeLens(const standin::ItemPose& pose, const std::array<CubeCell, 6>& cells, std::string description)
    : pose_(pose), cells_(cells), description_(std::move(description)) {}

void CubeLens::look(std::span<const FramePlace> places, std::span<LensDirection> directions) const {
  for (std::size_t i = 0; i < places.size(); ++i) {
    const FramePlace& place = places[i];
    const auto* const cell =
        place.part >= 0 ? &cells_[static_cast<std::size_t>(place.part)]
                        : std::ranges::find_if(cells_, [&](const CubeCell& each) { return holds(each, place.s, place.t); });
    directions[i] = {};
    if (!place.found || cell == cells_.end()) continue;
    const double right = (place.s - cell->middle_s) / cell->s_at_45_degrees;
    const double up = (place.t - cell->middle_t) / cell->t_at_45_degrees;
    const Vec3 towards = cell->side.forward + cell->side.right * right + cell->side.up * up;
    directions[i] = {pose_.direction_to_world(normalized(towards)), true};
  }
}

void CubeLens::locate(std::span<const LensDirection> directions, std::span<FramePlace> places) const {
  for (std::size_t i = 0; i < directions.size(); ++i) {
    const Vec3 towards = pose_.direction_from_world(directions[i].towards);
    const auto* const cell =
        std::ranges::max_element(cells_, {}, [&](const CubeCell& each) { return dot(towards, each.side.forward); });
    const double ahead = dot(towards, cell->side.forward);
    places[i] = {cell->middle_s + dot(towards, cell->side.right) / ahead * cell->s_at_45_degrees,
                 cell->middle_t + dot(towards, cell->side.up) / ahead * cell->t_at_45_degrees, false,
                 static_cast<int>(cell - cells_.begin())};
    places[i].found = directions[i].found && ahead > 0.0 && holds(*cell, places[i].s, places[i].t);
  }
}

bool CubeLens::is_blank(const FramePart& within) const {
  return std::ranges::none_of(cells_, [&](const CubeCell& cell) { return meets(cell, within); });
}

std::vector<FramePart> CubeLens::parts() const {
  std::vector<FramePart> parts;
  for (const CubeCell& cell : cells_) parts.push_back({cell.left, cell.right, cell.bottom, cell.top});
  return parts;
}

}  // namespace tool
