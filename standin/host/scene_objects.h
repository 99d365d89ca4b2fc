#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "sdk/services.h"
#include "standin/host/guarded.h"
#include "standin/scene/object_file.h"
#include "standin/scene/object_search.h"
#include "standin/scene/scene.h"

namespace standin {

/// A mesh given to the module. It is kept after the module destroys it, so that a later use is detected.
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
  /// Where it was found; empty when it was not, or when it is not in a file.
  std::filesystem::path file;
  /// Null until it has been read.
  std::shared_ptr<const ObjectFile> object;
};

/// The object files of a scene, each loaded once, and the meshes that the module has opened. Threads: one.
class SceneObjectService {
 public:
  std::vector<std::unique_ptr<Mesh>> meshes;

  /// Notes the item's object file. It is read when the module first asks for it; one that cannot be read has no layers, and
  /// the reason is among the host's messages.
  void add(const Scene& scene, const Item& item);
  /// An object that is not in a file.
  void add(const std::string& name, ObjectFile object);

  /// Where many have been kept, those that the module has destroyed go.
  void forget_old_meshes();

  std::size_t count() const { return objects_.size(); }
  /// Null when there is no such object.
  const SceneObject* find(int object);
  /// Null when there is no such object or layer (numbered from 0).
  const Layer* find_layer(int object, int layer);
  /// The texture maps of every object, each name once, in order.
  std::vector<const UvMap*> uv_maps();

 private:
  std::vector<SceneObject> objects_;
  std::set<std::string> known_;
  std::optional<ObjectSearch> search_;
};

}  // namespace standin
