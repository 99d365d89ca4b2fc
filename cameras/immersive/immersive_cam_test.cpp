#include <gtest/gtest.h>

#include "cameras/advanced_panoramic/advanced_panoramic_cam.h"
#include "tests/support/lens_stage.h"
#include "tests/support/panorama_formula.h"
#include "tests/support/panorama_pair.h"

namespace immersive_cam_test {

using namespace test_support;
using namespace test_support::mapping_pair;
using standin::RayQuery;

/// What the lens is made of: single numbers of double precision, like the module's.
constexpr PanoramaFormula whole_sphere{
    .field = 6.283185307179586, .highest = 1.5707963267948966, .lowest = -1.5707963267948966};

class ImmersiveTest : public testing::Test {
 protected:
  LensStage stage{"QuorinImmersiveCam"};
  standin::HostedCamera& camera = stage.camera();
};

TEST_F(ImmersiveTest, CentreLooksForwardTopUpBottomDownAndSidesBack) {
  stage.set_oblique_pose();
  stage.next_frame();
  const LongPose pose = stage.pose();
  const double right = stage.film_width() * 0.5;
  const double top = stage.film_height() * 0.5;
  expect_near(stage.ray(0.0, 0.0).direction, pose.forward, 1e-15);
  expect_near(stage.ray(right, 0.0).direction, pose.forward * -1.0L, 1e-15);
  expect_near(stage.ray(-right, 0.0).direction, pose.forward * -1.0L, 1e-15);
  for (const double x : {-right, 0.0, 0.003}) {
    expect_near(stage.ray(x, top).direction, pose.up, 1e-15);
    expect_near(stage.ray(x, -top).direction, pose.up * -1.0L, 1e-15);
  }
  expect_near(stage.ray(right * 0.5, 0.0).direction, pose.right, 1e-15);
}

TEST_F(ImmersiveTest, RaysFollowTheFormula) {
  Random random;
  expect_small_errors("immersive rays", 1e-12, [&] {
    stage.set_random_camera(random);
    stage.next_frame();
    const auto [x, y] = stage.random_film_point(random, 1.5);
    return ray_error(stage.ray(x, y), whole_sphere.ray(stage, {.film_x = x, .film_y = y}));
  });
}

TEST_F(ImmersiveTest, RaysAndProjectionsFollowTheMotionOfTheCamera) {
  stage.expect_follows_motion([&](const RayQuery& query) { return whole_sphere.ray(stage, query); },
                              [&](LongVector world, double time) { return whole_sphere.film(stage, world, time); });
}

TEST_F(ImmersiveTest, ProjectionUndoesTheMapping) {
  Random random;
  expect_small_errors("immersive round trips", 1e-10, [&] {
    stage.set_random_camera(random);
    stage.next_frame();
    return round_trip_error(stage, random, stage.random_film_point(random, 0.98));
  });
}

TEST_F(ImmersiveTest, EnvelopesChangeNeitherRaysNorProjections) {
  stage.set_oblique_pose();
  stage.next_frame();
  const RayQuery query{.film_x = 0.004, .film_y = -0.01};
  const standin::Vec3 direction = camera.evaluate(query).direction;
  const RawProjection projection = stage.project_raw({3.0L, 2.0L, 1.0L});
  double end = 0.3;
  for (standin::VariantParameter* parameter : camera.parameters()) parameter->set_keys({{0.0, -0.2}, {1.0, end += 0.2}});
  const auto expect_unchanged = [&] {
    EXPECT_EQ(camera.evaluate(query).direction, direction);
    EXPECT_EQ(stage.project_raw({3.0L, 2.0L, 1.0L}).film, projection.film);
  };
  for (int i = 0; i < 3; ++i) {
    stage.next_frame();
    expect_unchanged();
    camera.tell_time(i, 0.95);
    expect_unchanged();
  }
  const auto other = stage.create("QuorinImmersiveCam");
  other->load_text(camera.save_text());
  other->begin_frame(17);
  EXPECT_EQ(other->evaluate(query).direction, direction);
}

TEST_F(ImmersiveTest, ProjectionNeedsADistanceAndAFilm) {
  stage.next_frame();
  stage.expect_refused({0.0L, 1e-9L, 0.0L});
  EXPECT_EQ(stage.project_raw({0.0L, 1.1e-9L, 0.0L}).result, 1);
  camera.access().filmSize[0] = 2e-9;
  stage.expect_refused({0.1L, 0.2L, 1.0L});
  camera.access().filmSize[0] = 1.0;
  camera.access().filmSize[1] = -1.0;
  stage.expect_refused({0.1L, 0.2L, 1.0L});
}

TEST_F(ImmersiveTest, ProjectionFollowsTheFormula) {
  Random random;
  expect_small_errors("immersive projections", 1e-12, [&] {
    stage.set_random_camera(random);
    stage.next_frame();
    const standin::Vec3 world = stage.random_point_around(random);
    return stage.projection_error(world, whole_sphere.film(stage, world));
  });
}

/// The advanced panorama's pair with the whole sphere on one film.
struct ImmersivePair : PanoramaPair<AdvPanCam::Lens> {
  static constexpr auto& direction = AdvPanCam::direction;
  static constexpr auto& film_point = AdvPanCam::film_point;

  static Lens random_lens(Random& /*random*/, Film /*film*/) {
    return {.horizontal_fov_radians = 2.0 * pi, .upper_angle_radians = pi / 2.0, .lower_angle_radians = -pi / 2.0};
  }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Immersive, MappingPair, ImmersivePair);

}  // namespace immersive_cam_test
