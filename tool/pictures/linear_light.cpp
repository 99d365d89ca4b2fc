#include "tool/pictures/linear_light.h"

#include "tool/output/srgb.h"

namespace tool {

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
