#pragma once

#include "standin/vector.h"
#include "tool/render_scene.h"

namespace tool {

/// Linear light that comes along a ray, red, green and blue: a surface lit by sun and sky, or the sky itself. Direction of
/// length one. Threads: any number at once.
standin::Vec3 radiance(const RenderScene& scene, standin::Vec3 position, standin::Vec3 direction, double fractional_time);

}  // namespace tool
