#include "cameras/spherical/spherical_cam.h"

#include <cmath>
#include <gtest/gtest.h>
#include <numbers>
#include <string>

#include "tests/support/mapping_pair_suite.h"
#include "tests/support/motion.h"
#include "tests/support/stage.h"
#include "tests/support/vector_checks.h"

namespace spherical_cam_test {

using namespace test_support::mapping_pair;
using standin::CameraSettings;
using standin::ItemPose;
using standin::RayAnswer;
using standin::RayQuery;
using standin::Vec3;
using std::numbers::pi;
using test_support::expect_near;
using test_support::single;

constexpr const char* server = "QuorinSphericalCam";

Vec3 rounded(Vec3 v) { return {single(v.x), single(v.y), single(v.z)}; }

/// Single precision where the camera is.
Vec3 expected_direction(const ItemPose& pose, double reference_radius, double fov, const RayQuery& query) {
  Vec3 seen{0.0, 0.0, 1.0};
  if (query.film_x != 0.0 || query.film_y != 0.0) {
    const double radius = std::sqrt(query.film_x * query.film_x + query.film_y * query.film_y);
    const double angle = radius / reference_radius * fov * 0.5;
    seen = rounded({query.film_x * std::sin(angle), query.film_y * std::sin(angle), radius * std::cos(angle)});
  }
  const Vec3 d = rounded(pose.right * seen.x + pose.up * seen.y + pose.forward * seen.z);
  const auto x = static_cast<float>(d.x);
  const auto y = static_cast<float>(d.y);
  const auto z = static_cast<float>(d.z);
  return d * (1.0 / static_cast<double>(std::sqrt(x * x + y * y + z * z)));
}

class SphericalTest : public testing::Test {
 protected:
  std::unique_ptr<standin::HostedCamera> ready(double fov = pi) {
    auto camera = stage.create(server);
    camera->parameter("AngularFieldOfView").set_constant(fov);
    camera->new_frame(0, 0.0);
    return camera;
  }

  double half_height() const { return standin::film_size(settings)[1] * 0.5; }

  test_support::Stage stage;
  CameraSettings& settings = stage.host.camera("Camera");
};

// Rays.

TEST_F(SphericalTest, FilmCentreLooksStraightAhead) {
  const RayAnswer ray = ready()->evaluate({});
  EXPECT_EQ(ray.result, LWCAMEVAL_RAY);
  EXPECT_EQ(ray.direction, (Vec3{0.0, 0.0, 1.0}));
}

TEST_F(SphericalTest, EdgeOfTheInscribedCircleLooksAtRightAngles) {
  const auto camera = ready();
  for (int i = 0; i < 12; ++i) {
    const double turn = i * pi / 6.0;
    const RayAnswer ray = camera->evaluate({half_height() * std::cos(turn), half_height() * std::sin(turn)});
    expect_near(ray.direction, {std::cos(turn), std::sin(turn), 0.0}, 1e-7, std::to_string(i));
  }
}

TEST_F(SphericalTest, SmallerSideOfTheFilmSetsTheScale) {
  settings.width_pixels = 800;
  settings.height_pixels = 400;
  expect_near(ready()->evaluate({half_height(), 0.0}).direction, {1.0, 0.0, 0.0}, 1e-7, "landscape");
  settings.width_pixels = 300;
  settings.height_pixels = 600;
  const double half_width = standin::film_size(settings)[0] * 0.5;
  ASSERT_LT(half_width, half_height());
  expect_near(ready()->evaluate({0.0, half_width}).direction, {0.0, 1.0, 0.0}, 1e-7, "portrait");
  settings.width_pixels = 600;
  expect_near(ready()->evaluate({half_height(), 0.0}).direction, {1.0, 0.0, 0.0}, 1e-7, "square");
}

TEST_F(SphericalTest, BeyondTheCircleTheSameLawGoesOn) {
  const auto camera = ready(2.0 * pi);
  const double radius = half_height();
  expect_near(camera->evaluate({radius, 0.0}).direction, {0.0, 0.0, -1.0}, 1e-7, "straight back");
  expect_near(camera->evaluate({1.5 * radius, 0.0}).direction, {-1.0, 0.0, 0.0}, 1e-7, "round to the other side");
}

TEST_F(SphericalTest, AgreesWithSinglePrecisionArithmetic) {
  test_support::send(stage.host.item("Camera"), {{1, 2, 3}, {-4, 5, 0}, {0.2, 0.4, -0.3}, {-1.0, 1.2, 0.9}});
  const auto [width, height] = standin::film_size(settings);
  for (const unsigned steps : {2U, 5U, 199U}) {
    const auto camera = stage.create(server);
    camera->parameter("AngularFieldOfView").set_constant(3.7);
    camera->new_frame(3, 0.12, 0.7, steps);
    const auto samples = test_support::motion_samples(stage.host, "Camera", 0.12, 0.7, steps);
    for (const RayQuery& query : test_support::ray_queries(width, height, 96)) {
      const ItemPose pose = test_support::pose_at(samples, query.fractional_time);
      const RayAnswer ray = camera->evaluate(query);
      const Vec3 direction = expected_direction(pose, height * 0.5, 3.7, query);
      expect_near(ray.position, pose.position, 1e-14, "position");
      // Between the samples the blend may round the other way.
      const bool on_sample = query.fractional_time <= 0.0 || query.fractional_time >= 1.0;
      expect_near(ray.direction, direction, on_sample ? 1e-15 : 2e-7, "direction");
      EXPECT_EQ(ray.film_normal, ray.direction);
    }
  }
}

TEST_F(SphericalTest, LengthIsTakenInSinglePrecisionAndTheRestInDouble) {
  const auto camera = ready(2.9);
  const RayQuery query{0.0021, -0.0034, 0.9, 0.9};
  const RayAnswer ray = camera->evaluate(query);
  expect_near(ray.direction, expected_direction(ItemPose{}, half_height(), 2.9, query), 1e-15, "direction");
  EXPECT_NE(standin::length(ray.direction), 1.0);
  EXPECT_NEAR(standin::length(ray.direction), 1.0, 2e-7);
  EXPECT_EQ(ray.position, Vec3{});
}

// Values of a frame and a time.

TEST_F(SphericalTest, FieldOfViewIsReadAtEveryFrameAndEveryTime) {
  const auto camera = stage.create(server);
  auto& fov = camera->parameter("AngularFieldOfView");
  const auto angle = [&] {
    const Vec3 direction = camera->evaluate({half_height(), 0.0}).direction;
    return std::atan2(direction.x, direction.z);
  };
  fov.set_keys({{0.0, 1.0}, {2.0, 3.0}});
  camera->new_frame(0, 1.0);
  EXPECT_NEAR(angle(), 1.0, 1e-6);
  camera->new_time(30, 2.0);
  EXPECT_NEAR(angle(), 1.5, 1e-6);
  // The same frame once more: nothing changed but the envelope.
  fov.set_keys({{0.0, 0.4}, {2.0, 1.2}});
  camera->new_frame(0, 1.0);
  EXPECT_NEAR(angle(), 0.4, 1e-6);
}

TEST_F(SphericalTest, MotionIsSampledOnceForTheSameFrame) {
  auto& item = stage.host.item("Camera");
  const auto camera = stage.create(server);
  camera->new_frame(0, 0.0, 1.0);
  test_support::send(item, {{}, {4.0, 0.0, 0.0}, {}, {}});
  camera->new_frame(0, 0.0, 1.0);
  EXPECT_EQ(camera->evaluate({.fractional_time = 1.0}).position, Vec3{});
  camera->new_frame(1, 0.0, 1.0);
  EXPECT_EQ(camera->evaluate({.fractional_time = 1.0}).position, (Vec3{1.0, 0.0, 0.0}));
}

TEST_F(SphericalTest, EvaluationBeforeAnyFrameAnswersWithoutHarm) {
  const auto camera = stage.create(server);
  EXPECT_EQ(camera->evaluate({0.001, 0.002, 0.0, 0.0, 0.5}).result, LWCAMEVAL_RAY);
  EXPECT_EQ(camera->evaluate({}).position, Vec3{});
  EXPECT_FALSE(camera->project({}).has_value());
}

// Projection.

TEST_F(SphericalTest, ProjectionUndoesTheRay) {
  // Between two samples of a turning camera the axes are no longer square to each other, and neither map undoes the other.
  test_support::send(stage.host.item("Camera"), {{1, 2, 3}, {-4, 5, 0}, {0.2, 0.4, -0.3}, {0.2, 0.4, -0.3}});
  const auto [width, height] = standin::film_size(settings);
  const auto camera = stage.create(server);
  camera->parameter("AngularFieldOfView").set_constant(3.0);
  camera->new_frame(0, 0.0, 1.2, 5);
  for (const RayQuery& query : test_support::ray_queries(width, height, 64)) {
    const RayAnswer ray = camera->evaluate(query);
    const auto film = camera->project(ray.position + ray.direction * 3.0, query.fractional_time);
    ASSERT_TRUE(film.has_value());
    EXPECT_NEAR(film->first, query.film_x, 2e-9);
    EXPECT_NEAR(film->second, query.film_y, 2e-9);
  }
}

TEST_F(SphericalTest, PointsBehindTheCameraProjectToo) {
  for (const double fov : {pi, 2.0, 6.0}) {
    const auto camera = ready(fov);
    const auto film = camera->project({0.0, 0.0, -4.0});
    ASSERT_TRUE(film.has_value());
    EXPECT_NEAR(std::hypot(film->first, film->second), 2.0 * half_height() * pi / fov, 1e-15);
  }
}

TEST_F(SphericalTest, PointAheadProjectsToTheFilmCentre) {
  const auto film = ready()->project({0.0, 0.0, 4.0});
  ASSERT_TRUE(film.has_value());
  EXPECT_EQ(*film, (std::pair{0.0, 0.0}));
}

TEST_F(SphericalTest, PointAtTheEyeDoesNotProject) {
  const auto camera = ready();
  EXPECT_FALSE(camera->project({}).has_value());
  EXPECT_FALSE(camera->project({1e-9, 0.0, 0.0}).has_value());
  EXPECT_FALSE(camera->project({std::nan(""), 0.0, 1.0}).has_value());
  EXPECT_TRUE(camera->project({2e-9, 0.0, 0.0}).has_value());
}

TEST_F(SphericalTest, NothingProjectsWithoutAFieldOfView) {
  for (const double fov : {0.0, 2e-9, -1.0}) EXPECT_FALSE(ready(fov)->project({0.0, 0.0, 1.0}).has_value()) << fov;
  EXPECT_TRUE(ready(4e-9)->project({0.0, 0.0, 1.0}).has_value());
}

/// Its directions are of single precision.
struct SphericalPair {
  using Lens = SphericalCam::Lens;
  static constexpr auto& direction = SphericalCam::direction;
  static constexpr auto& film_point = SphericalCam::film_point;
  static constexpr bool sees_behind = true;
  static constexpr double film_tolerance = 1.5e-7;
  static constexpr double angle_tolerance = 1e-7;
  static constexpr double film_share = 1.0;

  /// The film's corners look back, but not all the way: beyond, a second film position has the same direction.
  static Lens random_lens(Random& random, Film film) {
    Lens lens;
    lens.reference_radius = 0.5 * std::min(film.width, film.height);
    const double corner = std::hypot(film.half_width(), film.half_height());
    lens.angular_fov_radians = random.between(0.1, 1.9 * pi * lens.reference_radius / corner);
    return lens;
  }
  static Vector random_direction(Random& random, const Lens& /*lens*/, Film /*film*/) { return direction_anywhere(random); }
  static Cases<Lens> cases(const Lens& lens, Film film) {
    Cases<Lens> cases;
    for (const double number : around_limit) {
      cases.push_back({lens, film, number != just_above_limit});
      cases.back().lens.angular_fov_radians = 2.0 * number;
    }
    return cases;
  }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Spherical, MappingPair, SphericalPair);

}  // namespace spherical_cam_test
