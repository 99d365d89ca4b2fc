#include "tool/sampling.h"

#include <bit>
#include <cmath>
#include <numbers>

namespace tool {
namespace {

constexpr std::uint64_t mix(std::uint64_t value) {
  value ^= value >> 32;
  value *= 0xD6E8FEB86659FD93U;
  value ^= value >> 29;
  value *= 0xD6E8FEB86659FD93U;
  value ^= value >> 32;
  return value;
}

constexpr std::uint64_t mix(std::uint64_t seed, std::uint64_t value) { return mix(seed + 0x9E3779B97F4A7C15U * (value + 1U)); }

/// 0 to 1, 1 excluded.
double unit(std::uint64_t bits) { return static_cast<double>(bits >> 11) * 0x1p-53; }

/// Index's place in an order of 0 … count-1 that is as random as the seed.
std::uint32_t shuffled(std::uint32_t index, std::uint32_t count, std::uint64_t seed) {
  const int width = static_cast<int>(std::bit_width(count - 1U));
  if (width == 0) return 0;
  const std::uint64_t mask = (std::uint64_t{1} << width) - 1U;
  const int shift = (width + 1) / 2;
  std::uint64_t place = index;
  // Every step is one-to-one on the power of two around count; what falls outside count goes round again.
  do {
    for (int round = 0; round < 3; ++round) {
      const std::uint64_t key = mix(seed, static_cast<std::uint64_t>(round));
      place = (place * (key | 1U) + (key >> 32)) & mask;
      place ^= place >> shift;
    }
  } while (place >= count);
  return static_cast<std::uint32_t>(place);
}

/// One number of every count-th part of 0 to 1.
double stratum(std::uint32_t index, std::uint32_t count, std::uint64_t seed) {
  return (index + unit(mix(seed, index))) / count;
}

/// Bits of the index mirrored about the binary point, then scrambled: evenly spread for every run of indices.
double mirrored(std::uint32_t index, std::uint64_t seed) {
  std::uint32_t bits = 0;
  for (int i = 0; i < 32; ++i) bits |= ((index >> i) & 1U) << (31 - i);
  return (bits ^ static_cast<std::uint32_t>(seed >> 32)) * 0x1p-32;
}

}  // namespace

PixelSample pixel_sample(std::uint32_t column, std::uint32_t row, std::uint32_t index, std::uint32_t count) {
  const std::uint64_t pixel = mix((static_cast<std::uint64_t>(row) << 32) | column);
  PixelSample sample{0.5, 0.5, 0.0, 0.0, 0.0};
  if (count > 1) {
    sample.x = stratum(index, count, mix(pixel, 0));
    sample.y = mirrored(index, mix(pixel, 1));
  }

  // Equal areas of the square go to equal areas of the disc: radius by one number, angle by the other.
  const std::uint32_t lens_index = shuffled(index, count, mix(pixel, 2));
  const double radius = std::sqrt(stratum(lens_index, count, mix(pixel, 3)));
  const double angle = 2.0 * std::numbers::pi * mirrored(lens_index, mix(pixel, 4));
  sample.lens_x = radius * std::cos(angle);
  sample.lens_y = radius * std::sin(angle);

  sample.time = stratum(shuffled(index, count, mix(pixel, 5)), count, mix(pixel, 6));
  return sample;
}

}  // namespace tool
