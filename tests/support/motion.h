#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "standin/host/host.h"
#include "standin/scene/vector.h"
#include "standin/session/session.h"
#include "tests/support/long_vector.h"

namespace test_support {

/// Position of an item and its heading, pitch and bank in radians, at 0 and at 2 seconds. It moves evenly from one to the
/// other.
struct Journey {
  standin::Vec3 from;
  standin::Vec3 to;
  standin::Vec3 turned_from;
  standin::Vec3 turned_to;
};
void send(standin::Item& item, const Journey& journey);

/// Which two of a frame's motion samples a fractional time falls between, and the share of the later one.
struct SampleBlend {
  std::size_t first = 0;
  long double share = 0.0L;
};

/// The rule of all cameras that sample their motion: the index counts in steps of 1 / (count - 2), the share in steps of
/// 1 / count.
SampleBlend sample_blend(std::size_t count, double fractional_time);

/// Position and axes of an item at a time, as the host tells them to a camera.
LongPose pose_told_by_host(LWItemID item, double seconds);

/// The same at a fractional time, interpolated between the motion samples of an interval.
LongPose pose_told_by_host(LWItemID item, double start_seconds, double duration_seconds, std::size_t count,
                           double fractional_time);

/// Position and unit axes of an item at each motion sample of an interval, worked out from the scene.
std::vector<standin::ItemPose> motion_samples(const standin::Host& host, const std::string& item, double start_seconds,
                                              double duration_seconds, unsigned count);

/// Interpolates between those samples.
standin::ItemPose pose_at(const std::vector<standin::ItemPose>& samples, double fractional_time);

/// Random film and lens positions for a film of that size, with fractional times from before the interval to after it.
std::vector<standin::RayQuery> ray_queries(double film_width, double film_height, int count,
                                           standin::Eye eye = standin::Eye::centre);

}  // namespace test_support
