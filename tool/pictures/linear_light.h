#pragma once

#include <cstddef>
#include <span>

namespace tool {

/// From numbers as a PNG has them to linear light times alpha, in place: pixels of so many channels, `alpha` the index of one,
/// or -1. Threads: any.
void make_linear(std::span<float> samples, std::size_t channels, int alpha);
/// And back.
void make_srgb(std::span<float> samples, std::size_t channels, int alpha);

}  // namespace tool
