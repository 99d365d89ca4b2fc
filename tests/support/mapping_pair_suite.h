#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numbers>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include "framework/lens.h"
#include "framework/math.h"
#include "tests/support/long_vector.h"
#include "tests/support/random_cases.h"

// Cameras with a lens of their own have a pair of plain functions: `direction`, from a film position to a direction in camera
// space, and `film_point` back. Here each is held against the other, without a host and without a module. A camera's own test
// describes its pair in a class, and asks for all of this with
//   INSTANTIATE_TYPED_TEST_SUITE_P(Panoramic, MappingPair, PanoramicPair);

namespace test_support::mapping_pair {

using framework::Film;
using framework::FilmPoint;
using framework::Vector;
using test_support::Random;

inline constexpr double pi = std::numbers::pi;
inline constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
/// The greatest number that a projection does not divide by.
inline constexpr double limit = 1e-9;
inline constexpr double just_above_limit = 1.1e-9;

/// Metres: landscape, portrait, square, a few micrometres, and tens of metres.
inline constexpr std::array films{Film{0.036, 0.024}, Film{0.024, 0.036}, Film{0.03, 0.03}, Film{6e-6, 4e-6}, Film{30.0, 20.0}};

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
inline constexpr std::array around_limit{limit,           0.0, -1.0, not_a_number, -std::numeric_limits<double>::infinity(),
                                         just_above_limit};

/// A direction of the whole sphere, but for those within 4 degrees of straight up and down, where an elevation is lost in the
/// rounding of its sine.
inline Vector direction_anywhere(Random& random) {
  const double azimuth = random.between(-pi, pi);
  const double elevation = random.between(-1.5, 1.5);
  return {std::sin(azimuth) * std::cos(elevation), std::sin(elevation), std::cos(azimuth) * std::cos(elevation)};
}

/// A direction whose angle from the camera's forward axis has a tangent of no more than that.
inline Vector direction_ahead(Random& random, double greatest_tangent) {
  const double tangent = random.between(0.0, greatest_tangent);
  const double around = random.between(-pi, pi);
  return {tangent * std::cos(around), tangent * std::sin(around), 1.0};
}

// What is known of each pair. `film_tolerance` is the error of a film position in half film heights, `angle_tolerance` that of
// a direction in radians. `film_share` is how far toward the film's edges the pair can be inverted, where that has a limit.
// `random_lens` keeps to lenses that can be inverted; `cases` takes a good lens and film to the limit in every way in which the
// pair can run out of something to divide by.

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
inline double film_error(Film film, const std::optional<FilmPoint>& at, FilmPoint expected) {
  if (!at) return std::numeric_limits<double>::infinity();
  const double scale = std::max(film.half_height(), std::hypot(expected.x, expected.y));
  return std::hypot(at->x - expected.x, at->y - expected.y) / scale;
}

inline LongVector long_vector(Vector v) { return {v.x, v.y, v.z}; }

/// Between two directions of any length, radians.
inline double angle_between(Vector a, Vector b) {
  const LongVector across = cross(long_vector(a), long_vector(b));
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

TYPED_TEST_SUITE_P(MappingPair);

TYPED_TEST_P(MappingPair, FilmPointUndoesDirection) {
  for (const Film film : films) {
    expect_small_errors("half film heights", TypeParam::film_tolerance, [&] {
      const auto lens = TypeParam::random_lens(this->random, film);
      const FilmPoint at = this->random_film_point(film);
      return film_error(film, TypeParam::film_point(lens, film, this->direction(lens, film, at)), at);
    });
  }
}

TYPED_TEST_P(MappingPair, DirectionUndoesFilmPoint) {
  for (const Film film : films) {
    expect_small_errors("radians", TypeParam::angle_tolerance, [&] {
      const auto lens = TypeParam::random_lens(this->random, film);
      const Vector seen = TypeParam::random_direction(this->random, lens, film);
      const auto at = TypeParam::film_point(lens, film, seen);
      return at ? angle_between(this->direction(lens, film, *at), seen) : std::numeric_limits<double>::infinity();
    });
  }
}

TYPED_TEST_P(MappingPair, FilmPointDoesNotDependOnTheLengthOfADirection) {
  for (const Film film : films) {
    expect_small_errors("half film heights", 1e-13, [&] {
      const auto lens = TypeParam::random_lens(this->random, film);
      const Vector seen = TypeParam::random_direction(this->random, lens, film);
      const auto at = TypeParam::film_point(lens, film, seen);
      const double times = std::pow(10.0, this->random.between(-6.0, 12.0));
      return at ? film_error(film, TypeParam::film_point(lens, film, seen * times), *at)
                : std::numeric_limits<double>::infinity();
    });
  }
}

TYPED_TEST_P(MappingPair, WhatIsBehindHasAFilmPointOnlyWhereTheLensLooksBack) {
  const auto lens = this->usual_lens();
  for (const double depth : {limit, 0.0, -0.0, -limit, -1.0, -1e6})
    EXPECT_EQ(TypeParam::film_point(lens, this->film, {0.1, 0.2, depth}).has_value(), TypeParam::sees_behind) << depth;
  EXPECT_TRUE(TypeParam::film_point(lens, this->film, {0.0, 0.0, just_above_limit}));
}

TYPED_TEST_P(MappingPair, WhatIsAtTheCameraHasNoFilmPoint) {
  const auto lens = this->usual_lens();
  for (const Vector seen : {Vector{}, {0.0, 0.0, limit}, {limit, 0.0, 0.0}, {0.0, -limit, 0.0}, {0.0, 0.0, -limit}})
    EXPECT_FALSE(TypeParam::film_point(lens, this->film, seen)) << seen.x << ' ' << seen.y << ' ' << seen.z;
  for (const Vector seen : {Vector{just_above_limit, 0.0, 0.0}, {0.0, -just_above_limit, 0.0}, {0.0, 0.0, -just_above_limit}}) {
    EXPECT_EQ(TypeParam::film_point(lens, this->film, seen).has_value(), TypeParam::sees_behind)
        << seen.x << ' ' << seen.y << ' ' << seen.z;
  }
}

TYPED_TEST_P(MappingPair, ADirectionThatIsNotANumberHasNoFilmPoint) {
  const auto lens = this->usual_lens();
  EXPECT_FALSE(TypeParam::film_point(lens, this->film, {not_a_number, not_a_number, not_a_number}));
  EXPECT_FALSE(TypeParam::film_point(lens, this->film, {0.1, 0.2, not_a_number}));
  // Pairs that see nothing behind refuse by the depth alone; what is beside it comes out as it went in.
  for (const Vector seen : {Vector{not_a_number, 0.2, 1.0}, {0.1, not_a_number, 1.0}}) {
    const auto at = TypeParam::film_point(lens, this->film, seen);
    EXPECT_EQ(at.has_value(), !TypeParam::sees_behind);
    if (at) EXPECT_TRUE(std::isnan(at->x) || std::isnan(at->y));
  }
}

TYPED_TEST_P(MappingPair, NothingTooSmallIsDividedBy) {
  const Vector seen{0.1, 0.2, 1.0};
  const auto cases = TypeParam::cases(this->usual_lens(), this->film);
  ASSERT_FALSE(cases.empty());
  for (std::size_t i = 0; i < cases.size(); ++i)
    EXPECT_EQ(TypeParam::film_point(cases[i].lens, cases[i].film, seen).has_value(), !cases[i].refused) << "case " << i;
}

REGISTER_TYPED_TEST_SUITE_P(MappingPair, FilmPointUndoesDirection, DirectionUndoesFilmPoint,
                            FilmPointDoesNotDependOnTheLengthOfADirection, WhatIsBehindHasAFilmPointOnlyWhereTheLensLooksBack,
                            WhatIsAtTheCameraHasNoFilmPoint, ADirectionThatIsNotANumberHasNoFilmPoint,
                            NothingTooSmallIsDividedBy);

}  // namespace test_support::mapping_pair
