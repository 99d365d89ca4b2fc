#include "tool/render/sampling.h"

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

/// The position of an index in a random permutation of 0 … count-1, which the seed determines.
std::uint32_t shuffled(std::uint32_t index, std::uint32_t count, std::uint64_t seed) {
  const int width = static_cast<int>(std::bit_width(count - 1U));
  if (width == 0) return 0;
  const std::uint64_t mask = (std::uint64_t{1} << width) - 1U;
  const int shift = (width + 1) / 2;
  std::uint64_t place = index;
  // Every step is a bijection on the next power of two; a result that is not below count goes through it again.
  do {
    for (int round = 0; round < 3; ++round) {
      const std::uint64_t key = mix(seed, static_cast<std::uint64_t>(round));
      place = (place * (key | 1U) + (key >> 32)) & mask;
      place ^= place >> shift;
    }
  } while (place >= count);
  return static_cast<std::uint32_t>(place);
}

/// A random number within the index-th of count equal parts of 0 to 1.
double stratum(std::uint32_t index, std::uint32_t count, std::uint64_t seed) {
  return (index + unit(mix(seed, index))) / count;
}

constexpr std::uint32_t reversed(std::uint32_t bits) {
  bits = (bits >> 1 & 0x55555555U) | (bits & 0x55555555U) << 1;
  bits = (bits >> 2 & 0x33333333U) | (bits & 0x33333333U) << 2;
  bits = (bits >> 4 & 0x0F0F0F0FU) | (bits & 0x0F0F0F0FU) << 4;
  bits = (bits >> 8 & 0x00FF00FFU) | (bits & 0x00FF00FFU) << 8;
  return bits >> 16 | bits << 16;
}

/// Van der Corput sequence, scrambled: evenly spread over every run of indices.
double mirrored(std::uint32_t index, std::uint64_t seed) {
  return (reversed(index) ^ static_cast<std::uint32_t>(seed >> 32)) * 0x1p-32;
}

}  // namespace

PixelSamples::PixelSamples(std::uint32_t column, std::uint32_t row, std::uint32_t count)
    : pixel_(mix((static_cast<std::uint64_t>(row) << 32) | column)),
      count_(count),
      x_seed_(mix(pixel_, 0)),
      y_seed_(mix(pixel_, 1)) {}

PixelPoint PixelSamples::point(std::uint32_t index) const {
  if (count_ < 2) return {};
  return {stratum(index, count_, x_seed_), mirrored(index, y_seed_)};
}

LensSample PixelSamples::in_disc(std::uint32_t index, std::uint64_t first_seed) const {
  // Maps equal areas of the square to equal areas of the disc: one number gives the radius, the other the angle.
  const std::uint32_t place = shuffled(index, count_, mix(pixel_, first_seed));
  const double radius = std::sqrt(stratum(place, count_, mix(pixel_, first_seed + 1)));
  const double angle = 2.0 * std::numbers::pi * mirrored(place, mix(pixel_, first_seed + 2));
  return {radius * std::cos(angle), radius * std::sin(angle)};
}

LensSample PixelSamples::lens(std::uint32_t index) const { return in_disc(index, 2); }

double PixelSamples::time(std::uint32_t index) const {
  return stratum(shuffled(index, count_, mix(pixel_, 5)), count_, mix(pixel_, 6));
}

LightSample PixelSamples::light(std::uint32_t index) const { return {in_disc(index, 7), in_disc(index, 10)}; }

}  // namespace tool
