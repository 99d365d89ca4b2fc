#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace tool {

/// A filter in one dimension, as a library has it.
class FilterCurve {
 public:
  FilterCurve() = default;
  FilterCurve(const FilterCurve&) = delete;
  FilterCurve& operator=(const FilterCurve&) = delete;
  virtual ~FilterCurve() = default;

  /// Pixels from the middle, beyond which it is 0.
  virtual double half_width() const = 0;
  virtual double at(double distance) const = 0;
};

/// What the pixels around a place count for what lies there between their centres, along one axis.
class PictureFilter {
 public:
  /// More on each side no filter has.
  static constexpr int most_reach = 4;
  using Weights = std::array<float, std::size_t{2} * most_reach>;

  /// Linear between two neighbours, as the filter "triangle".
  PictureFilter() = default;
  /// Throws std::runtime_error for a curve that is wider than the greatest reach, or has no weight somewhere.
  explicit PictureFilter(const FilterCurve& curve);

  bool is_linear() const { return table_.empty(); }
  /// Pixels on each side of a place.
  int reach() const { return reach_; }
  std::size_t tap_count() const { return std::size_t{2} * static_cast<std::size_t>(reach_); }
  /// Of `tap_count` pixels from the first on; together 1. `fraction`: from the last pixel before the place, 0 to 1. Not for the
  /// linear one. Threads: any.
  Weights weights(float fraction) const;

 private:
  std::span<const float> row(std::size_t step) const;

  int reach_ = 1;
  bool is_nearest_ = false;
  /// At equal steps from one pixel to the next, both included.
  std::vector<float> table_;
};

/// One of OpenImageIO's filters, at the width that it recommends. Throws std::invalid_argument with a sentence that has the
/// names of all, and std::runtime_error where the library cannot be loaded. Threads: one.
PictureFilter picture_filter(const std::string& name);

}  // namespace tool
