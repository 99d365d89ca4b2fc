#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <embree3/rtcore.h>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <span>
#include <vector>

#include "standin/scene/object_file.h"
#include "standin/scene/scene.h"
#include "tool/render/lighting.h"
#include "tool/render/scene_layers.h"
#include "tool/render/smoothing.h"

namespace tool {

/// Releases an Embree handle on its owner's destruction.
struct EmbreeRelease {
  void operator()(RTCDeviceTy* device) const { rtcReleaseDevice(device); }
  void operator()(RTCSceneTy* scene) const { rtcReleaseScene(scene); }
  void operator()(RTCGeometryTy* geometry) const { rtcReleaseGeometry(geometry); }
};
using EmbreeDevice = std::unique_ptr<RTCDeviceTy, EmbreeRelease>;
using EmbreeScene = std::unique_ptr<RTCSceneTy, EmbreeRelease>;
using EmbreeGeometry = std::unique_ptr<RTCGeometryTy, EmbreeRelease>;

/// What a ray hit. The normal has length one and faces against the ray, whichever side was hit.
struct Hit {
  standin::Vec3 position;
  standin::Vec3 normal;
  /// The same, or bent towards the neighbouring polygons where the surface is smooth.
  standin::Vec3 shading_normal;
  const standin::Surface* surface = nullptr;
  /// For RenderScene::object_of.
  unsigned instance = 0;
  float fractional_time = 0.0F;
  /// For RenderScene::texture_position_of.
  unsigned triangle = 0;
  float to_second_corner = 0.0F;
  float to_third_corner = 0.0F;
};

/// The objects of a scene as triangles for tracing, placed frame by frame.
class RenderScene {
 public:
  /// Reads every object; `scene` must outlive this. A missing file, or an object without the layer, is left out with a line to
  /// `warnings`, and what is drawn otherwise than it is gets one, too; a file that cannot be read throws standin::FileError.
  RenderScene(const standin::Scene& scene, std::ostream& warnings);

  /// Whether there is anything to be seen, at some time.
  bool has_objects() const { return !instances_.empty(); }

  /// Places the objects for `duration_seconds` from `start_seconds`. Throws std::runtime_error for an object that is too far
  /// away or too large for single precision. Threads: one, with no tracing meanwhile.
  void set_frame(double start_seconds, double duration_seconds);

  /// Metres along each axis from the origin within which rays may start. Embree ends the program for one that starts beyond, in
  /// the world or in the space of an object, where a small scale makes the distance large.
  double farthest_start() const { return farthest_start_; }

  /// Makes it a ray at the given fraction of the frame's duration; direction of length one. Threads: any.
  static void set_ray(RTCRayHit& ray, const standin::Vec3& position, const standin::Vec3& direction, double fractional_time) {
    set_ray(ray.ray, position, direction, 0.0, std::numeric_limits<double>::infinity(), fractional_time);
    ray.hit.geomID = RTC_INVALID_GEOMETRY_ID;
    ray.hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
  }

  /// The same from a surface, which it does not hit itself, up to a distance, which may be infinite.
  static void set_ray_from_surface(RTCRay& ray, const standin::Vec3& position, const standin::Vec3& direction, double distance,
                                   double fractional_time) {
    const double gap = shadow_gap * std::max({1.0, std::abs(position.x), std::abs(position.y), std::abs(position.z)});
    set_ray(ray, position, direction, gap, distance, fractional_time);
  }

  /// Finds the nearest surface along every ray; fastest for rays of neighbouring pixels. Threads: any number at once.
  void trace(std::span<RTCRayHit> rays) const;

  /// Finds whether there is any surface along every ray; `is_blocked` has the answer afterwards. Only rays of one direction are
  /// `parallel`. Threads: any number at once.
  void trace(std::span<RTCRay> rays, bool parallel) const;
  static bool is_blocked(const RTCRay& ray) { return ray.tfar < 0.0F; }

  /// The Embree scene of the frame set last, for measuring Embree by itself.
  RTCScene embree_scene() const { return frame_.get(); }

  /// What a traced ray hit; false where that is nothing, and then `hit` means nothing. Position and direction are the ray's, in
  /// double precision.
  bool find_hit(const RTCRayHit& met, const standin::Vec3& position, const standin::Vec3& direction, Hit& hit) const;

  /// The pose of the object that was hit, at the ray's time; the axes are scaled as the object is. Threads: any number at once.
  standin::ItemPose object_of(const Hit& hit) const;

  /// Where the point of the surface that was hit is at another time. Threads: any number at once.
  standin::Vec3 position_at(const Hit& hit, double time_seconds) const;

  /// The two numbers of the object's first texture map that has them for the polygon that was hit. Threads: any number at once.
  std::optional<std::array<double, 2>> texture_position_of(const Hit& hit) const;

  const standin::Scene& scene() const { return scene_; }

  /// Of the frame set last.
  const Lighting& lighting() const { return lighting_; }

 private:
  /// How far a shadow ray starts from its surface, as a share of the size of the numbers around it.
  static constexpr double shadow_gap = 1e-4;

  /// Number by number: what is read as a whole right after it was written by halves has to wait.
  static void set_ray(RTCRay& ray, const standin::Vec3& position, const standin::Vec3& direction, double nearest,
                      double farthest, double fractional_time) {
    ray.org_x = static_cast<float>(position.x);
    ray.org_y = static_cast<float>(position.y);
    ray.org_z = static_cast<float>(position.z);
    ray.tnear = static_cast<float>(nearest);
    ray.dir_x = static_cast<float>(direction.x);
    ray.dir_y = static_cast<float>(direction.y);
    ray.dir_z = static_cast<float>(direction.z);
    ray.time = static_cast<float>(fractional_time);
    ray.tfar = static_cast<float>(farthest);
    ray.mask = ~0U;
    ray.id = 0;
    ray.flags = 0;
  }

  struct Mesh {
    EmbreeScene triangles;
    std::vector<std::uint32_t> surface_of_triangle;
    /// Bits of `Sides` by triangle; empty where every one is seen from both sides.
    std::vector<std::uint8_t> sides_of_triangle;
    /// Empty where nothing is smooth.
    std::vector<CornerNormals> normals_of_triangle;
    std::shared_ptr<const std::vector<standin::Surface>> surfaces;
    /// Of each triangle, its corners as points of the layer, and its polygon. Empty where there is no texture map.
    std::vector<std::array<std::uint32_t, 3>> corners_of_triangle;
    std::vector<std::uint32_t> polygon_of_triangle;
    const standin::Layer* layer = nullptr;
    /// The largest coordinate of its points.
    double extent = 0.0;
  };
  struct Instance {
    PlacedLayer layer;
    const Mesh* mesh = nullptr;
  };
  /// Position, right, up and forward, as Embree wants them.
  using Placement = std::array<float, 12>;
  /// Where an object is at one moment. Normals are transformed by the axes' cofactors, so that they stay perpendicular to their
  /// surface when the scales differ.
  struct Place {
    Place() = default;
    explicit Place(const Placement& matrix);

    standin::ItemPose object;
    standin::Vec3 right_cofactor;
    standin::Vec3 up_cofactor;
    standin::Vec3 forward_cofactor;
  };

  struct Placed {
    const Mesh* mesh = nullptr;
    const Instance* instance = nullptr;
    bool moves = false;
    /// Place of an object that does not move.
    Place place;
  };

  Mesh make_mesh(const PlacedLayer& placed) const;
  void tell_of_textures(std::ostream& warnings) const;
  static Placement placement(const standin::ItemPose& pose);
  /// `poses`: of all items, at each of the steps from `start_seconds` on.
  void place(const Instance& instance, double start_seconds, const std::vector<std::vector<standin::ItemPose>>& poses);
  /// `growth`: how many times larger a distance may become in the object's space.
  static void require_reach(const Instance& instance, const Placement& matrix, double growth);
  static double enlargement(const Placement& matrix);
  Place place_at(unsigned instance, float fractional_time) const;
  void check_device() const;

  const standin::Scene& scene_;
  EmbreeDevice device_;
  std::map<const standin::Layer*, Mesh> meshes_;
  std::vector<Instance> instances_;
  EmbreeScene frame_;
  /// By number of the instance in `frame_`.
  std::vector<Placed> placed_;
  double farthest_start_ = 0.0;
  Lighting lighting_;
};

}  // namespace tool
