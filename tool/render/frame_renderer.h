#pragma once

#include <cstdint>
#include <functional>
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
  /// For red and cyan glasses: red of the first eye and the rest of the second, as one picture without layers.
  bool red_cyan = false;
  /// Light of `trace_light` with samples: corners are darker, and shadows have soft edges.
  bool soft_light = false;
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

/// What becomes of a frame while it is rendered.
struct FrameOutput {
  /// Takes the next whole rows from the top down, and the samples of their other channels. Called by the caller's thread.
  std::function<void(std::span<const Pixel>, std::span<const float>)> write_rows;
  /// Told of camera rays that are done, by any number of threads at once.
  std::function<void(std::uint64_t)> add_rays;
  /// Whether nobody wants the frame any more. Asked by any number of threads at once.
  std::function<bool()> is_cancelled = {};
};

/// Renders a frame that session and scene have been set to, with all threads of the caller's TBB arena. What is written depends
/// on the job alone, not on the number of threads. None when it was cancelled: rows are missing then. Threads: one.
std::optional<RayCounts> render_frame(const FrameJob& job, const FrameOutput& output);

/// Renders a frame that session and scene have been set to, from the top down into the file, with all threads of the caller's
/// TBB arena. The picture depends on the job alone, not on the number of threads. Threads: one.
RayCounts render_frame(const FrameJob& job, PictureFile& picture, Progress& progress);

}  // namespace tool
