#include "cameras/perspective/perspective_cam.h"

#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <numbers>
#include <string>
#include <vector>

#include "tests/support/motion.h"
#include "tests/support/pair_ahead.h"
#include "tests/support/stage.h"
#include "tests/support/vector_checks.h"

namespace perspective_cam_test {

using namespace test_support::mapping_pair;
using standin::CameraSettings;
using standin::Envelope;
using standin::ItemPose;
using standin::RayAnswer;
using standin::RayQuery;
using standin::Vec3;
using test_support::expect_near;
using test_support::single;

constexpr double half_pi = std::numbers::pi / 2.0;

constexpr const char* lens_and_motion = "QuorinPerspectiveCam";
constexpr const char* motion_only = "QuorinPerspectiveNoDOFCam";
constexpr const char* at_rest = "QuorinPerspectiveNoDOFNoMBCam";
constexpr std::array servers{lens_and_motion, motion_only, at_rest};

constexpr const char* evaluate_arguments = "EPvddddd11LWCameraEyeP11LWCameraRayPK14LWCameraAccess";

/// A vector of single precision, worked out one operation at a time.
struct Single {
  explicit Single(Vec3 v) : x(single(v.x)), y(single(v.y)), z(single(v.z)) {}
  Vec3 wide() const { return {x, y, z}; }

  float x, y, z;
};

struct Expected {
  Vec3 position, direction, film_normal;
};

/// What the host camera is set to, at the time that counts.
struct Optics {
  double film_distance;
  double lens_radius;
  double focal_distance;
};

Single through_film(const ItemPose& pose, const Optics& optics, const RayQuery& query) {
  const Single right(pose.right), up(pose.up), forward(pose.forward);
  const float x = single(query.film_x);
  const float y = single(query.film_y);
  const float distance = single(optics.film_distance);
  Single d(Vec3{});
  d.x = x * right.x + y * up.x + distance * forward.x;
  d.y = x * right.y + y * up.y + distance * forward.y;
  d.z = x * right.z + y * up.z + distance * forward.z;
  return d;
}

float length(const Single& v) { return std::sqrt(v.x * v.x + v.y * v.y + v.z * v.z); }

Expected pinhole_ray(const ItemPose& pose, const Optics& optics, const RayQuery& query) {
  Single d = through_film(pose, optics, query);
  const float scale = 1.0F / length(d);
  d.x *= scale;
  d.y *= scale;
  d.z *= scale;
  return {Single(pose.position).wide(), d.wide(), Single(pose.forward).wide()};
}

Expected lens_ray(const ItemPose& pose, const Optics& optics, const RayQuery& query) {
  const Single d = through_film(pose, optics, query);
  const double radius = single(optics.lens_radius);
  const Vec3 lens{radius * query.lens_x, radius * query.lens_y, 0.0};
  const double s = optics.focal_distance / static_cast<double>(length(d));
  const Vec3 e = d.wide() * s - lens;
  return {Single(pose.position).wide() + lens, e * (1.0 / standin::length(e)), Single(pose.forward).wide()};
}

void expect_same(const RayAnswer& ray, const Expected& expected, const std::string& what) {
  EXPECT_EQ(ray.result, LWCAMEVAL_RAY) << what;
  expect_near(ray.position, expected.position, 0.0, what + " position");
  expect_near(ray.direction, expected.direction, 0.0, what + " direction");
  expect_near(ray.film_normal, expected.film_normal, 0.0, what + " film normal");
}

class PerspectiveTest : public testing::Test {
 protected:
  PerspectiveTest() {
    settings.zoom_factor = Envelope::constant(2.1);
    settings.lens_f_stop = Envelope::constant(1.4);
    settings.focal_distance = Envelope::constant(3.7);
  }

  void move_camera() {
    test_support::send(stage.host.item("Camera"), {{1.0, -2.0, 3.0}, {4.0, 0.5, -1.0}, {0.3, -0.2, 0.1}, {1.9, 0.7, -0.8}});
  }

  /// East to west along X at 10 metres a second.
  void move_camera_along_x() { test_support::send(stage.host.item("Camera"), {{}, {20.0, 0.0, 0.0}, {}, {}}); }

  Optics optics(double seconds = 0.0) const {
    const double distance = settings.zoom_factor.at(seconds) * standin::film_size(settings)[1] * 0.5;
    return {distance, distance * (0.5 / settings.lens_f_stop.at(seconds)), settings.focal_distance.at(seconds)};
  }

  /// A film position at a distance in front of the eye, worked out for a camera at rest at the origin.
  RayAnswer ray(const std::string& server, const RayQuery& query) {
    const auto camera = stage.create(server);
    camera->new_frame(0, 0.0);
    return camera->evaluate(query);
  }

  template <class Function>
  Function* exported(const std::string& name) const {
    return stage.module.library().find_as<Function>(name.c_str());
  }

  test_support::Stage stage;
  CameraSettings& settings = stage.host.camera("Camera");
};

// What each server is made of.

TEST_F(PerspectiveTest, ServersDifferInTheirEvaluators) {
  const std::array symbols{"12C_Evaluate_C", "18C_Evaluate_C_NODOF", "23C_Evaluate_C_NODOF_NOMB"};
  for (std::size_t i = 0; i < servers.size(); ++i) {
    const auto camera = stage.create(servers[i]);
    EXPECT_EQ(reinterpret_cast<void*>(camera->handler().evaluate),
              stage.module.library().find((std::string("_ZN14PerspectiveCam") + symbols[i] + evaluate_arguments).c_str()))
        << servers[i];
  }
}

TEST_F(PerspectiveTest, UnregisteredActivationPairsTheLensWithNoDepthOfFieldFlag) {
  auto* const activate = exported<ActivateFunc>("_ZN14PerspectiveCam22CameraHandler_DOF_NoMBEiPFPvPKciES0_S0_");
  ASSERT_NE(activate, nullptr);
  for (const standin::Server& server : stage.module.servers()) EXPECT_NE(server.activate, activate) << server.name;
  const auto camera = stage.create(lens_and_motion);
  LWCameraHandler handler{};
  ASSERT_EQ(activate(LWCAMERA_HANDLER_VERSION, standin::Host::global(), &handler, stage.module.server_data()), AFUNC_OK);
  EXPECT_EQ(handler.evaluate, camera->handler().evaluate);
  EXPECT_EQ(handler.project, camera->handler().project);
  EXPECT_EQ(handler.flags(camera->raw()), 0U);
  EXPECT_EQ(camera->flags(), 1U);
  EXPECT_EQ(activate(LWCAMERA_HANDLER_VERSION - 1, standin::Host::global(), &handler, stage.module.server_data()),
            AFUNC_BADVERSION);
}

// Rays.

TEST_F(PerspectiveTest, EvaluatorsAgreeWithSinglePrecisionArithmetic) {
  move_camera();
  const auto [width, height] = standin::film_size(settings);
  for (const unsigned steps : {2U, 3U, 7U, 8U, 199U}) {
    const auto samples = test_support::motion_samples(stage.host, "Camera", 0.2, 0.9, steps);
    for (const char* server : servers) {
      const auto camera = stage.create(server);
      camera->new_frame(6, 0.2, 0.9, steps);
      for (const RayQuery& query : test_support::ray_queries(width, height, 64)) {
        const std::string what = std::string(server) + " at " + std::to_string(query.fractional_time);
        const ItemPose pose = server == at_rest ? samples.front() : test_support::pose_at(samples, query.fractional_time);
        const RayAnswer ray = camera->evaluate(query);
        // Positions and axes may differ in the last bit of their blend before they are rounded, hence not in all of them.
        const Expected expected =
            server == lens_and_motion ? lens_ray(pose, optics(), query) : pinhole_ray(pose, optics(), query);
        EXPECT_EQ(ray.result, LWCAMEVAL_RAY);
        expect_near(ray.position, expected.position, 3e-7, what);
        expect_near(ray.direction, expected.direction, 3e-7, what);
        expect_near(ray.film_normal, expected.film_normal, 1e-7, what);
        if (query.fractional_time <= 0.0 || query.fractional_time >= 1.0) expect_same(ray, expected, what);
      }
    }
  }
}

TEST_F(PerspectiveTest, PinholeRaysAreSinglePrecisionAndLensRaysGoOnInDouble) {
  move_camera();
  const RayQuery query{0.0031, -0.0047, 0.3, -0.6, 0.0};
  const RayAnswer pinhole = ray(motion_only, query);
  EXPECT_EQ(pinhole.direction, Single(pinhole.direction).wide());
  EXPECT_EQ(pinhole.position, Single(pinhole.position).wide());
  const RayAnswer lens = ray(lens_and_motion, query);
  EXPECT_NE(lens.direction.x, single(lens.direction.x));
  EXPECT_EQ(lens.film_normal, Single(lens.film_normal).wide());
  EXPECT_NEAR(standin::length(lens.direction), 1.0, 1e-15);
}

TEST_F(PerspectiveTest, LensLiesAlongWorldXAndYWhicheverWayTheCameraLooks) {
  // Turned by a quarter: the camera's right axis is world Z.
  test_support::send(stage.host.item("Camera"), {{5.0, 6.0, 7.0}, {5.0, 6.0, 7.0}, {half_pi, 0, 0}, {half_pi, 0, 0}});
  const RayAnswer ray = this->ray(lens_and_motion, {0.0, 0.0, 0.5, -0.25, 0.0});
  const double radius = single(optics().lens_radius);
  expect_near(ray.position, {5.0 + 0.5 * radius, 6.0 - 0.25 * radius, 7.0}, 1e-15, "ray start");
}

TEST_F(PerspectiveTest, RaysThroughTheWholeLensMeetAtTheFocalDistance) {
  move_camera();
  const auto camera = stage.create(lens_and_motion);
  camera->new_frame(0, 0.0, 0.5);
  const RayAnswer centre = camera->evaluate({0.004, 0.003});
  const Vec3 focus = centre.position + centre.direction * optics().focal_distance;
  for (const auto& [x, y] : std::vector<std::pair<double, double>>{{1, 0}, {0, 1}, {-0.7, -0.7}, {0.2, -0.9}}) {
    const RayAnswer ray = camera->evaluate({0.004, 0.003, x, y});
    const Vec3 to_focus = focus - ray.position;
    expect_near(standin::cross(to_focus, ray.direction), {}, 1e-6, "distance of the ray from the focus");
    EXPECT_GT(standin::dot(to_focus, ray.direction), 0.0);
  }
}

TEST_F(PerspectiveTest, OnlyThePinholeAtRestIgnoresTheTime) {
  move_camera_along_x();
  for (const char* server : servers) {
    const auto camera = stage.create(server);
    camera->new_frame(0, 0.5, 1.0);
    for (const double time : {0.0, 0.3, 1.0, 0.0}) {
      const double moved = server == at_rest ? 0.0 : time * 5.0;
      EXPECT_NEAR(camera->evaluate({.fractional_time = time}).position.x, 5.0 + moved, 1e-6) << server << " at " << time;
    }
  }
}

// Motion samples.

TEST_F(PerspectiveTest, MotionStepsBelow3OrAbove199AreTakenAsTwo) {
  move_camera_along_x();
  const auto end_of_frame = [&](unsigned steps) {
    const auto camera = stage.create(motion_only);
    camera->new_frame(0, 0.0, 1.0, steps);
    return camera->evaluate({.fractional_time = 1.0}).position.x;
  };
  for (const unsigned steps : {0U, 1U, 2U, 200U, 5000U, 0xFFFFFFFFU}) EXPECT_EQ(end_of_frame(steps), 5.0) << steps;
  for (const unsigned steps : {3U, 4U, 198U, 199U}) EXPECT_FLOAT_EQ(end_of_frame(steps), 10.0 * (steps - 1) / steps) << steps;
}

TEST_F(PerspectiveTest, SampleIndexAndWeightCountByDifferentScales) {
  move_camera_along_x();
  const auto camera = stage.create(motion_only);
  camera->new_frame(0, 0.0, 1.0, 5);
  // Samples at 0, 2, 4, 6 and 8 metres. At 0.9: index 2 of (5 - 2) * 0.9, weight 0.9 - 2 / 5.
  EXPECT_FLOAT_EQ(camera->evaluate({.fractional_time = 0.9}).position.x, 5.0);
  // At 0.3: index 0, weight 0.3.
  EXPECT_FLOAT_EQ(camera->evaluate({.fractional_time = 0.3}).position.x, 0.6);
}

TEST_F(PerspectiveTest, SameFrameReadsTheValuesAgainButNotTheMotion) {
  const auto camera = stage.create(lens_and_motion);
  camera->new_frame(0, 0.0, 1.0);
  const RayQuery query{0.004, -0.002, 0.5, 0.5};
  settings.zoom_factor = Envelope::constant(5.0);
  settings.lens_f_stop = Envelope::constant(2.0);
  settings.focal_distance = Envelope::constant(9.0);
  // The record of the frame stays the same, and so the motion of its later part is not looked at again.
  test_support::send(stage.host.item("Camera"), {{}, {1.0, 0.0, 0.0}, {}, {}});
  camera->new_frame(0, 0.0, 1.0);
  const RayAnswer ray = camera->evaluate(query);
  expect_same(ray, lens_ray(ItemPose{}, optics(), query), "values of the second call");
  EXPECT_EQ(camera->evaluate({.fractional_time = 1.0}).position, Vec3{});
  camera->new_frame(1, 0.0, 1.0);
  EXPECT_EQ(camera->evaluate({.fractional_time = 1.0}).position, (Vec3{0.25, 0.0, 0.0}));
}

TEST_F(PerspectiveTest, ZoomIsOfTheFrameStartFocusAndFStopOfTheHostsOwnTime) {
  const auto ramp = [](double from, double to) {
    return Envelope{{{from, 0.0, standin::Span::linear, {}}, {to, 10.0, standin::Span::linear, {}}}};
  };
  settings.zoom_factor = ramp(1.0, 3.0);
  settings.lens_f_stop = ramp(1.0, 8.0);
  settings.focal_distance = ramp(2.0, 20.0);
  const auto camera = stage.create(lens_and_motion);
  stage.host.set_time(90, 3.0);
  camera->new_frame(0, 5.0);
  const RayQuery query{0.003, 0.001, 0.4, 0.2};
  Optics mixed = optics(5.0);
  mixed.lens_radius = mixed.film_distance * (0.5 / settings.lens_f_stop.at(3.0));
  mixed.focal_distance = optics(3.0).focal_distance;
  expect_same(camera->evaluate(query), lens_ray(ItemPose{}, mixed, query), "after a new frame");

  // A new time moves the zoom along.
  camera->new_time(30, 1.0);
  expect_same(camera->evaluate(query), lens_ray(ItemPose{}, optics(1.0), query), "after a new time");
}

// Projection.

TEST_F(PerspectiveTest, ProjectionFollowsItsFormula) {
  move_camera();
  const auto camera = stage.create(lens_and_motion);
  camera->new_frame(0, 0.1, 0.8, 6);
  const auto samples = test_support::motion_samples(stage.host, "Camera", 0.1, 0.8, 6);
  for (const double time : {0.0, 0.4, 1.0}) {
    const ItemPose pose = test_support::pose_at(samples, time);
    const ItemPose rounded{Single(pose.position).wide(), Single(pose.right).wide(), Single(pose.up).wide(),
                           Single(pose.forward).wide()};
    const Vec3 world = rounded.point_to_world({0.7, -1.1, 4.0});
    const Vec3 offset = world - rounded.position;
    const double depth = dot(offset, rounded.forward);
    const auto film = camera->project(world, time);
    ASSERT_TRUE(film.has_value());
    // Between the samples the blend may round the other way.
    const double tolerance = time == 0.4 ? 1e-9 : 1e-16;
    EXPECT_NEAR(film->first, optics().film_distance * dot(offset, rounded.right) / depth, tolerance);
    EXPECT_NEAR(film->second, optics().film_distance * dot(offset, rounded.up) / depth, tolerance);
  }
}

TEST_F(PerspectiveTest, ProjectionUndoesThePinholeRay) {
  // Between two samples of a turning camera the axes are no longer square to each other, and neither map undoes the other.
  test_support::send(stage.host.item("Camera"), {{1, -2, 3}, {4, 0.5, -1}, {0.3, -0.2, 0.1}, {0.3, -0.2, 0.1}});
  const auto [width, height] = standin::film_size(settings);
  const auto camera = stage.create(motion_only);
  camera->new_frame(0, 0.0, 1.5, 4);
  for (const RayQuery& query : test_support::ray_queries(width, height, 40)) {
    const RayAnswer ray = camera->evaluate(query);
    const auto film = camera->project(ray.position + ray.direction * 8.0, query.fractional_time);
    ASSERT_TRUE(film.has_value());
    EXPECT_NEAR(film->first, query.film_x, 1e-8);
    EXPECT_NEAR(film->second, query.film_y, 1e-8);
  }
}

TEST_F(PerspectiveTest, ProjectionLeavesTheCachedPoseAlone) {
  move_camera_along_x();
  const auto camera = stage.create(at_rest);
  camera->new_frame(0, 0.0, 1.0);
  EXPECT_TRUE(camera->project({0.0, 0.0, 5.0}, 1.0).has_value());
  EXPECT_EQ(camera->evaluate({}).position, Vec3{});
}

TEST_F(PerspectiveTest, PointsOnTheEyePlaneAndBehindItDoNotProject) {
  const auto camera = stage.create(lens_and_motion);
  camera->new_frame(0, 0.0);
  EXPECT_TRUE(camera->project({0.0, 0.0, 2e-9}).has_value());
  for (const double depth : {1e-9, 0.0, -1e-9, -5.0, std::nan("")})
    EXPECT_FALSE(camera->project({0.1, 0.2, depth}).has_value()) << depth;
}

TEST_F(PerspectiveTest, NothingProjectsOnAFilmAtTheEye) {
  settings.zoom_factor = Envelope::constant(0.0);
  const auto camera = stage.create(lens_and_motion);
  camera->new_frame(0, 0.0);
  EXPECT_FALSE(camera->project({0.0, 0.0, 5.0}).has_value());
}

// Life of an instance.

TEST_F(PerspectiveTest, EvaluationBeforeAnyFrameAnswersWithoutHarm) {
  for (const char* server : servers) {
    const auto camera = stage.create(server);
    EXPECT_EQ(camera->evaluate({0.001, 0.002, 0.1, 0.2, 0.7}).result, LWCAMEVAL_RAY) << server;
    EXPECT_EQ(camera->evaluate({}).position, Vec3{}) << server;
    EXPECT_FALSE(camera->project({0.0, 0.0, 5.0}).has_value()) << server;
  }
}

TEST_F(PerspectiveTest, CopyIsEmptyUntilItsNextFrame) {
  move_camera_along_x();
  const auto source = stage.create(lens_and_motion);
  source->new_frame(0, 0.5, 1.0);
  const auto copy = stage.create(lens_and_motion);
  copy->new_frame(0, 0.5, 1.0);
  copy->copy_from(*source);
  EXPECT_EQ(copy->evaluate({.fractional_time = 1.0}).position, Vec3{});
  EXPECT_FALSE(copy->project({0.0, 0.0, 50.0}).has_value());
  // Its own records are forgotten too: the same frame is a new one.
  copy->new_frame(0, 0.5, 1.0);
  EXPECT_EQ(copy->evaluate({.fractional_time = 1.0}).position, source->evaluate({.fractional_time = 1.0}).position);
}

TEST_F(PerspectiveTest, CopyKeepsItsOwnCamera) {
  stage.host.add_camera("Gone");
  const auto copy = stage.create(lens_and_motion);
  {
    const auto source = stage.create(lens_and_motion, "Gone");
    source->new_frame(0, 0.0);
    copy->copy_from(*source);
  }
  // Were the copy to ask for the source's camera, the host would report it.
  stage.host.remove_item("Gone");
  copy->new_time(1, 0.04);
  EXPECT_TRUE(stage.host.violations().empty());
}

/// Its directions are of single precision.
struct PerspectivePair : PairAhead<PerspectiveCam::Lens> {
  static constexpr auto& direction = PerspectiveCam::direction;
  static constexpr auto& film_point = PerspectiveCam::film_point;
  static constexpr double film_tolerance = 1.5e-7;
  static constexpr double angle_tolerance = 1e-7;

  static Lens random_lens(Random& random, Film film) {
    Lens lens;
    lens.film_distance = random.between(0.5, 8.0) * film.half_height();
    return lens;
  }
  static Cases<Lens> cases(const Lens& lens, Film film) {
    return sizes_around_limit(lens, film, [](Lens& at_limit, double number) { at_limit.film_distance = number; });
  }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Perspective, MappingPair, PerspectivePair);

}  // namespace perspective_cam_test
