#pragma once

#include <limits>
#include <span>
#include <vector>

#include "standin/scene/scene.h"

namespace tool {

/// What a light does at a point: `towards` has length one.
struct Illumination {
  standin::Vec3 towards;
  /// Metres; infinite for a light without a place.
  double distance = std::numeric_limits<double>::infinity();
  /// Share of its colour that arrives, at no angle.
  double strength = 0.0;
};

/// A light of one frame.
struct Light {
  standin::LightKind kind = standin::LightKind::distant;
  standin::Vec3 position;
  /// Of length one.
  standin::Vec3 axis{0.0, 0.0, 1.0};
  /// Times its intensity.
  standin::Vec3 color;
  standin::FallOff fall_off = standin::FallOff::off;
  double range = 1.0;
  double cone_radians = 0.0;
  double edge_radians = 0.0;
  bool casts_shadows = true;

  /// Threads: any.
  Illumination at(const standin::Vec3& point) const {
    if (kind == standin::LightKind::distant) return {axis * -1.0, std::numeric_limits<double>::infinity(), 1.0};
    return from_its_place(point);
  }

 private:
  Illumination from_its_place(const standin::Vec3& point) const;
};

/// How a frame is lit.
struct Lighting {
  /// Multiplies the light of the preview's sky: that is what the scene's ambient light looks like.
  standin::Vec3 ambient;
  std::vector<Light> lights;
};

/// Whether the scene has a light that is ever on. Where it has none, it is lit by the preview's own sun and sky.
bool has_light(const standin::Scene& scene);

/// `poses`: of the scene's items, at that time.
Lighting lighting_at(const standin::Scene& scene, double time_seconds, std::span<const standin::ItemPose> poses);

}  // namespace tool
