/// Axes that turn directions into the world without changing their length, and those that do not.

#include <array>
#include <gtest/gtest.h>
#include <limits>

#include "framework/lens.h"

namespace camera_axes_test {

using framework::Pose;
using framework::Vector;

constexpr Vector skew{0.48, 0.6, 0.64};

/// Of unit length and at right angles, but for rounding.
Pose turned() { return {{1.0, 2.0, 3.0}, {0.8, 0.0, -0.6}, {-0.36, 0.8, -0.48}, skew}; }

constexpr std::array axes{&Pose::right, &Pose::up, &Pose::forward};

TEST(CameraAxes, AreOrthonormalToWithinRounding) {
  EXPECT_TRUE(has_orthonormal_axes(turned()));
  EXPECT_FALSE(has_orthonormal_axes(Pose{}));
  for (const auto axis : axes) {
    Pose scaled = turned();
    scaled.*axis = scaled.*axis * (1.0 + 1e-12);
    EXPECT_FALSE(has_orthonormal_axes(scaled));
    for (const auto other : axes) {
      if (other == axis) continue;
      Pose tilted = turned();
      tilted.*axis = tilted.*axis + tilted.*other * 1e-12;
      EXPECT_FALSE(has_orthonormal_axes(tilted));
    }
    Pose broken = turned();
    (broken.*axis).y = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(has_orthonormal_axes(broken));
  }
}

TEST(CameraAxes, TakeADirectionAsItIsOnlyIfTheyKeepItsLength) {
  Pose pose = turned();
  pose.keeps_lengths = true;
  const auto [position, direction, film_normal] = unit_pinhole_ray(pose, skew);
  EXPECT_EQ(position, pose.position);
  EXPECT_EQ(direction, world_from_camera(pose, skew));
  EXPECT_EQ(film_normal, direction);
  for (const auto axis : axes) pose.*axis = pose.*axis * 2.0;
  pose.keeps_lengths = false;
  EXPECT_EQ(unit_pinhole_ray(pose, skew).direction, normalized(world_from_camera(pose, skew)));
}

}  // namespace camera_axes_test
