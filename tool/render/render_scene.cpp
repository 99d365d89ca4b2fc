#include "tool/render/render_scene.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <stdexcept>
#include <utility>

#include "tool/render/triangulate.h"

namespace tool {
namespace {

using standin::Vec3;

/// Embree interpolates an instance linearly; this many steps follow a rotation within one frame closely.
constexpr unsigned moving_steps = 9;
constexpr int distant_light = 0;
/// How far a shadow ray starts from its surface, as a share of the size of the numbers around it.
constexpr double shadow_gap = 1e-4;

RTCRay make_ray(Vec3 position, Vec3 direction, double fractional_time) {
  RTCRay ray{};
  ray.org_x = static_cast<float>(position.x);
  ray.org_y = static_cast<float>(position.y);
  ray.org_z = static_cast<float>(position.z);
  ray.dir_x = static_cast<float>(direction.x);
  ray.dir_y = static_cast<float>(direction.y);
  ray.dir_z = static_cast<float>(direction.z);
  ray.time = static_cast<float>(fractional_time);
  ray.tfar = std::numeric_limits<float>::infinity();
  ray.mask = ~0U;
  return ray;
}

/// For rays of neighbouring pixels: Embree then traverses many of them together.
RTCIntersectContext alike_rays() {
  RTCIntersectContext context;
  rtcInitIntersectContext(&context);
  context.flags = RTC_INTERSECT_CONTEXT_FLAG_COHERENT;
  return context;
}

Vec3 vector_at(const std::array<float, 12>& matrix, std::size_t column) {
  return {matrix[3 * column], matrix[3 * column + 1], matrix[3 * column + 2]};
}

/// The matrix of an object that is scaled to nothing cannot be inverted; Embree must not get it.
bool can_be_placed(const std::array<float, 12>& matrix) {
  const double volume = dot(cross(vector_at(matrix, 0), vector_at(matrix, 1)), vector_at(matrix, 2));
  return std::abs(volume) > 1e-18 &&
         std::all_of(matrix.begin(), matrix.end(), [](float value) { return std::isfinite(value); });
}

}  // namespace

RenderScene::RenderScene(const standin::Scene& scene, std::ostream& warnings) : scene_(scene), device_(rtcNewDevice(nullptr)) {
  if (!device_) throw std::runtime_error("the ray tracing library did not start");
  for (PlacedLayer& placed : placed_layers(scene, warnings)) {
    auto mesh = meshes_.find(placed.layer);
    if (mesh == meshes_.end()) mesh = meshes_.emplace(placed.layer, make_mesh(placed)).first;
    if (!mesh->second.surface_of_triangle.empty()) instances_.push_back({std::move(placed), &mesh->second});
  }
}

RenderScene::Mesh RenderScene::make_mesh(const PlacedLayer& placed) const {
  const standin::Layer& layer = *placed.layer;
  Mesh mesh;
  mesh.surfaces = {placed.file, &placed.file->surfaces};
  std::vector<std::array<std::uint32_t, 3>> triangles;
  for (const standin::Polygon& polygon : layer.polygons) {
    if (std::any_of(polygon.points.begin(), polygon.points.end(),
                    [&](std::uint32_t point) { return point >= layer.points.size(); })) {
      continue;
    }
    triangulate(layer.points, polygon.points, triangles);
    mesh.surface_of_triangle.resize(triangles.size(), polygon.surface);
  }
  if (triangles.empty()) return mesh;

  const EmbreeGeometry geometry(rtcNewGeometry(device_.get(), RTC_GEOMETRY_TYPE_TRIANGLE));
  void* vertices = rtcSetNewGeometryBuffer(geometry.get(), RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, 3 * sizeof(float),
                                           layer.points.size());
  void* indices = rtcSetNewGeometryBuffer(geometry.get(), RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3, 3 * sizeof(std::uint32_t),
                                          triangles.size());
  check_device();
  const std::span position_of(static_cast<float*>(vertices), 3 * layer.points.size());
  for (std::size_t i = 0; i < layer.points.size(); ++i) {
    position_of[3 * i] = static_cast<float>(layer.points[i].x);
    position_of[3 * i + 1] = static_cast<float>(layer.points[i].y);
    position_of[3 * i + 2] = static_cast<float>(layer.points[i].z);
  }
  std::copy(triangles.begin(), triangles.end(), static_cast<std::array<std::uint32_t, 3>*>(indices));
  rtcCommitGeometry(geometry.get());

  mesh.triangles.reset(rtcNewScene(device_.get()));
  rtcSetSceneFlags(mesh.triangles.get(), RTC_SCENE_FLAG_ROBUST);
  rtcAttachGeometry(mesh.triangles.get(), geometry.get());
  rtcCommitScene(mesh.triangles.get());
  check_device();
  return mesh;
}

void RenderScene::set_frame(double start_seconds, double duration_seconds) {
  frame_.reset(rtcNewScene(device_.get()));
  rtcSetSceneFlags(frame_.get(), RTC_SCENE_FLAG_ROBUST);
  placed_.clear();
  for (const Instance& instance : instances_) place(instance, start_seconds, duration_seconds);
  rtcCommitScene(frame_.get());
  check_device();

  sun_ = {normalized(Vec3{-0.45, 0.75, -0.5}), Vec3{1.0, 0.97, 0.9}};
  const auto light = std::find_if(scene_.items.begin(), scene_.items.end(),
                                  [](const standin::Item& item) { return item.light && item.light->type == distant_light; });
  if (light == scene_.items.end()) return;
  const Vec3 forward = scene_.world_pose(*light, start_seconds).forward;
  if (length(forward) > 0.0) sun_.towards_sun = normalized(forward * -1.0);
  sun_.color = light->light->color * std::max(0.0, light->light->intensity.at(start_seconds));
}

RenderScene::Placement RenderScene::placement(const Instance& instance, double time_seconds) const {
  const standin::ItemPose pose = instance.layer.world_pose(scene_, time_seconds);
  Placement matrix{};
  std::size_t next = 0;
  for (const Vec3 column : {pose.right, pose.up, pose.forward, pose.position}) {
    matrix[next++] = static_cast<float>(column.x);
    matrix[next++] = static_cast<float>(column.y);
    matrix[next++] = static_cast<float>(column.z);
  }
  return matrix;
}

void RenderScene::place(const Instance& instance, double start_seconds, double duration_seconds) {
  std::vector<Placement> placements;
  const unsigned steps = duration_seconds > 0.0 ? moving_steps : 1;
  for (unsigned step = 0; step < steps; ++step) {
    const double share = steps > 1 ? static_cast<double>(step) / (steps - 1) : 0.0;
    placements.push_back(placement(instance, start_seconds + share * duration_seconds));
  }
  if (std::all_of(placements.begin(), placements.end(), [&](const Placement& at) { return at == placements.front(); })) {
    placements.resize(1);
  }
  if (!std::all_of(placements.begin(), placements.end(), can_be_placed)) return;

  const EmbreeGeometry geometry(rtcNewGeometry(device_.get(), RTC_GEOMETRY_TYPE_INSTANCE));
  rtcSetGeometryInstancedScene(geometry.get(), instance.mesh->triangles.get());
  rtcSetGeometryTimeStepCount(geometry.get(), static_cast<unsigned>(placements.size()));
  for (unsigned step = 0; step < placements.size(); ++step) {
    rtcSetGeometryTransform(geometry.get(), step, RTC_FORMAT_FLOAT3X4_COLUMN_MAJOR, placements[step].data());
  }
  rtcCommitGeometry(geometry.get());
  rtcAttachGeometryByID(frame_.get(), geometry.get(), static_cast<unsigned>(placed_.size()));
  placed_.push_back({instance.mesh, placements.size() > 1, Place(placements.front())});
}

RenderScene::Place::Place(const Placement& matrix)
    : object{vector_at(matrix, 3), vector_at(matrix, 0), vector_at(matrix, 1), vector_at(matrix, 2)},
      right_cofactor(cross(object.up, object.forward)),
      up_cofactor(cross(object.forward, object.right)),
      forward_cofactor(cross(object.right, object.up)) {}

RenderScene::Place RenderScene::place_at(unsigned instance, float fractional_time) const {
  Placement matrix{};
  rtcGetGeometryTransform(rtcGetGeometry(frame_.get(), instance), fractional_time, RTC_FORMAT_FLOAT3X4_COLUMN_MAJOR,
                          matrix.data());
  return Place(matrix);
}

RTCRayHit RenderScene::ray_from(Vec3 position, Vec3 direction, double fractional_time) {
  RTCRayHit ray{};
  ray.ray = make_ray(position, direction, fractional_time);
  ray.hit.geomID = RTC_INVALID_GEOMETRY_ID;
  ray.hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
  return ray;
}

RTCRay RenderScene::ray_from_surface(Vec3 position, Vec3 direction, double fractional_time) {
  RTCRay ray = make_ray(position, direction, fractional_time);
  ray.tnear =
      static_cast<float>(shadow_gap * std::max({1.0, std::abs(position.x), std::abs(position.y), std::abs(position.z)}));
  return ray;
}

void RenderScene::trace(std::span<RTCRayHit> rays) const {
  RTCIntersectContext context = alike_rays();
  rtcIntersect1M(frame_.get(), &context, rays.data(), static_cast<unsigned>(rays.size()), sizeof(RTCRayHit));
}

void RenderScene::trace(std::span<RTCRay> rays) const {
  RTCIntersectContext context = alike_rays();
  rtcOccluded1M(frame_.get(), &context, rays.data(), static_cast<unsigned>(rays.size()), sizeof(RTCRay));
}

std::optional<Hit> RenderScene::hit(const RTCRayHit& met, Vec3 position, Vec3 direction) const {
  if (met.hit.geomID == RTC_INVALID_GEOMETRY_ID) return std::nullopt;

  const Placed& placed = placed_[met.hit.instID[0]];
  std::optional<Place> moved;
  const Place& place = placed.moves ? moved.emplace(place_at(met.hit.instID[0], met.ray.time)) : placed.place;
  Vec3 normal = place.right_cofactor * met.hit.Ng_x + place.up_cofactor * met.hit.Ng_y + place.forward_cofactor * met.hit.Ng_z;
  const double size = length(normal);
  normal = size > 0.0 ? normal * (1.0 / size) : direction * -1.0;
  if (dot(normal, direction) > 0.0) normal = normal * -1.0;

  const Mesh& mesh = *placed.mesh;
  const std::uint32_t surface = mesh.surface_of_triangle[met.hit.primID];
  static const standin::Surface plain;
  return Hit{position + direction * met.ray.tfar, normal, surface < mesh.surfaces->size() ? &(*mesh.surfaces)[surface] : &plain,
             met.hit.instID[0], met.ray.time};
}

standin::ItemPose RenderScene::object_of(const Hit& hit) const {
  const Placed& placed = placed_[hit.instance];
  return placed.moves ? place_at(hit.instance, hit.fractional_time).object : placed.place.object;
}

void RenderScene::check_device() const {
  const RTCError error = rtcGetDeviceError(device_.get());
  if (error == RTC_ERROR_OUT_OF_MEMORY) throw std::runtime_error("there is not enough memory for the scene's objects");
  if (error != RTC_ERROR_NONE) throw std::runtime_error("the ray tracing library refused the scene's objects");
}

}  // namespace tool
