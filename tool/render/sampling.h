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

/// The samples of one pixel, numbered from 0 to count - 1. They are spread evenly over pixel, lens and time, and depend only
/// on column, row, index and count. A single sample goes through the pixel's centre. Threads: any.
class PixelSamples {
 public:
  PixelSamples(std::uint32_t column, std::uint32_t row, std::uint32_t count);

  PixelPoint point(std::uint32_t index) const;
  LensSample lens(std::uint32_t index) const;
  /// 0 to 1, 1 excluded.
  double time(std::uint32_t index) const;

 private:
  std::uint64_t pixel_;
  std::uint32_t count_;
  /// Seeds of the point, which every sample needs.
  std::uint64_t x_seed_;
  std::uint64_t y_seed_;
};

}  // namespace tool
