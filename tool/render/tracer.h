#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "standin/host/ray_query.h"
#include "standin/scene/vector.h"
#include "tool/render/render_scene.h"
#include "tool/render/sampling.h"

namespace tool {

/// Direction of length one, and the fraction of the frame's duration.
struct ViewRay {
  standin::Vec3 position;
  standin::Vec3 direction;
  double fractional_time = 0.0;
};

/// The ray that a camera answered with; false or none when it is not finite, has no direction or starts beyond what the scene
/// can trace. Threads: any.
bool set_view_ray(const RenderScene& scene, const standin::RayAnswer& answer, double fractional_time, ViewRay& ray);
std::optional<ViewRay> view_ray(const RenderScene& scene, const standin::RayAnswer& answer, double fractional_time);

/// One thread's memory for tracing, and a count of the rays that it has traced.
struct TraceWork {
  std::uint64_t traced = 0;
  std::vector<RTCRayHit> rays;
  std::vector<RTCRay> shadow_rays;
  /// Of soft light: each looks for the sky from a surface.
  std::vector<RTCRay> sky_rays;
  /// For each shadow ray, what it decides on, and the index of the light to which that is added.
  std::vector<standin::Vec3> direct_light;
  std::vector<std::size_t> shadow_of;
  /// For each sky ray, what is lost where something hides the sky, and the index of the light that loses it.
  std::vector<standin::Vec3> hidden_sky;
  std::vector<std::size_t> sky_of;
};

/// Linear light that comes along each ray, red, green and blue: a surface as the scene lights it, or the sky. `light` has
/// one element for each ray. `soft` has one for each ray as well, or none for plain light: with it, one ray looks for the sky
/// from every surface that is met, which is darker where something hides that, and light without a place comes from a disc as
/// large as the sun. Threads: any number at once, each with its own `work`.
void trace_light(const RenderScene& scene, std::span<const ViewRay> rays, std::span<const LightSample> soft,
                 std::span<standin::Vec3> light, TraceWork& work);

}  // namespace tool
