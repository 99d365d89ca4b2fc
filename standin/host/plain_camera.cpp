#include "standin/host/plain_camera.h"

#include <algorithm>

namespace standin {
namespace {

Vec3 unit_or(Vec3 axis, Vec3 otherwise) { return dot(axis, axis) > 0.0 ? normalized(axis) : otherwise; }

}  // namespace

ItemPose with_unit_axes(const ItemPose& pose) {
  const ItemPose world;
  return {pose.position, unit_or(pose.right, world.right), unit_or(pose.up, world.up), unit_or(pose.forward, world.forward)};
}

void PlainCamera::begin_frame(double start_seconds, double duration_seconds, bool depth_of_field) {
  start_seconds_ = start_seconds;
  duration_seconds_ = duration_seconds;
  const Item* item = scene_->find_camera(item_number_);
  if (item == nullptr) {
    pose_at_start_.reset();
    return;
  }
  const CameraSettings& camera = *item->camera;
  pose_at_start_ = with_unit_axes(scene_->world_pose(*item, start_seconds));
  half_separation_ = camera.eye_separation.at(start_seconds) * 0.5;
  const auto [width, height] = film_size(camera);
  half_film_width_ = width * 0.5;
  half_film_height_ = height * 0.5;
  film_distance_ = camera.zoom_factor.at(start_seconds) * half_film_height_;
  focal_distance_ = camera.focal_distance.at(start_seconds);
  const double f_stop = camera.lens_f_stop.at(start_seconds);
  lens_radius_ = depth_of_field && f_stop > 0.0 && focal_distance_ > 0.0 ? film_distance_ * 0.5 / f_stop : 0.0;
}

std::optional<ItemPose> PlainCamera::pose_at(double fractional_time, Eye eye) const {
  std::optional<ItemPose> pose = pose_at_start_;
  if (!pose) return {};
  if (duration_seconds_ > 0.0 && fractional_time > 0.0) {
    const Item* item = scene_->find_camera(item_number_);
    if (item == nullptr) return {};
    pose = with_unit_axes(scene_->world_pose(*item, start_seconds_ + fractional_time * duration_seconds_));
  }
  const double side = eye == Eye::left ? -half_separation_ : eye == Eye::right ? half_separation_ : 0.0;
  pose->position = pose->position + pose->right * side;
  return pose;
}

RayAnswer PlainCamera::evaluate(const RayQuery& query) const {
  const std::optional<ItemPose> pose = pose_at(query.fractional_time, query.eye);
  if (!pose) return {};
  Vec3 start;
  Vec3 direction{query.film_x, query.film_y, film_distance_};
  if (lens_radius_ > 0.0) {
    // The film distance is above 0 whenever there is a lens.
    start = {query.lens_x * lens_radius_, query.lens_y * lens_radius_, 0.0};
    direction = direction * (focal_distance_ / film_distance_) - start;
  }
  if (!(dot(direction, direction) > 0.0)) return {};
  return {1, pose->point_to_world(start), normalized(pose->direction_to_world(direction)), pose->forward};
}

std::optional<std::pair<double, double>> PlainCamera::project(Vec3 world, double lens_x, double lens_y, double fractional_time,
                                                              Eye eye) const {
  const std::optional<ItemPose> pose = pose_at(fractional_time, eye);
  if (!pose) return {};
  const Vec3 offset = world - pose->position;
  const double depth = dot(offset, pose->forward);
  if (!(depth > 1e-9)) return {};
  const double x = dot(offset, pose->right);
  const double y = dot(offset, pose->up);
  if (!(lens_radius_ > 0.0)) return std::pair{x / depth * film_distance_, y / depth * film_distance_};
  // Projects, from the lens centre, the point where the line from the lens point through the world point meets the plane in
  // focus.
  const double start_x = lens_x * lens_radius_;
  const double start_y = lens_y * lens_radius_;
  const double to_film = film_distance_ / focal_distance_;
  const double to_focus = focal_distance_ / depth;
  return std::pair{(start_x + (x - start_x) * to_focus) * to_film, (start_y + (y - start_y) * to_focus) * to_film};
}

void PlainCamera::project(std::span<const PointQuery> queries, std::span<PointAnswer> answers) const {
  for (std::size_t i = 0; i < queries.size(); ++i) {
    const auto film = project(queries[i].world, 0.0, 0.0, queries[i].fractional_time, queries[i].eye);
    answers[i] = film ? PointAnswer{film->first, film->second, 1} : PointAnswer{};
  }
}

void PlainCamera::preview(LWDMatrix4 projection) const {
  std::fill_n(&projection[0][0], sizeof(LWDMatrix4) / sizeof(double), 0.0);
  projection[0][0] = film_distance_ / half_film_width_;
  projection[1][1] = film_distance_ / half_film_height_;
  projection[2][2] = 1.0;
  projection[3][2] = 1.0;
}

}  // namespace standin
