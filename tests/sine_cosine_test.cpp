#include "framework/sine_cosine.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>

#include "tests/support/random_cases.h"

namespace sine_cosine_test {

using framework::math::sine_and_cosine;
using framework::math::SineCosine;
using framework::math::sines_and_cosines;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
/// Beyond it the values are the runtime library's.
constexpr double greatest_radians = 400.0;

std::uint64_t bits(double value) { return std::bit_cast<std::uint64_t>(value); }

TEST(SineCosineTest, EachAngleIsItsOwnWhateverIsBesideIt) {
  test_support::Random random;
  for (int i = 0; i < 10'000; ++i) {
    const double first = random.between(-greatest_radians, greatest_radians);
    const double second = random.between(-7.0, 7.0);
    const auto pair = sines_and_cosines(first, second);
    const auto turned = sines_and_cosines(second, first);  // NOLINT(readability-suspicious-call-argument)
    EXPECT_EQ(bits(pair[0].sine), bits(turned[1].sine));
    EXPECT_EQ(bits(pair[0].cosine), bits(turned[1].cosine));
    EXPECT_EQ(bits(pair[1].sine), bits(sine_and_cosine(second).sine));
    EXPECT_EQ(bits(pair[1].cosine), bits(sine_and_cosine(second).cosine));
  }
}

TEST(SineCosineTest, SineIsOddAndCosineEvenToTheBit) {
  test_support::Random random;
  for (int i = 0; i < 10'000; ++i) {
    const double angle = random.between(0.0, 1.1 * greatest_radians);
    const auto [ahead, back] = sines_and_cosines(angle, -angle);
    EXPECT_EQ(bits(ahead.sine), bits(-back.sine)) << angle;
    EXPECT_EQ(bits(ahead.cosine), bits(back.cosine)) << angle;
  }
  EXPECT_EQ(sine_and_cosine(0.0).sine, 0.0);
  EXPECT_EQ(sine_and_cosine(-0.0).sine, 0.0);
  EXPECT_EQ(sine_and_cosine(-0.0).cosine, 1.0);
}

TEST(SineCosineTest, SmallAnglesAreTheirOwnSines) {
  for (const double angle : {1e-9, 1e-160, std::numeric_limits<double>::min(), std::numeric_limits<double>::denorm_min()}) {
    EXPECT_EQ(sine_and_cosine(angle).sine, angle);
    EXPECT_EQ(sine_and_cosine(angle).cosine, 1.0);
  }
}

TEST(SineCosineTest, WhatHasNoSineIsNotANumber) {
  for (const double angle : {infinity, -infinity, not_a_number}) {
    const auto pair = sines_and_cosines(angle, 1.0);
    EXPECT_TRUE(std::isnan(pair[0].sine) && std::isnan(pair[0].cosine));
    EXPECT_NEAR(pair[1].sine, std::sin(1.0), 1e-15) << "what is beside it";
  }
}

TEST(SineCosineTest, HugeAnglesAreTheLibrarys) {
  for (const double angle : {std::nextafter(greatest_radians, infinity), 1e5, -1e22, 1e300}) {
    EXPECT_EQ(sine_and_cosine(angle).sine, framework::math::sin(angle));
    EXPECT_EQ(sine_and_cosine(angle).cosine, framework::math::cos(angle));
  }
}

/// The same number on every machine and in every build, so that a ray is the same, too.
TEST(SineCosineTest, EveryBuildGivesTheSameBits) {
  std::uint64_t sum = 0;
  const auto add = [&](double value) { sum = (sum ^ bits(value)) * 0x100000001b3U; };
  for (int i = -20'000; i <= 20'000; ++i) {
    const auto pair = sines_and_cosines(i * (greatest_radians / 20'000.0), i * 0.000314159);
    for (const SineCosine& values : pair) {
      add(values.sine);
      add(values.cosine);
    }
  }
  EXPECT_EQ(sum, 91174564000626696U);
}

}  // namespace sine_cosine_test
