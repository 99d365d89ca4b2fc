#pragma once

#include <cstdint>

namespace tool {

/// Where one sample of one pixel falls, each number in 0 to 1 (1 excluded), the lens in the unit disc.
struct PixelSample {
  double x = 0.0;
  double y = 0.0;
  double lens_x = 0.0;
  double lens_y = 0.0;
  double time = 0.0;
};

/// Sample `index` of `count` of the pixel: the samples of a pixel are spread evenly over pixel, lens and time, and depend on
/// nothing but the arguments. A single sample goes through the pixel's centre. Threads: any.
PixelSample pixel_sample(std::uint32_t column, std::uint32_t row, std::uint32_t index, std::uint32_t count);

}  // namespace tool
