#pragma once

#include <array>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

#include "framework/for_ray.h"
#include "framework/motion_samples.h"
#include "framework/pose_cache.h"
#include "framework/settings_camera.h"

namespace framework {

/// A camera with a lens of its own, whose position and axes are sampled over the frame's motion-blur interval. `PoseType`:
/// position, right, up and forward, in single or double precision, and the position of a tracked item where there is one;
/// `vector_count` of them, before anything else.
template <class Lens, class PoseType = Pose, SampleWeight weight = SampleWeight::by_division>
class LensCamera : public SettingsCamera<Lens> {
 public:
  using Base = SettingsCamera<Lens>;
  using Scalar = decltype(PoseType{}.position.x);
  static constexpr std::size_t vector_count = PoseType::vector_count;

  using Base::Base;

  /// The copy has neither motion samples nor a cached pose before its next changed frame.
  void copy_from(const LensCamera& from) {
    if (this == &from) return;
    CleanUp();
    out_of_memory_ = false;
    pose_cache.begin(PoseType{});
    Base::copy_from(from);
  }

  void begin_frame(const LWFrameInfo& frame, const LWCameraAccess& record) final {
    this->before_frame(frame.start);
    const bool moved = this->motion_changed();
    if (moved || out_of_memory_ || !same_frame(this->frame_info, frame) || !same_access(this->access, record))
      this->frame_changed(frame, record);
    this->after_frame();
  }

  void frame_changed(const LWFrameInfo& frame, const LWCameraAccess& record) override {
    this->read_values(frame.start);
    take_over(frame, record);
  }

  /// Without its samples the frame would show the camera where it was before: the host is told, and the same frame is tried
  /// again when it is asked for again.
  LWError frame_failure() const override {
    return out_of_memory_ ? "There is no memory for the motion of the camera; close what else needs memory and render again"
                          : nullptr;
  }

  /// The records of a frame, and its motion samples.
  void take_over(const LWFrameInfo& frame, const LWCameraAccess& record) {
    this->NewFrame(&frame, &record);
    SetUp(effective_motion_steps(frame.motionSteps));
  }

  /// Samples the camera's motion over the frame: `steps` samples, the last of them one step short of the frame's end.
  void SetUp(unsigned steps);
  void CleanUp() {
    sample_count = 0;
    for (auto& values : samples) std::vector<double>().swap(values);
  }

  /// Position and axes at a fractional time; before there are motion samples, the cached ones. Threads: any.
  PoseType pose_at(double time) const;

  /// The same for a ray, through the cache. Threads: any.
  ForRay<PoseType> cached_pose_at(double time) {
    if (const PoseType* cached = pose_cache.find(time)) return ForRay<PoseType>(cached);
    return ForRay<PoseType>(interpolate_pose(time));
  }

  /// The same without adding to the cache. Threads: any.
  PoseType known_pose_at(double time) const {
    if (const PoseType* cached = pose_cache.find(time)) return *cached;
    return pose_at(time);
  }

  /// A world point as the camera sees it at the time of the sample. Threads: any.
  Vector in_camera(const WorldSample& sample) const { return camera_from_world(known_pose_at(sample.time), sample.world); }

  unsigned sample_count = 0;
  /// One array for each vector of a pose: sample_count x 3 doubles each.
  std::array<std::vector<double>, vector_count> samples;
  /// Starts with the first sample; zero before there is one.
  PoseCache<PoseType> pose_cache;

 private:
  /// From the motion samples, and into the cache. Not inlined: most rays find their pose.
  [[gnu::noinline]] PoseType interpolate_pose(double time) {
    const PoseType pose = pose_at(time);
    if (sample_count >= 2) pose_cache.publish(time, pose);
    return pose;
  }

  /// The last set-up found no memory for its samples.
  bool out_of_memory_ = false;
};

template <class Lens, class PoseType, SampleWeight weight>
void LensCamera<Lens, PoseType, weight>::SetUp(unsigned steps) {
  CleanUp();
  out_of_memory_ = false;
  try {
    for (auto& values : samples) values.assign(std::size_t{steps} * 3, 0.0);
  } catch (const std::bad_alloc&) {
    CleanUp();
    out_of_memory_ = true;
    return;
  }
  sample_count = steps;
  const double step = this->frame_info.duration / steps;
  const LWItemInfo* iteminfo = this->host().iteminfo;
  for (unsigned k = 0; k < steps && iteminfo != nullptr; ++k) {
    const LWTime time = this->frame_info.start + k * step;
    const auto ask = [&](LWItemID item, LWItemParam param, std::size_t which) {
      if (item != nullptr) iteminfo->param(item, param, time, &samples[which][std::size_t{k} * 3]);
    };
    ask(this->access.cameraID, LWIP_RIGHT, 1);
    ask(this->access.cameraID, LWIP_UP, 2);
    ask(this->access.cameraID, LWIP_FORWARD, 3);
    ask(this->access.cameraID, LWIP_W_POSITION, 0);
    if constexpr (vector_count > 4) ask(this->tracked_item(), LWIP_W_POSITION, 4);
  }
  pose_cache.begin(pose_at(0.0));
}

template <class Lens, class PoseType, SampleWeight weight>
auto LensCamera<Lens, PoseType, weight>::pose_at(double time) const -> PoseType {
  if (sample_count < 2) return pose_cache.start();
  // Made in its place, number by number: a pose put together in one place and copied to another would have to wait for itself.
  const SampleBlend blend = blend_samples<weight>(sample_count, time);
  const auto vector = [&](std::size_t which) {
    double v[3];
    interpolate(samples[which].data(), blend, v);
    return BasicVector<Scalar>{rounded_to<Scalar>(v[0]), rounded_to<Scalar>(v[1]), rounded_to<Scalar>(v[2])};
  };
  PoseType pose = [&]<std::size_t... Which>(std::index_sequence<Which...>) {
    return PoseType{vector(Which)...};
  }(std::make_index_sequence<vector_count>());
  // Here and not only where poses are kept: a time's rays are the same in every bit, kept or not.
  if constexpr (std::is_same_v<PoseType, Pose>) pose.keeps_lengths = has_orthonormal_axes(pose);
  return pose;
}

}  // namespace framework
