#include "cameras/panoramic/panoramic_cam.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <gtest/gtest.h>
#include <iostream>
#include <limits>
#include <memory>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "tests/support/panoramic_reference.h"
#include "tests/support/service_override.h"
#include "tests/support/stage.h"

namespace {

using standin::HostedCamera;
using standin::RayAnswer;
using standin::Vec3;
using test_support::Panorama;
using test_support::Real;
using test_support::RealPose;
using test_support::RealVector;
using test_support::Stage;

constexpr double pi = std::numbers::pi;
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr const char* server = "QuorinPanoramicCam";

RealVector widened(const double* vector) { return {vector[0], vector[1], vector[2]}; }

RealPose pose_of(const LWCameraAccess& access) {
  return {widened(access.worldPos), widened(access.toWorld[0]), widened(access.toWorld[1]), widened(access.toWorld[2])};
}

void expect_direction(const RayAnswer& ray, Vec3 expected, double tolerance = 1e-15) {
  EXPECT_EQ(ray.result, 1);
  EXPECT_NEAR(ray.direction.x, expected.x, tolerance);
  EXPECT_NEAR(ray.direction.y, expected.y, tolerance);
  EXPECT_NEAR(ray.direction.z, expected.z, tolerance);
  EXPECT_EQ(ray.film_normal, ray.direction);
}

std::array<std::uint64_t, 3> bits_of(double x, double y, double z) {
  return std::bit_cast<std::array<std::uint64_t, 3>>(std::array{x, y, z});
}

/// What a camera is set to for one ray.
struct Setting {
  double horizontal_fov = 2.0 * pi;
  double upper = pi / 4.0;
  double lower = -pi / 4.0;
};

class PanoramicCam : public testing::Test {
 protected:
  void SetUp() override {
    camera = stage.create(server);
    render();
  }

  /// Tells the camera its settings, and the frame anew.
  void render(const Setting& setting = {}) {
    camera->parameter("HorizontalFOVradians").set_constant(setting.horizontal_fov);
    camera->parameter("MaxVerticalFOVradians").set_constant(setting.upper);
    camera->parameter("MinVerticalFOVradians").set_constant(setting.lower);
    camera->begin_frame(++frame);
  }

  /// Places the camera and turns it: metres, and radians of heading, pitch and bank.
  void place(std::array<double, 6> motion) {
    for (std::size_t channel = 0; channel < motion.size(); ++channel) {
      stage.host.item("Camera").motion[channel] = standin::Envelope::constant(motion[channel]);
    }
  }

  double half_width() const { return camera->access().filmSize[0] * 0.5; }
  double half_height() const { return camera->access().filmSize[1] * 0.5; }

  RayAnswer ray_at(double share_x, double share_y) const {
    return camera->evaluate({.film_x = share_x * half_width(), .film_y = share_y * half_height()});
  }

  /// The raw projection into a film position that tells whether it was written.
  int project_raw(const double* world, double* film, const LWCameraAccess* access) const {
    return camera->handler().project(camera->raw(), 0.0, 0.0, world, 0.0, LWCAMEYE_CENTER, film, access);
  }

  void expect_refused(Vec3 point, const char* why) const {
    const LWDVector world{point.x, point.y, point.z};
    LWDVector film{11.0, 12.0, 13.0};
    EXPECT_EQ(project_raw(world, film, &camera->access()), 0) << why;
    EXPECT_EQ(film[0], 11.0) << why;
    EXPECT_EQ(film[1], 12.0) << why;
    EXPECT_EQ(film[2], 13.0) << why;
  }

  Stage stage;
  std::unique_ptr<HostedCamera> camera;
  int frame = 0;
};

TEST_F(PanoramicCam, FilmCentreLooksForward) { expect_direction(ray_at(0.0, 0.0), {0.0, 0.0, 1.0}, 0.0); }

TEST_F(PanoramicCam, RightFilmEdgeLooksStraightBehind) {
  expect_direction(ray_at(1.0, 0.0), {0.0, 0.0, -1.0});
  expect_direction(ray_at(-1.0, 0.0), {0.0, 0.0, -1.0});
}

TEST_F(PanoramicCam, QuarterOfTheWidthLooksRight) {
  expect_direction(ray_at(0.5, 0.0), {1.0, 0.0, 0.0});
  expect_direction(ray_at(-0.5, 0.0), {-1.0, 0.0, 0.0});
}

TEST_F(PanoramicCam, TopAndBottomEdgesLookAtTheLimits) {
  const double half_root = std::sqrt(0.5);
  expect_direction(ray_at(0.0, 1.0), {0.0, half_root, half_root});
  expect_direction(ray_at(0.0, -1.0), {0.0, -half_root, half_root});
  render({.upper = 1.0, .lower = 0.25});
  expect_direction(ray_at(0.0, 1.0), {0.0, std::sin(1.0), std::cos(1.0)});
  expect_direction(ray_at(0.0, -1.0), {0.0, std::sin(0.25), std::cos(0.25)});
  expect_direction(ray_at(0.0, 0.0), {0.0, std::sin(0.625), std::cos(0.625)});
}

TEST_F(PanoramicCam, LimitsMayBeSwapped) {
  render({.upper = -0.5, .lower = 0.5});
  expect_direction(ray_at(0.0, 1.0), {0.0, std::sin(-0.5), std::cos(0.5)});
  const auto film = camera->project({0.0, 0.0, 5.0});
  ASSERT_TRUE(film.has_value());
  EXPECT_EQ(film->second, 0.0);
}

TEST_F(PanoramicCam, FilmGoesOnBeyondItsEdges) {
  render({.horizontal_fov = pi});
  expect_direction(ray_at(2.0, 0.0), {0.0, 0.0, -1.0});
  expect_direction(ray_at(0.0, 2.0), {0.0, 1.0, 0.0});
}

TEST_F(PanoramicCam, RayStartsAtTheCameraWhateverLensAndEye) {
  place({1.0, 2.0, 3.0, 0.1, 0.2, 0.3});
  render();
  const RayAnswer plain = camera->evaluate({.film_x = 0.003, .film_y = 0.001});
  EXPECT_EQ(plain.position, (Vec3{1.0, 2.0, 3.0}));
  for (const standin::Eye eye : {standin::Eye::centre, standin::Eye::left, standin::Eye::right}) {
    for (const auto& [x, y] : {std::pair{1.0, 1.0}, {-0.5, 0.25}, {not_a_number, infinity}}) {
      const RayAnswer ray = camera->evaluate({.film_x = 0.003, .film_y = 0.001, .lens_x = x, .lens_y = y, .eye = eye});
      EXPECT_EQ(ray.result, 1);
      EXPECT_EQ(ray.position, plain.position);
      EXPECT_EQ(ray.direction, plain.direction);
      EXPECT_EQ(ray.film_normal, plain.film_normal);
    }
  }
}

TEST_F(PanoramicCam, RayRecordIsWrittenInItsFirstThreeVectorsOnly) {
  LWCameraRay ray;
  std::fill_n(reinterpret_cast<double*>(&ray), sizeof ray / sizeof(double), 77.0);
  ASSERT_EQ(camera->handler().evaluate(camera->raw(), 0.001, 0.0, 0, 0, 0, LWCAMEYE_CENTER, &ray, &camera->access()), 1);
  EXPECT_NE(ray.rayDir[2], 77.0);
  const auto* words = reinterpret_cast<const double*>(&ray);
  for (std::size_t i = 9; i < sizeof ray / sizeof(double); ++i) EXPECT_EQ(words[i], 77.0) << "word " << i;
}

TEST_F(PanoramicCam, EqualLimitsEvaluateAtThatElevationAndDoNotProject) {
  render({.upper = 0.5, .lower = 0.5});
  for (const double y : {-1.0, -0.3, 0.0, 1.0}) EXPECT_NEAR(ray_at(0.3, y).direction.y, std::sin(0.5), 1e-15);
  expect_refused({0.0, 0.0, 5.0}, "equal limits");
  render({.upper = 0.5 + 0.9e-9, .lower = 0.5});
  expect_refused({0.0, 0.0, 5.0}, "limits nearly equal");
  render({.upper = 0.5 + 2e-9, .lower = 0.5});
  EXPECT_TRUE(camera->project({0.0, 0.0, 5.0}).has_value());
}

TEST_F(PanoramicCam, FieldOfZeroLooksForwardAndDoesNotProject) {
  render({.horizontal_fov = 0.0});
  for (const double x : {-1.0, 0.3, 1.0}) expect_direction(ray_at(x, 0.0), {0.0, 0.0, 1.0}, 0.0);
  expect_refused({0.0, 0.0, 5.0}, "no field");
  render({.horizontal_fov = 1.9e-9});
  expect_refused({0.0, 0.0, 5.0}, "half the field at the limit");
  render({.horizontal_fov = 4e-9});
  EXPECT_TRUE(camera->project({0.0, 0.0, 5.0}).has_value());
}

TEST_F(PanoramicCam, NegativeFieldMirrors) {
  render({.horizontal_fov = -pi});
  expect_direction(ray_at(0.5, 0.0), {-std::sqrt(0.5), 0.0, std::sqrt(0.5)});
  const auto film = camera->project({1.0, 0.0, 1.0});
  ASSERT_TRUE(film.has_value());
  EXPECT_NEAR(film->first, -0.5 * half_width(), 1e-15);
}

TEST_F(PanoramicCam, PointAtTheCameraDoesNotProject) {
  place({4.0, 5.0, 6.0, 0.0, 0.0, 0.0});
  render();
  expect_refused({4.0, 5.0, 6.0}, "at the camera");
  expect_refused({4.0, 5.0, 6.0 + 0.9e-9}, "nearer than the limit");
  EXPECT_TRUE(camera->project({4.0, 5.0, 6.0 + 1e-8}).has_value());
}

TEST_F(PanoramicCam, FilmTooSmallDoesNotProject) {
  const LWCameraAccess access = camera->access();
  for (const double size : {0.0, 1.9e-9, -0.036, not_a_number, -infinity}) {
    for (const std::size_t side : {0U, 1U}) {
      camera->access() = access;
      camera->access().filmSize[side] = size;
      expect_refused({0.1, 0.2, 5.0}, side == 0 ? "film width" : "film height");
    }
  }
  camera->access() = access;
  camera->access().filmSize[0] = 4e-9;
  EXPECT_TRUE(camera->project({0.1, 0.2, 5.0}).has_value());
  camera->access() = access;
}

TEST_F(PanoramicCam, PointsThatAreNoNumbersDoNotProject) {
  for (const double bad : {not_a_number, infinity, -infinity}) {
    for (const Vec3 point : {Vec3{bad, 0.0, 1.0}, Vec3{0.0, bad, 1.0}, Vec3{0.0, 0.0, bad}, Vec3{bad, bad, bad}}) {
      const LWDVector world{point.x, point.y, point.z};
      LWDVector film{11.0, 12.0, 13.0};
      const int found = project_raw(world, film, &camera->access());
      if (found == 0) {
        EXPECT_EQ(film[0], 11.0);
        EXPECT_EQ(film[1], 12.0);
      }
      EXPECT_TRUE(found == 0 || found == 1);
    }
  }
  expect_refused({not_a_number, not_a_number, not_a_number}, "no number at all");
}

TEST_F(PanoramicCam, MissingArgumentsAreRefused) {
  const LWDVector world{0.0, 0.0, 5.0};
  LWDVector film{11.0, 12.0, 13.0};
  EXPECT_EQ(project_raw(world, film, nullptr), 0);
  EXPECT_EQ(project_raw(nullptr, film, &camera->access()), 0);
  EXPECT_EQ(project_raw(world, nullptr, &camera->access()), 0);
  EXPECT_EQ(camera->handler().project(nullptr, 0, 0, world, 0, LWCAMEYE_CENTER, film, &camera->access()), 0);
  EXPECT_EQ(film[0], 11.0);
  EXPECT_EQ(film[1], 12.0);
  EXPECT_EQ(film[2], 13.0);
  LWCameraRay ray{};
  EXPECT_EQ(camera->handler().evaluate(nullptr, 0, 0, 0, 0, 0, LWCAMEYE_CENTER, &ray, &camera->access()), 0);
  EXPECT_EQ(camera->handler().evaluate(camera->raw(), 0, 0, 0, 0, 0, LWCAMEYE_CENTER, nullptr, &camera->access()), 0);
}

TEST_F(PanoramicCam, ProjectionWritesAZeroThirdCoordinate) {
  const LWDVector world{0.5, 0.25, 5.0};
  LWDVector film{11.0, 12.0, 13.0};
  ASSERT_EQ(project_raw(world, film, &camera->access()), 1);
  EXPECT_EQ(film[2], 0.0);
}

TEST_F(PanoramicCam, PointsOutsideTheFieldProjectBeyondTheFilm) {
  render({.horizontal_fov = pi / 2.0, .upper = 0.1, .lower = -0.1});
  const auto behind_right = camera->project({1.0, 0.0, -1.0});
  ASSERT_TRUE(behind_right.has_value());
  EXPECT_NEAR(behind_right->first, 3.0 * half_width(), 1e-15);
  const auto above = camera->project({0.0, 5.0, 0.0});
  ASSERT_TRUE(above.has_value());
  EXPECT_NEAR(above->second, 5.0 * pi * half_height(), 1e-13);
}

TEST_F(PanoramicCam, OffersNoPreview) {
  LWDMatrix4 projection{};
  EXPECT_EQ(camera->preview(projection), 0);
}

TEST_F(PanoramicCam, NewTimeReadsTheEnvelopesAtThatTime) {
  camera->parameter("HorizontalFOVradians").set_keys({{0.0, 1.0}, {1.0, 3.0}});
  camera->parameter("MaxVerticalFOVradians").set_keys({{0.0, 0.0}, {1.0, 1.0}});
  camera->parameter("MinVerticalFOVradians").set_keys({{0.0, 0.0}, {1.0, -0.5}});
  for (const double seconds : {0.0, 0.25, 0.5, 0.75, 1.0, 2.0}) {
    camera->new_time(3, seconds);
    const double t = std::min(seconds, 1.0);
    const double azimuth = (1.0 + 2.0 * t) * 0.5;
    expect_direction(ray_at(1.0, 1.0), {std::sin(azimuth) * std::cos(t), std::sin(t), std::cos(azimuth) * std::cos(t)}, 1e-14);
    expect_direction(ray_at(0.0, -1.0), {0.0, std::sin(-0.5 * t), std::cos(0.5 * t)}, 1e-14);
  }
}

TEST_F(PanoramicCam, NewFrameReadsTheEnvelopesAtItsStart) {
  camera->parameter("HorizontalFOVradians").set_keys({{0.0, 1.0}, {1.0, 3.0}});
  camera->new_time(1, 0.9);
  camera->new_frame(1, 0.25, 0.5, 5);
  for (const double time : {0.0, 0.5, 1.0}) {
    const RayAnswer ray = camera->evaluate({.film_x = half_width(), .fractional_time = time});
    expect_direction(ray, {std::sin(0.75), 0.0, std::cos(0.75)}, 1e-14);
  }
}

TEST_F(PanoramicCam, LoadingReachesTheRaysWithTheNextTime) {
  const auto before = ray_at(0.3, 0.3).direction;
  const auto other = stage.create(server, "Other 1");
  other->parameter("HorizontalFOVradians").set_constant(1.0);
  other->parameter("MaxVerticalFOVradians").set_constant(0.5);
  camera->load_text(other->save_text());
  EXPECT_EQ(ray_at(0.3, 0.3).direction, before);
  camera->new_time(1, 0.0);
  expect_direction(ray_at(1.0, 1.0), {std::sin(0.5) * std::cos(0.5), std::sin(0.5), std::cos(0.5) * std::cos(0.5)});
}

TEST_F(PanoramicCam, CopyTakesTheValuesOverAtOnce) {
  render({.horizontal_fov = 1.0, .upper = 0.5, .lower = -0.25});
  const auto other = stage.create(server);
  other->copy_from(*camera);
  // A frame whose records the copy has already: neither samples nor envelopes are read.
  for (standin::VariantParameter* parameter : other->parameters()) parameter->set_constant(0.125);
  other->handler().newFrame(other->raw(), &camera->frame_info(), &camera->access());
  other->access() = camera->access();
  const LWDVector world{0.25, 0.5, 1.0};
  LWDVector film{};
  // Without samples every axis is zero, and so is the point as the camera sees it.
  EXPECT_EQ(other->handler().project(other->raw(), 0, 0, world, 0, LWCAMEYE_CENTER, film, &other->access()), 0);
  other->parameter("HorizontalFOVradians").set_constant(1.0);
  other->parameter("MaxVerticalFOVradians").set_constant(0.5);
  other->parameter("MinVerticalFOVradians").set_constant(-0.25);
  other->begin_frame(frame + 1);
  const RayAnswer mine = camera->evaluate({.film_x = 0.004, .film_y = 0.002});
  const RayAnswer copied = other->evaluate({.film_x = 0.004, .film_y = 0.002});
  EXPECT_EQ(copied.direction, mine.direction);
}

TEST_F(PanoramicCam, RefusedEnvelopeKeepsTheDefaultValue) {
  camera.reset();
  const std::array<const char*, 3> channels{"HorizontalFOVradians", "MaxVerticalFOVradians", "MinVerticalFOVradians"};
  for (std::size_t refused = 0; refused < channels.size(); ++refused) {
    stage.host.parameters.refusal.arm(static_cast<int>(refused) + 2);
    camera = stage.create(server);
    Setting expected{.horizontal_fov = 1.0, .upper = 0.5, .lower = -0.125};
    const std::array values{&expected.horizontal_fov, &expected.upper, &expected.lower};
    const std::array defaults{2.0 * pi, pi / 4.0, -pi / 4.0};
    for (std::size_t i = 0; i < channels.size(); ++i) {
      if (i != refused) camera->parameter(channels[i]).set_constant(*values[i]);
    }
    *values[refused] = defaults[refused];
    camera->begin_frame(++frame);
    const double azimuth = expected.horizontal_fov * 0.125;
    expect_direction(
        ray_at(0.25, 1.0),
        {std::sin(azimuth) * std::cos(expected.upper), std::sin(expected.upper), std::cos(azimuth) * std::cos(expected.upper)},
        1e-14);
    expect_direction(ray_at(0.0, -1.0), {0.0, std::sin(expected.lower), std::cos(expected.lower)}, 1e-14);
    camera.reset();
  }
  camera = stage.create(server);
}

TEST_F(PanoramicCam, CameraMotionMovesTheRays) {
  standin::Item& item = stage.host.item("Camera");
  item.motion[0].keys = {{0.0, 0.0, standin::Span::linear, {}}, {8.0, 1.0, standin::Span::linear, {}}};
  // Heading turns the camera to the right.
  item.motion[3].keys = {{0.0, 0.0, standin::Span::linear, {}}, {pi / 2.0, 1.0, standin::Span::linear, {}}};
  camera->new_frame(1, 0.0, 1.0, 4);
  EXPECT_EQ(camera->evaluate({.fractional_time = 0.0}).position, Vec3());
  EXPECT_EQ(camera->evaluate({.fractional_time = 1.0}).position, (Vec3{6.0, 0.0, 0.0}));
  const double heading = pi / 2.0 * 0.75;
  expect_direction(camera->evaluate({.fractional_time = 1.0}), {std::sin(heading), 0.0, std::cos(heading)});
}

TEST_F(PanoramicCam, RaysAgreeWithTheReference) {
  std::mt19937_64 random(20281026);
  const auto between = [&](double low, double high) { return std::uniform_real_distribution<double>(low, high)(random); };
  double largest = 0.0;
  for (int i = 0; i < 2000; ++i) {
    place({between(-100, 100), between(-100, 100), between(-100, 100), between(-pi, pi), between(-pi, pi), between(-pi, pi)});
    Setting setting{between(-2.0 * pi, 2.0 * pi), between(-pi / 2.0, pi / 2.0), between(-pi / 2.0, pi / 2.0)};
    stage.host.camera("Camera").aperture_height = between(0.005, 0.1);
    stage.host.camera("Camera").width_pixels = static_cast<int>(between(16, 4096));
    render(setting);
    const LWCameraAccess& access = camera->access();
    const Panorama panorama{setting.horizontal_fov, setting.upper, setting.lower, access.filmSize[0], access.filmSize[1]};
    for (int k = 0; k < 5; ++k) {
      const double x = between(-1.5, 1.5) * half_width();
      const double y = between(-1.5, 1.5) * half_height();
      const RayAnswer ray = camera->evaluate({.film_x = x, .film_y = y});
      ASSERT_EQ(ray.result, 1);
      EXPECT_EQ(ray.film_normal, ray.direction);
      EXPECT_EQ(ray.position, (Vec3{access.worldPos[0], access.worldPos[1], access.worldPos[2]}));
      const RealVector expected = test_support::panoramic_direction(panorama, pose_of(access), x, y);
      const std::array found{ray.direction.x, ray.direction.y, ray.direction.z};
      for (std::size_t axis = 0; axis < 3; ++axis) {
        largest = std::max(largest, static_cast<double>(std::abs(found[axis] - expected[axis])));
      }
    }
  }
  std::cout << "largest difference from the reference: " << largest << "\n";
  EXPECT_LT(largest, 1e-12);
}

TEST_F(PanoramicCam, ProjectionsAgreeWithTheReference) {
  std::mt19937_64 random(42);
  const auto between = [&](double low, double high) { return std::uniform_real_distribution<double>(low, high)(random); };
  double largest = 0.0;
  for (int i = 0; i < 2000; ++i) {
    place({0.0, 0.0, 0.0, between(-pi, pi), between(-pi, pi), between(-pi, pi)});
    const Setting setting{between(0.5, 2.0 * pi), between(0.1, pi / 2.0), between(-pi / 2.0, 0.0)};
    render(setting);
    const LWCameraAccess& access = camera->access();
    const Panorama panorama{setting.horizontal_fov, setting.upper, setting.lower, access.filmSize[0], access.filmSize[1]};
    const Vec3 world{between(-50, 50), between(-50, 50), between(-50, 50)};
    const auto film = camera->project(world);
    ASSERT_TRUE(film.has_value());
    const auto expected = test_support::panoramic_film_point(panorama, pose_of(access), {world.x, world.y, world.z});
    largest = std::max(largest, static_cast<double>(std::abs(film->first - expected[0])) / half_width());
    // Near the poles an elevation is lost in the rounding of its sine.
    if (std::abs(expected[1]) < half_height()) {
      largest = std::max(largest, static_cast<double>(std::abs(film->second - expected[1])) / half_height());
    }
  }
  std::cout << "largest difference from the reference, in half films: " << largest << "\n";
  EXPECT_LT(largest, 1e-10);
}

TEST_F(PanoramicCam, FilmToWorldAndBackOnRandomSettings) {
  std::mt19937_64 random(1);
  const auto between = [&](double low, double high) { return std::uniform_real_distribution<double>(low, high)(random); };
  double largest = 0.0;
  for (int i = 0; i < 10000; ++i) {
    place({between(-100, 100), between(-100, 100), between(-100, 100), between(-pi, pi), between(-pi, pi), between(-pi, pi)});
    Setting setting;
    setting.horizontal_fov = between(0.1, 2.0 * pi);
    setting.lower = between(-1.5, 1.4);
    setting.upper = between(setting.lower + 0.05, 1.5);
    stage.host.camera("Camera").aperture_height = between(0.005, 0.1);
    stage.host.camera("Camera").width_pixels = static_cast<int>(between(16, 4096));
    render(setting);
    const double x = between(-0.999, 0.999);
    const double y = between(-0.999, 0.999);
    const RayAnswer ray = ray_at(x, y);
    const auto film = camera->project(ray.position + ray.direction * std::exp(between(0.0, 7.0)));
    ASSERT_TRUE(film.has_value());
    largest = std::max({largest, std::abs(film->first / half_width() - x), std::abs(film->second / half_height() - y)});
  }
  std::cout << "largest round-trip error, in half films: " << largest << "\n";
  EXPECT_LT(largest, 1e-10);
}

TEST_F(PanoramicCam, CallbackIsThePlainFunctionToTheBit) {
  std::mt19937_64 random(99);
  const auto between = [&](double low, double high) { return std::uniform_real_distribution<double>(low, high)(random); };
  const auto vector = [](const double* v) { return framework::Vector{v[0], v[1], v[2]}; };
  for (int i = 0; i < 2000; ++i) {
    place({between(-9, 9), between(-9, 9), between(-9, 9), between(-pi, pi), between(-pi, pi), between(-pi, pi)});
    const Setting setting{between(-7, 7), between(-2, 2), between(-2, 2)};
    render(setting);
    const LWCameraAccess& access = camera->access();
    ::PanoramicCam::Lens lens;
    lens.horizontal_fov_radians = setting.horizontal_fov;
    lens.upper_angle_radians = setting.upper;
    lens.lower_angle_radians = setting.lower;
    const framework::Film film{access.filmSize[0], access.filmSize[1]};
    const framework::Pose pose{vector(access.worldPos), vector(access.toWorld[0]), vector(access.toWorld[1]),
                               vector(access.toWorld[2])};
    const double x = between(-2, 2) * half_width();
    const double y = between(-2, 2) * half_height();
    const RayAnswer ray = camera->evaluate({.film_x = x, .film_y = y});
    const framework::Ray plain = framework::pinhole_ray(pose, ::PanoramicCam::direction(lens, film, {x, y}));
    ASSERT_EQ(bits_of(ray.position.x, ray.position.y, ray.position.z),
              bits_of(plain.position.x, plain.position.y, plain.position.z));
    ASSERT_EQ(bits_of(ray.direction.x, ray.direction.y, ray.direction.z),
              bits_of(plain.direction.x, plain.direction.y, plain.direction.z));
    ASSERT_EQ(bits_of(ray.film_normal.x, ray.film_normal.y, ray.film_normal.z),
              bits_of(plain.film_normal.x, plain.film_normal.y, plain.film_normal.z));
    const Vec3 world{between(-20, 20), between(-20, 20), between(-20, 20)};
    const auto found = camera->project(world);
    const auto expected =
        ::PanoramicCam::film_point(lens, film, framework::camera_from_world(pose, {world.x, world.y, world.z}));
    ASSERT_EQ(found.has_value(), expected.has_value());
    if (found) {
      ASSERT_EQ(bits_of(found->first, found->second, 0.0), bits_of(expected->x, expected->y, 0.0));
    }
  }
}

/// Answers every parameter with the same value, whatever it is.
double answered_value = 0.0;

double answer_value(LWVParmID /*parameter*/, LWTime /*time*/, void* /*micropolygon*/, double* result) {
  std::fill_n(result, 3, answered_value);
  return answered_value;
}

TEST_F(PanoramicCam, SettingsThatAreNoNumbersAreSurvived) {
  LWVParmFuncs table = test_support::host_table<LWVParmFuncs>(LWVPARMFUNCS_GLOBAL);
  table.getVal = answer_value;
  const test_support::ServiceOverride strange_host(stage.module, server, LWVPARMFUNCS_GLOBAL, &table);
  for (const double value : {not_a_number, infinity, -infinity, 1e308, -1e308, 1e-320}) {
    answered_value = value;
    camera->new_time(2, 0.0);
    for (const double x : {0.0, 0.5, not_a_number, infinity}) {
      EXPECT_EQ(ray_at(x, x).result, 1);
      camera->project({1.0, 2.0, 3.0});
    }
  }
}

TEST_F(PanoramicCam, FilmOfStrangeSizesIsSurvived) {
  for (const double size : {0.0, -1.0, not_a_number, infinity, 1e-320, 1e308}) {
    camera->access().filmSize[0] = size;
    camera->access().filmSize[1] = size;
    EXPECT_EQ(camera->evaluate({.film_x = 0.001, .film_y = 0.001}).result, 1);
    camera->project({1.0, 2.0, 3.0});
  }
}

}  // namespace
