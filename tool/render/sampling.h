#pragma once

#include <cstdint>

namespace tool {

/// Where a sample falls within its pixel, each number in 0 to 1 (1 excluded).
struct PixelPoint {
  double x = 0.5;
  double y = 0.5;
};

/// Where it falls on the lens, in the unit disc.
struct LensSample {
  double x = 0.0;
  double y = 0.0;
};

/// Where it looks for soft light, each in the unit disc: in the sky above a surface, and on the sun.
struct LightSample {
  LensSample sky;
  LensSample sun;
};

/// The samples of one pixel, numbered from 0 to count - 1. They are spread evenly over pixel, lens, time and light, and depend
/// only on column, row, index and count. A single sample goes through the pixel's centre. Threads: any.
class PixelSamples {
 public:
  PixelSamples(std::uint32_t column, std::uint32_t row, std::uint32_t count);

  PixelPoint point(std::uint32_t index) const;
  LensSample lens(std::uint32_t index) const;
  /// 0 to 1, 1 excluded.
  double time(std::uint32_t index) const;
  LightSample light(std::uint32_t index) const;

 private:
  LensSample in_disc(std::uint32_t index, std::uint64_t first_seed) const;

  std::uint64_t pixel_;
  std::uint32_t count_;
  /// Seeds of the point, which every sample needs.
  std::uint64_t x_seed_;
  std::uint64_t y_seed_;
};

}  // namespace tool
