/// Rays through the centre of a thin lens, which take a way of their own.

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

#include "cameras/perspective/perspective_cam.h"
#include "framework/lens.h"

namespace thin_lens_test {

using framework::Vector;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr Vector toward{0.3, -0.2, 1.7};

/// As a ray is made whose start on the lens is not its centre.
Vector through_the_lens(double focal_distance, Vector offset) {
  return normalized(toward * (focal_distance / length(toward)) - offset);
}

bool is_a_number(Vector v) { return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z); }

TEST(ThinLens, ShowsThroughItsCentreWhatAPinholeShows) {
  for (const double focal_distance : {1e-3, 0.5, 4.2, 1e6}) {
    const Vector direction = framework::thin_lens_direction(toward, focal_distance, {});
    EXPECT_EQ(direction, normalized(toward));
    EXPECT_NEAR(length(direction - through_the_lens(focal_distance, {})), 0.0, 3e-16);
  }
}

TEST(ThinLens, MeetsThePinholesRayAtTheFocalDistance) {
  for (const Vector offset : {Vector{0.01, 0.0, 0.0}, Vector{0.0, -0.02, 0.0}, Vector{1e-12, 1e-12, 0.0}})
    EXPECT_EQ(framework::thin_lens_direction(toward, 4.2, offset), through_the_lens(4.2, offset));
}

TEST(ThinLens, LooksBackFromItsCentreWhereTheFocalDistanceIsNegative) {
  EXPECT_NEAR(length(framework::thin_lens_direction(toward, -4.2, {}) + normalized(toward)), 0.0, 3e-16);
}

TEST(ThinLens, HasNoDirectionAtItsCentreWithoutAFocalDistance) {
  for (const double focal_distance : {0.0, infinity, std::nan("")})
    EXPECT_FALSE(is_a_number(framework::thin_lens_direction(toward, focal_distance, {}))) << focal_distance;
  EXPECT_FALSE(is_a_number(framework::thin_lens_direction({}, 4.2, {})));
}

TEST(ThinLens, IsTheSameInSinglePrecision) {
  PerspectiveCam::Pose pose;
  pose.right.x = pose.up.y = pose.forward.z = 1.0F;
  const framework::BasicVector<float> in_camera{0.3F, -0.2F, 1.7F};
  const auto direction = [&](double focal_distance, framework::LensPoint through) {
    return PerspectiveCam::thin_lens_ray({.lens_radius = 0.5, .focal_distance = focal_distance}, pose, in_camera, through)
        .direction;
  };
  EXPECT_EQ(direction(4.2, {}), normalized(widened(in_camera)));
  EXPECT_NEAR(length(direction(-4.2, {}) + normalized(widened(in_camera))), 0.0, 3e-16);
  EXPECT_FALSE(is_a_number(direction(0.0, {})));
  const Vector aside = direction(4.2, {0.1, 0.0});
  const Vector focus = normalized(widened(in_camera)) * 4.2;
  EXPECT_NEAR(length(aside - normalized(focus - Vector{0.05, 0.0, 0.0})), 0.0, 1e-7);
}

}  // namespace thin_lens_test
