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

/// Which two samples a fractional time falls between, and the share of the later one.
struct SampleBlend {
  std::size_t first = 0;
  double weight = 0.0;
};

/// For 0 < t < 1. The index counts in steps of 1/(n-2), the weight in steps of 1/n: two scales, and meant so, because
/// evaluation and projection must agree on this mapping. n is at least 2. `by_reciprocal` multiplies the index by 1/n where
/// otherwise it is divided by n: the last bit can differ.
inline SampleBlend blend_samples(std::size_t n, double t, bool by_reciprocal) {
  const double position = static_cast<double>(n - 2) * t;
  // A time that is not a number has no index; its weight makes the result not a number either.
  const std::size_t first = position > 0.0 ? static_cast<std::size_t>(position) : 0;
  const auto index = static_cast<double>(first);
  const auto count = static_cast<double>(n);
  return {first, t - (by_reciprocal ? index * (1.0 / count) : index / count)};
}

/// A 3-vector at fractional time t from n >= 2 samples of three doubles each. Threads: any.
inline void interpolate_samples(const double* samples, std::size_t n, double t, double* out, bool by_reciprocal = false) {
  if (t <= 0.0 || t >= 1.0) {
    const double* sample = t <= 0.0 ? samples : samples + 3 * (n - 1);
    for (int axis = 0; axis < 3; ++axis) out[axis] = sample[axis];
    return;
  }
  const auto [first, weight] = blend_samples(n, t, by_reciprocal);
  const double* from = samples + 3 * first;
  for (int axis = 0; axis < 3; ++axis) out[axis] = from[axis] * (1.0 - weight) + from[axis + 3] * weight;
}

}  // namespace framework
