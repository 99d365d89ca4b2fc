#pragma once

#include <cmath>
#include <cstdint>

namespace tool {

/// Between linear light and the numbers of sRGB, 0 to 1 each. Formula: IEC 61966-2-1. Threads: any.
inline float linear_of_srgb(float value) {
  return value <= 0.04045F ? value / 12.92F : std::pow((value + 0.055F) / 1.055F, 2.4F);
}
inline float srgb_of_linear(float value) {
  return value <= 0.0031308F ? 12.92F * value : 1.055F * std::pow(value, 1.0F / 2.4F) - 0.055F;
}

/// A number from 0 to 1 in eight bits, rounded; what lies beyond, and what is no number, becomes the nearest end. Threads: any.
std::uint8_t eight_bits(float value);

/// The same as eight_bits(srgb_of_linear(linear)), from a table: pictures have millions of these. Threads: any.
std::uint8_t srgb_eight_bits(float linear);

}  // namespace tool
