#include "cameras/advanced_panoramic/advanced_panoramic_cam.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numbers>

#include "tests/support/lens_stage.h"
#include "tests/support/panorama_formula.h"
#include "tests/support/panorama_pair.h"
#include "tests/support/service_override.h"

namespace advanced_panoramic_cam_test {

using namespace test_support;
using namespace test_support::mapping_pair;
using standin::RayQuery;

constexpr double pi = std::numbers::pi;
constexpr double infinity = std::numeric_limits<double>::infinity();

class AdvancedPanoramicTest : public testing::Test {
 protected:
  LensStage stage{"QuorinAdvPanCam"};
  standin::HostedCamera& camera = stage.camera();

  PanoramaFormula formula() {
    const auto value = [&](const char* name) { return camera.parameter(name).at(stage.frame_seconds()); };
    return {value("HorizontalFOVradians"),
            value("MaxVerticalFOVradians"),
            value("MinVerticalFOVradians"),
            value("HScalePos"),
            value("HScaleNeg"),
            value("VScalePos"),
            value("VScaleNeg"),
            value("HShift"),
            value("VShift")};
  }

  void set_random_field(Random& random) {
    stage.set("HorizontalFOVradians", random.between(0.1, 2.0 * pi));
    stage.set("MaxVerticalFOVradians", random.between(0.05, 1.5));
    stage.set("MinVerticalFOVradians", random.between(-1.5, -0.05));
  }
};

TEST_F(AdvancedPanoramicTest, CentreLooksForwardAndEdgesBackAndHalfARightAngleUpAndDown) {
  stage.set_oblique_pose();
  stage.next_frame();
  const LongPose pose = stage.pose();
  const double right = stage.film_width() * 0.5;
  const double top = stage.film_height() * 0.5;
  expect_near(stage.ray(0.0, 0.0).direction, pose.forward, 1e-15);
  expect_near(stage.ray(right, 0.0).direction, pose.forward * -1.0L, 1e-15);
  expect_near(stage.ray(-right, 0.0).direction, pose.forward * -1.0L, 1e-15);
  expect_near(stage.ray(0.0, top).direction, normalized(pose.forward + pose.up), 1e-15);
  expect_near(stage.ray(0.0, -top).direction, normalized(pose.forward - pose.up), 1e-15);
  expect_near(stage.ray(right * 0.5, 0.0).direction, pose.right, 1e-15);
  EXPECT_EQ(stage.ray(right, top).film_normal, stage.ray(right, top).direction);
  EXPECT_EQ(camera.evaluate({.film_x = 0.01, .lens_x = 0.7, .lens_y = 0.7}).position, rounded(pose.position));
}

TEST_F(AdvancedPanoramicTest, EqualLimitsAreOneRowThatDoesNotProject) {
  stage.set("MaxVerticalFOVradians", 0.3);
  stage.set("MinVerticalFOVradians", 0.3);
  stage.next_frame();
  for (const double y : {-0.012, 0.0, 0.5}) EXPECT_NEAR(stage.ray(0.003, y).direction.y, std::sin(0.3), 1e-15);
  stage.expect_refused({0.1L, 0.2L, 3.0L});
}

TEST_F(AdvancedPanoramicTest, AHorizontalShiftOfOneMovesTheCentreByHalfTheField) {
  stage.set("HorizontalFOVradians", 2.0);
  stage.set("HShift", 1.0);
  stage.next_frame();
  expect_near(stage.ray(0.0, 0.0).direction, {std::sin(1.0L), 0.0L, std::cos(1.0L)}, 1e-15);
  stage.set("HShift", 0.0);
  stage.set("VShift", -1.0);
  stage.next_frame();
  expect_near(stage.ray(0.0, 0.0).direction, {0.0L, -std::sqrt(0.5L), std::sqrt(0.5L)}, 1e-15);
}

TEST_F(AdvancedPanoramicTest, ARightScaleOfNothingCollapsesTheRightHalf) {
  stage.set_oblique_pose();
  stage.set("HScalePos", 0.0);
  stage.next_frame();
  const LongPose pose = stage.pose();
  for (const double x : {1e-6, 0.004, 0.012}) {
    EXPECT_NEAR(static_cast<double>(dot(stage.ray(x, 0.004).direction, pose.right)), 0.0, 1e-15);
    EXPECT_LT(static_cast<double>(dot(stage.ray(-x, 0.004).direction, pose.right)), -1e-5);
  }
}

TEST_F(AdvancedPanoramicTest, EachScaleStretchesItsOwnSide) {
  struct Side {
    const char* name;
    double x, y;
    bool horizontal;
  };
  for (const Side& side : {Side{"HScalePos", 0.004, 0.003, true}, Side{"HScaleNeg", -0.004, 0.003, true},
                           Side{"VScalePos", 0.004, 0.003, false}, Side{"VScaleNeg", 0.004, -0.003, false}}) {
    stage.next_frame();
    const standin::Vec3 plain = stage.ray(side.x, side.y).direction;
    const standin::Vec3 opposite = stage.ray(-side.x, -side.y).direction;
    for (const double scale : {2.0, -3.0}) {
      stage.set(side.name, scale);
      stage.next_frame();
      LongVector stretched = plain;
      (side.horizontal ? stretched.x : stretched.y) *= scale;
      expect_near(stage.ray(side.x, side.y).direction, normalized(stretched));
      expect_near(stage.ray(-side.x, -side.y).direction, opposite, 1e-15);
    }
    stage.set(side.name, 1.0);
  }
}

TEST_F(AdvancedPanoramicTest, ScalesOfNothingLeaveNoDirectionAtRightAngles) {
  for (const char* name : {"HScalePos", "HScaleNeg", "VScalePos", "VScaleNeg"}) stage.set(name, 0.0);
  stage.next_frame();
  EXPECT_EQ(stage.ray(0.002, 0.0).result, LWCAMEVAL_RAY);
  expect_near(stage.ray(0.002, 0.003).direction, {0.0L, 0.0L, 1.0L}, 1e-15);
  stage.set("HorizontalFOVradians", 0.0);
  stage.set("MaxVerticalFOVradians", infinity);
  stage.next_frame();
  EXPECT_EQ(stage.ray(0.002, 0.003).result, LWCAMEVAL_RAY);
}

TEST_F(AdvancedPanoramicTest, RaysFollowTheFormula) {
  Random random;
  expect_small_errors("advanced panoramic rays", 1e-12, [&] {
    stage.set_random_camera(random);
    set_random_field(random);
    for (const char* name : {"HScalePos", "HScaleNeg", "VScalePos", "VScaleNeg"})
      stage.set(name, random.between(0.2, 5.0) * (random.coin() ? 1.0 : -1.0));
    for (const char* name : {"HShift", "VShift"}) stage.set(name, random.between(-1.0, 1.0));
    stage.next_frame();
    const auto [x, y] = stage.random_film_point(random, 1.5);
    const RayQuery query{.film_x = x, .film_y = y, .lens_x = 0.5};
    return ray_error(camera.evaluate(query), formula().ray(stage, query));
  });
}

TEST_F(AdvancedPanoramicTest, RaysAndProjectionsFollowTheMotionOfTheCamera) {
  stage.expect_follows_motion([&](const RayQuery& query) { return formula().ray(stage, query); },
                              [&](LongVector world, double time) { return formula().film(stage, world, time); });
}

TEST_F(AdvancedPanoramicTest, ParametersMoveWithTheirKeysAndWithTheTime) {
  double end = 0.3;
  for (standin::VariantParameter* parameter : camera.parameters())
    if (parameter->channel_name != "ZoomFactor") parameter->set_keys({{0.0, -0.2}, {1.0, end += 0.2}});
  const RayQuery query{.film_x = 0.004, .film_y = -0.01};
  for (int i = 0; i < 10; ++i) {
    stage.next_frame();
    const LongRay expected = formula().ray(stage, query);
    EXPECT_LE(ray_error(camera.evaluate(query), expected), 1e-12) << i;
    camera.tell_time(i, 0.95);
    EXPECT_GT(ray_error(camera.evaluate(query), expected), 1e-3) << i;
    camera.tell_time(i, stage.frame_seconds());
    EXPECT_LE(ray_error(camera.evaluate(query), expected), 1e-12) << i;
  }
}

/// The values that the camera has read, in order.
std::vector<double> read;
const LWVParmFuncs* host_parameters = nullptr;

TEST_F(AdvancedPanoramicTest, ShiftsAreReadBeforeScales) {
  stage.set("HorizontalFOVradians", 1.0);
  stage.set("MaxVerticalFOVradians", 2.0);
  stage.set("MinVerticalFOVradians", 3.0);
  stage.set("HShift", 4.0);
  stage.set("VShift", 5.0);
  stage.set("HScalePos", 6.0);
  stage.set("VScalePos", 7.0);
  stage.set("HScaleNeg", 8.0);
  stage.set("VScaleNeg", 9.0);
  host_parameters = &host_table<LWVParmFuncs>(LWVPARMFUNCS_GLOBAL);
  LWVParmFuncs parameters = *host_parameters;
  parameters.getVal = [](LWVParmID id, LWTime time, void* micropolygon, double* result) {
    const double value = host_parameters->getVal(id, time, micropolygon, result);
    read.push_back(*result);
    return value;
  };
  const ServiceOverride watch(stage.module, "QuorinAdvPanCam", {{LWVPARMFUNCS_GLOBAL, &parameters}});
  read.clear();
  camera.new_time(7, 0.25);
  EXPECT_EQ(read, (std::vector<double>{1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST_F(AdvancedPanoramicTest, ProjectionFollowsTheFormula) {
  Random random;
  expect_small_errors("advanced panoramic projections", 1e-12, [&] {
    stage.set_random_camera(random);
    set_random_field(random);
    for (const char* name : {"HShift", "VShift"}) stage.set(name, random.between(-1.0, 1.0));
    stage.next_frame();
    const standin::Vec3 world = stage.random_point_around(random);
    return stage.projection_error(world, formula().film(stage, world));
  });
}

TEST_F(AdvancedPanoramicTest, ProjectionUndoesTheMapping) {
  Random random;
  expect_small_errors("advanced panoramic round trips", 1e-10, [&] {
    stage.set_random_camera(random);
    set_random_field(random);
    stage.next_frame();
    return round_trip_error(stage, random, stage.random_film_point(random, 0.98));
  });
}

TEST_F(AdvancedPanoramicTest, ProjectionTakesTheShiftsOff) {
  Random random;
  expect_small_errors("shifted round trips", 1e-10, [&] {
    stage.set_random_camera(random);
    stage.set("HorizontalFOVradians", random.between(0.1, pi));
    stage.set("MaxVerticalFOVradians", random.between(0.05, 0.7));
    stage.set("MinVerticalFOVradians", random.between(-0.7, -0.05));
    for (const char* name : {"HShift", "VShift"}) stage.set(name, random.between(-0.9, 0.9));
    stage.next_frame();
    return round_trip_error(stage, random, stage.random_film_point(random));
  });
}

TEST_F(AdvancedPanoramicTest, ProjectionIgnoresTheScales) {
  stage.next_frame();
  const RawProjection plain = stage.project_raw({0.3L, -0.2L, 2.0L});
  EXPECT_EQ(plain.result, 1);
  for (const char* name : {"HScalePos", "HScaleNeg", "VScalePos", "VScaleNeg"}) stage.set(name, 0.25);
  stage.next_frame();
  EXPECT_EQ(stage.project_raw({0.3L, -0.2L, 2.0L}).film, plain.film);
}

TEST_F(AdvancedPanoramicTest, ProjectionSeesAllAround) {
  stage.next_frame();
  const RawProjection up = stage.project_raw({0.0L, 5.0L, 0.0L});
  EXPECT_EQ(up.result, 1);
  EXPECT_NEAR(up.film[1], stage.film_height(), 1e-15);
  const RawProjection back = stage.project_raw({1e-300L, 0.0L, -5.0L});
  EXPECT_NEAR(back.film[0], stage.film_width() * 0.5, 1e-15);
  EXPECT_EQ(back.film[2], 0.0);
}

TEST_F(AdvancedPanoramicTest, ProjectionNeedsADistanceAFilmAndAField) {
  const LongVector world{0.1L, 0.2L, 1.0L};
  stage.next_frame();
  stage.expect_refused({0.0L, 0.0L, 0.0L});
  stage.expect_refused({0.0L, 1e-9L, 0.0L});
  stage.expect_refused({0.0L, std::numeric_limits<long double>::quiet_NaN(), 0.0L});
  EXPECT_EQ(stage.project_raw({0.0L, 1.1e-9L, 0.0L}).result, 1);
  stage.set("HorizontalFOVradians", 2e-9);
  stage.next_frame();
  stage.expect_refused(world);
  stage.set("HorizontalFOVradians", -2.2e-9);
  stage.next_frame();
  EXPECT_EQ(stage.project_raw(world).result, 1);
  stage.set("MaxVerticalFOVradians", 0.5);
  stage.set("MinVerticalFOVradians", 0.5 + 0.9e-9);
  stage.next_frame();
  stage.expect_refused(world);
  stage.set("MinVerticalFOVradians", 0.6);
  stage.next_frame();
  EXPECT_EQ(stage.project_raw(world).result, 1);
  stage.camera().access().filmSize[0] = 2e-9;
  stage.expect_refused(world);
  stage.camera().access().filmSize[0] = 1.0;
  stage.camera().access().filmSize[1] = 0.0;
  stage.expect_refused(world);
}

/// With every scale at 1: `film_point` knows no other.
struct AdvancedPanoramicPair : PanoramaPair<AdvPanCam::Lens> {
  static constexpr auto& direction = AdvPanCam::direction;
  static constexpr auto& film_point = AdvPanCam::film_point;

  /// Either a wide field or shifts: both together leave the sphere.
  static Lens random_lens(Random& random, Film /*film*/) {
    Lens lens;
    set_random_field(lens, random);
    if (random.coin()) return lens;
    lens.horizontal_fov_radians = random.between(0.1, pi) * random.sign();
    lens.upper_angle_radians = random.between(0.05, 0.7);
    lens.lower_angle_radians = random.between(-0.7, -0.05);
    lens.horizontal_shift = random.between(-0.9, 0.9);
    lens.vertical_shift = random.between(-0.9, 0.9);
    return lens;
  }
};

INSTANTIATE_TYPED_TEST_SUITE_P(AdvancedPanoramic, MappingPair, AdvancedPanoramicPair);

}  // namespace advanced_panoramic_cam_test
