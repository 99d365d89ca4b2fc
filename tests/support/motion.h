#pragma once

#include <string>
#include <vector>

#include "standin/host/host.h"
#include "standin/scene/vector.h"
#include "standin/session/session.h"

namespace test_support {

/// An item where it stands and how it is turned (heading, pitch, bank, radians) at 0 and at 2 seconds, evenly in between.
struct Journey {
  standin::Vec3 from;
  standin::Vec3 to;
  standin::Vec3 turned_from;
  standin::Vec3 turned_to;
};
void send(standin::Item& item, const Journey& journey);

/// Position and unit axes of an item at each motion sample of a frame, worked out from the scene.
std::vector<standin::ItemPose> motion_samples(const standin::Host& host, const std::string& item, double start_seconds,
                                              double duration_seconds, unsigned count);

/// The samples at a fractional time, by the cameras' rule: index by count - 2, weight by 1 / count.
standin::ItemPose pose_at(const std::vector<standin::ItemPose>& samples, double fractional_time);

/// Film and lens positions all over a film of that size, with fractional times from before to after the frame.
std::vector<standin::RayQuery> ray_queries(double film_width, double film_height, int count,
                                           standin::Eye eye = standin::Eye::centre);

/// The same number, or numbers no further apart than that.
void expect_near(standin::Vec3 actual, standin::Vec3 expected, double tolerance, const std::string& what);

}  // namespace test_support
