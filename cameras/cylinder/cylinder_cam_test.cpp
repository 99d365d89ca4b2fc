#include <cmath>
#include <gtest/gtest.h>

#include "tests/support/lens_stage.h"

namespace cylinder_cam_test {

using namespace test_support;
using standin::RayQuery;

constexpr long double ten_degrees = 0.17453292519943295;
constexpr std::uint32_t axis_control = 0x8007;
constexpr std::uint32_t horizontal_axis = 0;
constexpr std::uint32_t vertical_axis = 1;

class CylinderTest : public testing::Test {
 protected:
  LensStage stage{"QuorinCylinderCam"};
  standin::HostedCamera& camera = stage.camera();

  void set_axis(std::uint32_t choice) { camera.panel().set_integer(axis_control, static_cast<int>(choice)); }
  bool is_vertical() { return camera.panel().get_integer(axis_control) != 0; }
  long double value(const char* channel_name) { return camera.parameter(channel_name).at(stage.frame_seconds()); }
  void set_cylinder(double size, double highest, double lowest) {
    stage.set("SizeAxis", size);
    stage.set("MaxVerticalFOVradians", highest);
    stage.set("MinVerticalFOVradians", lowest);
  }

  LongRay expected_ray(const RayQuery& query) {
    const LongPose pose = stage.pose(query.fractional_time);
    const long double highest = value("MaxVerticalFOVradians");
    const long double lowest = value("MinVerticalFOVradians");
    const long double half_width = stage.film_width() * 0.5L;
    const long double half_height = stage.film_height() * 0.5L;
    const long double share = is_vertical() ? query.film_x / half_width : query.film_y / half_height;
    const long double angle = share * (highest - lowest) / 2.0L + (highest + lowest) / 2.0L;
    const long double slide = (is_vertical() ? query.film_y : query.film_x) / half_height * value("SizeAxis") / 2.0L;
    const LongVector direction =
        normalized((is_vertical() ? pose.right : pose.up) * std::sin(angle) + pose.forward * std::cos(angle));
    return {pose.position + (is_vertical() ? pose.up : pose.right) * slide, direction, direction};
  }

  LongFilmPoint expected_film(LongVector world, double fractional_time = 0.0) {
    const LongVector seen = stage.pose(fractional_time).seen(world);
    const long double highest = value("MaxVerticalFOVradians");
    const long double lowest = value("MinVerticalFOVradians");
    const auto share = [&](long double across) {
      return (std::atan2(across, seen.z) - (highest + lowest) / 2.0L) / ((highest - lowest) / 2.0L);
    };
    const long double half_height = stage.film_height() * 0.5L;
    const long double half_size = value("SizeAxis") / 2.0L;
    if (is_vertical()) return {share(seen.x) * stage.film_width() * 0.5L, seen.y / half_size * half_height};
    return {seen.x / half_size * half_height, share(seen.y) * half_height};
  }

  void set_random_cylinder(Random& random) {
    const double lowest = random.between(-3.0, 2.5);
    set_cylinder(random.between(0.1, 10.0) * (random.coin() ? 1.0 : -1.0), random.between(lowest + 0.3, 3.1), lowest);
    set_axis(random.coin() ? vertical_axis : horizontal_axis);
  }

  void expect_ray(double x, double y) {
    EXPECT_LE(ray_error(stage.ray(x, y), expected_ray({.film_x = x, .film_y = y})), 1e-12) << x << " " << y;
  }
};

TEST_F(CylinderTest, DefaultsCoverTenDegreesToEitherSideAndOneUnitOfHeight) {
  stage.set_oblique_pose();
  stage.next_frame();
  const LongPose pose = stage.pose();
  const double right = stage.film_width() * 0.5;
  const double top = stage.film_height() * 0.5;
  const LongVector sideways = pose.right * std::sin(ten_degrees);
  const LongVector forward = pose.forward * std::cos(ten_degrees);
  expect_near(stage.ray(0.0, 0.0).direction, pose.forward, 1e-15);
  expect_near(stage.ray(right, 0.0).direction, forward + sideways);
  expect_near(stage.ray(-right, top).direction, forward - sideways);
  expect_near(stage.ray(0.0, top).position, pose.position + pose.up * 0.5L, 1e-14);
  expect_near(stage.ray(right, -top).position, pose.position - pose.up * 0.5L, 1e-14);
  EXPECT_EQ(stage.ray(right, top).film_normal, stage.ray(right, top).direction);
  EXPECT_EQ(camera.evaluate({.film_x = 0.01, .lens_x = 0.7, .lens_y = 0.7}).position, stage.ray(0.01, 0.0).position);
}

TEST_F(CylinderTest, HorizontalAxisSlidesAlongTheRightAxisInHalfFilmHeights) {
  set_axis(horizontal_axis);
  stage.set("SizeAxis", 3.0);
  stage.next_frame();
  const double right = stage.film_width() * 0.5;
  const double top = stage.film_height() * 0.5;
  // The film is one and a half times as wide as high.
  expect_near(stage.ray(right, 0.0).position, {2.25L, 0.0L, 0.0L}, 1e-15);
  expect_near(stage.ray(-right, top).position, {-2.25L, 0.0L, 0.0L}, 1e-15);
  expect_near(stage.ray(right, top).direction, {0.0L, std::sin(ten_degrees), std::cos(ten_degrees)}, 1e-15);
}

TEST_F(CylinderTest, AnyOtherChoiceIsTheVerticalAxis) {
  stage.set_oblique_pose();
  stage.next_frame();
  const standin::RayAnswer vertical = stage.ray(0.004, 0.003);
  for (const std::uint32_t choice : {2U, 7U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
    set_axis(choice);
    stage.next_frame();
    EXPECT_EQ(stage.ray(0.004, 0.003).direction, vertical.direction) << choice;
    EXPECT_EQ(stage.ray(0.004, 0.003).position, vertical.position) << choice;
  }
}

TEST_F(CylinderTest, OutOfRangeChoicesLoadAndCount) {
  std::vector<std::string> lines = camera.save_text();
  ASSERT_FALSE(lines.empty());
  lines.back() = "ffffffff";
  camera.load_text(lines);
  EXPECT_EQ(camera.panel().get_integer(axis_control), -1);
  EXPECT_EQ(camera.save_text(), lines);
  stage.next_frame();
  expect_ray(0.004, 0.003);
}

TEST_F(CylinderTest, LooksTheChoiceUpAmongAnyNumberOfObjects) {
  for (int objects = 0; objects < 3; ++objects) {
    for (const std::uint32_t choice : {0U, 1U, 2U, 3U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
      set_axis(choice);
      stage.next_frame();
      expect_ray(0.004, 0.003);
    }
    standin::Item object;
    object.kind = standin::ItemKind::object;
    object.name = "Object " + std::to_string(objects);
    stage.host.add_item(object);
  }
  // Once the item is removed, nothing may ask for it any more.
  set_axis(1);
  stage.next_frame();
  stage.host.remove_item("Object 0");
  stage.next_frame();
  expect_ray(0.004, 0.003);
}

TEST_F(CylinderTest, EqualAnglesGiveParallelRaysThatDoNotProject) {
  for (const std::uint32_t axis : {horizontal_axis, vertical_axis}) {
    set_axis(axis);
    set_cylinder(1.0, 0.3, 0.3);
    stage.next_frame();
    const standin::Vec3 direction = stage.ray(0.0, 0.0).direction;
    for (const double x : {-0.018, 0.002, 0.018}) EXPECT_EQ(stage.ray(x, x).direction, direction);
    stage.expect_refused({0.1L, 0.2L, 3.0L});
    stage.set("MinVerticalFOVradians", 0.3 - 0.9e-9);
    stage.next_frame();
    stage.expect_refused({0.1L, 0.2L, 3.0L});
  }
}

TEST_F(CylinderTest, ANegativeSizeMirrorsTheSlide) {
  for (const std::uint32_t axis : {horizontal_axis, vertical_axis}) {
    set_axis(axis);
    stage.set("SizeAxis", 2.0);
    stage.next_frame();
    const standin::RayAnswer plain = stage.ray(0.004, 0.003);
    stage.set("SizeAxis", -2.0);
    stage.next_frame();
    EXPECT_EQ(stage.ray(0.004, 0.003).position, plain.position * -1.0);
    EXPECT_EQ(stage.ray(0.004, 0.003).direction, plain.direction);
    const auto film = camera.project(stage.ray(0.004, 0.003).position + plain.direction * 2.0);
    ASSERT_TRUE(film);
    EXPECT_LE(film_error(*film, {0.004L, 0.003L}, 0.012), 1e-12);
  }
}

TEST_F(CylinderTest, ASizeOfNothingDoesNotProject) {
  for (const double size : {0.0, 2e-9, -2e-9}) {
    stage.set("SizeAxis", size);
    stage.next_frame();
    stage.expect_refused({0.1L, 0.2L, 3.0L});
  }
  stage.set("SizeAxis", 2.2e-9);
  stage.next_frame();
  EXPECT_EQ(stage.project_raw({0.1L, 0.2L, 3.0L}).result, 1);
}

TEST_F(CylinderTest, PointsOnTheAxisOrStraightBehindItFailWithOneCoordinateWritten) {
  for (const long double depth : {0.0L, 1e-9L, -1.0L}) {
    for (const long double across : {0.0L, 1e-9L, -1e-9L}) {
      set_axis(vertical_axis);
      stage.next_frame();
      const RawProjection vertical = stage.project_raw({across, 0.25L, depth});
      EXPECT_EQ(vertical.result, 0);
      EXPECT_EQ(vertical.film[0], LensStage::untouched[0]);
      EXPECT_NEAR(vertical.film[1], 0.5 * stage.film_height() * 0.5, 1e-17);
      EXPECT_EQ(vertical.film[2], LensStage::untouched[2]);
      set_axis(horizontal_axis);
      stage.next_frame();
      const RawProjection horizontal = stage.project_raw({0.25L, across, depth});
      EXPECT_EQ(horizontal.result, 0);
      EXPECT_NEAR(horizontal.film[0], 0.5 * stage.film_height() * 0.5, 1e-17);
      EXPECT_EQ(horizontal.film[1], LensStage::untouched[1]);
      EXPECT_EQ(horizontal.film[2], LensStage::untouched[2]);
    }
  }
  EXPECT_EQ(stage.project_raw({0.25L, 1.1e-9L, -1.0L}).result, 1);
  EXPECT_EQ(stage.project_raw({0.25L, 0.0L, 1.1e-9L}).result, 1);
}

TEST_F(CylinderTest, ProjectionNeedsAFilm) {
  // The film is that of the frame, whatever record comes with the call.
  for (const auto& [width, height] : {std::pair{0.0, 1.0}, {2e-9, 1.0}, {1.0, 2e-9}, {1.0, -1.0}, {std::nan(""), 1.0}}) {
    stage.next_frame();
    ++camera.frame_info().frame;
    camera.access().filmSize[0] = width;
    camera.access().filmSize[1] = height;
    EXPECT_EQ(stage.project_raw({0.1L, 0.2L, 3.0L}).result, 1);
    camera.handler().newFrame(camera.raw(), &camera.frame_info(), &camera.access());
    stage.expect_refused({0.1L, 0.2L, 3.0L});
  }
}

TEST_F(CylinderTest, RaysFollowTheFormula) {
  Random random;
  expect_small_errors("cylinder rays", 1e-12, [&] {
    stage.set_random_camera(random);
    set_random_cylinder(random);
    stage.next_frame();
    const auto [x, y] = stage.random_film_point(random, 1.5);
    return ray_error(stage.ray(x, y), expected_ray({.film_x = x, .film_y = y}));
  });
}

TEST_F(CylinderTest, ProjectionFollowsTheFormula) {
  Random random;
  expect_small_errors("cylinder projections", 1e-12, [&] {
    stage.set_random_camera(random);
    set_random_cylinder(random);
    stage.next_frame();
    const standin::Vec3 world = stage.random_point_around(random);
    return stage.projection_error(world, expected_film(world));
  });
}

TEST_F(CylinderTest, ProjectionUndoesTheMapping) {
  Random random;
  expect_small_errors("cylinder round trips", 1e-10, [&] {
    stage.set_random_camera(random);
    set_random_cylinder(random);
    stage.next_frame();
    return round_trip_error(stage, random, stage.random_film_point(random));
  });
}

TEST_F(CylinderTest, RaysAndProjectionsFollowTheMotionOfTheCamera) {
  for (const std::uint32_t axis : {horizontal_axis, vertical_axis}) {
    set_axis(axis);
    stage.expect_follows_motion([&](const RayQuery& query) { return expected_ray(query); },
                                [&](LongVector world, double time) { return expected_film(world, time); });
  }
}

TEST_F(CylinderTest, ParametersMoveWithTheirKeysAndWithTheTime) {
  camera.parameter("SizeAxis").set_keys({{0.0, 1.0}, {1.0, 3.0}});
  camera.parameter("MaxVerticalFOVradians").set_keys({{0.0, 0.1}, {1.0, 1.5}});
  camera.parameter("MinVerticalFOVradians").set_keys({{0.0, 0.0}, {1.0, -0.5}});
  const RayQuery query{.film_x = 0.004, .film_y = -0.01};
  for (int i = 0; i < 10; ++i) {
    stage.next_frame();
    const LongRay expected = expected_ray(query);
    EXPECT_LE(ray_error(camera.evaluate(query), expected), 1e-12) << i;
    camera.tell_time(i, 0.95);
    EXPECT_GT(ray_error(camera.evaluate(query), expected), 1e-3) << i;
  }
}

TEST_F(CylinderTest, ValuesFollowTheirEnvelopesWhenNothingElseChanges) {
  stage.next_frame();
  set_cylinder(4.0, 0.8, -0.2);
  camera.handler().newFrame(camera.raw(), &camera.frame_info(), &camera.access());
  expect_ray(0.004, 0.003);
}

}  // namespace cylinder_cam_test
