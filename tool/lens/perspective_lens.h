#pragma once

#include <string>

#include "standin/scene/vector.h"
#include "tool/lens/lens.h"

namespace tool {

/// A plain perspective without distortion, and without a camera.
class PerspectiveLens final : public Lens {
 public:
  /// The pose's axes have length one. `field_radians`: across the whole width of the frame, above 0 and below half a turn;
  /// `height_over_width`: of the frame as it is seen, not in pixels.
  PerspectiveLens(const standin::ItemPose& pose, double field_radians, double height_over_width);

  void look(std::span<const FramePlace> places, std::span<LensDirection> directions) const override;
  void locate(std::span<const LensDirection> directions, std::span<FramePlace> places) const override;
  standin::Vec3 position() const override { return pose_.position; }
  std::string description() const override;

 private:
  standin::ItemPose pose_;
  double field_radians_;
  /// Of the frame at a distance of 1.
  double half_width_;
  double half_height_;
};

}  // namespace tool
