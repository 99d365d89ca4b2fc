#include "tool/output/srgb.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <limits>

namespace tool {
namespace {

/// Where each of the eight-bit numbers begins, and for each short range of values the number at its beginning, from which the
/// right one is a step or two away.
class SrgbTable {
 public:
  SrgbTable() {
    for (std::size_t number = 1; number < beginnings_.size() - 1; ++number) beginnings_[number] = beginning(number);
    beginnings_.back() = std::numeric_limits<float>::infinity();
    std::size_t number = 0;
    for (std::size_t range = 0; range < firsts_.size(); ++range) {
      const auto value = std::bit_cast<float>((first_range + static_cast<std::uint32_t>(range)) << range_shift);
      while (value >= beginnings_[number + 1]) ++number;
      firsts_[range] = static_cast<std::uint8_t>(number);
    }
  }

  std::uint8_t number(float linear) const {
    // The other way round, what is no number would be looked up.
    if (!(linear >= least)) return 0;
    const float bounded = std::min(linear, 1.0F);
    std::size_t number = firsts_[(std::bit_cast<std::uint32_t>(bounded) >> range_shift) - first_range];
    while (bounded >= beginnings_[number + 1]) ++number;
    return static_cast<std::uint8_t>(number);
  }

 private:
  /// Ranges have the same exponent and the same six bits behind it. Below the least, all numbers are 0.
  static constexpr unsigned range_shift = 17;
  static constexpr float least = 0x1p-13F;
  static constexpr std::uint32_t first_range = std::bit_cast<std::uint32_t>(least) >> range_shift;
  static constexpr std::uint32_t last_range = std::bit_cast<std::uint32_t>(1.0F) >> range_shift;

  /// The least value that has this number or a higher one: the bits of positive values have their order.
  static float beginning(std::size_t number) {
    std::uint32_t below = 0;
    auto above = std::bit_cast<std::uint32_t>(1.0F);
    while (above - below > 1) {
      const std::uint32_t middle = below + (above - below) / 2;
      (eight_bits(srgb_of_linear(std::bit_cast<float>(middle))) >= number ? above : below) = middle;
    }
    return std::bit_cast<float>(above);
  }

  std::array<float, 257> beginnings_{};
  std::array<std::uint8_t, last_range - first_range + 1> firsts_{};
};

}  // namespace

std::uint8_t eight_bits(float value) {
  return value >= 0.0F ? static_cast<std::uint8_t>(std::lround(255.0F * std::min(value, 1.0F))) : 0;
}

std::uint8_t srgb_eight_bits(float linear) {
  static const SrgbTable table;
  return table.number(linear);
}

}  // namespace tool
