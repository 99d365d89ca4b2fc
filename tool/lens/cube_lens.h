#pragma once

#include <array>
#include <string>
#include <vector>

#include "standin/scene/vector.h"
#include "tool/lens/lens.h"
#include "tool/pictures/cube_cells.h"

namespace tool {

/// The six sides of a cube side by side in one frame. A direction between two sides that do not reach each other has no place.
class CubeLens final : public Lens {
 public:
  /// The pose's axes have length one. `description` is for sentences.
  CubeLens(const standin::ItemPose& pose, const std::array<CubeCell, 6>& cells, std::string description);

  void look(std::span<const FramePlace> places, std::span<LensDirection> directions) const override;
  void locate(std::span<const LensDirection> directions, std::span<FramePlace> places) const override;
  std::vector<FramePart> parts() const override;
  bool is_blank(const FramePart& within) const override;
  standin::Vec3 position() const override { return pose_.position; }
  std::string description() const override { return description_; }

 private:
  standin::ItemPose pose_;
  std::array<CubeCell, 6> cells_;
  std::string description_;
};

}  // namespace tool
