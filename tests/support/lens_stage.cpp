#include "tests/support/lens_stage.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>

#include "tests/support/motion.h"

namespace test_support {
namespace {

using standin::Envelope;

constexpr double infinity = std::numeric_limits<double>::infinity();

standin::Scene scene_with_a_camera() {
  standin::Scene scene;
  standin::Item camera;
  camera.kind = standin::ItemKind::camera;
  camera.id = 0x30000000;
  camera.name = camera.given_name = LensStage::camera_name;
  camera.camera.emplace();
  scene.items.push_back(std::move(camera));
  return scene;
}

}  // namespace

LensStage::LensStage(const std::string& server_name) : Stage(scene_with_a_camera()) {
  set_film(0.024, 1500, 1000);
  camera_ = create(server_name, camera_name);
}

void LensStage::set_film(double height, int width_pixels, int height_pixels) {
  settings().aperture_height = height;
  settings().width_pixels = width_pixels;
  settings().height_pixels = height_pixels;
}

void LensStage::set_pose(standin::Vec3 position, standin::Vec3 angles) {
  standin::Motion& motion = host.item(camera_name).motion;
  const std::array channels{position.x, position.y, position.z, angles.x, angles.y, angles.z};
  std::ranges::transform(channels, motion.begin(), Envelope::constant);
}

void LensStage::set_motion() {
  standin::Motion& motion = host.item(camera_name).motion;
  double end = 3.0;
  for (std::size_t channel = 0; channel < 6; ++channel)
    motion[channel].keys = {{0.0, 0.0, standin::Span::linear, {}}, {end++, 1.0, standin::Span::linear, {}}};
}

void LensStage::set_random_pose(Random& random) {
  const auto vector = [&](double reach) {
    return standin::Vec3{random.between(-reach, reach), random.between(-reach, reach), random.between(-reach, reach)};
  };
  set_pose(vector(10.0), vector(3.0));
}

void LensStage::set_random_camera(Random& random) {
  set_random_pose(random);
  set_film(random.between(0.005, 0.1), static_cast<int>(random.between(100, 2000)),
           static_cast<int>(random.between(100, 2000)));
  settings().zoom_factor = Envelope::constant(random.between(0.5, 8.0));
  settings().lens_f_stop = Envelope::constant(random.between(1.0, 22.0));
  settings().focal_distance = Envelope::constant(random.between(0.5, 50.0));
}

void LensStage::next_frame(const standin::FrameOptions& options) { camera().begin_frame(++frame_, options); }

std::pair<double, double> LensStage::random_film_point(Random& random, double share) {
  const double x = random.between(-0.5, 0.5) * share * film_width();
  return {x, random.between(-0.5, 0.5) * share * film_height()};
}

LongPose LensStage::pose(double fractional_time) const {
  const standin::FrameOptions& options = host.frame_options;
  const unsigned count = options.motion_steps < 3 || options.motion_steps > 199 ? 2 : options.motion_steps;
  LWItemID item = host.id_of(camera_name);
  const double duration = options.motion_blur ? standin::blur_seconds(host.scene(), *host.find(item), frame_seconds()) : 0.0;
  return pose_told_by_host(item, frame_seconds(), duration, count, fractional_time);
}

RawProjection LensStage::project_raw(LongVector world, double fractional_time) {
  RawProjection projection{-1, untouched};
  const standin::Vec3 at = rounded(world);
  const LWDVector point{at.x, at.y, at.z};
  projection.result = camera().handler().project(camera().raw(), 0.3, -0.6, point, fractional_time, LWCAMEYE_LEFT,
                                                 projection.film.data(), &camera().access());
  return projection;
}

standin::Vec3 LensStage::random_point_around(Random& random) const {
  const double x = random.between(-1.0, 1.0);
  const double y = random.between(-1.0, 1.0);
  const double z = random.between(0.2, 1.0) * random.sign();
  return rounded(pose().world(LongVector{x, y, z} * random.between(0.1, 50.0)));
}

double LensStage::projection_error(standin::Vec3 world, LongFilmPoint expected, double fractional_time) {
  const auto film = camera().project(world, fractional_time);
  return film ? film_error(*film, expected, film_height() * 0.5) : infinity;
}

void LensStage::expect_refused(LongVector world) {
  const RawProjection projection = project_raw(world);
  EXPECT_EQ(projection.result, 0);
  EXPECT_EQ(projection.film, untouched);
}

void LensStage::expect_follows_motion(const std::function<LongRay(const standin::RayQuery&)>& expected_ray,
                                      const std::function<LongFilmPoint(LongVector, double)>& expected_film) {
  set_motion();
  for (const unsigned steps : {2U, 3U, 7U, 199U}) {
    next_frame({.motion_blur = true, .motion_steps = steps});
    for (const double time : {0.0, 0.1, 0.1, 0.5, 0.99, 1.0, 0.1}) {
      const standin::RayQuery query{.film_x = 0.01, .film_y = -0.003, .lens_x = 0.2, .lens_y = 0.1, .fractional_time = time};
      EXPECT_LE(ray_error(camera().evaluate(query), expected_ray(query)), 1e-12) << steps << " steps, time " << time;
      const standin::Vec3 world = rounded(pose(time).world({0.2L, -0.3L, 3.0L}));
      EXPECT_LE(projection_error(world, expected_film(world, time), time), 1e-12) << steps << " steps, time " << time;
    }
  }
}

double ray_error(const standin::RayAnswer& answer, const LongRay& expected) {
  if (answer.result != LWCAMEVAL_RAY) return infinity;
  const auto difference = [](standin::Vec3 a, LongVector b) { return length(LongVector(a) - b); };
  const long double position = difference(answer.position, expected.position) / std::max(1.0L, length(expected.position));
  const long double direction = difference(answer.direction, expected.direction);
  const long double film_normal = difference(answer.film_normal, expected.film_normal);
  // A sum, because the greatest of the three could hide one that is not a number.
  return static_cast<double>(position + direction + film_normal);
}

double film_error(std::pair<double, double> film, LongFilmPoint expected, double scale) {
  const long double size = std::max<long double>(scale, std::hypot(expected.x, expected.y));
  return static_cast<double>(std::hypot(film.first - expected.x, film.second - expected.y) / size);
}

double round_trip_error(LensStage& stage, Random& random, std::pair<double, double> film) {
  const standin::RayAnswer ray = stage.ray(film.first, film.second);
  const standin::Vec3 world = ray.position + ray.direction * random.between(0.5, 100.0);
  const auto back = stage.camera().project(world);
  return back ? film_error(*back, {film.first, film.second}, stage.film_height() * 0.5) : infinity;
}

}  // namespace test_support
