#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "sdk/services.h"
#include "standin/host/guarded.h"
#include "standin/scene/object_file.h"
#include "standin/scene/scene.h"

namespace standin {

/// A mesh handed to the module. Kept after it is destroyed, so that a later use is found out.
struct Mesh {
  Guarded<LWMeshInfo> record;
  std::shared_ptr<const ObjectFile> object;
  const Layer* layer = nullptr;
  const UvMap* selected = nullptr;
  bool destroyed = false;
};

struct SceneObject {
  /// As the scene writes it.
  std::string file_name;
  std::string name;
  /// Where it is looked for; empty when it is nowhere, or not in a file.
  std::filesystem::path file;
  /// Null until it is read.
  std::shared_ptr<const ObjectFile> object;
};

/// The object files of a scene, each once, and the meshes that the module has opened. Threads: one.
class SceneObjectService {
 public:
  std::vector<std::unique_ptr<Mesh>> meshes;

  /// Notes the item's object file. It is read when the module first asks for it; one that cannot be read has no layers, and
  /// the reason is among the host's messages.
  void add(const Scene& scene, const Item& item);
  /// An object that is not in a file.
  void add(const std::string& name, ObjectFile object);

  std::size_t count() const { return objects_.size(); }
  /// Null when there is no such object.
  const SceneObject* find(int object);
  /// Null when there is no such object or layer (numbered from 0).
  const Layer* find_layer(int object, int layer);
  /// The texture maps of every object, each name once, in order.
  std::vector<const UvMap*> uv_maps();

 private:
  std::vector<SceneObject> objects_;
};

}  // namespace standin
