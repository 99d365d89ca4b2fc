#include "tool/render/render_scene.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

#include "standin/scene/name_list.h"
#include "tool/render/triangulate.h"

namespace tool {
namespace {

using standin::Vec3;

/// Embree interpolates an instance linearly; this many steps follow a rotation within one frame closely.
constexpr unsigned moving_steps = 9;
/// Metres. Embree takes numbers up to 1.8e18, and going into an object's space adds six of these.
constexpr double farthest = 2.5e17;

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

constexpr std::uint8_t front_is_seen = 1;
constexpr std::uint8_t back_is_seen = 2;

/// Embree asks this of every hit that it finds; `geometryUserPtr` is the sides of the triangles. Ray and normal are both in the
/// object's space, so that a mirrored object keeps its front.
void pass_unseen_sides(const RTCFilterFunctionNArguments* arguments) {
  const auto* sides = static_cast<const std::uint8_t*>(arguments->geometryUserPtr);
  const unsigned count = arguments->N;
  for (unsigned i = 0; i < count; ++i) {
    if (arguments->valid[i] != -1) continue;
    const float along = RTCRayN_dir_x(arguments->ray, count, i) * RTCHitN_Ng_x(arguments->hit, count, i) +
                        RTCRayN_dir_y(arguments->ray, count, i) * RTCHitN_Ng_y(arguments->hit, count, i) +
                        RTCRayN_dir_z(arguments->ray, count, i) * RTCHitN_Ng_z(arguments->hit, count, i);
    const std::uint8_t met = along > 0.0F ? back_is_seen : front_is_seen;
    if ((sides[RTCHitN_primID(arguments->hit, count, i)] & met) == 0) arguments->valid[i] = 0;
  }
}

double largest(Vec3 v) { return std::max({std::abs(v.x), std::abs(v.y), std::abs(v.z)}); }

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
  tell_of_textures(warnings);
  if (!has_light(scene)) warnings << "note: no light of the scene is on; it is lit by the preview's own sun and sky\n";
}

void RenderScene::tell_of_textures(std::ostream& warnings) const {
  std::vector<std::string> names;
  for (const auto& [layer, mesh] : meshes_) {
    for (const std::uint32_t surface : mesh.surface_of_triangle) {
      if (surface >= mesh.surfaces->size() || !(*mesh.surfaces)[surface].color_is_textured) continue;
      const std::string name = '"' + (*mesh.surfaces)[surface].name + '"';
      if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
    }
  }
  if (names.empty()) return;
  std::sort(names.begin(), names.end());
  warnings << "warning: the colour of " << (names.size() > 1 ? "surfaces " : "surface ") << standin::joined(names)
           << " comes from an image or another texture, which is not shown; the base colour is\n";
}

RenderScene::Mesh RenderScene::make_mesh(const PlacedLayer& placed) const {
  const standin::Layer& layer = *placed.layer;
  Mesh mesh;
  mesh.surfaces = {placed.file, &placed.file->surfaces};
  std::vector<std::array<std::uint32_t, 3>> triangles;
  std::vector<std::uint32_t> polygon_of_triangle;
  for (const standin::Polygon& polygon : layer.polygons) {
    if (std::any_of(polygon.points.begin(), polygon.points.end(),
                    [&](std::uint32_t point) { return point >= layer.points.size(); })) {
      continue;
    }
    triangulate(layer.points, polygon.points, triangles);
    mesh.surface_of_triangle.resize(triangles.size(), polygon.surface);
    polygon_of_triangle.resize(triangles.size(), static_cast<std::uint32_t>(&polygon - layer.polygons.data()));
  }
  if (triangles.empty()) return mesh;
  mesh.normals_of_triangle = smooth_normals(layer, *mesh.surfaces, polygon_of_triangle, triangles);
  const auto sides_of = [&](std::uint32_t surface) {
    static const standin::Surface plain;
    const standin::Surface& seen = surface < mesh.surfaces->size() ? (*mesh.surfaces)[surface] : plain;
    return static_cast<std::uint8_t>((seen.front ? front_is_seen : 0) | (seen.back ? back_is_seen : 0));
  };
  std::transform(mesh.surface_of_triangle.begin(), mesh.surface_of_triangle.end(), std::back_inserter(mesh.sides_of_triangle),
                 sides_of);

  const EmbreeGeometry geometry(rtcNewGeometry(device_.get(), RTC_GEOMETRY_TYPE_TRIANGLE));
  void* vertices = rtcSetNewGeometryBuffer(geometry.get(), RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, 3 * sizeof(float),
                                           layer.points.size());
  void* indices = rtcSetNewGeometryBuffer(geometry.get(), RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3, 3 * sizeof(std::uint32_t),
                                          triangles.size());
  check_device();
  const std::span position_of(static_cast<float*>(vertices), 3 * layer.points.size());
  for (std::size_t i = 0; i < layer.points.size(); ++i) {
    mesh.extent = std::max(mesh.extent, largest(layer.points[i]));
    position_of[3 * i] = static_cast<float>(layer.points[i].x);
    position_of[3 * i + 1] = static_cast<float>(layer.points[i].y);
    position_of[3 * i + 2] = static_cast<float>(layer.points[i].z);
  }
  std::copy(triangles.begin(), triangles.end(), static_cast<std::array<std::uint32_t, 3>*>(indices));
  constexpr std::uint8_t both = front_is_seen | back_is_seen;
  if (std::all_of(mesh.sides_of_triangle.begin(), mesh.sides_of_triangle.end(),
                  [](std::uint8_t sides) { return sides == both; }))
    mesh.sides_of_triangle.clear();
  if (!mesh.sides_of_triangle.empty()) {
    // What is not seen from one side keeps light out from both, so that shadow rays need no filter.
    rtcSetGeometryUserData(geometry.get(), mesh.sides_of_triangle.data());
    rtcSetGeometryIntersectFilterFunction(geometry.get(), pass_unseen_sides);
  }
  rtcCommitGeometry(geometry.get());

  mesh.layer = &layer;
  if (!layer.uv_maps.empty()) {
    mesh.corners_of_triangle = std::move(triangles);
    mesh.polygon_of_triangle = std::move(polygon_of_triangle);
  }
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
  farthest_start_ = farthest;
  std::vector<std::vector<standin::ItemPose>> poses;
  const unsigned steps = duration_seconds > 0.0 ? moving_steps : 1;
  for (unsigned step = 0; step < steps; ++step) {
    const double share = steps > 1 ? static_cast<double>(step) / (steps - 1) : 0.0;
    poses.push_back(scene_.world_poses(start_seconds + share * duration_seconds));
  }
  for (const Instance& instance : instances_) place(instance, start_seconds, poses);
  rtcCommitScene(frame_.get());
  check_device();

  lighting_ = lighting_at(scene_, start_seconds, poses.front());
}

RenderScene::Placement RenderScene::placement(const standin::ItemPose& pose) {
  Placement matrix{};
  std::size_t next = 0;
  for (const Vec3 column : {pose.right, pose.up, pose.forward, pose.position}) {
    matrix[next++] = static_cast<float>(column.x);
    matrix[next++] = static_cast<float>(column.y);
    matrix[next++] = static_cast<float>(column.z);
  }
  return matrix;
}

void RenderScene::place(const Instance& instance, double start_seconds,
                        const std::vector<std::vector<standin::ItemPose>>& poses) {
  if (instance.layer.item->active.at(start_seconds) == 0.0) return;
  const auto item = static_cast<std::size_t>(instance.layer.item - scene_.items.data());
  std::vector<Placement> placements;
  placements.reserve(poses.size());
  for (const std::vector<standin::ItemPose>& at : poses) placements.push_back(placement(instance.layer.world_pose(at[item])));
  if (std::all_of(placements.begin(), placements.end(), [&](const Placement& at) { return at == placements.front(); }))
    placements.resize(1);
  for (const Placement& matrix : placements) require_reach(instance, matrix, 1.0);
  if (!std::all_of(placements.begin(), placements.end(), can_be_placed)) return;
  for (const Placement& matrix : placements) {
    const double growth = enlargement(matrix);
    require_reach(instance, matrix, growth);
    farthest_start_ = std::min(farthest_start_, farthest / growth);
  }

  const EmbreeGeometry geometry(rtcNewGeometry(device_.get(), RTC_GEOMETRY_TYPE_INSTANCE));
  rtcSetGeometryInstancedScene(geometry.get(), instance.mesh->triangles.get());
  rtcSetGeometryTimeStepCount(geometry.get(), static_cast<unsigned>(placements.size()));
  for (unsigned step = 0; step < placements.size(); ++step)
    rtcSetGeometryTransform(geometry.get(), step, RTC_FORMAT_FLOAT3X4_COLUMN_MAJOR, placements[step].data());
  rtcCommitGeometry(geometry.get());
  rtcAttachGeometryByID(frame_.get(), geometry.get(), static_cast<unsigned>(placed_.size()));
  placed_.push_back({instance.mesh, &instance, placements.size() > 1, Place(placements.front())});
}

void RenderScene::require_reach(const Instance& instance, const Placement& matrix, double growth) {
  const double size = std::max({largest(vector_at(matrix, 0)), largest(vector_at(matrix, 1)), largest(vector_at(matrix, 2))});
  const Vec3 position = vector_at(matrix, 3);
  if (!(largest(position) * growth < farthest && largest(position) + 3.0 * size * instance.mesh->extent < farthest))
    throw std::runtime_error("the object \"" + instance.layer.item->name +
                             "\" is too far away or too large to be rendered; move it closer or scale it down");
}

double RenderScene::enlargement(const Placement& matrix) {
  const Place place(matrix);
  const double volume = std::abs(dot(place.object.right, place.right_cofactor));
  const double most = std::max({largest(place.right_cofactor), largest(place.up_cofactor), largest(place.forward_cofactor)});
  return std::max(1.0, most / volume);
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

void RenderScene::trace(std::span<RTCRayHit> rays) const {
  RTCIntersectContext context = alike_rays();
  rtcIntersect1M(frame_.get(), &context, rays.data(), static_cast<unsigned>(rays.size()), sizeof(RTCRayHit));
}

void RenderScene::trace(std::span<RTCRay> rays, bool parallel) const {
  RTCIntersectContext context = alike_rays();
  // Embree takes rays of many directions and lengths along one way for ever.
  if (!parallel) rtcInitIntersectContext(&context);
  rtcOccluded1M(frame_.get(), &context, rays.data(), static_cast<unsigned>(rays.size()), sizeof(RTCRay));
}

bool RenderScene::find_hit(const RTCRayHit& met, const Vec3& position, const Vec3& direction, Hit& hit) const {
  if (met.hit.geomID == RTC_INVALID_GEOMETRY_ID) return false;

  const Placed& placed = placed_[met.hit.instID[0]];
  const Mesh& mesh = *placed.mesh;
  const auto find_normals = [&](const Place& place) {
    Vec3 normal =
        place.right_cofactor * met.hit.Ng_x + place.up_cofactor * met.hit.Ng_y + place.forward_cofactor * met.hit.Ng_z;
    const double size = length(normal);
    normal = size > 0.0 ? normal * (1.0 / size) : direction * -1.0;
    const bool from_behind = dot(normal, direction) > 0.0;
    if (from_behind) normal = normal * -1.0;
    hit.normal = normal;
    hit.shading_normal = normal;
    if (mesh.normals_of_triangle.empty()) return;
    const Vec3 bent = smooth_normal(mesh.normals_of_triangle[met.hit.primID], met.hit.u, met.hit.v);
    const Vec3 turned = place.right_cofactor * bent.x + place.up_cofactor * bent.y + place.forward_cofactor * bent.z;
    const double bent_size = length(turned);
    if (bent_size > 0.0) hit.shading_normal = turned * ((from_behind ? -1.0 : 1.0) / bent_size);
  };
  if (placed.moves)
    find_normals(place_at(met.hit.instID[0], met.ray.time));
  else
    find_normals(placed.place);

  const std::uint32_t surface = mesh.surface_of_triangle[met.hit.primID];
  static const standin::Surface plain;
  hit.position = position + direction * met.ray.tfar;
  hit.surface = surface < mesh.surfaces->size() ? &(*mesh.surfaces)[surface] : &plain;
  hit.instance = met.hit.instID[0];
  hit.fractional_time = met.ray.time;
  hit.triangle = met.hit.primID;
  hit.to_second_corner = met.hit.u;
  hit.to_third_corner = met.hit.v;
  return true;
}

standin::ItemPose RenderScene::object_of(const Hit& hit) const {
  const Placed& placed = placed_[hit.instance];
  return placed.moves ? place_at(hit.instance, hit.fractional_time).object : placed.place.object;
}

Vec3 RenderScene::position_at(const Hit& hit, double time_seconds) const {
  const Placed& placed = placed_[hit.instance];
  const Place now = placed.moves ? place_at(hit.instance, hit.fractional_time) : placed.place;
  const Vec3 offset = hit.position - now.object.position;
  const double volume = dot(now.object.right, now.right_cofactor);
  const Vec3 in_object{dot(offset, now.right_cofactor) / volume, dot(offset, now.up_cofactor) / volume,
                       dot(offset, now.forward_cofactor) / volume};
  return Place(placement(placed.instance->layer.world_pose(scene_, time_seconds))).object.point_to_world(in_object);
}

std::optional<std::array<double, 2>> RenderScene::texture_position_of(const Hit& hit) const {
  const Mesh& mesh = *placed_[hit.instance].mesh;
  if (mesh.corners_of_triangle.empty()) return std::nullopt;
  const std::array<double, 3> shares{1.0 - hit.to_second_corner - hit.to_third_corner, hit.to_second_corner,
                                     hit.to_third_corner};
  const std::uint32_t polygon = mesh.polygon_of_triangle[hit.triangle];
  for (const standin::UvMap& map : mesh.layer->uv_maps) {
    std::array<double, 2> position{};
    const bool found = std::ranges::all_of(std::array{0U, 1U, 2U}, [&](unsigned corner) {
      const std::uint32_t point = mesh.corners_of_triangle[hit.triangle][corner];
      const auto own = map.of_point_in_polygon.find({point, polygon});
      const auto shared = map.of_point.find(point);
      const std::vector<float>* values = own != map.of_point_in_polygon.end() ? &own->second
                                         : shared != map.of_point.end()       ? &shared->second
                                                                              : nullptr;
      if (values == nullptr || values->size() < 2) return false;
      for (std::size_t axis = 0; axis < 2; ++axis) position[axis] += shares[corner] * (*values)[axis];
      return true;
    });
    if (found) return position;
  }
  return std::nullopt;
}

void RenderScene::check_device() const {
  const RTCError error = rtcGetDeviceError(device_.get());
  if (error == RTC_ERROR_OUT_OF_MEMORY) throw std::runtime_error("there is not enough memory for the scene's objects");
  if (error != RTC_ERROR_NONE) throw std::runtime_error("the ray tracing library refused the scene's objects");
}

}  // namespace tool
