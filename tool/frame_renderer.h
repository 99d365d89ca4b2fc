#pragma once

#include <cstdint>
#include <span>

#include "standin/session.h"
#include "tool/picture.h"
#include "tool/progress.h"
#include "tool/render_scene.h"

namespace tool {

/// What one frame is rendered from. Everything referred to must outlive the rendering.
struct FrameJob {
  standin::Session& session;
  const RenderScene& scene;
  standin::FrameSetup setup;
  int width = 0;
  int height = 0;
  std::uint32_t samples_per_pixel = 1;
  standin::Eye eye = standin::Eye::centre;
};

/// Rays that were asked for, and those among them with a number that is not finite or with no direction: they count as none.
struct RayCounts {
  std::uint64_t asked = 0;
  std::uint64_t broken = 0;
};

/// Renders the frame, whose session and scene are set to it, from the top down into the file with all threads of the caller's
/// TBB arena. The picture depends on the job alone, not on the number of threads. Threads: one.
RayCounts render_frame(const FrameJob& job, PictureFile& picture, Progress& progress);

}  // namespace tool
