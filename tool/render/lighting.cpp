#include "tool/render/lighting.h"

#include <algorithm>
#include <cmath>

namespace tool {
namespace {

using standin::FallOff;
using standin::LightKind;
using standin::Vec3;

/// The sky is drawn as bright as by day where the scene's ambient light has this intensity.
constexpr double ambient_of_daylight = 0.5;
/// Closer to a light than this it gets no brighter.
constexpr double shortest_distance = 1e-6;
constexpr double strongest = 1e9;

Lighting own_daylight() {
  Light sun;
  sun.axis = normalized(Vec3{-0.45, 0.75, -0.5}) * -1.0;
  sun.color = {1.0, 0.97, 0.9};
  return {{1.0, 1.0, 1.0}, {sun}};
}

double distance_share(FallOff fall_off, double range, double distance) {
  switch (fall_off) {
    case FallOff::off:
      return 1.0;
    case FallOff::linear:
      return range > 0.0 ? std::max(0.0, 1.0 - distance / range) : 0.0;
    case FallOff::inverse:
      return std::max(0.0, range / distance);
    case FallOff::inverse_square:
      return range / distance * (range / distance);
  }
  return 1.0;
}

/// The soft edge lies within the cone.
double cone_share(double angle, double cone, double edge) {
  if (angle >= cone) return 0.0;
  return edge > 0.0 ? std::min(1.0, (cone - angle) / edge) : 1.0;
}

bool is_lamp(const standin::Item& item) {
  const auto& keys = item.active.keys;
  return item.light && item.light->shines() &&
         std::any_of(keys.begin(), keys.end(), [](const standin::Key& key) { return key.value != 0.0; });
}

FallOff known_fall_off(int number) {
  return number > 0 && number <= static_cast<int>(FallOff::inverse_square) ? static_cast<FallOff>(number) : FallOff::off;
}

Light light_at(const standin::Scene& scene, const standin::Item& item, const standin::ItemPose& pose, double time_seconds) {
  const standin::LightSettings& settings = *item.light;
  Light light;
  light.kind = settings.kind().value_or(LightKind::point);
  light.position = pose.position;
  if (length(pose.forward) > 0.0) light.axis = normalized(pose.forward);
  light.color =
      color_at(settings.color, time_seconds) * (settings.intensity.at(time_seconds) * scene.light_intensity.at(time_seconds));
  light.fall_off = known_fall_off(settings.fall_off);
  light.range = settings.range.at(time_seconds);
  light.cone_radians = settings.cone_radians(time_seconds);
  light.edge_radians = settings.edge_radians(time_seconds);
  light.casts_shadows = settings.shadow_type != 0;
  return light;
}

}  // namespace

Illumination Light::from_its_place(const Vec3& point) const {
  const Vec3 way = position - point;
  const double distance = std::max(shortest_distance, length(way));
  const double share = std::min(strongest, distance_share(fall_off, range, distance));
  Illumination result{way * (1.0 / distance), distance, share};
  if (kind == LightKind::spot) {
    const double cosine = std::clamp(dot(result.towards, axis) * -1.0, -1.0, 1.0);
    result.strength *= cone_share(std::acos(cosine), cone_radians, edge_radians);
  }
  return result;
}

bool has_light(const standin::Scene& scene) {
  const auto& keys = scene.light_intensity.keys;
  return std::any_of(keys.begin(), keys.end(), [](const standin::Key& key) { return key.value != 0.0; }) &&
         std::any_of(scene.items.begin(), scene.items.end(), is_lamp);
}

Lighting lighting_at(const standin::Scene& scene, double time_seconds, std::span<const standin::ItemPose> poses) {
  if (!has_light(scene)) return own_daylight();
  Lighting lighting;
  lighting.ambient =
      color_at(scene.ambient_color, time_seconds) * (scene.ambient_intensity.at(time_seconds) / ambient_of_daylight);
  for (std::size_t i = 0; i < scene.items.size(); ++i) {
    const standin::Item& item = scene.items[i];
    if (is_lamp(item) && item.active.at(time_seconds) != 0.0)
      lighting.lights.push_back(light_at(scene, item, poses[i], time_seconds));
  }
  return lighting;
}

}  // namespace tool
