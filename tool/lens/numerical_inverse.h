#pragma once

#include <functional>
#include <memory>
#include <span>

#include "tool/lens/lens.h"

namespace tool {

/// Places that look in given directions, found from nothing but the directions of places: from the nearest of a grid of
/// them by Broyden's method.
class NumericalInverse {
 public:
  /// As Lens::look.
  using Look = std::function<void(std::span<const FramePlace>, std::span<LensDirection>)>;

  /// `tolerance`, of the frame, is what a place may be off; not below what the directions' own accuracy gives. Looks at a grid
  /// of places.
  NumericalInverse(Look look, double tolerance);
  NumericalInverse(const NumericalInverse&) = delete;
  NumericalInverse& operator=(const NumericalInverse&) = delete;
  ~NumericalInverse();

  /// As Lens::locate. A place within the frame is preferred to one outside of it.
  void locate(std::span<const LensDirection> directions, std::span<FramePlace> places) const;

 private:
  struct Grid;
  Look look_;
  double tolerance_;
  /// Within the frame, and around it.
  std::unique_ptr<Grid> inside_;
  std::unique_ptr<Grid> outside_;
};

}  // namespace tool
