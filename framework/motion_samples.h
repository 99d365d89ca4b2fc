#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace framework {

/// Fewer or more motion steps than these are taken as two.
inline constexpr unsigned fewest_motion_steps = 3;
inline constexpr unsigned most_motion_steps = 199;

constexpr unsigned effective_motion_steps(unsigned steps) {
  return steps < fewest_motion_steps || steps > most_motion_steps ? 2 : steps;
}

/// Which two samples a fractional time falls between, and the share of the later one; or one sample alone.
struct SampleBlend {
  std::size_t first = 0;
  double weight = 0.0;
  bool alone = true;
};

/// How a sample's index becomes the time that its weight counts from: the index over n, or the index times 1/n. The last bit
/// can differ.
enum class SampleWeight { by_division, by_reciprocal };

/// For n >= 2 samples. Between 0 and 1 the index counts in steps of 1/(n-2) and the weight in steps of 1/n. The two scales do
/// not fit each other, and stay: evaluation and projection share this blend, and the blur of every scene rendered with it.
template <SampleWeight weight>
SampleBlend blend_samples(std::size_t n, double t) {
  if (t <= 0.0) return {};
  if (t >= 1.0) return {.first = n - 1};
  const double position = static_cast<double>(static_cast<std::int64_t>(n) - 2) * t;
  // A time that is not a number has no index; its weight makes the result not a number either.
  const std::int64_t first = position > 0.0 ? static_cast<std::int64_t>(position) : 0;
  const auto index = static_cast<double>(first);
  const auto count = static_cast<double>(static_cast<std::int64_t>(n));
  return {static_cast<std::size_t>(first), t - (weight == SampleWeight::by_reciprocal ? index * (1.0 / count) : index / count),
          false};
}

/// A 3-vector from samples of three doubles each. Threads: any.
inline void interpolate(const double* samples, const SampleBlend& blend, double* out) {
  const double* from = samples + 3 * blend.first;
  if (blend.alone)
    for (int axis = 0; axis < 3; ++axis) out[axis] = from[axis];
  else
    for (int axis = 0; axis < 3; ++axis) out[axis] = from[axis] * (1.0 - blend.weight) + from[axis + 3] * blend.weight;
}

}  // namespace framework
