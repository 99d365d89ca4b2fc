#pragma once

#include <optional>

#include "standin/session/session.h"
#include "tool/output/panorama_metadata.h"

namespace tool {

/// What a camera does with directions, found out by asking it for rays.
struct LensMeasures {
  /// How much the frame shows as an equirectangular picture; none where it is none.
  std::optional<PanoramaCover> panorama;
  /// How far apart two rays in the middle of the frame look, for each height of the frame between them, degrees; none where
  /// the camera sees nothing there.
  std::optional<double> degrees_per_height;
};

/// Of the session's begun frame. Throws what the session throws. Threads: one.
LensMeasures measure_lens(standin::Session& session, const standin::FrameSetup& setup, standin::Eye eye);

}  // namespace tool
