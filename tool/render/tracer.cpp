#include "tool/render/tracer.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace tool {
namespace {

using standin::Vec3;

constexpr Vec3 zenith{0.16, 0.33, 0.66};
constexpr Vec3 haze{0.72, 0.80, 0.88};
constexpr Vec3 far_ground{0.30, 0.27, 0.23};
constexpr Vec3 nadir{0.14, 0.12, 0.10};
/// What a white surface shows of a light of intensity 1 that falls straight on it.
constexpr double full_light = 0.75;
constexpr double sky_strength = 0.55;
/// Edge of a square of the checker, metres.
constexpr double checker_size = 0.25;

Vec3 blend(Vec3 a, Vec3 b, double weight) { return a * (1.0 - weight) + b * weight; }
Vec3 filtered(Vec3 light, Vec3 color) { return {light.x * color.x, light.y * color.y, light.z * color.z}; }

/// The horizon is a clear edge, so that a tilted camera can be recognised.
Vec3 sky(Vec3 direction) {
  const double height = std::clamp(direction.y, -1.0, 1.0);
  return height >= 0.0 ? blend(haze, zenith, std::sqrt(height)) : blend(far_ground, nadir, std::sqrt(-height));
}

/// What a surface gets from the upper half of the sky where it faces nothing else, and from the ground below the horizon.
constexpr Vec3 light_from_above{0.50, 0.62, 0.80};
constexpr Vec3 light_from_below{0.24, 0.21, 0.18};
/// Soft light: what a surface that hides the sky sends instead, as a share of the ground's light.
constexpr double hidden_sky_share = 0.5;
/// Half of the sun's mean angular diameter of 0.533 degrees.
constexpr double sun_radius_radians = 0.533 / 2.0 * std::numbers::pi / 180.0;

/// Light of the whole sky on a surface: a mixture of its two halves, according to how much of each the surface faces.
Vec3 sky_light(Vec3 normal) { return blend(light_from_below, light_from_above, 0.5 + 0.5 * normal.y) * sky_strength; }

struct Basis {
  Vec3 right;
  Vec3 up;
};

/// Two directions that are perpendicular to a direction of length one and to each other: Duff and others, "Building an
/// Orthonormal Basis, Revisited".
Basis basis_around(Vec3 n) {
  const double sign = std::copysign(1.0, n.z);
  const double a = -1.0 / (sign + n.z);
  const double b = n.x * n.y * a;
  return {{1.0 + sign * n.x * n.x * a, sign * b, -sign * n.x}, {b, sign + n.y * n.y * a, -n.y}};
}

/// A direction from a surface to the upper half of the sky: in proportion to the cosine of its angle to the normal (Malley's
/// method), as a surface gathers light, with what would go below the horizon mirrored upwards. So a surface with nothing
/// around it is free of noise. None where that would lead into the surface, which then hides nothing.
std::optional<Vec3> direction_to_sky(const Hit& hit, LensSample sample) {
  const auto [right, up] = basis_around(hit.shading_normal);
  const double height = std::sqrt(std::max(0.0, 1.0 - sample.x * sample.x - sample.y * sample.y));
  Vec3 direction = right * sample.x + up * sample.y + hit.shading_normal * height;
  direction.y = std::abs(direction.y);
  const double along = dot(direction, hit.normal);
  if (along < 0.0) direction = direction - hit.normal * (2.0 * along);
  return direction.y > 0.0 ? std::optional(direction) : std::nullopt;
}

Vec3 towards_sun(Vec3 centre, LensSample sample) {
  static const double radius = std::tan(sun_radius_radians);
  const auto [right, up] = basis_around(centre);
  return normalized(centre + right * (radius * sample.x) + up * (radius * sample.y));
}

/// A surface with the default colour shows a checker, so that shape, scale and distortion can be seen. The checker is fixed to
/// the object, but its squares do not scale with it.
Vec3 surface_color(const RenderScene& scene, const Hit& hit) {
  static const Vec3 untouched = standin::Surface{}.color;
  const Vec3 color = hit.surface->color;
  // The host writes its default as 0.78 or as 200/255.
  const auto near = [](double a, double b) { return std::abs(a - b) < 5e-3; };
  if (!near(color.x, untouched.x) || !near(color.y, untouched.y) || !near(color.z, untouched.z)) return color;
  const standin::ItemPose object = scene.object_of(hit);
  // A step inwards: otherwise a face exactly between two squares would show both at random.
  const Vec3 from_origin = hit.position - hit.normal * (1e-3 * checker_size) - object.position;
  double squares = 0.0;
  for (const Vec3 axis : {object.right, object.up, object.forward})
    squares += std::floor(dot(from_origin, normalized(axis)) / checker_size);
  return untouched * (std::fmod(std::abs(squares), 2.0) < 0.5 ? 1.0 : 0.45);
}

double largest(const Vec3& v) { return std::max(std::max(std::abs(v.x), std::abs(v.y)), std::abs(v.z)); }

bool finite(Vec3 v) { return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z); }

}  // namespace

bool set_view_ray(const RenderScene& scene, const standin::RayAnswer& answer, double fractional_time, ViewRay& ray) {
  if (!finite(answer.position) || largest(answer.position) > scene.farthest_start()) return false;
  ray.position = answer.position;
  ray.fractional_time = fractional_time;
  const double squared = dot(answer.direction, answer.direction);
  if (squared > 1e-200 && squared < 1e200) {
    ray.direction = answer.direction * (1.0 / std::sqrt(squared));
    return true;
  }
  // The square of a very large or very small number does not fit a double.
  const double size = largest(answer.direction);
  if (!finite(answer.direction) || size == 0.0) return false;
  ray.direction = normalized(Vec3{answer.direction.x / size, answer.direction.y / size, answer.direction.z / size});
  return true;
}

std::optional<ViewRay> view_ray(const RenderScene& scene, const standin::RayAnswer& answer, double fractional_time) {
  ViewRay ray;
  return set_view_ray(scene, answer, fractional_time, ray) ? std::optional(ray) : std::nullopt;
}

void trace_light(const RenderScene& scene, std::span<const ViewRay> rays, std::span<const LightSample> soft,
                 std::span<Vec3> light, TraceWork& work) {
  work.rays.resize(rays.size());
  for (std::size_t i = 0; i < rays.size(); ++i)
    RenderScene::set_ray(work.rays[i], rays[i].position, rays[i].direction, rays[i].fractional_time);
  scene.trace(work.rays);

  // What can be hidden is decided on below, after the rays that find it out are traced together.
  work.shadow_rays.clear();
  work.shadow_of.clear();
  work.direct_light.clear();
  work.sky_rays.clear();
  work.sky_of.clear();
  work.hidden_sky.clear();
  const Lighting& lighting = scene.lighting();
  Hit hit;
  for (std::size_t i = 0; i < rays.size(); ++i) {
    if (!scene.find_hit(work.rays[i], rays[i].position, rays[i].direction, hit)) {
      light[i] = sky(rays[i].direction);
      continue;
    }
    const Vec3 color = surface_color(scene, hit);
    const Vec3 reflected = color * hit.surface->diffuse;
    const bool can_be_hidden = largest(hit.position) <= scene.farthest_start();
    light[i] = filtered(filtered(sky_light(hit.shading_normal), lighting.ambient), reflected) + color * hit.surface->luminosity;
    if (!soft.empty() && can_be_hidden) {
      if (const auto to_sky = direction_to_sky(hit, soft[i].sky)) {
        const double share_above = 0.5 + 0.5 * hit.shading_normal.y;
        const Vec3 lost = (light_from_above - light_from_below * hidden_sky_share) * (sky_strength * share_above);
        RenderScene::set_ray_from_surface(work.sky_rays.emplace_back(), hit.position, *to_sky,
                                          std::numeric_limits<double>::infinity(), rays[i].fractional_time);
        work.sky_of.push_back(i);
        work.hidden_sky.push_back(filtered(filtered(lost, lighting.ambient), reflected));
      }
    }
    for (const Light& each : lighting.lights) {
      Illumination arriving = each.at(hit.position);
      if (!soft.empty() && each.kind == standin::LightKind::distant)
        arriving.towards = towards_sun(arriving.towards, soft[i].sun);
      const double slant = dot(hit.shading_normal, arriving.towards);
      if (!(slant > 0.0 && arriving.strength > 0.0)) continue;
      const Vec3 direct = filtered(each.color * (slant * full_light * arriving.strength), reflected);
      if (!each.casts_shadows || !can_be_hidden) {
        light[i] = light[i] + direct;
        continue;
      }
      RenderScene::set_ray_from_surface(work.shadow_rays.emplace_back(), hit.position, arriving.towards, arriving.distance,
                                        rays[i].fractional_time);
      work.shadow_of.push_back(i);
      work.direct_light.push_back(direct);
    }
  }
  // Within the sun's disc, directions are as good as one.
  const bool one_direction = lighting.lights.size() == 1 && lighting.lights.front().kind == standin::LightKind::distant;
  scene.trace(work.shadow_rays, one_direction);
  for (std::size_t i = 0; i < work.shadow_rays.size(); ++i)
    if (!RenderScene::is_blocked(work.shadow_rays[i]))
      light[work.shadow_of[i]] = light[work.shadow_of[i]] + work.direct_light[i];
  scene.trace(work.sky_rays, false);
  for (std::size_t i = 0; i < work.sky_rays.size(); ++i)
    if (RenderScene::is_blocked(work.sky_rays[i])) light[work.sky_of[i]] = light[work.sky_of[i]] - work.hidden_sky[i];
  // A light of negative intensity takes light away, but there is no less than none.
  for (Vec3& each : light) each = {std::max(0.0, each.x), std::max(0.0, each.y), std::max(0.0, each.z)};
  work.traced += rays.size() + work.shadow_rays.size() + work.sky_rays.size();
}

}  // namespace tool
