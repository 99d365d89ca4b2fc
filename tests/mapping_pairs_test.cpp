#include <algorithm>
#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numbers>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "cameras/advanced_panoramic/advanced_panoramic_cam.h"
#include "cameras/fisheye/fisheye_cam.h"
#include "cameras/panoramic/panoramic_cam.h"
#include "cameras/perspective/perspective_cam.h"
#include "cameras/radial_shift/radial_shift_cam.h"
#include "cameras/spherical/spherical_cam.h"
#include "cameras/stereo/stereo_cam.h"
#include "tests/support/long_vector.h"
#include "tests/support/random_cases.h"

// Cameras with a lens of their own have a pair of plain functions: `direction`, from a film position to a direction in camera
// space, and `film_point` back. Here each is held against the other, without a host and without a module.

namespace {

using framework::Film;
using framework::FilmPoint;
using framework::Vector;
using test_support::Random;

constexpr double pi = std::numbers::pi;
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
/// The greatest number that a projection does not divide by.
constexpr double limit = 1e-9;
constexpr double just_above_limit = 1.1e-9;

/// Metres: landscape, portrait, square, a few micrometres, and tens of metres.
constexpr std::array films{Film{0.036, 0.024}, Film{0.024, 0.036}, Film{0.03, 0.03}, Film{6e-6, 4e-6}, Film{30.0, 20.0}};

/// A lens and a film, and whether the pair has something to divide by.
template <class Lens>
struct Case {
  Lens lens;
  Film film;
  bool refused;
};
template <class Lens>
using Cases = std::vector<Case<Lens>>;

/// Sizes, powers and the like: what is not above the limit is refused.
constexpr std::array around_limit{limit, 0.0, -1.0, not_a_number, -std::numeric_limits<double>::infinity(), just_above_limit};

/// A direction of the whole sphere, but for those within 4 degrees of straight up and down, where an elevation is lost in the
/// rounding of its sine.
Vector direction_anywhere(Random& random) {
  const double azimuth = random.between(-pi, pi);
  const double elevation = random.between(-1.5, 1.5);
  return {std::sin(azimuth) * std::cos(elevation), std::sin(elevation), std::cos(azimuth) * std::cos(elevation)};
}

/// A direction whose angle from the camera's forward axis has a tangent of no more than that.
Vector direction_ahead(Random& random, double greatest_tangent) {
  const double tangent = random.between(0.0, greatest_tangent);
  const double around = random.between(-pi, pi);
  return {tangent * std::cos(around), tangent * std::sin(around), 1.0};
}

// What is known of each pair. `film_tolerance` is the error of a film position in half film heights, `angle_tolerance` that of
// a direction in radians. `film_share` is how far toward the film's edges the pair can be inverted, where that has a limit.
// `random_lens` keeps to lenses that can be inverted; `cases` takes a good lens and film to the limit in every way in which the
// pair can run out of something to divide by.

/// Mirrored and upside down as well, by fields and limits that are below zero and swapped.
template <class Lens>
void set_random_field(Lens& lens, Random& random) {
  lens.horizontal_fov_radians = random.between(0.1, 2.0 * pi) * random.sign();
  lens.lower_angle_radians = random.between(-1.5, 1.4);
  lens.upper_angle_radians = random.between(lens.lower_angle_radians + 0.05, 1.5);
  if (random.coin()) std::swap(lens.lower_angle_radians, lens.upper_angle_radians);
}

template <class Lens>
Cases<Lens> panorama_cases(const Lens& lens, Film film) {
  Cases<Lens> cases;
  for (const double number : around_limit) {
    const bool refused = number != just_above_limit;
    cases.push_back({lens, {2.0 * number, film.height}, refused});
    cases.push_back({lens, {film.width, 2.0 * number}, refused});
  }
  // Fields and spans may be below zero.
  for (const double number : {limit, -limit, 0.0, not_a_number, just_above_limit, -just_above_limit}) {
    const bool refused = std::abs(number) != just_above_limit;
    cases.push_back({lens, film, refused});
    cases.back().lens.horizontal_fov_radians = 2.0 * number;
    cases.push_back({lens, film, refused});
    cases.back().lens.lower_angle_radians = 0.0;
    cases.back().lens.upper_angle_radians = number;
  }
  return cases;
}

struct Panoramic {
  using Lens = PanoramicCam::Lens;
  static constexpr auto& direction = PanoramicCam::direction;
  static constexpr auto& film_point = PanoramicCam::film_point;
  static constexpr const char* name = "Panoramic";
  static constexpr bool sees_behind = true;
  static constexpr double film_tolerance = 1e-13;
  static constexpr double angle_tolerance = 1e-14;
  /// An azimuth of half a turn belongs to the left edge as much as to the right one.
  static constexpr double film_share = 0.98;

  static Lens random_lens(Random& random, Film /*film*/) {
    Lens lens;
    set_random_field(lens, random);
    return lens;
  }
  static Vector random_direction(Random& random, const Lens& /*lens*/, Film /*film*/) { return direction_anywhere(random); }
  static Cases<Lens> cases(const Lens& lens, Film film) { return panorama_cases(lens, film); }
};

/// With every scale at 1: `film_point` knows no other.
struct AdvancedPanoramic {
  using Lens = AdvPanCam::Lens;
  static constexpr auto& direction = AdvPanCam::direction;
  static constexpr auto& film_point = AdvPanCam::film_point;
  static constexpr const char* name = "AdvancedPanoramic";
  static constexpr bool sees_behind = true;
  static constexpr double film_tolerance = 1e-13;
  static constexpr double angle_tolerance = 1e-14;
  static constexpr double film_share = 0.98;

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
  static Vector random_direction(Random& random, const Lens& /*lens*/, Film /*film*/) { return direction_anywhere(random); }
  static Cases<Lens> cases(const Lens& lens, Film film) { return panorama_cases(lens, film); }
};

/// The advanced panorama's pair with the whole sphere on one film.
struct Immersive : AdvancedPanoramic {
  static constexpr const char* name = "Immersive";

  static Lens random_lens(Random& /*random*/, Film /*film*/) {
    return {.horizontal_fov_radians = 2.0 * pi, .upper_angle_radians = pi / 2.0, .lower_angle_radians = -pi / 2.0};
  }
};

struct Fisheye {
  using Lens = FisheyeCam::Lens;
  static constexpr auto& direction = FisheyeCam::direction;
  static constexpr auto& film_point = FisheyeCam::film_point;
  static constexpr const char* name = "Fisheye";
  static constexpr bool sees_behind = false;
  static constexpr double film_tolerance = 1e-13;
  static constexpr double angle_tolerance = 1e-14;
  static constexpr double film_share = 1.0;

  static Lens random_lens(Random& random, Film film) {
    Lens lens;
    lens.zoom_factor = random.between(0.5, 8.0);
    lens.distortion_power = random.between(0.3, 3.0);
    // Of the film's own size, so that no film is folded into its centre.
    lens.distortion_scale = random.between(0.3, 3.0) * std::pow(film.half_height(), 1.0 - lens.distortion_power);
    return lens;
  }
  static Vector random_direction(Random& random, const Lens& /*lens*/, Film /*film*/) { return direction_ahead(random, 3.0); }
  static Cases<Lens> cases(const Lens& lens, Film film) {
    Cases<Lens> cases;
    for (const double number : around_limit) {
      cases.insert(cases.end(), 3, {lens, film, number != just_above_limit});
      cases[cases.size() - 3].lens.distortion_power = number;
      cases[cases.size() - 2].lens.distortion_scale = number;
      cases[cases.size() - 1].lens.zoom_factor = number / film.half_height();
    }
    return cases;
  }
};

/// Without shift and shear: `film_point` undoes the radial law alone.
struct RadialShift {
  using Lens = RadialShiftCam::Lens;
  static constexpr auto& direction = RadialShiftCam::direction;
  static constexpr auto& film_point = RadialShiftCam::film_point;
  static constexpr const char* name = "RadialShift";
  static constexpr bool sees_behind = false;
  static constexpr double film_tolerance = 1e-13;
  static constexpr double angle_tolerance = 1e-14;
  static constexpr double film_share = 1.0;

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
    for (int hundredth = 0; hundredth <= 200; ++hundredth) {
      if (law.slope(hundredth * 0.01) < 0.2) return false;
    }
    return true;
  }
  static Vector random_direction(Random& random, const Lens& lens, Film /*film*/) {
    return direction_ahead(random, 1.2 * lens.reference_radius / lens.film_distance);
  }
  static Cases<Lens> cases(const Lens& lens, Film film) {
    Cases<Lens> cases;
    for (const double number : around_limit) {
      cases.insert(cases.end(), 2, {lens, film, number != just_above_limit});
      cases[cases.size() - 2].lens.reference_radius = number;
      cases[cases.size() - 1].lens.film_distance = number;
    }
    return cases;
  }
};

/// Its directions are of single precision.
struct Spherical {
  using Lens = SphericalCam::Lens;
  static constexpr auto& direction = SphericalCam::direction;
  static constexpr auto& film_point = SphericalCam::film_point;
  static constexpr const char* name = "Spherical";
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

/// Its directions are of single precision.
struct Perspective {
  using Lens = PerspectiveCam::Lens;
  static constexpr auto& direction = PerspectiveCam::direction;
  static constexpr auto& film_point = PerspectiveCam::film_point;
  static constexpr const char* name = "Perspective";
  static constexpr bool sees_behind = false;
  static constexpr double film_tolerance = 1.5e-7;
  static constexpr double angle_tolerance = 1e-7;
  static constexpr double film_share = 1.0;

  static Lens random_lens(Random& random, Film film) {
    Lens lens;
    lens.film_distance = random.between(0.5, 8.0) * film.half_height();
    return lens;
  }
  static Vector random_direction(Random& random, const Lens& /*lens*/, Film /*film*/) { return direction_ahead(random, 3.0); }
  static Cases<Lens> cases(const Lens& lens, Film film) {
    Cases<Lens> cases;
    for (const double number : around_limit) {
      cases.push_back({lens, film, number != just_above_limit});
      cases.back().lens.film_distance = number;
    }
    return cases;
  }
};

/// Of either eye.
struct Stereo {
  using Lens = StereoCam::Lens;
  static constexpr auto& direction = StereoCam::direction;
  static constexpr auto& film_point = StereoCam::film_point;
  static constexpr const char* name = "Stereo";
  static constexpr bool sees_behind = false;
  static constexpr double film_tolerance = 1e-15;
  static constexpr double angle_tolerance = 1e-15;
  static constexpr double film_share = 1.0;

  static Lens random_lens(Random& random, Film film) {
    Lens lens;
    lens.zoom_factor = random.between(0.5, 8.0);
    lens.film_height = film.height;
    return lens;
  }
  static Vector random_direction(Random& random, const Lens& /*lens*/, Film /*film*/) { return direction_ahead(random, 3.0); }
  static Cases<Lens> cases(const Lens& lens, Film film) {
    Cases<Lens> cases;
    for (const double number : around_limit) {
      cases.push_back({lens, film, number != just_above_limit});
      cases.back().lens.zoom_factor = number / film.half_height();
    }
    return cases;
  }
};

/// The one shape that every pair has: a lens is handed over by reference, film and positions by value; `direction` always
/// answers, in either precision, and `film_point` may refuse.
template <class Lens, class Scalar>
using Direction = framework::BasicVector<Scalar>(const Lens& lens, Film film, FilmPoint at);
template <class Lens>
using FilmPointOf = std::optional<FilmPoint>(const Lens& lens, Film film, Vector in_camera);

template <class Pair, class Lens = typename Pair::Lens>
constexpr bool is_a_pair = std::is_same_v<decltype(Pair::film_point), FilmPointOf<Lens>&> &&
                           (std::is_same_v<decltype(Pair::direction), Direction<Lens, double>&> ||
                            std::is_same_v<decltype(Pair::direction), Direction<Lens, float>&>);

/// Of two film positions, in half film heights, or in terms of the distance from the centre where that is more; infinite
/// without a position.
double film_error(Film film, const std::optional<FilmPoint>& at, FilmPoint expected) {
  if (!at) return std::numeric_limits<double>::infinity();
  const double scale = std::max(film.half_height(), std::hypot(expected.x, expected.y));
  return std::hypot(at->x - expected.x, at->y - expected.y) / scale;
}

test_support::LongVector long_vector(Vector v) { return {v.x, v.y, v.z}; }

/// Between two directions of any length, radians.
double angle_between(Vector a, Vector b) {
  const test_support::LongVector across = cross(long_vector(a), long_vector(b));
  return static_cast<double>(std::atan2(length(across), dot(long_vector(a), long_vector(b))));
}

template <class Pair>
class MappingPair : public testing::Test {
 protected:
  using Lens = typename Pair::Lens;
  static_assert(is_a_pair<Pair>);

  /// Of length 1 and in double precision, whatever the pair gives: a film position near the centre of a tiny film has a
  /// direction so short that its end would count as at the camera.
  static Vector direction(const Lens& lens, Film film, FilmPoint at) {
    const auto found = Pair::direction(lens, film, at);
    return framework::normalized({found.x, found.y, found.z});
  }

  /// The centre, positions on the axes and in the corners, or anywhere.
  FilmPoint random_film_point(Film film) {
    const auto along = [&](double half_size) {
      const double anywhere = random.between(-1.0, 1.0);
      const double special = random.between(0.0, 1.0);
      return half_size * Pair::film_share * (special < 0.1 ? 0.0 : special < 0.2 ? std::copysign(1.0, anywhere) : anywhere);
    };
    const double x = along(film.half_width());
    return {x, along(film.half_height())};
  }

  /// What refusals are tried with.
  static constexpr Film film{0.036, 0.024};
  Lens usual_lens() { return Pair::random_lens(random, film); }

  Random random;
};

struct NameOfPair {
  template <class Pair>
  static std::string GetName(int /*index*/) {
    return Pair::name;
  }
};

using Pairs = testing::Types<Panoramic, AdvancedPanoramic, Immersive, Fisheye, RadialShift, Spherical, Perspective, Stereo>;
TYPED_TEST_SUITE(MappingPair, Pairs, NameOfPair);

TYPED_TEST(MappingPair, FilmPointUndoesDirection) {
  for (const Film film : films) {
    test_support::expect_small_errors("half film heights", TypeParam::film_tolerance, [&] {
      const auto lens = TypeParam::random_lens(this->random, film);
      const FilmPoint at = this->random_film_point(film);
      return film_error(film, TypeParam::film_point(lens, film, this->direction(lens, film, at)), at);
    });
  }
}

TYPED_TEST(MappingPair, DirectionUndoesFilmPoint) {
  for (const Film film : films) {
    test_support::expect_small_errors("radians", TypeParam::angle_tolerance, [&] {
      const auto lens = TypeParam::random_lens(this->random, film);
      const Vector seen = TypeParam::random_direction(this->random, lens, film);
      const auto at = TypeParam::film_point(lens, film, seen);
      return at ? angle_between(this->direction(lens, film, *at), seen) : std::numeric_limits<double>::infinity();
    });
  }
}

TYPED_TEST(MappingPair, FilmPointDoesNotDependOnTheLengthOfADirection) {
  for (const Film film : films) {
    test_support::expect_small_errors("half film heights", 1e-13, [&] {
      const auto lens = TypeParam::random_lens(this->random, film);
      const Vector seen = TypeParam::random_direction(this->random, lens, film);
      const auto at = TypeParam::film_point(lens, film, seen);
      const double times = std::pow(10.0, this->random.between(-6.0, 12.0));
      return at ? film_error(film, TypeParam::film_point(lens, film, seen * times), *at)
                : std::numeric_limits<double>::infinity();
    });
  }
}

TYPED_TEST(MappingPair, WhatIsBehindHasAFilmPointOnlyWhereTheLensLooksBack) {
  const auto lens = this->usual_lens();
  for (const double depth : {limit, 0.0, -0.0, -limit, -1.0, -1e6}) {
    EXPECT_EQ(TypeParam::film_point(lens, this->film, {0.1, 0.2, depth}).has_value(), TypeParam::sees_behind) << depth;
  }
  EXPECT_TRUE(TypeParam::film_point(lens, this->film, {0.0, 0.0, just_above_limit}));
}

TYPED_TEST(MappingPair, WhatIsAtTheCameraHasNoFilmPoint) {
  const auto lens = this->usual_lens();
  for (const Vector seen : {Vector{}, {0.0, 0.0, limit}, {limit, 0.0, 0.0}, {0.0, -limit, 0.0}, {0.0, 0.0, -limit}}) {
    EXPECT_FALSE(TypeParam::film_point(lens, this->film, seen)) << seen.x << ' ' << seen.y << ' ' << seen.z;
  }
  for (const Vector seen : {Vector{just_above_limit, 0.0, 0.0}, {0.0, -just_above_limit, 0.0}, {0.0, 0.0, -just_above_limit}}) {
    EXPECT_EQ(TypeParam::film_point(lens, this->film, seen).has_value(), TypeParam::sees_behind)
        << seen.x << ' ' << seen.y << ' ' << seen.z;
  }
}

TYPED_TEST(MappingPair, ADirectionThatIsNotANumberHasNoFilmPoint) {
  const auto lens = this->usual_lens();
  EXPECT_FALSE(TypeParam::film_point(lens, this->film, {not_a_number, not_a_number, not_a_number}));
  EXPECT_FALSE(TypeParam::film_point(lens, this->film, {0.1, 0.2, not_a_number}));
  // Pairs that see nothing behind refuse by the depth alone; what is beside it comes out as it went in.
  for (const Vector seen : {Vector{not_a_number, 0.2, 1.0}, {0.1, not_a_number, 1.0}}) {
    const auto at = TypeParam::film_point(lens, this->film, seen);
    EXPECT_EQ(at.has_value(), !TypeParam::sees_behind);
    if (at) {
      EXPECT_TRUE(std::isnan(at->x) || std::isnan(at->y));
    }
  }
}

TYPED_TEST(MappingPair, NothingTooSmallIsDividedBy) {
  const Vector seen{0.1, 0.2, 1.0};
  const auto cases = TypeParam::cases(this->usual_lens(), this->film);
  ASSERT_FALSE(cases.empty());
  for (std::size_t i = 0; i < cases.size(); ++i) {
    EXPECT_EQ(TypeParam::film_point(cases[i].lens, cases[i].film, seen).has_value(), !cases[i].refused) << "case " << i;
  }
}

}  // namespace
