#pragma once

#include <array>
#include <cstdint>
#include <embree3/rtcore.h>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <vector>

#include "standin/object_file.h"
#include "standin/scene.h"
#include "tool/scene_layers.h"

namespace tool {

/// Gives an Embree handle back when its owner goes.
struct EmbreeRelease {
  void operator()(RTCDeviceTy* device) const { rtcReleaseDevice(device); }
  void operator()(RTCSceneTy* scene) const { rtcReleaseScene(scene); }
  void operator()(RTCGeometryTy* geometry) const { rtcReleaseGeometry(geometry); }
};
using EmbreeDevice = std::unique_ptr<RTCDeviceTy, EmbreeRelease>;
using EmbreeScene = std::unique_ptr<RTCSceneTy, EmbreeRelease>;
using EmbreeGeometry = std::unique_ptr<RTCGeometryTy, EmbreeRelease>;

/// What a ray met. The normal has length one and looks against the ray, whichever side was met.
struct Hit {
  standin::Vec3 position;
  standin::Vec3 normal;
  /// Where the object is at the ray's time; its axes scaled as it is.
  standin::Pose object;
  const standin::Surface* surface = nullptr;
};

/// The light that comes from one side: `towards_sun` has length one.
struct Sun {
  standin::Vec3 towards_sun;
  standin::Vec3 color;
};

/// The objects of a scene as triangles for tracing, set in their places frame by frame.
class RenderScene {
 public:
  /// Reads every object; `scene` must outlive this. A missing file is left out with a line to `warnings`, and so is an object
  /// without that layer; a file that cannot be read throws standin::FileError.
  RenderScene(const standin::Scene& scene, std::ostream& warnings);

  /// Places the objects for `duration_seconds` from `start_seconds`. Threads: one, with no tracing meanwhile.
  void set_frame(double start_seconds, double duration_seconds);

  /// The nearest surface along the ray at the given fraction of the frame's duration. Direction of length one.
  /// Threads: any number at once.
  std::optional<Hit> intersect(standin::Vec3 position, standin::Vec3 direction, double fractional_time) const;

  /// Whether anything stands between the point and whatever is endlessly far in the direction. Threads: any number at once.
  bool occluded(standin::Vec3 position, standin::Vec3 direction, double fractional_time) const;

  /// Of the frame set last: the scene's first distant light, or a default.
  const Sun& sun() const { return sun_; }

 private:
  struct Mesh {
    EmbreeScene triangles;
    std::vector<std::uint32_t> surface_of_triangle;
    std::shared_ptr<const std::vector<standin::Surface>> surfaces;
  };
  struct Instance {
    PlacedLayer layer;
    const Mesh* mesh = nullptr;
  };
  /// Position, right, up and forward, as Embree wants them.
  using Placement = std::array<float, 12>;

  Mesh make_mesh(const PlacedLayer& placed) const;
  Placement placement(const Instance& instance, double time_seconds) const;
  void place(const Instance& instance, double start_seconds, double duration_seconds);
  void check_device() const;

  const standin::Scene& scene_;
  EmbreeDevice device_;
  std::map<const standin::Layer*, Mesh> meshes_;
  std::vector<Instance> instances_;
  EmbreeScene frame_;
  /// By number of the instance in `frame_`.
  std::vector<const Mesh*> placed_;
  Sun sun_;
};

}  // namespace tool
