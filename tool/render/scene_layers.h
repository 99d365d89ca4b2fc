#pragma once

#include <memory>
#include <ostream>
#include <vector>

#include "standin/scene/object_file.h"
#include "standin/scene/scene.h"

namespace tool {

/// A layer of an object file as the scene places it. A layer that is placed more than once has one address.
struct PlacedLayer {
  const standin::Item* item = nullptr;
  std::shared_ptr<const standin::ObjectFile> file;
  const standin::Layer* layer = nullptr;

  /// The pose of the layer's coordinate system in world space, and the same from the item's own pose.
  standin::ItemPose world_pose(const standin::Scene& scene, double time_seconds) const;
  standin::ItemPose world_pose(standin::ItemPose pose_of_item) const;
};

/// Every visible layer of the scene's objects; `scene` must outlive the result. A missing file, or an object without
/// the layer, is left out with a line to `warnings`; a file that cannot be read throws standin::FileError.
std::vector<PlacedLayer> placed_layers(const standin::Scene& scene, std::ostream& warnings);

}  // namespace tool
