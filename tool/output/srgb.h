#pragma once

#include <cmath>

namespace tool {

/// Between linear light and the numbers of sRGB, 0 to 1 each. Formula: IEC 61966-2-1. Threads: any.
inline float linear_of_srgb(float value) {
  return value <= 0.04045F ? value / 12.92F : std::pow((value + 0.055F) / 1.055F, 2.4F);
}
inline float srgb_of_linear(float value) {
  return value <= 0.0031308F ? 12.92F * value : 1.055F * std::pow(value, 1.0F / 2.4F) - 0.055F;
}

}  // namespace tool
