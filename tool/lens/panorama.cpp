#include "tool/lens/panorama.h"

#include <algorithm>
#include <numbers>
#include <vector>

#include "tool/lens/camera_lens.h"
#include "tool/lens/plain_lenses.h"

namespace tool {
namespace {

/// Places along each side of the frame.
constexpr int probes = 19;
/// Between directions that are the same: a quarter of a pixel in the largest panorama.
constexpr double same_direction = 5e-5;

std::vector<FramePlace> probe_places() {
  std::vector<FramePlace> places;
  for (int row = 0; row < probes; ++row)
    for (int column = 0; column < probes; ++column) places.push_back({(column + 0.5) / probes, (row + 0.5) / probes, true});
  // Next to the edges, where a lens may end.
  for (const double edge : {1e-4, 1.0 - 1e-4}) {
    for (int i = 0; i < probes; ++i) {
      places.push_back({edge, (i + 0.5) / probes, true});
      places.push_back({(i + 0.5) / probes, edge, true});
    }
  }
  return places;
}

bool same(const LensDirection& a, const LensDirection& b) {
  return a.found && b.found && length(a.towards - b.towards) < same_direction;
}

/// The axes of an equirectangular frame, from what it shows in the middle, to the right of that and above it; of another frame,
/// any. The two lie an eighth of a turn from the middle.
standin::ItemPose axes_of(standin::Vec3 middle, standin::Vec3 beside, standin::Vec3 above) {
  constexpr double root_half = std::numbers::sqrt2 / 2.0;
  standin::ItemPose axes;
  axes.forward = middle;
  axes.right = (beside - middle * root_half) * (1.0 / root_half);
  axes.up = (above - middle * root_half) * (1.0 / root_half);
  return axes;
}

template <class Look>
std::optional<PanoramaCover> cover_of(const Look& look) {
  const std::vector<FramePlace> places = probe_places();
  std::vector<LensDirection> directions(places.size());
  look(places, directions);
  std::vector<LensDirection> expected(places.size());
  for (const PanoramaCover cover : {PanoramaCover::sphere, PanoramaCover::half}) {
    const double turns = cover == PanoramaCover::sphere ? 1.0 : 0.5;
    const std::vector<FramePlace> marks{{0.5, 0.5, true}, {0.5 + 0.125 / turns, 0.5, true}, {0.5, 0.75, true}};
    std::vector<LensDirection> seen(marks.size());
    look(marks, seen);
    if (!std::ranges::all_of(seen, &LensDirection::found)) return std::nullopt;
    const standin::ItemPose axes = axes_of(seen[0].towards, seen[1].towards, seen[2].towards);
    // Not mirrored, nor askew.
    if (!(length(cross(axes.right, axes.up) - axes.forward) < same_direction)) continue;
    EquirectangularLens(axes, turns * 2.0 * std::numbers::pi).look(places, expected);
    if (std::ranges::equal(directions, expected, same)) return cover;
  }
  return std::nullopt;
}

}  // namespace

std::optional<PanoramaCover> panorama_cover(const Lens& lens) {
  return cover_of([&](const auto& places, auto& directions) { lens.look(places, directions); });
}

std::optional<PanoramaCover> panorama_cover(standin::Session& session, const standin::FrameSetup& setup, standin::Eye eye) {
  return cover_of([&](const auto& places, auto& directions) {
    look_through(session, setup.film_width, setup.film_height, eye, places, directions);
  });
}

}  // namespace tool
