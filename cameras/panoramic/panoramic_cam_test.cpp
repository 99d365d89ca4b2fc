#include "cameras/panoramic/panoramic_cam.h"

#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <numbers>

#include "tests/support/lens_stage.h"
#include "tests/support/panorama_formula.h"
#include "tests/support/panorama_pair.h"

namespace panoramic_cam_test {

using namespace test_support;
using namespace test_support::mapping_pair;
using standin::RayQuery;

constexpr double pi = std::numbers::pi;
constexpr long double half_root = std::numbers::sqrt2_v<long double> / 2.0L;

class PanoramicTest : public testing::Test {
 protected:
  LensStage stage{"QuorinPanoramicCam"};
  standin::HostedCamera& camera = stage.camera();

  /// The next frame with these angles, in radians.
  void render(double field, double highest, double lowest) {
    stage.set("HorizontalFOVradians", field);
    stage.set("MaxVerticalFOVradians", highest);
    stage.set("MinVerticalFOVradians", lowest);
    stage.next_frame();
  }

  PanoramaFormula formula() {
    const auto value = [&](const char* name) { return camera.parameter(name).at(stage.frame_seconds()); };
    return {value("HorizontalFOVradians"), value("MaxVerticalFOVradians"), value("MinVerticalFOVradians")};
  }

  /// The ray of a film position in half films, in the pose of a new camera.
  void expect_direction(double x, double y, LongVector expected, double tolerance = 1e-15) {
    const standin::RayAnswer ray = stage.ray(x * stage.film_width() / 2.0, y * stage.film_height() / 2.0);
    expect_near(ray.direction, expected, tolerance);
    EXPECT_EQ(ray.film_normal, ray.direction);
  }
};

TEST_F(PanoramicTest, DefaultsAreAllAroundAndHalfARightAngleUpAndDown) {
  stage.next_frame();
  expect_direction(0.0, 0.0, {0.0, 0.0, 1.0}, 0.0);
  expect_direction(0.5, 0.0, {1.0, 0.0, 0.0});
  expect_direction(-0.5, 0.0, {-1.0, 0.0, 0.0});
  expect_direction(1.0, 0.0, {0.0, 0.0, -1.0});
  expect_direction(-1.0, 0.0, {0.0, 0.0, -1.0});
  expect_direction(0.0, 1.0, {0.0, half_root, half_root});
  expect_direction(0.0, -1.0, {0.0, -half_root, half_root});
}

TEST_F(PanoramicTest, ANegativeFieldMirrorsAndSwappedLimitsTurnUpsideDown) {
  render(-pi, -0.5, 0.5);
  expect_direction(0.5, 0.0, {-half_root, 0.0, half_root});
  expect_direction(0.0, 1.0, {0.0, -std::sin(0.5L), std::cos(0.5L)});
  EXPECT_NEAR(stage.project_raw({1.0, 0.0, 1.0}).film[0], -0.25 * stage.film_width(), 1e-15);
  EXPECT_EQ(stage.project_raw({0.0, 0.0, 5.0}).film, (std::array{0.0, 0.0, 0.0}));
}

TEST_F(PanoramicTest, TheSameLawGoesOnBeyondTheFilm) {
  render(pi / 2.0, pi / 4.0, -pi / 4.0);
  expect_direction(4.0, 0.0, {0.0, 0.0, -1.0});
  expect_direction(0.0, 2.0, {0.0, 1.0, 0.0});
  EXPECT_NEAR(stage.project_raw({1.0, 0.0, -1.0}).film[0], 1.5 * stage.film_width(), 1e-15);
  EXPECT_NEAR(stage.project_raw({0.0, 5.0, 0.0}).film[1], stage.film_height(), 1e-15);
}

TEST_F(PanoramicTest, WithoutAFieldOrASpanAllRaysAgreeAndNothingProjects) {
  render(0.0, 0.5, -0.5);
  for (const double x : {-1.0, 0.3, 1.0}) expect_direction(x, 0.0, {0.0, 0.0, 1.0}, 0.0);
  stage.expect_refused({0.1, 0.2, 5.0});
  render(pi, 0.5, 0.5);
  for (const double y : {-1.0, 0.3, 1.0}) expect_direction(0.0, y, {0.0, std::sin(0.5L), std::cos(0.5L)});
  stage.expect_refused({0.1, 0.2, 5.0});
}

TEST_F(PanoramicTest, WhatIsAtTheCameraDoesNotProject) {
  stage.set_pose({4.0, 5.0, 6.0}, {});
  stage.next_frame();
  stage.expect_refused({4.0, 5.0, 6.0});
  stage.expect_refused({4.0, 5.0, 6.0 + 0.9e-9});
  EXPECT_EQ(stage.project_raw({4.0, 5.0, 6.0 + 1.1e-9}).result, 1);
}

TEST_F(PanoramicTest, RaysFollowTheFormula) {
  Random random;
  expect_small_errors("panoramic rays", 1e-12, [&] {
    stage.set_random_camera(random);
    render(random.between(-2.0 * pi, 2.0 * pi), random.between(-pi / 2.0, pi / 2.0), random.between(-pi / 2.0, pi / 2.0));
    const auto [x, y] = stage.random_film_point(random, 1.5);
    const RayQuery query{.film_x = x, .film_y = y};
    return ray_error(camera.evaluate(query), formula().ray(stage, query));
  });
}

TEST_F(PanoramicTest, TheFilmIsThatOfTheRecordWhateverTheFramesWas) {
  stage.next_frame();
  const std::array film{stage.film_width(), stage.film_height()};
  for (const std::array share : {std::array{0.5, 1.0}, std::array{1.0, 0.5}, std::array{1.0, 1.0}}) {
    for (std::size_t side = 0; side < 2; ++side) camera.access().filmSize[side] = film[side] * share[side];
    expect_near(stage.ray(0.25 * film[0], 0.0).direction, formula().ray(stage, {.film_x = 0.25 * film[0]}).direction, 1e-15);
    expect_near(stage.ray(0.0, 0.25 * film[1]).direction, formula().ray(stage, {.film_y = 0.25 * film[1]}).direction, 1e-15);
  }
}

TEST_F(PanoramicTest, ProjectionFollowsTheFormula) {
  Random random;
  expect_small_errors("panoramic projections", 1e-12, [&] {
    stage.set_random_camera(random);
    render(random.between(0.5, 2.0 * pi) * random.sign(), random.between(0.1, pi / 2.0), random.between(-pi / 2.0, 0.0));
    const standin::Vec3 world = stage.random_point_around(random);
    return stage.projection_error(world, formula().film(stage, world));
  });
}

TEST_F(PanoramicTest, RaysAndProjectionsFollowTheMotionOfTheCamera) {
  stage.expect_follows_motion([&](const RayQuery& query) { return formula().ray(stage, query); },
                              [&](LongVector world, double time) { return formula().film(stage, world, time); });
}

TEST_F(PanoramicTest, ParametersMoveWithTheirKeysAndWithTheTime) {
  double end = 0.3;
  for (const char* name : {"HorizontalFOVradians", "MaxVerticalFOVradians", "MinVerticalFOVradians"})
    camera.parameter(name).set_keys({{0.0, -0.2}, {1.0, end += 0.2}});
  for (int i = 0; i < 10; ++i) {
    // Whatever the ray's own time: the parameters are those of the frame's start.
    const RayQuery query{.film_x = 0.004, .film_y = -0.01, .fractional_time = i / 10.0};
    stage.next_frame({.motion_blur = true, .motion_steps = 5});
    const LongRay expected = formula().ray(stage, query);
    EXPECT_LE(ray_error(camera.evaluate(query), expected), 1e-12) << i;
    camera.tell_time(i, 0.95);
    EXPECT_GT(ray_error(camera.evaluate(query), expected), 1e-3) << i;
  }
}

TEST_F(PanoramicTest, CallbacksArePlainFunctionsToTheBit) {
  Random random;
  const auto vector = [](const double* v) { return framework::Vector{v[0], v[1], v[2]}; };
  const auto vec3 = [](framework::Vector v) { return standin::Vec3{v.x, v.y, v.z}; };
  for (int i = 0; i < 1000; ++i) {
    stage.set_random_camera(random);
    const PanoramicCam::Lens lens{0.0, random.between(-7.0, 7.0), random.between(-2.0, 2.0), random.between(-2.0, 2.0)};
    render(lens.horizontal_fov_radians, lens.upper_angle_radians, lens.lower_angle_radians);
    const auto [x, y] = stage.random_film_point(random, 2.0);
    const LWCameraAccess& record = camera.access();
    framework::Pose pose{vector(record.worldPos), vector(record.toWorld[0]), vector(record.toWorld[1]),
                         vector(record.toWorld[2])};
    pose.keeps_lengths = has_orthonormal_axes(pose);
    const framework::Film film{record.filmSize[0], record.filmSize[1]};
    const framework::Ray plain = framework::unit_pinhole_ray(pose, PanoramicCam::direction(lens, film, {x, y}));
    ASSERT_EQ(bits_of(stage.ray(x, y)),
              bits_of({LWCAMEVAL_RAY, vec3(plain.position), vec3(plain.direction), vec3(plain.film_normal)}));
    const framework::Vector world{random.between(-20.0, 20.0), random.between(-20.0, 20.0), random.between(-20.0, 20.0)};
    const auto at = PanoramicCam::film_point(lens, film, framework::camera_from_world(pose, world));
    ASSERT_TRUE(at);
    ASSERT_EQ(camera.project(vec3(world)), (std::pair{at->x, at->y}));
  }
}

struct PanoramicPair : PanoramaPair<PanoramicCam::Lens> {
  static constexpr auto& direction = PanoramicCam::direction;
  static constexpr auto& film_point = PanoramicCam::film_point;

  static Lens random_lens(Random& random, Film /*film*/) {
    Lens lens;
    set_random_field(lens, random);
    return lens;
  }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Panoramic, MappingPair, PanoramicPair);

}  // namespace panoramic_cam_test
