#pragma once

#include <numbers>
#include <string>
#include <vector>

#include "standin/scene/vector.h"
#include "tool/lens/lens.h"

namespace tool {

/// From pole to pole, and all round or a part of that: s is the azimuth, half of the span to the left and half of it to the
/// right, t the elevation. Formula: the plate carree (equirectangular) projection.
class EquirectangularLens final : public Lens {
 public:
  /// The pose's axes have length one. `span_radians`: from the left edge to the right one, above 0, at most a turn.
  explicit EquirectangularLens(const standin::ItemPose& pose, double span_radians = 2.0 * std::numbers::pi)
      : pose_(pose), span_radians_(span_radians) {}

  void look(std::span<const FramePlace> places, std::span<LensDirection> directions) const override;
  void locate(std::span<const LensDirection> directions, std::span<FramePlace> places) const override;
  standin::Vec3 position() const override { return pose_.position; }
  std::string description() const override;

 private:
  standin::ItemPose pose_;
  double span_radians_;
};

/// The half of all directions that lies ahead, as a circle that touches the frame's shorter sides; around it, nothing. Formula:
/// the equidistant projection.
class Fisheye180Lens final : public Lens {
 public:
  /// The pose's axes have length one. `width_over_height`: of the frame as it is seen.
  Fisheye180Lens(const standin::ItemPose& pose, double width_over_height);

  void look(std::span<const FramePlace> places, std::span<LensDirection> directions) const override;
  void locate(std::span<const LensDirection> directions, std::span<FramePlace> places) const override;
  bool is_blank(const FramePart& within) const override;
  standin::Vec3 position() const override { return pose_.position; }
  std::string description() const override { return "fisheye180"; }

 private:
  standin::ItemPose pose_;
  /// Of the frame, in radii of the circle.
  double half_width_;
  double half_height_;
};

/// Another lens with its directions in the axes of a pose, in place of the world's.
class LensInPose final : public Lens {
 public:
  /// The lens must outlive this; the pose's axes have length one.
  LensInPose(const Lens& lens, const standin::ItemPose& pose) : lens_(lens), pose_(pose) {}

  void look(std::span<const FramePlace> places, std::span<LensDirection> directions) const override;
  void locate(std::span<const LensDirection> directions, std::span<FramePlace> places) const override;
  std::vector<FramePart> parts() const override { return lens_.parts(); }
  bool is_blank(const FramePart& within) const override { return lens_.is_blank(within); }
  standin::Vec3 position() const override { return {}; }
  std::string description() const override { return lens_.description(); }

 private:
  const Lens& lens_;
  standin::ItemPose pose_;
};

}  // namespace tool
