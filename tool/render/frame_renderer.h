#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "standin/session/session.h"
#include "tool/output/picture.h"
#include "tool/output/pixel_box.h"
#include "tool/output/progress.h"
#include "tool/render/layers.h"
#include "tool/render/render_scene.h"

namespace tool {

/// The input of one frame. Everything that is referred to must outlive the rendering.
struct FrameJob {
  standin::Session& session;
  const RenderScene& scene;
  standin::FrameSetup setup;
  /// Of the whole frame, pixels.
  int width = 0;
  int height = 0;
  /// The part that is rendered. Its pixels are those that the whole frame would have there.
  PixelBox part;
  std::uint32_t samples_per_pixel = 1;
  standin::Eye eye = standin::Eye::centre;
  /// Written beside the first, as the picture's further channels.
  std::optional<standin::Eye> second_eye = {};
  /// Written after the light of each eye.
  std::span<const Layer> layers = {};
};

/// The rays of a rendering.
struct RayCounts {
  /// Camera rays; `broken` ones among them have a number that is not finite, or no direction, and are left out.
  std::uint64_t asked = 0;
  std::uint64_t broken = 0;
  /// Camera rays and shadow rays.
  std::uint64_t traced = 0;

  RayCounts& operator+=(const RayCounts& other);
};

/// Renders a frame that session and scene have been set to, from the top down into the file, with all threads of the caller's
/// TBB arena. The picture depends on the job alone, not on the number of threads. Threads: one.
RayCounts render_frame(const FrameJob& job, PictureFile& picture, Progress& progress);

}  // namespace tool
