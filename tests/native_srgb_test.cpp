/// Linear light as the eight-bit numbers of a picture's file.

#include <bit>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>

#include "tool/output/srgb.h"

namespace tool::native_srgb_test {

TEST(Srgb, EightBitsAreRounded) {
  EXPECT_EQ(eight_bits(0.0F), 0);
  EXPECT_EQ(eight_bits(0.5F / 255.0F), 1);
  EXPECT_EQ(eight_bits(std::nextafter(0.5F / 255.0F, 0.0F)), 0);
  EXPECT_EQ(eight_bits(0.5F), 128);
  EXPECT_EQ(eight_bits(1.0F), 255);
}

TEST(Srgb, WhatLiesBeyondIsTheNearestEnd) {
  constexpr float infinity = std::numeric_limits<float>::infinity();
  for (const float low :
       {-infinity, -1.0F, -0.0F, std::numeric_limits<float>::denorm_min(), 1e-5F, std::numeric_limits<float>::quiet_NaN()}) {
    EXPECT_EQ(eight_bits(low), 0) << low;
    EXPECT_EQ(srgb_eight_bits(low), 0) << low;
  }
  for (const float high : {1.0F, 1.001F, 1e30F, infinity}) {
    EXPECT_EQ(eight_bits(high), 255) << high;
    EXPECT_EQ(srgb_eight_bits(high), 255) << high;
  }
}

TEST(Srgb, TheTableHasWhatTheFormulaGives) {
  std::uint32_t wrong = 0;
  const auto compare = [&](std::uint32_t bits) {
    const auto linear = std::bit_cast<float>(bits);
    wrong += srgb_eight_bits(linear) != eight_bits(srgb_of_linear(linear)) ? 1 : 0;
  };
  // A prime number of steps apart, so that every exponent has other last bits.
  for (std::uint32_t bits = 0; bits <= std::bit_cast<std::uint32_t>(1.0F); bits += 1009) compare(bits);
  EXPECT_EQ(wrong, 0U);
  // Around the places where one number ends and the next begins.
  int changes = 0;
  for (int number = 0; number < 255; ++number) {
    const auto about = std::bit_cast<std::uint32_t>(linear_of_srgb((static_cast<float>(number) + 0.5F) / 255.0F));
    for (std::uint32_t bits = about - 20; bits <= about + 20; ++bits) {
      compare(bits);
      changes += srgb_eight_bits(std::bit_cast<float>(bits)) != srgb_eight_bits(std::bit_cast<float>(bits + 1)) ? 1 : 0;
    }
  }
  EXPECT_EQ(wrong, 0U);
  EXPECT_GE(changes, 250) << "the places that were looked at";
}

}  // namespace tool::native_srgb_test
