#include "cameras/fisheye/fisheye_cam.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

#include "standin/host/gizmo_drawing.h"
#include "tests/support/lens_stage.h"
#include "tests/support/pair_ahead.h"

namespace fisheye_cam_test {

using standin::Envelope;
using standin::RayQuery;
using namespace test_support;
using namespace test_support::mapping_pair;

constexpr double infinity = std::numeric_limits<double>::infinity();

constexpr std::uint32_t auto_scale_control = 0x800A;
constexpr std::uint32_t parallel_normals_control = 0x800B;
constexpr std::uint32_t preview_control = 0x8008;
constexpr std::uint32_t preview_grid_control = 0x8009;

class FisheyeTest : public testing::Test {
 protected:
  LensStage stage{"QuorinFisheyeCam"};
  standin::HostedCamera& camera = stage.camera();

  void set_integer(std::uint32_t control, std::uint32_t value) { camera.panel().set_integer(control, static_cast<int>(value)); }
  bool is_on(std::uint32_t control) { return camera.panel().get_integer(control) != 0; }

  /// Power and scale, the latter as given.
  void set_law(double power, double scale) {
    set_integer(auto_scale_control, 0);
    stage.set("FisheyePower", power);
    stage.set("FisheyeScale", scale);
  }

  double now() const { return stage.host.time_seconds(); }
  long double power() { return camera.parameter("FisheyePower").at(stage.frame_seconds()); }
  long double half_diagonal() { return std::hypot(stage.film_width() * 0.5L, stage.film_height() * 0.5L); }
  long double scale() {
    if (!is_on(auto_scale_control)) return camera.parameter("FisheyeScale").at(stage.frame_seconds());
    return std::pow(half_diagonal(), 1.0L - power());
  }
  long double film_distance() { return stage.settings().zoom_factor.at(stage.frame_seconds()) * stage.film_height() * 0.5L; }
  LongVector lens_offset(const RayQuery& query) {
    const long double radius = 0.5L / stage.settings().lens_f_stop.at(now()) * film_distance();
    return {radius * query.lens_x, radius * query.lens_y, 0.0L};
  }

  LongRay expected_ray(const RayQuery& query) {
    const LongPose pose = stage.pose(query.fractional_time);
    const long double angle = std::atan2(static_cast<long double>(query.film_y), static_cast<long double>(query.film_x));
    const long double radius =
        scale() * std::pow(std::hypot(static_cast<long double>(query.film_x), static_cast<long double>(query.film_y)), power());
    const LongVector through =
        pose.right * (radius * std::cos(angle)) + pose.up * (radius * std::sin(angle)) + pose.forward * film_distance();
    const LongVector focus = normalized(through) * stage.settings().focal_distance.at(now());
    const LongVector direction = normalized(focus - lens_offset(query));
    return {pose.position + lens_offset(query), direction, is_on(parallel_normals_control) ? pose.forward : direction};
  }

  LongFilmPoint expected_film(LongVector world, double fractional_time = 0.0) {
    const LongVector seen = stage.pose(fractional_time).seen(world);
    const long double angle = std::atan2(seen.y, seen.x);
    const long double radius = std::pow(std::hypot(seen.x, seen.y) / seen.z * film_distance() / scale(), 1.0L / power());
    return {radius * std::cos(angle), radius * std::sin(angle)};
  }

  /// A law that neither folds the film into its centre nor throws its edge to infinity.
  void set_random_law(Random& random, double lowest_power, double highest_power) {
    const double power = random.between(lowest_power, highest_power);
    const double half_height = stage.settings().aperture_height * 0.5;
    set_law(power, random.between(0.3, 3.0) * std::pow(half_height, 1.0 - power));
    if (random.coin()) set_integer(auto_scale_control, 1);
  }
};

TEST_F(FisheyeTest, IsThePinholeCameraWithPowerAndScaleOne) {
  stage.set_oblique_pose();
  for (const std::uint32_t automatic : {0U, 1U}) {
    set_integer(auto_scale_control, automatic);
    stage.next_frame();
    const LongPose pose = stage.pose();
    for (const double x : {-0.018, 0.0, 0.007}) {
      for (const double y : {-0.012, 0.0, 0.03}) {
        const LongVector expected = normalized(pose.right * x + pose.up * y + pose.forward * film_distance());
        EXPECT_LE(ray_error(stage.ray(x, y), {pose.position, expected, pose.forward}), 1e-12) << x << " " << y;
      }
    }
  }
}

TEST_F(FisheyeTest, AutomaticScaleIsOneForPowerOneAndOneOverTheHalfDiagonalForPowerTwo) {
  stage.next_frame();
  EXPECT_EQ(camera.parameter("FisheyeScale").at(0.0), 1.0);
  stage.set("FisheyePower", 2.0);
  stage.next_frame();
  EXPECT_NEAR(camera.parameter("FisheyeScale").at(0.0) * static_cast<double>(half_diagonal()), 1.0, 1e-12);
  EXPECT_EQ(camera.parameter("FisheyeScale").last_set[0], camera.parameter("FisheyeScale").at(0.0));
}

TEST_F(FisheyeTest, AutomaticScaleKeepsTheCornersWhereThePinholeCameraHasThem) {
  stage.set_oblique_pose();
  for (const double power : {0.25, 0.9, 1.7, 4.0}) {
    stage.set("FisheyePower", power);
    stage.next_frame();
    const LongPose pose = stage.pose();
    const double x = stage.film_width() * 0.5;
    const double y = -stage.film_height() * 0.5;
    const LongVector pinhole = normalized(pose.right * x + pose.up * y + pose.forward * film_distance());
    expect_near(stage.ray(x, y).direction, pinhole);
    EXPECT_GT(length(LongVector(stage.ray(x / 2, y / 2).direction) -
                     normalized(pose.right * (x / 2) + pose.up * (y / 2) + pose.forward * film_distance())),
              1e-3L);
  }
}

TEST_F(FisheyeTest, FirstFrameAlreadyKnowsTheFilm) {
  stage.set("FisheyePower", 2.0);
  // Before any record: as when a scene is loaded and its first time is told.
  camera.new_time(1, 0.1);
  EXPECT_NEAR(camera.parameter("FisheyeScale").at(0.0), 1.0 / std::hypot(0.018, 0.012), 1e-9);
  camera.new_frame(1, 0.1);
  EXPECT_LE(ray_error(stage.ray(0.01, 0.004), expected_ray({.film_x = 0.01, .film_y = 0.004})), 1e-12);
}

TEST_F(FisheyeTest, ScaleFollowsAChangedFilmOneFrameLater) {
  stage.set("FisheyePower", 2.0);
  stage.next_frame();
  const double before = camera.parameter("FisheyeScale").at(0.0);
  stage.set_film(0.048, 1500, 1000);
  stage.next_frame();
  EXPECT_EQ(camera.parameter("FisheyeScale").at(0.0), before);
  // The film distance is of the film at hand all the same.
  expect_near(stage.ray(0.0, 0.01).direction, normalized({0.0L, before * 1e-4L, film_distance()}));
  stage.next_frame();
  EXPECT_NEAR(camera.parameter("FisheyeScale").at(0.0), before / 2.0, 1e-9);
}

TEST_F(FisheyeTest, FilmCentreLooksForwardWhateverThePower) {
  stage.set_oblique_pose();
  for (const std::uint32_t automatic : {0U, 1U}) {
    for (const double power : {5e-324, 1e-9, 0.01, 0.5, 1.0, 2.0, 7.0, 163.0, 1e6, 1e300}) {
      set_law(power, 1.0);
      set_integer(auto_scale_control, automatic);
      stage.next_frame();
      expect_near(stage.ray(0.0, 0.0).direction, stage.pose().forward, 1e-15);
      expect_near(stage.ray(-0.0, -0.0).direction, stage.pose().forward, 1e-15);
    }
  }
}

TEST_F(FisheyeTest, PowersOfZeroAndBelowGiveWhatTheLawGives) {
  stage.next_frame();
  set_law(0.0, 0.01);
  stage.next_frame();
  // A radius to the power of 0 is 1 everywhere, and the angle of the centre is 0.
  expect_near(stage.ray(0.0, 0.0).direction, expected_ray({}).direction);
  expect_near(stage.ray(0.0, 0.005).direction, expected_ray({.film_y = 0.005}).direction);
  set_law(-1.0, 1e-5);
  stage.next_frame();
  EXPECT_FALSE(is_finite(stage.ray(0.0, 0.0).direction));
  expect_near(stage.ray(0.002, 0.005).direction, expected_ray({.film_x = 0.002, .film_y = 0.005}).direction);
}

TEST_F(FisheyeTest, CoordinatesWhoseSquaresVanishKeepTheirAngle) {
  set_law(0.01, 0.01);
  stage.next_frame();
  for (const RayQuery& query : {RayQuery{.film_x = 3e-160, .film_y = -4e-160}, RayQuery{.film_x = 1e-140, .film_y = 1e-300}}) {
    const standin::RayAnswer answer = camera.evaluate(query);
    EXPECT_NEAR(std::atan2(answer.direction.y, answer.direction.x), std::atan2(query.film_y, query.film_x), 1e-12);
    EXPECT_NEAR(answer.direction.x / answer.direction.z,
                static_cast<double>(expected_ray(query).direction.x / expected_ray(query).direction.z), 1e-7);
  }
}

TEST_F(FisheyeTest, RaysFollowTheFormula) {
  Random random;
  stage.next_frame();
  expect_small_errors("fisheye rays", 1e-12, [&] {
    stage.set_random_camera(random);
    set_random_law(random, 0.2, 3.0);
    set_integer(parallel_normals_control, random.coin() ? 1 : 0);
    stage.settle();
    const auto [x, y] = stage.random_film_point(random, 1.5);
    const RayQuery query{x, y, random.between(-0.7, 0.7), random.between(-0.7, 0.7)};
    return ray_error(camera.evaluate(query), expected_ray(query));
  });
}

TEST_F(FisheyeTest, RaysAndProjectionsFollowTheMotionOfTheCamera) {
  stage.set("FisheyePower", 1.3);
  stage.expect_follows_motion([&](const RayQuery& query) { return expected_ray(query); },
                              [&](LongVector world, double time) { return expected_film(world, time); });
}

TEST_F(FisheyeTest, LensOffsetsLieAlongWorldXAndY) {
  stage.set_oblique_pose();
  stage.next_frame();
  const LongVector position = stage.pose().position;
  const standin::RayAnswer answer = camera.evaluate({.film_x = 0.01, .lens_x = 0.5, .lens_y = -0.25});
  const long double radius = 0.5L / 4.0L * film_distance();
  expect_near(answer.position, position + LongVector{radius * 0.5L, radius * -0.25L, 0.0L}, 1e-15);
  EXPECT_EQ(answer.position.z, static_cast<double>(position.z));
}

TEST_F(FisheyeTest, RaysOfOneFilmPointMeetAtTheFocalDistance) {
  stage.settings().focal_distance = Envelope::constant(7.0);
  stage.settings().lens_f_stop = Envelope::constant(0.01);
  stage.set("FisheyePower", 1.4);
  stage.next_frame();
  const standin::RayAnswer centre = stage.ray(0.005, 0.01);
  const LongVector focus = LongVector(centre.position) + LongVector(centre.direction) * 7.0L;
  for (const double lens_x : {-1.0, 0.5}) {
    const standin::RayAnswer answer = camera.evaluate({.film_x = 0.005, .film_y = 0.01, .lens_x = lens_x, .lens_y = 0.3});
    expect_near(answer.direction, normalized(focus - answer.position));
  }
}

TEST_F(FisheyeTest, FilmNormalIsTheForwardAxisOrTheRay) {
  stage.set_oblique_pose();
  stage.next_frame();
  expect_near(stage.ray(0.01, 0.01).film_normal, stage.pose().forward, 1e-15);
  set_integer(parallel_normals_control, 0);
  EXPECT_EQ(stage.ray(0.01, 0.01).film_normal, stage.ray(0.01, 0.01).direction);
}

TEST_F(FisheyeTest, FStopAndFocalDistanceFollowTheHostWhenNothingElseChanges) {
  stage.next_frame();
  const RayQuery query{.film_x = 0.01, .film_y = 0.002, .lens_x = 0.6, .lens_y = 0.4};
  const standin::RayAnswer before = camera.evaluate(query);
  stage.settings().lens_f_stop = Envelope::constant(1.0);
  stage.settings().focal_distance = Envelope::constant(0.05);
  camera.handler().newFrame(camera.raw(), &camera.frame_info(), &camera.access());
  EXPECT_GT(ray_error(camera.evaluate(query), {before.position, before.direction, {}}), 1e-3);
  EXPECT_LE(ray_error(camera.evaluate(query), expected_ray(query)), 1e-12);
}

TEST_F(FisheyeTest, ANewTimeRefreshesTheValues) {
  camera.parameter("FisheyePower").set_keys({{0.0, 1.0}, {10.0, 3.0}});
  stage.settings().zoom_factor.keys = {{2.0, 0.0, standin::Span::linear, {}}, {4.0, 10.0, standin::Span::linear, {}}};
  for (const double seconds : {0.0, 2.5, 7.0}) {
    camera.new_frame(1, 0.0);
    camera.tell_time(1, seconds);
    const long double power_then = camera.parameter("FisheyePower").at(seconds);
    const long double radius = std::pow(0.01L, power_then) * std::pow(half_diagonal(), 1.0L - power_then);
    const long double distance = stage.settings().zoom_factor.at(seconds) * stage.film_height() * 0.5L;
    expect_near(stage.ray(0.0, 0.01).direction, normalized({0.0L, radius, distance}));
  }
}

TEST_F(FisheyeTest, ParametersMoveWithTheirKeys) {
  camera.parameter("FisheyePower").set_keys({{0.0, 0.5}, {1.0, 2.5}});
  camera.parameter("FisheyeScale").set_keys({{0.0, 1.0}, {1.0, 9.0}});
  const RayQuery query{.film_x = 0.004, .film_y = -0.01};
  for (const std::uint32_t automatic : {0U, 1U}) {
    set_integer(auto_scale_control, automatic);
    for (int i = 0; i < 10; ++i) {
      stage.next_frame();
      EXPECT_LE(ray_error(camera.evaluate(query), expected_ray(query)), 1e-12) << automatic << " " << i;
    }
  }
  // The host leaves keys alone when a value is set.
  EXPECT_EQ(camera.parameter("FisheyeScale").envelope.keys.size(), 2U);
}

TEST_F(FisheyeTest, ProjectionFollowsTheFormula) {
  Random random;
  stage.next_frame();
  expect_small_errors("fisheye projections", 1e-12, [&] {
    stage.set_random_camera(random);
    set_random_law(random, 0.3, 3.0);
    stage.settle();
    const double depth = random.between(0.1, 50.0);
    const standin::Vec3 world = rounded(stage.pose().world(
        {random.between(0.05, 1.0) * depth * (random.coin() ? 1 : -1), random.between(-1.0, 1.0) * depth, depth}));
    return stage.projection_error(world, expected_film(world));
  });
}

TEST_F(FisheyeTest, ProjectionUndoesTheMapping) {
  Random random;
  stage.next_frame();
  expect_small_errors("fisheye round trips", 1e-10, [&] {
    stage.set_random_camera(random);
    set_random_law(random, 0.3, 2.0);
    stage.settle();
    return round_trip_error(stage, random, stage.random_film_point(random));
  });
}

TEST_F(FisheyeTest, ProjectionDoesNotSeeWhatIsNotInFrontOfTheCamera) {
  stage.next_frame();
  stage.expect_refused({0.1L, 0.2L, -1.0L});
  stage.expect_refused({0.1L, 0.2L, 0.0L});
  stage.expect_refused({0.1L, 0.2L, 1e-9L});
  stage.expect_refused({0.0L, 0.0L, std::numeric_limits<long double>::quiet_NaN()});
  EXPECT_EQ(stage.project_raw({1e-10L, 0.0L, 1.1e-9L}).result, 1);
  const RawProjection centre = stage.project_raw({0.0L, 0.0L, 5.0L});
  EXPECT_EQ(centre.result, 1);
  EXPECT_EQ(centre.film, (std::array<double, 3>{}));
}

TEST_F(FisheyeTest, ProjectionNeedsAPowerAScaleAndAFilmDistance) {
  const LongVector world{0.1L, 0.2L, 1.0L};
  for (const double bad : {0.0, 1e-9, -1.0, -infinity}) {
    set_law(bad, 1.0);
    stage.next_frame();
    stage.expect_refused(world);
    set_law(1.0, bad);
    stage.next_frame();
    stage.expect_refused(world);
  }
  set_law(1.0, 1.1e-9);
  stage.next_frame();
  EXPECT_EQ(stage.project_raw(world).result, 1);
  stage.settings().zoom_factor = Envelope::constant(1e-9 / 0.012);
  stage.next_frame();
  stage.expect_refused(world);
}

TEST_F(FisheyeTest, FlagsCountAsOnWhateverTheirValue) {
  std::vector<std::string> lines = camera.save_text();
  ASSERT_GE(lines.size(), 4U);
  for (std::size_t i = 1; i <= 4; ++i) lines[lines.size() - i] = "FFFFFFFE";
  stage.set("FisheyePower", 2.0);
  const std::vector<std::string> saved_before = camera.save_text();
  camera.load_text(lines);
  for (const std::uint32_t control : {auto_scale_control, parallel_normals_control, preview_control, preview_grid_control})
    EXPECT_EQ(static_cast<std::uint32_t>(camera.panel().get_integer(control)), 0xFFFFFFFEU);
  stage.set_oblique_pose();
  stage.set("FisheyePower", 2.0);
  stage.next_frame();
  EXPECT_LE(ray_error(stage.ray(0.01, 0.003), expected_ray({.film_x = 0.01, .film_y = 0.003})), 1e-12);
  expect_near(stage.ray(0.01, 0.003).film_normal, stage.pose().forward, 1e-15);
  standin::GizmoDrawing drawing;
  camera.draw_gizmo(drawing);
  EXPECT_EQ(drawing.elements.size(), 200U);
  EXPECT_NE(camera.save_text(), saved_before);
}

TEST_F(FisheyeTest, DrawsTheSurfaceThatItsRaysSweepAtTheFramesStart) {
  set_integer(preview_control, 1);
  stage.set_motion();
  stage.set("FisheyePower", 1.6);
  for (const std::uint32_t parallel : {1U, 0U}) {
    set_integer(parallel_normals_control, parallel);
    set_integer(preview_grid_control, parallel);
    stage.next_frame({.motion_blur = true, .motion_steps = 8});
    standin::GizmoDrawing drawing;
    camera.draw_gizmo(drawing);
    ASSERT_EQ(drawing.elements.size(), 200U);
    ASSERT_EQ(drawing.colors.size(), 2U);
    EXPECT_EQ(drawing.colors[0], (std::array<float, 4>{0.0F, 0.39453125F, 0.59765625F, 0.3F}));
    EXPECT_EQ(drawing.colors[1], (std::array<float, 4>{0.0F, 0.39453125F, 0.59765625F, 1.0F}));
    ASSERT_EQ(drawing.draw_modes.size(), 2U);
    EXPECT_NE(drawing.draw_modes[0], drawing.draw_modes[1]);

    const auto corner = [&](int column, int row) {
      const double left = single(stage.film_width() * -0.5);
      const double bottom = single(stage.film_height() * -0.5);
      const double step_x = single(stage.film_width() / 10);
      const double step_y = single(stage.film_height() / 10);
      const LongRay ray = expected_ray({.film_x = left + step_x * column, .film_y = bottom + step_y * row});
      return ray.position + ray.direction * (10.0L / dot(ray.direction, ray.film_normal));
    };
    for (int pass = 0; pass < 2; ++pass) {
      for (int cell = 0; cell < 100; ++cell) {
        const standin::GizmoElement& quad =
            drawing.elements[static_cast<std::size_t>(pass) * 100 + static_cast<std::size_t>(cell)];
        ASSERT_EQ(quad.shape, standin::GizmoShape::quad);
        EXPECT_EQ(quad.coordinate_system, LWCSYS_WORLD);
        EXPECT_EQ(quad.color[3], pass == 0 ? 0.3F : 1.0F);
        const int column = cell % 10;
        const int row = cell / 10;
        expect_near(quad.points[0], corner(column, row), 1e-10);
        expect_near(quad.points[1], corner(column + 1, row), 1e-10);
        expect_near(quad.points[2], corner(column + 1, row + 1), 1e-10);
        expect_near(quad.points[3], corner(column, row + 1), 1e-10);
      }
    }
  }
}

TEST_F(FisheyeTest, NeverDrawsWhatIsNotANumber) {
  set_integer(preview_control, 1);
  standin::GizmoDrawing before_the_first_frame;
  camera.draw_gizmo(before_the_first_frame);
  EXPECT_TRUE(before_the_first_frame.elements.empty());
  set_law(-2.0, 1e300);
  stage.next_frame();
  standin::GizmoDrawing drawing;
  camera.draw_gizmo(drawing);
  for (const standin::GizmoElement& element : drawing.elements)
    for (const standin::Vec3 point : element.points) EXPECT_TRUE(is_finite(point));
}

TEST_F(FisheyeTest, GivesNoRayBeforeTheFirstFrameThatCouldBeMistakenForOne) {
  const standin::RayAnswer answer = stage.ray(0.001, 0.002);
  EXPECT_FALSE(is_finite(answer.direction));
  stage.expect_refused({0.0L, 0.0L, 5.0L});
}

struct FisheyePair : PairAhead<FisheyeCam::Lens> {
  static constexpr auto& direction = FisheyeCam::direction;
  static constexpr auto& film_point = FisheyeCam::film_point;
  static constexpr double film_tolerance = 1e-13;
  static constexpr double angle_tolerance = 1e-14;

  static Lens random_lens(Random& random, Film film) {
    Lens lens;
    lens.zoom_factor = random.between(0.5, 8.0);
    lens.distortion_power = random.between(0.3, 3.0);
    // Of the film's own size, so that no film is folded into its centre.
    lens.distortion_scale = random.between(0.3, 3.0) * std::pow(film.half_height(), 1.0 - lens.distortion_power);
    return lens;
  }
  static Cases<Lens> cases(const Lens& lens, Film film) {
    return sizes_around_limit(
        lens, film, [](Lens& at_limit, double number) { at_limit.distortion_power = number; },
        [](Lens& at_limit, double number) { at_limit.distortion_scale = number; },
        [film](Lens& at_limit, double number) { at_limit.zoom_factor = number / film.half_height(); });
  }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Fisheye, MappingPair, FisheyePair);

}  // namespace fisheye_cam_test
