#pragma once

#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "standin/session/session.h"
#include "tool/output/exr_file.h"
#include "tool/output/pixel_box.h"
#include "tool/render/render_scene.h"

namespace tool {

/// What a picture can hold of each pixel beside its light. All of it is of the ray through the pixel's centre and the lens's
/// centre at the start of the frame: averages over an edge would be of neither side. Where that ray meets nothing, it is 0.
enum class Layer {
  /// Metres from the ray's start along the ray's film normal: the camera's forward axis for a perspective, and the ray itself
  /// where the camera bends the film around itself.
  depth,
  /// Of length one, in the world of frame_metadata, facing the camera.
  normal,
  /// Metres, in that world.
  position,
  /// The two numbers of the object's first texture map.
  uv,
  /// Pixels to where what is seen here is seen in the next frame, to the right and up, by the camera's own projection. 0 where
  /// that does not lead back to this pixel, or there is none.
  motion,
};

/// None for a name that is no layer's.
std::optional<Layer> layer_named(std::string_view name);

/// In the order of the samples that render_layers gives.
std::vector<ExrChannel> channels_of(std::span<const Layer> layers);

/// What layers are taken of: a frame that session and scene have been set to.
struct LayerJob {
  standin::Session& session;
  const RenderScene& scene;
  const standin::FrameSetup& setup;
  /// Of the whole frame, pixels.
  int width = 0;
  int height = 0;
  standin::Eye eye = standin::Eye::centre;
  std::span<const Layer> layers;
};

/// The samples of a part of the frame, pixel by pixel, with all threads of the caller's TBB arena. For the motion, the session
/// is set to the next frame and back. Threads: one.
std::vector<float> render_layers(const LayerJob& job, const PixelBox& part);

}  // namespace tool
