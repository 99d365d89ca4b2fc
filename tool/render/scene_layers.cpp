#include "tool/render/scene_layers.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>

#include "standin/scene/object_search.h"

namespace tool {
namespace {

/// Scenes count layers from 1, object files from 0; older files do not number them and rely on their order.
const standin::Layer* find_layer(const standin::ObjectFile& file, int layer_from_1) {
  const auto found = std::find_if(file.layers.begin(), file.layers.end(),
                                  [&](const standin::Layer& layer) { return layer.number == layer_from_1 - 1; });
  return found == file.layers.end() ? nullptr : &*found;
}

}  // namespace

standin::ItemPose PlacedLayer::world_pose(const standin::Scene& scene, double time_seconds) const {
  return world_pose(scene.world_pose(*item, time_seconds));
}

standin::ItemPose PlacedLayer::world_pose(standin::ItemPose pose) const {
  // The item's pose includes the scene's pivot; where the scene has none, the object's own pivot applies.
  if (item->pivot == standin::Vec3{}) pose.position = pose.point_to_world(layer->pivot * -1.0);
  return pose;
}

std::vector<PlacedLayer> placed_layers(const standin::Scene& scene, std::ostream& warnings) {
  std::vector<PlacedLayer> layers;
  std::map<std::string, std::shared_ptr<const standin::ObjectFile>> files;
  std::set<std::string> told;
  standin::ObjectSearch search(scene);
  for (const standin::Item& item : scene.items) {
    if (item.kind != standin::ItemKind::object || item.object_file.empty()) continue;
    const auto path = search.find(item.object_file);
    if (path.empty()) {
      if (told.insert(item.object_file).second) {
        warnings << "warning: object \"" << item.object_file << "\" was not found "
                 << (scene.content_folder.empty()
                         ? "in the scene's folder or above it; it is left out (--content names the "
                           "folder of all content)"
                         : "in the scene's folder or under " + scene.content_folder.string() + "; it is left out")
                 << '\n';
      }
      continue;
    }
    auto& file = files[path.string()];
    if (!file) file = std::make_shared<const standin::ObjectFile>(standin::read_object_file(path));
    const standin::Layer* layer = find_layer(*file, item.layer);
    if (layer == nullptr) {
      if (told.insert(path.string() + ':' + std::to_string(item.layer)).second)
        warnings << "warning: object \"" << path.string() << "\" has no layer " << item.layer << "; it is left out\n";
    } else if (!layer->hidden) {
      layers.push_back({&item, file, layer});
    }
  }
  return layers;
}

}  // namespace tool
