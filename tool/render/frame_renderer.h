#pragma once

#include <cstdint>
#include <span>

#include "standin/session/session.h"
#include "tool/output/picture.h"
#include "tool/output/progress.h"
#include "tool/render/render_scene.h"

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

/// The rays of a rendering.
struct RayCounts {
  /// Of the camera; `broken` are those among them with a number that is not finite or with no direction: they count as none.
  std::uint64_t asked = 0;
  std::uint64_t broken = 0;
  /// Of the camera, and toward the light.
  std::uint64_t traced = 0;

  RayCounts& operator+=(const RayCounts& other);
};

/// Renders the frame, whose session and scene are set to it, from the top down into the file with all threads of the caller's
/// TBB arena. The picture depends on the job alone, not on the number of threads. Threads: one.
RayCounts render_frame(const FrameJob& job, PictureFile& picture, Progress& progress);

}  // namespace tool
