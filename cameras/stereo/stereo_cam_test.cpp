#include "cameras/stereo/stereo_cam.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

#include "standin/host/gizmo_drawing.h"
#include "tests/support/motion.h"
#include "tests/support/pair_ahead.h"
#include "tests/support/service_override.h"
#include "tests/support/stage.h"
#include "tests/support/vector_checks.h"

namespace stereo_cam_test {

using namespace test_support::mapping_pair;
using standin::CameraSettings;
using standin::Envelope;
using standin::Eye;
using standin::HostedCamera;
using standin::ItemPose;
using standin::RayAnswer;
using standin::RayQuery;
using standin::Vec3;
using test_support::expect_near;

constexpr double half_pi = std::numbers::pi / 2.0;

constexpr const char* server = "QuorinStereoCam";
constexpr std::uint32_t convergence_item_control = 0x8002;
constexpr std::uint32_t show_plane_control = 0x8003;
/// The first object of the scene.
constexpr int cube = 1;
constexpr int ball = 2;

/// The camera's settings at the time that counts, and what the module derives from them.
struct Optics {
  double film_width;
  double film_distance;
  double lens_radius;
  double focal_distance;
  double split;
  double eye_separation = test_support::scene_eye_separation;
  double convergence_limit = 10.0;
  double toe_in = 1.0;
};

struct Expected {
  Vec3 position, direction;
};

/// `item`: where the convergence item is; null without one.
Expected expected_ray(const ItemPose& pose, const Vec3* item, const Optics& optics, RayQuery query) {
  bool right_eye = query.eye == Eye::right;
  if (query.eye == Eye::centre) {
    right_eye = query.film_x > optics.split;
    query.film_x += (right_eye ? -0.25 : 0.25) * optics.film_width;
  }
  const Vec3 lens{optics.lens_radius * query.lens_x, optics.lens_radius * query.lens_y, 0.0};
  const Vec3 origin = pose.position + pose.right * ((right_eye ? 0.5 : -0.5) * optics.eye_separation) + lens;
  Vec3 horizontal = pose.right;
  Vec3 ahead = pose.forward;
  if (item != nullptr && standin::length(*item - origin) <= optics.convergence_limit) {
    ahead = normalized(*item - origin);
    horizontal = normalized(cross(pose.up, *item - origin)) * optics.toe_in + pose.right * (1.0 - optics.toe_in);
  }
  const Vec3 d = horizontal * query.film_x + pose.up * query.film_y + ahead * optics.film_distance;
  return {origin, normalized(d * (optics.focal_distance / standin::length(d)) - lens)};
}

class StereoTest : public testing::Test {
 protected:
  StereoTest() {
    settings.zoom_factor = Envelope::constant(1.7);
    settings.lens_f_stop = Envelope::constant(2.0);
    settings.focal_distance = Envelope::constant(4.2);
    stage.host.item("Cube").motion[2] = Envelope::constant(5.0);
  }

  void move_camera() {
    test_support::send(stage.host.item("Camera"), {{0, 1, 0}, {0.4, 0.5, -0.6}, {0.2, -0.1, 0.05}, {0.5, 0.2, -0.2}});
  }

  std::unique_ptr<HostedCamera> create(int item = 0) {
    auto camera = stage.create(server);
    if (item != 0) camera->panel().set_integer(convergence_item_control, item);
    return camera;
  }

  std::unique_ptr<HostedCamera> ready(int item = 0) {
    auto camera = create(item);
    camera->new_frame(0, 0.0);
    return camera;
  }

  Optics optics() const {
    const auto [width, height] = standin::film_size(settings);
    const double distance = settings.zoom_factor.at(0.0) * height * 0.5;
    return {.film_width = width,
            .film_distance = distance,
            .lens_radius = 0.5 / settings.lens_f_stop.at(0.0) * distance,
            .focal_distance = settings.focal_distance.at(0.0),
            .split = 0.95 * width / settings.width_pixels};
  }

  static void expect_ray(const RayAnswer& ray, const Expected& expected, const std::string& what) {
    expect_near(ray.position, expected.position, 1e-13, what + " position");
    expect_near(ray.direction, expected.direction, 1e-13, what + " direction");
  }

  test_support::Stage stage;
  CameraSettings& settings = stage.host.camera("Camera");
};

// Eyes.

TEST_F(StereoTest, AnExplicitEyeIsAStereoRayAndOneImageIsNot) {
  const auto camera = ready();
  EXPECT_EQ(camera->evaluate({.eye = Eye::left}).result, 8);
  EXPECT_EQ(camera->evaluate({.eye = Eye::right}).result, 8);
  EXPECT_EQ(camera->evaluate({}).result, 1);
  EXPECT_EQ(camera->evaluate({.eye = static_cast<Eye>(7)}).result, 1);
}

TEST_F(StereoTest, EyesStandOnTheRightAxis) {
  const auto camera = ready();
  const double half = test_support::scene_eye_separation * 0.5;
  EXPECT_EQ(camera->evaluate({.eye = Eye::left}).position, (Vec3{-half, 0.0, 0.0}));
  EXPECT_EQ(camera->evaluate({.eye = Eye::right}).position, (Vec3{half, 0.0, 0.0}));
}

TEST_F(StereoTest, WithoutSeparationBothEyesSeeTheSame) {
  const auto camera = create(cube);
  camera->parameter("EyeSeparation").set_constant(0.0);
  camera->new_frame(0, 0.0);
  for (RayQuery query : test_support::ray_queries(0.02, 0.015, 16, Eye::left)) {
    const RayAnswer left = camera->evaluate(query);
    query.eye = Eye::right;
    const RayAnswer right = camera->evaluate(query);
    EXPECT_EQ(left.position, right.position);
    EXPECT_EQ(left.direction, right.direction);
  }
}

TEST_F(StereoTest, OneImageHoldsBothEyesSideBySide) {
  const auto camera = ready();
  const Optics o = optics();
  const double y = 0.002;
  const auto same_as = [&](double x, Eye eye, double eye_x) {
    const RayAnswer whole = camera->evaluate({x, y, 0.3, 0.1});
    const RayAnswer half = camera->evaluate({eye_x, y, 0.3, 0.1, 0.0, eye});
    EXPECT_EQ(whole.position, half.position) << x;
    EXPECT_EQ(whole.direction, half.direction) << x;
  };
  const double quarter = 0.25 * o.film_width;
  same_as(quarter, Eye::right, 0.0);
  same_as(-quarter, Eye::left, 0.0);
  same_as(0.0, Eye::left, quarter);
  // The boundary lies just under one pixel right of the centre, and belongs to the left.
  same_as(o.split * (1.0 - 1e-9), Eye::left, o.split * (1.0 - 1e-9) + quarter);
  same_as(o.split * (1.0 + 1e-9), Eye::right, o.split * (1.0 + 1e-9) - quarter);
  const double pixel = o.film_width / settings.width_pixels;
  same_as(pixel, Eye::right, pixel - quarter);
}

// Rays.

TEST_F(StereoTest, AgreesWithItsFormulaWithoutConvergence) {
  move_camera();
  for (const unsigned steps : {2U, 6U, 199U}) {
    const auto camera = create();
    camera->new_frame(2, 0.3, 0.8, steps);
    const auto samples = test_support::motion_samples(stage.host, "Camera", 0.3, 0.8, steps);
    for (const Eye eye : {Eye::centre, Eye::left, Eye::right}) {
      for (const RayQuery& query : test_support::ray_queries(optics().film_width, 0.015, 48, eye)) {
        expect_ray(camera->evaluate(query),
                   expected_ray(test_support::pose_at(samples, query.fractional_time), nullptr, optics(), query),
                   std::to_string(steps) + " steps at " + std::to_string(query.fractional_time));
      }
    }
  }
}

TEST_F(StereoTest, AgreesWithItsFormulaForAMovingConvergenceItem) {
  move_camera();
  test_support::send(stage.host.item("Ball"), {{-1.0, 0.0, 4.0}, {2.0, 1.5, 6.0}, {}, {}});
  for (const double toe_in : {0.0, 0.35, 1.0}) {
    Optics o = optics();
    o.toe_in = toe_in;
    const auto camera = create(ball);
    camera->parameter("HorizontalScale").set_constant(toe_in);
    camera->new_frame(2, 0.3, 0.8, 5);
    const auto samples = test_support::motion_samples(stage.host, "Camera", 0.3, 0.8, 5);
    const auto item_samples = test_support::motion_samples(stage.host, "Ball", 0.3, 0.8, 5);
    for (const Eye eye : {Eye::centre, Eye::left, Eye::right}) {
      for (const RayQuery& query : test_support::ray_queries(o.film_width, 0.015, 48, eye)) {
        const Vec3 item = test_support::pose_at(item_samples, query.fractional_time).position;
        expect_ray(camera->evaluate(query),
                   expected_ray(test_support::pose_at(samples, query.fractional_time), &item, o, query),
                   "toe-in " + std::to_string(toe_in) + " at " + std::to_string(query.fractional_time));
      }
    }
  }
}

TEST_F(StereoTest, BothEyesLookAtTheConvergenceItem) {
  const auto camera = ready(cube);
  for (const Eye eye : {Eye::left, Eye::right}) {
    const RayAnswer ray = camera->evaluate({.eye = eye});
    expect_near(ray.direction, normalized(Vec3{0.0, 0.0, 5.0} - ray.position), 1e-15, "axis");
  }
}

TEST_F(StereoTest, AnItemBeyondTheLimitLeavesTheEyesParallel) {
  const auto camera = create(cube);
  camera->parameter("EyeSeparation").set_constant(0.0);
  const auto direction = [&](double limit, int frame) {
    camera->parameter("ConvergenceLimit").set_constant(limit);
    camera->new_frame(frame, 0.0);
    return camera->evaluate({0.002, 0.0, 0.0, 0.0, 0.0, Eye::left}).direction;
  };
  stage.host.item("Cube").motion[0] = Envelope::constant(3.0);
  stage.host.item("Cube").motion[2] = Envelope::constant(4.0);
  const Vec3 parallel = normalized(Vec3{0.002, 0.0, optics().film_distance});
  expect_near(direction(4.999, 1), parallel, 1e-15, "beyond the limit");
  // Exactly at the limit it still counts.
  const Vec3 aimed = normalized(Vec3{0.8, 0.0, -0.6} * 0.002 + Vec3{0.6, 0.0, 0.8} * optics().film_distance);
  expect_near(direction(5.0, 2), aimed, 1e-15, "at the limit");
}

TEST_F(StereoTest, WithoutToeInTheHorizontalAxisStaysTheCameras) {
  const auto camera = create(cube);
  stage.host.item("Cube").motion[0] = Envelope::constant(2.0);
  camera->parameter("HorizontalScale").set_constant(0.0);
  camera->new_frame(0, 0.0);
  const RayAnswer centre = camera->evaluate({.eye = Eye::right});
  expect_near(centre.direction, normalized(Vec3{2.0, 0.0, 5.0} - centre.position), 1e-15, "aimed at the item");
  const RayAnswer side = camera->evaluate({.film_x = 0.003, .eye = Eye::right});
  expect_near(side.direction, normalized(centre.direction * optics().film_distance + Vec3{0.003, 0.0, 0.0}), 1e-15, "side");
}

TEST_F(StereoTest, LensLiesAlongWorldXAndY) {
  test_support::send(stage.host.item("Camera"), {{}, {}, {half_pi, 0, 0}, {half_pi, 0, 0}});
  const auto camera = ready();
  const Vec3 middle = camera->evaluate({.eye = Eye::left}).position;
  const Vec3 moved = camera->evaluate({.lens_x = 0.5, .lens_y = -1.0, .eye = Eye::left}).position;
  expect_near(moved - middle, {0.5 * optics().lens_radius, -optics().lens_radius, 0.0}, 1e-15, "lens offset");
}

TEST_F(StereoTest, RaysThroughTheWholeLensMeetAtTheFocalDistance) {
  const auto camera = ready();
  const RayAnswer centre = camera->evaluate({.film_x = 0.002, .film_y = 0.001, .eye = Eye::left});
  const Vec3 focus = centre.position + centre.direction * optics().focal_distance;
  for (const double lens : {-1.0, 0.4, 1.0}) {
    const RayAnswer ray = camera->evaluate({0.002, 0.001, lens, 0.5 * lens, 0.0, Eye::left});
    expect_near(cross(focus - ray.position, ray.direction), {}, 1e-14, "distance of the ray from the focus");
  }
}

TEST_F(StereoTest, FilmNormalIsTheRecordsForwardAxisAtEveryTime) {
  move_camera();
  const auto camera = create(cube);
  camera->new_frame(0, 0.0, 2.0, 3);
  const double* forward = camera->access().toWorld[2];
  for (const double time : {0.0, 0.5, 1.0}) {
    EXPECT_EQ(camera->evaluate({.fractional_time = time, .eye = Eye::left}).film_normal,
              (Vec3{forward[0], forward[1], forward[2]}));
  }
}

// Values of a frame.

TEST_F(StereoTest, AnotherConvergenceItemIsAChangedFrame) {
  stage.host.item("Ball").motion[0] = Envelope::constant(-3.0);
  const auto camera = create(cube);
  const auto direction = [&] {
    camera->new_frame(0, 0.0);
    const RayAnswer ray = camera->evaluate({.eye = Eye::left});
    return ray.direction;
  };
  const Vec3 left_eye{-0.5 * test_support::scene_eye_separation, 0.0, 0.0};
  expect_near(direction(), normalized(Vec3{0.0, 0.0, 5.0} - left_eye), 1e-15, "cube");
  camera->panel().set_integer(convergence_item_control, ball);
  const Vec3 ball_position = stage.host.scene().world_pose(stage.host.item("Ball"), 0.0).position;
  expect_near(direction(), normalized(ball_position - left_eye), 1e-15, "ball");
  camera->panel().set_integer(convergence_item_control, 0);
  expect_near(direction(), {0.0, 0.0, 1.0}, 1e-15, "none");
}

TEST_F(StereoTest, ARemovedConvergenceItemIsNotAskedForAgain) {
  const auto camera = ready(ball);
  stage.host.remove_item("Ball");
  camera->new_frame(0, 0.0);
  camera->new_frame(1, 0.1, 0.5);
  expect_near(camera->evaluate({.eye = Eye::left}).direction, {0.0, 0.0, 1.0}, 1e-15, "parallel");
  EXPECT_TRUE(stage.host.violations().empty());
}

TEST_F(StereoTest, AnIndexOfNoObjectIsNoItem) {
  for (const int index : {3, 1000, INT_MAX, INT_MIN, -1, 0}) {
    const auto camera = ready(index);
    expect_near(camera->evaluate({.eye = Eye::right}).direction, {0.0, 0.0, 1.0}, 1e-15, std::to_string(index));
  }
}

TEST_F(StereoTest, HostReadingsAreMadeAtEveryFrame) {
  const auto camera = ready();
  settings.lens_f_stop = Envelope::constant(1.0);
  settings.focal_distance = Envelope::constant(7.5);
  settings.width_pixels *= 4;
  settings.height_pixels *= 4;
  // The film and with it the record stay the same, so only the readings are made again; the zoom is one of the others.
  const Optics now = optics();
  camera->new_frame(0, 0.0);
  for (const double x : {-0.004, now.split * 0.99, now.split * 1.01, 0.004}) {
    const RayQuery query{x, 0.001, 0.5, -0.5};
    expect_ray(camera->evaluate(query), expected_ray(ItemPose{}, nullptr, now, query), std::to_string(x));
  }
}

TEST_F(StereoTest, FocusAndFStopAreOfTheHostsOwnTime) {
  const auto ramp = [](double from, double to) {
    return Envelope{{{from, 0.0, standin::Span::linear, {}}, {to, 10.0, standin::Span::linear, {}}}};
  };
  settings.lens_f_stop = ramp(1.0, 11.0);
  settings.focal_distance = ramp(2.0, 12.0);
  const auto camera = create();
  stage.host.set_time(90, 3.0);
  camera->new_frame(0, 5.0);
  Optics o = optics();
  o.lens_radius = 0.5 / 4.0 * o.film_distance;
  o.focal_distance = 5.0;
  const RayQuery query{0.003, 0.001, 0.5, -0.5, 0.0, Eye::right};
  expect_ray(camera->evaluate(query), expected_ray(ItemPose{}, nullptr, o, query), "at 3 seconds");
}

TEST_F(StereoTest, ZoomIsTheHostsWhateverTheEnvelopeSays) {
  const auto camera = create();
  camera->parameter("ZoomFactor").set_constant(20.0);
  settings.zoom_factor = Envelope{{{1.0, 0.0, standin::Span::linear, {}}, {3.0, 2.0, standin::Span::linear, {}}}};
  camera->new_frame(0, 1.0);
  const double film_distance = 2.0 * settings.aperture_height * 0.5;
  const RayQuery query{.film_x = 0.003, .eye = Eye::left};
  expect_near(camera->evaluate(query).direction, normalized(Vec3{0.003, 0.0, film_distance}), 1e-15, "new frame");
  camera->new_time(60, 2.0);
  expect_near(camera->evaluate(query).direction, normalized(Vec3{0.003, 0.0, film_distance * 1.5}), 1e-15, "new time");
}

TEST_F(StereoTest, EnvelopesAreReadAtFrameAndTime) {
  const auto camera = create();
  camera->parameter("EyeSeparation").set_keys({{0.0, 0.1}, {2.0, 0.5}});
  camera->new_frame(0, 1.0);
  EXPECT_NEAR(camera->evaluate({.eye = Eye::right}).position.x, 0.15, 1e-15);
  camera->new_time(60, 2.0);
  EXPECT_NEAR(camera->evaluate({.eye = Eye::right}).position.x, 0.25, 1e-15);
}

// Life of an instance.

TEST_F(StereoTest, EvaluationBeforeAnyFrameAnswersWithoutHarm) {
  const auto camera = create(cube);
  EXPECT_EQ(camera->evaluate({0.001, 0.001, 0.2, 0.2, 0.4, Eye::left}).result, LWCAMEVAL_STEREO_RAY);
  EXPECT_FALSE(camera->project({0.0, 0.0, 5.0}).has_value());
  standin::GizmoDrawing drawing;
  camera->panel().set_integer(show_plane_control, 1);
  camera->draw_gizmo(drawing);
  EXPECT_TRUE(drawing.elements.empty());
}

TEST_F(StereoTest, CopyTakesSettingsAndItsNextFrameTheItem) {
  const auto source = create(ball);
  source->panel().set_integer(show_plane_control, 1);
  source->parameter("EyeSeparation").set_constant(0.4);
  source->new_frame(0, 0.0);
  const auto copy = create();
  copy->copy_from(*source);
  EXPECT_EQ(copy->save_text(), source->save_text());
  copy->new_frame(0, 0.0);
  const RayQuery query{0.002, 0.001, 0.1, 0.2, 0.0, Eye::left};
  EXPECT_EQ(copy->evaluate(query).direction, source->evaluate(query).direction);
  EXPECT_EQ(copy->evaluate(query).position, source->evaluate(query).position);
}

/// What the camera asks the host for, in order: "sample" for the first of a frame's motion samples, "zoom" for its first value.
struct AskedOrder {
  static inline std::vector<std::string> asked;
  static inline LWItemID asked_camera = nullptr;
  static inline LWItemInfo items{};
  static inline LWCameraInfo cameras{};
  static inline const LWItemInfo* host_items = nullptr;
  static inline const LWCameraInfo* host_cameras = nullptr;

  static void note(const char* what) {
    if (asked.empty() || asked.back() != what) asked.emplace_back(what);
  }

  explicit AskedOrder(const standin::Module& module) {
    host_items = &test_support::host_table<LWItemInfo>(LWITEMINFO_GLOBAL);
    host_cameras = &test_support::host_table<LWCameraInfo>(LWCAMERAINFO_GLOBAL);
    items = *host_items;
    items.first = [](LWItemType type, LWItemID parent) {
      note("object list");
      return host_items->first(type, parent);
    };
    items.param = [](LWItemID item, int param, LWTime time, double* out) {
      note("samples");
      host_items->param(item, param, time, out);
    };
    cameras = *host_cameras;
    cameras.zoomFactor = [](LWItemID item, LWTime time) {
      note("values");
      asked_camera = item;
      return host_cameras->zoomFactor(item, time);
    };
    cameras.resolution = [](LWItemID item, int* width, int* height) {
      note("readings");
      host_cameras->resolution(item, width, height);
    };
    watch.emplace(module, server, std::map<std::string, void*>{{LWITEMINFO_GLOBAL, &items}, {LWCAMERAINFO_GLOBAL, &cameras}});
    asked.clear();
  }

  std::optional<test_support::ServiceOverride> watch;
};

TEST_F(StereoTest, AChangedFrameIsSampledBeforeItsValuesAreRead) {
  const auto camera = create(cube);
  const AskedOrder order(stage.module);
  camera->new_frame(0, 0.0);
  EXPECT_EQ(AskedOrder::asked, (std::vector<std::string>{"object list", "samples", "values", "readings"}));
}

TEST_F(StereoTest, TheFirstFrameOfACopyReadsTheCameraOfItsOwnRecord) {
  stage.host.camera("Other 1").zoom_factor = Envelope::constant(9.0);
  const auto source = stage.create(server, "Other 1");
  source->new_frame(0, 0.0);
  const auto copy = create();
  copy->copy_from(*source);
  {
    const AskedOrder order(stage.module);
    copy->new_frame(0, 0.0);
    EXPECT_EQ(AskedOrder::asked_camera, stage.host.id_of("Camera"));
  }
  const RayQuery query{0.002, 0.001, 0.0, 0.0, 0.0, Eye::left};
  const auto fresh = ready();
  EXPECT_EQ(copy->evaluate(query).direction, fresh->evaluate(query).direction);
}

// Projection.

TEST_F(StereoTest, ProjectionUndoesTheRayOfEachEye) {
  // Between two samples of a turning camera the axes are no longer square to each other, and neither map undoes the other.
  test_support::send(stage.host.item("Camera"), {{0, 1, 0}, {0.4, 0.5, -0.6}, {0.2, -0.1, 0.05}, {0.2, -0.1, 0.05}});
  const auto camera = create();
  camera->new_frame(0, 0.0, 1.6, 4);
  for (const Eye eye : {Eye::left, Eye::right}) {
    for (RayQuery query : test_support::ray_queries(0.02, 0.015, 32, eye)) {
      query.lens_x = query.lens_y = 0.0;
      const RayAnswer ray = camera->evaluate(query);
      const auto film = camera->project(ray.position + ray.direction * 6.0, query.fractional_time, eye);
      ASSERT_TRUE(film.has_value());
      EXPECT_NEAR(film->first, query.film_x, 1e-15);
      EXPECT_NEAR(film->second, query.film_y, 1e-15);
    }
  }
}

TEST_F(StereoTest, ProjectionOfNoEyeIsFromBetweenThemWithoutSplit) {
  const auto camera = ready();
  const auto film = camera->project({1.0, -0.5, 4.0});
  ASSERT_TRUE(film.has_value());
  EXPECT_NEAR(film->first, optics().film_distance * 0.25, 1e-15);
  EXPECT_NEAR(film->second, optics().film_distance * -0.125, 1e-15);
}

TEST_F(StereoTest, ProjectionOfNoEyeTakesNoStepWhateverTheSeparation) {
  const auto camera = create();
  LWVParmFuncs parameters = test_support::host_table<LWVParmFuncs>(LWVPARMFUNCS_GLOBAL);
  parameters.getVal = [](LWVParmID /*id*/, LWTime /*time*/, void* /*micropolygon*/, double* result) {
    return *result = std::numeric_limits<double>::infinity();
  };
  const test_support::ServiceOverride endless(stage.module, server, LWVPARMFUNCS_GLOBAL, &parameters);
  camera->new_frame(0, 0.0);
  const auto film = camera->project({1.0, -0.5, 4.0});
  ASSERT_TRUE(film.has_value());
  EXPECT_NEAR(film->first, optics().film_distance * 0.25, 1e-15);
  EXPECT_FALSE(camera->project({1.0, -0.5, 4.0}, 0.0, Eye::left).has_value());
}

TEST_F(StereoTest, ProjectionIgnoresConvergenceAndLens) {
  const auto converging = ready(cube);
  const auto parallel = ready();
  for (const Eye eye : {Eye::centre, Eye::left, Eye::right}) {
    const auto film = converging->project({0.3, 0.2, 3.0}, 0.0, eye, 0.9, 0.9);
    ASSERT_TRUE(film.has_value());
    EXPECT_EQ(film, parallel->project({0.3, 0.2, 3.0}, 0.0, eye));
  }
}

TEST_F(StereoTest, PointsOnTheEyePlaneAndBehindItDoNotProject) {
  const auto camera = ready();
  EXPECT_TRUE(camera->project({0.0, 0.0, 2e-9}).has_value());
  for (const double depth : {1e-9, 0.0, -3.0, std::nan("")}) EXPECT_FALSE(camera->project({0.0, 0.0, depth}).has_value());
  settings.zoom_factor = Envelope::constant(0.0);
  camera->new_frame(1, 0.0);
  EXPECT_FALSE(camera->project({0.0, 0.0, 5.0}).has_value());
}

// The gizmo.

class StereoGizmo : public StereoTest {
 protected:
  std::unique_ptr<HostedCamera> showing(int item) {
    auto camera = create(item);
    camera->panel().set_integer(show_plane_control, 1);
    return camera;
  }

  static std::vector<standin::GizmoElement> drawn(HostedCamera& camera) {
    standin::GizmoDrawing drawing;
    camera.draw_gizmo(drawing);
    return drawing.elements;
  }
};

TEST_F(StereoGizmo, DrawsNothingWithoutAnItemOrUnlessAsked) {
  const auto without_item = showing(0);
  without_item->new_frame(0, 0.0);
  EXPECT_TRUE(drawn(*without_item).empty());
  const auto unasked = ready(cube);
  EXPECT_TRUE(drawn(*unasked).empty());
}

TEST_F(StereoGizmo, DrawsThePlaneTwiceAndTwoCirclesAtEachEye) {
  move_camera();
  const auto camera = showing(cube);
  camera->new_frame(3, 0.5, 1.0, 4);
  const ItemPose pose = test_support::motion_samples(stage.host, "Camera", 0.5, 1.0, 4).front();
  const auto elements = drawn(*camera);
  ASSERT_EQ(elements.size(), 6U);

  const Vec3 item{0.0, 0.0, 5.0};
  for (std::size_t i = 0; i < 2; ++i) {
    ASSERT_EQ(elements[i].shape, standin::GizmoShape::quad);
    EXPECT_EQ(elements[i].coordinate_system, LWCSYS_WORLD);
    for (const double across : {-1.0, 1.0}) {
      for (const double along : {-0.5, 0.5}) {
        const Vec3 corner = item + pose.right * across + pose.up * along;
        EXPECT_TRUE(std::any_of(elements[i].points.begin(), elements[i].points.end(),
                                [&](Vec3 point) { return standin::length(point - corner) < 1e-14; }))
            << across << ' ' << along;
      }
    }
    // Neighbouring corners share a side, so that the outline does not cross itself.
    EXPECT_NEAR(standin::length(elements[i].points[0] - elements[i].points[2]), std::sqrt(5.0), 1e-14);
  }
  EXPECT_NE(elements[0].color, elements[1].color);

  constexpr std::array radii{0.03, 0.01, 0.03, 0.01};
  for (std::size_t i = 0; i < 4; ++i) {
    const auto& circle = elements[2 + i];
    ASSERT_EQ(circle.shape, standin::GizmoShape::circle);
    EXPECT_EQ(circle.radius, radii[i]);
    EXPECT_EQ(circle.coordinate_system, LWCSYS_WORLD);
    const double side = i < 2 ? -0.5 : 0.5;
    expect_near(circle.points[0], pose.position + pose.right * (side * test_support::scene_eye_separation), 1e-14, "eye");
  }
}

TEST_F(StereoGizmo, ColoursReadWellInADarkViewport) {
  const auto camera = showing(cube);
  camera->new_frame(0, 0.0);
  // Relative luminance and contrast as the guidelines for readable screens define them; 3 to 1 is their least for graphics.
  const auto linear = [](double v) { return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4); };
  const auto luminance = [&](double r, double g, double b) {
    return 0.2126 * linear(r) + 0.7152 * linear(g) + 0.0722 * linear(b);
  };
  constexpr double dark = 0.2;
  for (const auto& element : drawn(*camera)) {
    const auto& color = element.color;
    const auto over = [&](std::size_t i) { return color[i] * color[3] + dark * (1.0F - color[3]); };
    EXPECT_GE((luminance(over(0), over(1), over(2)) + 0.05) / (luminance(dark, dark, dark) + 0.05), 3.0);
  }
}

TEST_F(StereoGizmo, PlaneFollowsTheItemWithoutANewFrame) {
  const auto camera = showing(cube);
  camera->new_frame(0, 0.0);
  stage.host.item("Cube").motion[1] = Envelope::constant(2.0);
  const auto elements = drawn(*camera);
  ASSERT_FALSE(elements.empty());
  Vec3 sum;
  for (const Vec3& corner : elements[0].points) sum = sum + corner;
  expect_near(sum * 0.25, {0.0, 2.0, 5.0}, 1e-15, "centre");
}

TEST_F(StereoGizmo, AnItemThatIsGoneIsNotDrawn) {
  const auto camera = showing(ball);
  camera->new_frame(0, 0.0);
  stage.host.remove_item("Ball");
  EXPECT_TRUE(drawn(*camera).empty());
  EXPECT_TRUE(stage.host.violations().empty());
}

/// Of either eye.
struct StereoPair : PairAhead<StereoCam::Lens> {
  static constexpr auto& direction = StereoCam::direction;
  static constexpr auto& film_point = StereoCam::film_point;
  static constexpr double film_tolerance = 1e-15;
  static constexpr double angle_tolerance = 1e-15;

  static Lens random_lens(Random& random, Film film) {
    Lens lens;
    lens.zoom_factor = random.between(0.5, 8.0);
    lens.film_height = film.height;
    return lens;
  }
  static Cases<Lens> cases(const Lens& lens, Film film) {
    return sizes_around_limit(lens, film,
                              [film](Lens& at_limit, double number) { at_limit.zoom_factor = number / film.half_height(); });
  }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Stereo, MappingPair, StereoPair);

}  // namespace stereo_cam_test
