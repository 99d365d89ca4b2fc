#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <utility>

#include "sdk/types.h"
#include "standin/host/ray_query.h"
#include "standin/scene/scene.h"

namespace standin {

/// The host's own perspective camera: a pinhole, or with depth of field a thin lens that is sharp at the focal distance.
/// Threads: begin_frame one; the rest any number at once.
class PlainCamera {
 public:
  /// The scene must outlive this; a camera that is removed from it gives no rays from its next frame on.
  PlainCamera(const Scene& scene, std::uint32_t item_number) : scene_(&scene), item_number_(item_number) {}

  /// `duration_seconds`: the interval of fractional time 0 to 1.
  void begin_frame(double start_seconds, double duration_seconds, bool depth_of_field);

  RayAnswer evaluate(const RayQuery& query) const;
  /// Film metres; none when the point is not in front of the lens.
  std::optional<std::pair<double, double>> project(Vec3 world, double lens_x, double lens_y, double fractional_time,
                                                   Eye eye) const;
  /// The same of many points through the lens's centre; as many answers as queries.
  void project(std::span<const PointQuery> queries, std::span<PointAnswer> answers) const;
  /// Camera space to the unit cube of the view, for column vectors: x and y of the film edges become -1 and 1.
  void preview(LWDMatrix4 projection) const;

 private:
  std::optional<ItemPose> pose_at(double fractional_time, Eye eye) const;

  const Scene* scene_;
  std::uint32_t item_number_;
  double start_seconds_ = 0.0;
  double duration_seconds_ = 0.0;
  double half_separation_ = 0.0;
  /// None: the camera was removed from the scene.
  std::optional<ItemPose> pose_at_start_;
  /// Film metres.
  double film_distance_ = 0.0;
  double half_film_width_ = 0.0;
  double half_film_height_ = 0.0;
  double focal_distance_ = 0.0;
  /// 0 without depth of field.
  double lens_radius_ = 0.0;
};

/// The pose with axes of length 1; an axis of length 0 becomes the world's.
ItemPose with_unit_axes(const ItemPose& pose);

}  // namespace standin
