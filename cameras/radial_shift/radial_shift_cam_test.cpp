#include "cameras/radial_shift/radial_shift_cam.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>

#include "tests/support/lens_stage.h"
#include "tests/support/pair_ahead.h"
#include "tests/support/service_override.h"

namespace radial_shift_cam_test {

using namespace test_support;
using namespace test_support::mapping_pair;
using standin::Envelope;
using standin::RayQuery;

struct Law {
  long double a, b, c;

  long double operator()(long double s) const { return a * s * s * s * s + b * s * s * s + c * s * s + (1.0L - a - b - c) * s; }
  long double slope(long double s) const { return 4.0L * a * s * s * s + 3.0L * b * s * s + 2.0L * c * s + (1.0L - a - b - c); }

  long double inverse(long double t) const {
    long double s = t;
    for (int steps = 0; steps < 24 && std::fabs(slope(s)) >= 1e-12L; ++steps) {
      const long double step = ((*this)(s)-t) / slope(s);
      s = std::max(0.0L, s - step);
      if (std::fabs(step) < 1e-9L) break;
    }
    return s;
  }

  /// Steep enough up to there to be inverted without losing many digits.
  bool is_steep_to(double end) const {
    const auto hundredths = static_cast<int>(end * 100.0);
    for (int hundredth = 0; hundredth <= hundredths; ++hundredth)
      if (slope(hundredth * 0.01) < 0.2L) return false;
    return true;
  }
};

class RadialShiftTest : public testing::Test {
 protected:
  LensStage stage{"QuorinRadialShiftCam"};
  standin::HostedCamera& camera = stage.camera();

  long double value(const char* channel_name) { return camera.parameter(channel_name).at(stage.frame_seconds()); }
  Law law() { return {value("RadialShiftA"), value("RadialShiftB"), value("RadialShiftC")}; }
  void set_law(double a, double b, double c) {
    stage.set("RadialShiftA", a);
    stage.set("RadialShiftB", b);
    stage.set("RadialShiftC", c);
  }

  double film_distance() { return stage.settings().zoom_factor.at(stage.frame_seconds()) * stage.film_height() * 0.5; }
  double reference_radius() { return 0.5 * std::min(stage.film_width(), stage.film_height()); }
  double lens_radius() { return film_distance() * (0.5 / stage.settings().lens_f_stop.at(stage.host.time_seconds())); }

  LongRay expected_ray(const RayQuery& query) { return expected_ray(query, single(lens_radius()), single(reference_radius())); }

  LongRay expected_ray(const RayQuery& query, long double lens, long double reference) {
    const LongPose pose = stage.pose(query.fractional_time);
    const long double x = query.film_x;
    const long double y = query.film_y;
    const long double r = std::hypot(x, y);
    const long double bent = law()(r / reference) * reference;
    const long double bent_x = (r == 0.0L ? 0.0L : x / r) * bent + y * value("ImageShearH") + reference * value("ImageShiftH");
    const long double bent_y = (r == 0.0L ? 0.0L : y / r) * bent + x * value("ImageShearV") + reference * value("ImageShiftV");
    const LongVector through = pose.right * bent_x + pose.up * bent_y + pose.forward * film_distance();
    const LongVector offset{lens * query.lens_x, lens * query.lens_y, 0.0L};
    const LongVector focus = normalized(through) * stage.settings().focal_distance.at(stage.host.time_seconds());
    return {pose.position + offset, normalized(focus - offset), pose.forward};
  }

  LongFilmPoint expected_film(LongVector world, double fractional_time = 0.0) {
    const LongVector seen = stage.pose(fractional_time).seen(world);
    const long double angle = std::atan2(seen.y, seen.x);
    const long double t = std::hypot(seen.x, seen.y) / seen.z * film_distance() / reference_radius();
    const long double radius = law().inverse(t) * reference_radius();
    return {radius * std::cos(angle), radius * std::sin(angle)};
  }

  void expect_ray(const RayQuery& query) { EXPECT_LE(ray_error(camera.evaluate(query), expected_ray(query)), 1e-12); }

  void set_random_law(Random& random, double reach) {
    set_law(random.between(-reach, reach), random.between(-reach, reach), random.between(-reach, reach));
  }

  /// With the identity pose: a world point in front of the camera whose bent radius is t, upward and to the right.
  LongVector world_of(long double t) {
    const long double tangent = t * reference_radius() / film_distance();
    return LongVector{0.6L * tangent, 0.8L * tangent, 1.0L} * 4.0L;
  }
};

TEST_F(RadialShiftTest, IsThePlainPerspectiveCameraWithoutDistortion) {
  stage.set_oblique_pose();
  stage.next_frame();
  const LongPose pose = stage.pose();
  for (const double x : {-0.018, 0.0, 0.007, 1.0}) {
    for (const double y : {-0.012, 0.0, 0.03}) {
      const LongVector expected = normalized(pose.right * x + pose.up * y + pose.forward * film_distance());
      EXPECT_LE(ray_error(stage.ray(x, y), {pose.position, expected, pose.forward}), 1e-12) << x << " " << y;
    }
  }
}

TEST_F(RadialShiftTest, FilmCentreIsMovedByTheShiftOnly) {
  set_law(0.3, -0.2, 0.4);
  stage.set("ImageShearH", 0.5);
  stage.set("ImageShearV", -0.5);
  stage.next_frame();
  expect_near(stage.ray(0.0, 0.0).direction, {0.0L, 0.0L, 1.0L}, 0.0);
  stage.set("ImageShiftH", 0.5);
  stage.set("ImageShiftV", -0.25);
  stage.next_frame();
  const long double reference = single(reference_radius());
  expect_near(stage.ray(0.0, 0.0).direction, normalized({0.5L * reference, -0.25L * reference, film_distance()}));
}

TEST_F(RadialShiftTest, ShearAddsTheOtherCoordinate) {
  stage.set("ImageShearH", 0.5);
  stage.set("ImageShearV", 0.125);
  stage.next_frame();
  expect_near(stage.ray(0.004, 0.006).direction, normalized({0.007L, 0.0065L, film_distance()}));
}

TEST_F(RadialShiftTest, FirstCoefficientAloneIsTheFourthPower) {
  set_law(1.0, 0.0, 0.0);
  stage.set_film(0.03125, 1500, 1000);
  stage.settle();
  for (const double r : {0.001, 0.01, 0.015625, 0.03}) {
    const long double reference = 0.015625L;
    const long double bent = std::pow(static_cast<long double>(r), 4.0L) / std::pow(reference, 3.0L);
    expect_near(stage.ray(-r, 0.0).direction, normalized({-bent, 0.0L, film_distance()}));
    expect_near(stage.ray(0.6 * r, 0.8 * r).direction, normalized({0.6L * bent, 0.8L * bent, film_distance()}));
  }
}

TEST_F(RadialShiftTest, ReferenceRadiusStaysWhereItIs) {
  Random random;
  set_law(-0.1, 0.0, 0.0);
  stage.next_frame();
  const double reference = single(reference_radius());
  // Barrel: further out than without distortion inside the circle.
  EXPECT_GT(stage.ray(reference * 0.5, 0.0).direction.x,
            static_cast<double>(normalized({reference * 0.5L, 0.0L, film_distance()}).x) + 1e-3);
  for (int i = 0; i < 100; ++i) {
    stage.next_frame();
    expect_near(stage.ray(0.0, -reference).direction, normalized({0.0L, -reference, film_distance()}));
    set_random_law(random, 2.0);
  }
}

TEST_F(RadialShiftTest, LensAndReferenceRadiusAreOfSinglePrecision) {
  // Numbers that rounding changes by some 1e-8 of themselves.
  stage.set_film(0.0237654321, 1500, 1000);
  stage.settings().zoom_factor = Envelope::constant(2.123456789);
  stage.settings().lens_f_stop = Envelope::constant(0.1357924680);
  stage.settings().focal_distance = Envelope::constant(0.5);
  set_law(0.5, -0.25, 0.125);
  stage.set("ImageShiftH", 0.75);
  stage.settle();
  ASSERT_GT(std::fabs(single(reference_radius()) / reference_radius() - 1.0), 1e-9);
  ASSERT_GT(std::fabs(single(lens_radius()) / lens_radius() - 1.0), 1e-9);
  const RayQuery query{.film_x = 0.017, .film_y = 0.009, .lens_x = 0.9, .lens_y = -0.4};
  const standin::RayAnswer answer = camera.evaluate(query);
  EXPECT_LE(ray_error(answer, expected_ray(query)), 1e-14);
  EXPECT_GT(ray_error(answer, expected_ray(query, lens_radius(), single(reference_radius()))), 1e-11);
  EXPECT_GT(ray_error(answer, expected_ray(query, single(lens_radius()), reference_radius())), 1e-11);
  EXPECT_EQ(answer.position.x, single(lens_radius()) * 0.9);
}

TEST_F(RadialShiftTest, LensOffsetsLieAlongWorldXAndY) {
  stage.set_oblique_pose();
  stage.next_frame();
  const LongVector position = stage.pose().position;
  const standin::RayAnswer answer = camera.evaluate({.film_x = 0.01, .lens_x = 0.5, .lens_y = -0.25});
  const long double lens = single(lens_radius());
  expect_near(answer.position, position + LongVector{lens * 0.5L, lens * -0.25L, 0.0L}, 1e-15);
  EXPECT_EQ(answer.position.z, static_cast<double>(position.z));
}

TEST_F(RadialShiftTest, ReferenceRadiusIsOfTheSmallerSide) {
  for (const auto& [width, height] : {std::pair{1000, 1000}, {2000, 500}, {500, 2000}}) {
    stage.set_film(0.03125, width, height);
    set_law(0.2, 0.1, -0.1);
    stage.settle();
    expect_ray({.film_x = 0.003, .film_y = 0.011});
  }
}

TEST_F(RadialShiftTest, FirstFrameAlreadyKnowsTheFilm) {
  stage.set_oblique_pose();
  set_law(0.2, -0.1, 0.05);
  camera.new_frame(1, 0.0);
  stage.host.set_time(0, 0.0);
  expect_ray({.film_x = 0.01, .film_y = 0.004, .lens_x = 0.5});
  EXPECT_TRUE(camera.project(rounded(stage.pose().world({0.1L, 0.2L, 3.0L}))));
}

TEST_F(RadialShiftTest, ValuesFollowAChangedFilmOneFrameLater) {
  stage.next_frame();
  const standin::Vec3 before = stage.ray(0.01, 0.004).direction;
  stage.set_film(0.048, 1500, 1000);
  stage.next_frame();
  EXPECT_EQ(stage.ray(0.01, 0.004).direction, before);
  stage.next_frame();
  expect_ray({.film_x = 0.01, .film_y = 0.004});
}

TEST_F(RadialShiftTest, RaysFollowTheFormula) {
  Random random;
  expect_small_errors("radial shift rays", 1e-12, [&] {
    stage.set_random_camera(random);
    set_random_law(random, 0.5);
    for (const char* name : {"ImageShiftH", "ImageShiftV", "ImageShearH", "ImageShearV"})
      stage.set(name, random.between(-1.0, 1.0));
    stage.settle();
    const auto [x, y] = stage.random_film_point(random, 1.5);
    const RayQuery query{x, y, random.between(-0.7, 0.7), random.between(-0.7, 0.7)};
    return ray_error(camera.evaluate(query), expected_ray(query));
  });
}

TEST_F(RadialShiftTest, RaysAndProjectionsFollowTheMotionOfTheCamera) {
  set_law(0.1, -0.2, 0.1);
  stage.expect_follows_motion([&](const RayQuery& query) { return expected_ray(query); },
                              [&](LongVector world, double time) { return expected_film(world, time); });
}

TEST_F(RadialShiftTest, ParametersMoveWithTheirKeys) {
  double end = 0.1;
  for (const char* name :
       {"RadialShiftA", "RadialShiftB", "RadialShiftC", "ImageShiftH", "ImageShiftV", "ImageShearH", "ImageShearV"}) {
    camera.parameter(name).set_keys({{0.0, -0.1}, {1.0, end += 0.1}});
  }
  for (int i = 0; i < 10; ++i) {
    stage.next_frame();
    expect_ray({.film_x = 0.004, .film_y = -0.01});
  }
}

TEST_F(RadialShiftTest, ANewTimeRefreshesTheValues) {
  camera.parameter("ImageShiftV").set_keys({{0.0, 0.0}, {10.0, 1.0}});
  stage.settings().zoom_factor.keys = {{2.0, 0.0, standin::Span::linear, {}}, {4.0, 10.0, standin::Span::linear, {}}};
  for (const double seconds : {0.0, 2.5, 7.0}) {
    camera.new_frame(1, 0.0);
    camera.tell_time(1, seconds);
    const long double shift = single(reference_radius()) * (seconds / 10.0L);
    const long double distance = stage.settings().zoom_factor.at(seconds) * stage.film_height() * 0.5L;
    expect_near(stage.ray(0.0, 0.0).direction, normalized({0.0L, shift, distance}));
  }
}

TEST_F(RadialShiftTest, FStopAndFocalDistanceAreOfTheHostsCurrentTime) {
  stage.settings().lens_f_stop.keys = {{1.0, 0.0, standin::Span::linear, {}}, {11.0, 10.0, standin::Span::linear, {}}};
  stage.settings().focal_distance.keys = {{1.0, 0.0, standin::Span::linear, {}}, {21.0, 10.0, standin::Span::linear, {}}};
  stage.host.set_time(150, 5.0);
  camera.new_frame(0, 0.0);
  const RayQuery query{.film_x = 0.01, .lens_x = 0.5};
  EXPECT_NEAR(camera.evaluate(query).position.x, single(film_distance() * 0.5 / 6.0) * 0.5, 1e-15);
  expect_ray(query);
}

/// What the camera asks the host for, in order.
std::vector<std::string> asked;
const LWCameraInfo* host_cameras = nullptr;
const LWVParmFuncs* host_parameters = nullptr;

TEST_F(RadialShiftTest, ValuesAreAskedForInTheirOrder) {
  host_cameras = &host_table<LWCameraInfo>(LWCAMERAINFO_GLOBAL);
  host_parameters = &host_table<LWVParmFuncs>(LWVPARMFUNCS_GLOBAL);
  LWCameraInfo cameras = *host_cameras;
  cameras.zoomFactor = [](LWItemID item, LWTime time) {
    asked.emplace_back("zoom");
    return host_cameras->zoomFactor(item, time);
  };
  cameras.filmSize = [](LWItemID item, double* width, double* height) {
    asked.emplace_back("film");
    host_cameras->filmSize(item, width, height);
  };
  cameras.fStop = [](LWItemID item, LWTime time) {
    asked.emplace_back("f-stop");
    return host_cameras->fStop(item, time);
  };
  cameras.focalDistance = [](LWItemID item, LWTime time) {
    asked.emplace_back("focus");
    return host_cameras->focalDistance(item, time);
  };
  LWVParmFuncs parameters = *host_parameters;
  parameters.getVal = [](LWVParmID id, LWTime time, void* micropolygon, double* result) {
    asked.emplace_back("envelope");
    return host_parameters->getVal(id, time, micropolygon, result);
  };
  const ServiceOverride watch(stage.module, "QuorinRadialShiftCam",
                              {{LWCAMERAINFO_GLOBAL, &cameras}, {LWVPARMFUNCS_GLOBAL, &parameters}});
  asked.clear();
  camera.new_time(7, 0.25);
  EXPECT_EQ(asked, (std::vector<std::string>{"zoom", "film", "f-stop", "f-stop", "focus", "envelope", "envelope", "envelope",
                                             "envelope", "envelope", "envelope", "envelope"}));
}

TEST_F(RadialShiftTest, ProjectionFollowsTheFormula) {
  Random random;
  expect_small_errors("radial shift projections", 1e-12, [&] {
    do {
      stage.set_random_camera(random);
      set_random_law(random, 0.2);
      stage.settle();
    } while (!law().is_steep_to(1.5));
    const long double t = random.between(0.0, 1.2);
    const long double depth = random.between(0.1, 50.0);
    const long double angle = random.between(-3.2, 3.2);
    const long double radius = t * reference_radius() / film_distance() * depth;
    const standin::Vec3 world = rounded(stage.pose().world({radius * std::cos(angle), radius * std::sin(angle), depth}));
    return stage.projection_error(world, expected_film(world));
  });
}

TEST_F(RadialShiftTest, ProjectionUndoesTheRadialLaw) {
  Random random;
  expect_small_errors("radial shift round trips", 1e-10, [&] {
    std::pair<double, double> film;
    do {
      stage.set_random_camera(random);
      // The mapping's reference radius is of single precision, the projection's is not: only such films match.
      stage.set_film(single(stage.settings().aperture_height), 1600, 1000);
      set_random_law(random, 0.2);
      stage.settle();
      film = stage.random_film_point(random);
    } while (!law().is_steep_to(2.0));
    return round_trip_error(stage, random, film);
  });
}

TEST_F(RadialShiftTest, ProjectionIgnoresShiftShearAndLens) {
  set_law(0.1, 0.0, 0.05);
  stage.next_frame();
  const RawProjection plain = stage.project_raw({0.3L, -0.2L, 2.0L});
  for (const char* name : {"ImageShiftH", "ImageShiftV", "ImageShearH", "ImageShearV"}) stage.set(name, 0.5);
  stage.settings().lens_f_stop = Envelope::constant(0.5);
  stage.next_frame();
  EXPECT_EQ(plain.result, 1);
  EXPECT_EQ(stage.project_raw({0.3L, -0.2L, 2.0L}).film, plain.film);
}

TEST_F(RadialShiftTest, SearchStopsWhereTheLawIsLevel) {
  // Level at 1: the law is -s^2 + 2s.
  set_law(0.0, 0.0, -1.0);
  stage.set_film(0.03125, 1500, 1000);
  stage.settings().zoom_factor = Envelope::constant(2.0);
  stage.settle();
  const RawProjection projection = stage.project_raw({0.0L, -1.0L, 2.0L});
  EXPECT_EQ(projection.result, 1);
  EXPECT_EQ(projection.film, (std::array{0.0, -0.015625, 0.0}));
  // Level in the centre: the law is s^2.
  set_law(0.0, 0.0, 1.0);
  stage.next_frame();
  EXPECT_EQ(stage.project_raw({0.0L, 0.0L, 2.0L}).film, (std::array{0.0, 0.0, 0.0}));
}

TEST_F(RadialShiftTest, SearchGoesNoLowerThanTheCentre) {
  // 3s^2 - 2s falls at first: from 0.2 every step leads below 0.
  set_law(0.0, 0.0, 3.0);
  stage.next_frame();
  EXPECT_EQ(law().inverse(0.2L), 0.0L);
  EXPECT_EQ(stage.project_raw(world_of(0.2L)).film, (std::array{0.0, 0.0, 0.0}));
  // From 0.4 the first step leads to the far branch.
  const auto film = camera.project(rounded(world_of(0.4L)));
  ASSERT_TRUE(film);
  EXPECT_NEAR(std::hypot(film->first, film->second) / reference_radius(), (2.0 + std::sqrt(8.8)) / 6.0, 1e-9);
}

TEST_F(RadialShiftTest, SearchEndsAfterTwentyFourSteps) {
  // s^4 falls by a quarter of the way with each step, and a far point is not reached in 24 of them.
  set_law(1.0, 0.0, 0.0);
  stage.next_frame();
  const long double far = 1e15L;
  const auto film = camera.project(rounded(world_of(far)));
  ASSERT_TRUE(film);
  EXPECT_GT(law().inverse(far), 1e9L);
  EXPECT_LE(
      film_error(*film, {0.6L * law().inverse(far) * reference_radius(), 0.8L * law().inverse(far) * reference_radius()}, 0.0),
      1e-12);
}

TEST_F(RadialShiftTest, ProjectionNeedsAPointInFrontAndAFilm) {
  stage.next_frame();
  stage.expect_refused({0.1L, 0.2L, -1.0L});
  stage.expect_refused({0.1L, 0.2L, 1e-9L});
  stage.expect_refused({0.1L, std::numeric_limits<long double>::quiet_NaN(), 1.0L});
  EXPECT_EQ(stage.project_raw({0.0L, 0.0L, 1.1e-9L}).film, (std::array{0.0, 0.0, 0.0}));
  const LongVector world{0.1L, 0.2L, 1.0L};
  stage.settings().zoom_factor = Envelope::constant(1e-9 / 0.012);
  stage.next_frame();
  stage.expect_refused(world);
  stage.settings().zoom_factor = Envelope::constant(1e9);
  stage.set_film(2e-9, 1500, 1000);
  stage.settle();
  stage.expect_refused(world);
  stage.set_film(2.2e-9, 1500, 1000);
  stage.settle();
  EXPECT_EQ(stage.project_raw(world).result, 1);
}

TEST_F(RadialShiftTest, WithoutAFilmTheRayIsNotFinite) {
  stage.set_film(0.0, 1500, 1000);
  stage.settle();
  EXPECT_EQ(stage.ray(0.01, 0.0).result, LWCAMEVAL_RAY);
  EXPECT_FALSE(is_finite(stage.ray(0.01, 0.0).direction));
  EXPECT_FALSE(is_finite(stage.ray(0.0, 0.0).direction));
}

TEST_F(RadialShiftTest, AHugeFilmPositionDoesNotCrash) {
  set_law(0.1, 0.1, 0.1);
  stage.next_frame();
  EXPECT_EQ(stage.ray(1e300, 1e300).result, LWCAMEVAL_RAY);
  EXPECT_FALSE(is_finite(stage.ray(1e300, 1e300).direction));
}

/// Without shift and shear: `film_point` undoes the radial law alone.
struct RadialShiftPair : PairAhead<RadialShiftCam::Lens> {
  static constexpr auto& direction = RadialShiftCam::direction;
  static constexpr auto& film_point = RadialShiftCam::film_point;
  static constexpr double film_tolerance = 1e-13;
  static constexpr double angle_tolerance = 1e-14;

  /// A law that rises all the way to the film's corners, at 1.8 reference radii, steeply enough to keep its digits.
  static Lens random_lens(Random& random, Film film) {
    Lens lens;
    lens.film_distance = random.between(0.5, 8.0) * film.half_height();
    // Of single precision, as `direction` takes it.
    lens.reference_radius = framework::rounded_to_single(0.5 * std::min(film.width, film.height));
    do {
      lens.distortion_a = random.between(-0.2, 0.2);
      lens.distortion_b = random.between(-0.2, 0.2);
      lens.distortion_c = random.between(-0.2, 0.2);
    } while (!is_steep(RadialShiftCam::RadialLaw(lens)));
    return lens;
  }
  static bool is_steep(const RadialShiftCam::RadialLaw& law) {
    for (int hundredth = 0; hundredth <= 200; ++hundredth)
      if (law.slope(hundredth * 0.01) < 0.2) return false;
    return true;
  }
  static Vector random_direction(Random& random, const Lens& lens, Film /*film*/) {
    return direction_ahead(random, 1.2 * lens.reference_radius / lens.film_distance);
  }
  static Cases<Lens> cases(const Lens& lens, Film film) {
    return sizes_around_limit(
        lens, film, [](Lens& at_limit, double number) { at_limit.reference_radius = number; },
        [](Lens& at_limit, double number) { at_limit.film_distance = number; });
  }
};

INSTANTIATE_TYPED_TEST_SUITE_P(RadialShift, MappingPair, RadialShiftPair);

}  // namespace radial_shift_cam_test
