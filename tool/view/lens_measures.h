#pragma once

#include <optional>

#include "standin/session/session.h"

namespace tool {

/// What a camera does with directions, found out by asking it for rays.
struct LensMeasures {
  /// Whether the frame is the whole sphere as an equirectangular picture, upright and with the camera's axis in its middle.
  bool full_sphere = false;
  /// How far apart two rays in the middle of the frame look, for each height of the frame between them, degrees; none where
  /// the camera sees nothing there.
  std::optional<double> degrees_per_height;
};

/// Of the session's begun frame. Throws what the session throws. Threads: one.
LensMeasures measure_lens(standin::Session& session, const standin::FrameSetup& setup, standin::Eye eye);

}  // namespace tool
