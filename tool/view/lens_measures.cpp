#include "tool/view/lens_measures.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

#include "tool/lens/camera_lens.h"
#include "tool/lens/panorama.h"

namespace tool {
LensMeasures measure_lens(standin::Session& session, const standin::FrameSetup& setup, standin::Eye eye) {
  LensMeasures measures;
  measures.panorama = panorama_cover(session, setup, eye);
  constexpr double share = 0.01;
  const std::array<FramePlace, 2> places{{{0.5, 0.5 - 0.5 * share, true}, {0.5, 0.5 + 0.5 * share, true}}};
  std::array<LensDirection, 2> seen;
  look_through(session, setup.film_width, setup.film_height, eye, places, seen);
  if (seen[0].found && seen[1].found) {
    const double radians = 2.0 * std::asin(std::min(1.0, 0.5 * length(seen[1].towards - seen[0].towards)));
    if (radians > 0.0) measures.degrees_per_height = radians / share * 180.0 / std::numbers::pi;
  }
  return measures;
}

}  // namespace tool
