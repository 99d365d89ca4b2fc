#include "tool/pictures/picture_filter.h"

#include <cmath>
#include <memory>
#include <numeric>
#include <stdexcept>

#include "tool/pictures/picture_library.h"

namespace tool {
namespace {

/// From one pixel to the next; between two of them, weights are interpolated.
constexpr std::size_t steps = 512;

}  // namespace

PictureFilter::PictureFilter(const FilterCurve& curve)
    : reach_(static_cast<int>(std::ceil(curve.half_width()))), is_nearest_(curve.half_width() <= 0.5) {
  if (!(curve.half_width() > 0.0) || reach_ > most_reach)
    throw std::runtime_error("a filter of " + std::to_string(2.0 * curve.half_width()) + " pixels cannot be used");
  const std::size_t taps = tap_count();
  table_.resize((steps + 1) * taps);
  for (std::size_t step = 0; step <= steps; ++step) {
    const double fraction = static_cast<double>(step) / steps;
    std::vector<double> weights(taps);
    for (std::size_t i = 0; i < taps; ++i) weights[i] = curve.at(fraction + reach_ - 1.0 - static_cast<double>(i));
    const double sum = std::accumulate(weights.begin(), weights.end(), 0.0);
    if (!(std::abs(sum) > 1e-3)) throw std::runtime_error("a filter without weight between pixels cannot be used");
    for (std::size_t i = 0; i < taps; ++i) table_[step * taps + i] = static_cast<float>(weights[i] / sum);
  }
}

std::span<const float> PictureFilter::row(std::size_t step) const {
  return std::span(table_).subspan(step * tap_count(), tap_count());
}

PictureFilter::Weights PictureFilter::weights(float fraction) const {
  // Numbers that are names do not bear interpolation, not even close to the middle between two pixels.
  if (is_nearest_) return fraction < 0.5F ? Weights{1.0F, 0.0F} : Weights{0.0F, 1.0F};
  const float place = fraction * static_cast<float>(steps);
  const auto step = static_cast<std::size_t>(place);
  const float share = place - static_cast<float>(step);
  const std::span<const float> before = row(step);
  const std::span<const float> after = row(step < steps ? step + 1 : steps);
  Weights weights{};
  for (std::size_t i = 0; i < before.size(); ++i) weights[i] = before[i] + (after[i] - before[i]) * share;
  return weights;
}

PictureFilter picture_filter(const std::string& name) {
  if (name == "triangle") return {};
  using Open = FilterCurve* (*)(const char*);
  const std::unique_ptr<FilterCurve> curve(
      reinterpret_cast<Open>(picture_library_function("ovicam_open_filter"))(name.c_str()));
  return PictureFilter(*curve);
}

}  // namespace tool
