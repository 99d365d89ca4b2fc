#include "tool/pictures/linear_light.h"

#include <cmath>

namespace tool {
namespace {

float linear_of_srgb(float value) { return value <= 0.04045F ? value / 12.92F : std::pow((value + 0.055F) / 1.055F, 2.4F); }
float srgb_of_linear(float value) {
  return value <= 0.0031308F ? 12.92F * value : 1.055F * std::pow(value, 1.0F / 2.4F) - 0.055F;
}

}  // namespace

void make_linear(std::span<float> samples, std::size_t channels, int alpha) {
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const std::size_t channel = i % channels;
    if (static_cast<int>(channel) == alpha) continue;
    samples[i] = linear_of_srgb(samples[i]) * (alpha < 0 ? 1.0F : samples[i - channel + static_cast<std::size_t>(alpha)]);
  }
}

void make_srgb(std::span<float> samples, std::size_t channels, int alpha) {
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const std::size_t channel = i % channels;
    if (static_cast<int>(channel) == alpha) continue;
    const float opacity = alpha < 0 ? 1.0F : samples[i - channel + static_cast<std::size_t>(alpha)];
    samples[i] = opacity > 0.0F ? srgb_of_linear(samples[i] / opacity) : 0.0F;
  }
}

}  // namespace tool
