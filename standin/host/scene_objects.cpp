#include "standin/host/scene_objects.h"

#include <algorithm>
#include <array>
#include <exception>
#include <set>
#include <string_view>

#include "standin/host/services.h"

namespace standin {
namespace {

constexpr LWID texture_uv = lwid('T', 'X', 'U', 'V');
constexpr LWID polygon_face = lwid('F', 'A', 'C', 'E');
constexpr LWID surface_tag = lwid('S', 'U', 'R', 'F');
constexpr int most_points_per_polygon = 1023;

constexpr std::uint64_t point_kind = std::uint64_t{0x1A20} << 48;
constexpr std::uint64_t polygon_kind = std::uint64_t{0x1A21} << 48;

/// The index that a point's or polygon's handle stands for; `count` when it is not one.
std::size_t index_of(const void* handle, std::uint64_t kind, std::size_t count) {
  const auto index = static_cast<std::size_t>(reinterpret_cast<std::uint64_t>(handle) - kind);
  return std::min(index, count);
}

LWPntID point_id(std::size_t index) { return reinterpret_cast<LWPntID>(point_kind | index); }
LWPolID polygon_id(std::size_t index) { return reinterpret_cast<LWPolID>(polygon_kind | index); }

SceneObjectService* scene_objects() {
  Host* host = Host::current();
  return host != nullptr ? &host->scene_objects : nullptr;
}

const SceneObject* require_object(int object, const char* call) {
  SceneObjectService* objects = scene_objects();
  const SceneObject* found = objects != nullptr ? objects->find(object) : nullptr;
  if (found == nullptr) violation(call, "there is no object " + std::to_string(object));
  return found;
}

/// The living mesh, or null after recording the violation.
Mesh* require_mesh(const LWMeshInfo* record, const char* call) {
  if (SceneObjectService* objects = scene_objects()) {
    for (const auto& mesh : objects->meshes)
      if (&*mesh->record == record && !mesh->destroyed) return mesh.get();
  }
  violation(call, "the mesh " + handle_text(record) + " is not open");
  return nullptr;
}

struct PointOfMesh {
  Mesh* mesh = nullptr;
  std::uint32_t index = 0;
  explicit operator bool() const { return mesh != nullptr; }
};

PointOfMesh require_point(const LWMeshInfo* record, LWPntID point, const char* call) {
  Mesh* mesh = require_mesh(record, call);
  if (mesh == nullptr) return {};
  const std::size_t index = index_of(point, point_kind, mesh->layer->points.size());
  if (index == mesh->layer->points.size()) {
    violation(call, "the point " + handle_text(point) + " is not in the mesh");
    return {};
  }
  return {mesh, static_cast<std::uint32_t>(index)};
}

const Polygon* require_polygon(const Mesh* mesh, LWPolID polygon, const char* call) {
  if (mesh == nullptr) return nullptr;
  const auto& polygons = mesh->layer->polygons;
  const std::size_t index = index_of(polygon, polygon_kind, polygons.size());
  if (index == polygons.size()) {
    violation(call, "the polygon " + handle_text(polygon) + " is not in the mesh");
    return nullptr;
  }
  return &polygons[index];
}

void mesh_destroy(LWMeshInfo* record) {
  if (Mesh* mesh = require_mesh(record, "LWMeshInfo destroy")) mesh->destroyed = true;
}

int point_count(LWMeshInfo* record) {
  const Mesh* mesh = require_mesh(record, "LWMeshInfo numPoints");
  return mesh != nullptr ? static_cast<int>(mesh->layer->points.size()) : 0;
}

int polygon_count(LWMeshInfo* record) {
  const Mesh* mesh = require_mesh(record, "LWMeshInfo numPolygons");
  return mesh != nullptr ? static_cast<int>(mesh->layer->polygons.size()) : 0;
}

std::size_t scan_points(LWMeshInfo* record, std::size_t (*scan)(void*, LWPntID), void* data) {
  const Mesh* mesh = require_mesh(record, "LWMeshInfo scanPoints");
  for (std::size_t i = 0; mesh != nullptr && i < mesh->layer->points.size(); ++i)
    if (const std::size_t stop = scan(data, point_id(i))) return stop;
  return 0;
}

std::size_t scan_polygons(LWMeshInfo* record, std::size_t (*scan)(void*, LWPolID), void* data) {
  const Mesh* mesh = require_mesh(record, "LWMeshInfo scanPolys");
  for (std::size_t i = 0; mesh != nullptr && i < mesh->layer->polygons.size(); ++i)
    if (const std::size_t stop = scan(data, polygon_id(i))) return stop;
  return 0;
}

void write_float_vector(LWFVector out, Vec3 value) {
  out[0] = static_cast<float>(value.x);
  out[1] = static_cast<float>(value.y);
  out[2] = static_cast<float>(value.z);
}

void point_position(LWMeshInfo* record, LWPntID point, LWFVector position) {
  const PointOfMesh found = require_point(record, point, "LWMeshInfo pntBasePos");
  write_float_vector(position, found ? found.mesh->layer->points[found.index] : Vec3{});
}

void* look_up_map(LWMeshInfo* record, LWID type, const char* name) {
  const Mesh* mesh = require_mesh(record, "LWMeshInfo pntVLookup");
  if (mesh != nullptr && type == texture_uv && name != nullptr) {
    for (const UvMap& map : mesh->layer->uv_maps)
      if (map.name == name) return const_cast<UvMap*>(&map);
  }
  return nullptr;
}

int select_map(LWMeshInfo* record, void* map) {
  Mesh* mesh = require_mesh(record, "LWMeshInfo pntVSelect");
  if (mesh == nullptr) return 0;
  mesh->selected = nullptr;
  for (const UvMap& own : mesh->layer->uv_maps) mesh->selected = &own == map ? &own : mesh->selected;
  if (mesh->selected == nullptr && map != nullptr)
    violation("LWMeshInfo pntVSelect", "the map " + handle_text(map) + " is not of this mesh");
  return mesh->selected != nullptr ? mesh->selected->dimension : 0;
}

int copy_values(const std::vector<float>& from, float* values) {
  std::copy(from.begin(), from.end(), values);
  return 1;
}

int point_value(LWMeshInfo* record, LWPntID point, float* values) {
  const PointOfMesh found = require_point(record, point, "LWMeshInfo pntVGet");
  if (!found || found.mesh->selected == nullptr) return 0;
  const auto value = found.mesh->selected->of_point.find(found.index);
  return value != found.mesh->selected->of_point.end() ? copy_values(value->second, values) : 0;
}

int point_value_in_polygon(LWMeshInfo* record, LWPntID point, LWPolID polygon, float* values) {
  const PointOfMesh found = require_point(record, point, "LWMeshInfo pntVPGet");
  if (!found || require_polygon(found.mesh, polygon, "LWMeshInfo pntVPGet") == nullptr || found.mesh->selected == nullptr)
    return 0;
  const auto polygon_index = static_cast<std::uint32_t>(index_of(polygon, polygon_kind, found.mesh->layer->polygons.size()));
  const auto& own = found.mesh->selected->of_point_in_polygon;
  const auto value = own.find({found.index, polygon_index});
  return value != own.end() ? copy_values(value->second, values) : 0;
}

LWID polygon_type(LWMeshInfo* record, LWPolID polygon) {
  const Mesh* mesh = require_mesh(record, "LWMeshInfo polType");
  return require_polygon(mesh, polygon, "LWMeshInfo polType") != nullptr ? polygon_face : 0;
}

int polygon_size(LWMeshInfo* record, LWPolID polygon) {
  const Polygon* found = require_polygon(require_mesh(record, "LWMeshInfo polSize"), polygon, "LWMeshInfo polSize");
  return found != nullptr ? static_cast<int>(found->points.size()) : 0;
}

/// Null past the last corner. That is not a violation: a module may look for a fourth corner of a triangle.
LWPntID polygon_vertex(LWMeshInfo* record, LWPolID polygon, int corner) {
  const Polygon* found = require_polygon(require_mesh(record, "LWMeshInfo polVertex"), polygon, "LWMeshInfo polVertex");
  if (found == nullptr || corner < 0 || static_cast<std::size_t>(corner) >= found->points.size()) return nullptr;
  return point_id(found->points[static_cast<std::size_t>(corner)]);
}

const char* polygon_tag(LWMeshInfo* record, LWPolID polygon, LWID type) {
  const Mesh* mesh = require_mesh(record, "LWMeshInfo polTag");
  const Polygon* found = require_polygon(mesh, polygon, "LWMeshInfo polTag");
  const bool named = found != nullptr && type == surface_tag && found->surface < mesh->object->surfaces.size();
  return named ? mesh->object->surfaces[found->surface].name.c_str() : nullptr;
}

unsigned polygon_flags(LWMeshInfo* record, LWPolID polygon) {
  require_polygon(require_mesh(record, "LWMeshInfo polFlags"), polygon, "LWMeshInfo polFlags");
  return 0;
}

LWMeshInfo* layer_mesh(int object, int layer) {
  SceneObjectService* objects = scene_objects();
  if (objects == nullptr || require_object(object, "Scene Objects layerMesh") == nullptr) return nullptr;
  const Layer* found = objects->find_layer(object, layer);
  if (found == nullptr) return nullptr;
  auto mesh = std::make_unique<Mesh>();
  mesh->object = objects->find(object)->object;
  mesh->layer = found;
  *mesh->record = LWMeshInfo{mesh.get(),   mesh_destroy,   point_count,    polygon_count,
                             scan_points,  scan_polygons,  point_position, point_position,
                             look_up_map,  select_map,     point_value,    polygon_type,
                             polygon_size, polygon_vertex, polygon_tag,    point_value_in_polygon,
                             polygon_flags};
  objects->forget_old_meshes();
  objects->meshes.push_back(std::move(mesh));
  return &*objects->meshes.back()->record;
}

int object_count() { return scene_objects() != nullptr ? static_cast<int>(scene_objects()->count()) : 0; }

const char* object_file_name(int object) {
  const SceneObject* found = require_object(object, "Scene Objects filename");
  return found != nullptr ? found->file_name.c_str() : nullptr;
}

const char* object_name(int object) {
  const SceneObject* found = require_object(object, "Scene Objects userName");
  return found != nullptr ? found->name.c_str() : nullptr;
}

/// One more than the highest number of a layer.
int layer_limit(int object) {
  const SceneObject* found = require_object(object, "Scene Objects maxLayers");
  int limit = 0;
  if (found != nullptr)
    for (const Layer& layer : found->object->layers) limit = std::max(limit, layer.number + 1);
  return limit;
}

const Layer* require_layer(int object, int layer, const char* call) {
  const Layer* found = require_object(object, call) != nullptr ? scene_objects()->find_layer(object, layer) : nullptr;
  if (found == nullptr) violation(call, "there is no layer " + std::to_string(layer));
  return found;
}

int layer_exists(int object, int layer) {
  return require_object(object, "Scene Objects layerExists") != nullptr && scene_objects()->find_layer(object, layer) != nullptr
             ? 1
             : 0;
}

void pivot_point(int object, int layer, LWFVector pivot) {
  const Layer* found = require_layer(object, layer, "Scene Objects pivotPoint");
  write_float_vector(pivot, found != nullptr ? found->pivot : Vec3{});
}

const char* layer_name(int object, int layer) {
  const Layer* found = require_layer(object, layer, "Scene Objects layerName");
  return found != nullptr ? found->name.c_str() : nullptr;
}

int layer_visible(int object, int layer) {
  const Layer* found = require_layer(object, layer, "Scene Objects layerVis");
  return found != nullptr && !found->hidden ? 1 : 0;
}

int map_count(LWID type) {
  return type == texture_uv && scene_objects() != nullptr ? static_cast<int>(scene_objects()->uv_maps().size()) : 0;
}

/// Null past the last map.
const UvMap* map_at(LWID type, int index) {
  const auto maps = type == texture_uv && scene_objects() != nullptr ? scene_objects()->uv_maps() : std::vector<const UvMap*>();
  return index >= 0 && static_cast<std::size_t>(index) < maps.size() ? maps[static_cast<std::size_t>(index)] : nullptr;
}

const char* map_name(LWID type, int index) {
  const UvMap* map = map_at(type, index);
  return map != nullptr ? map->name.c_str() : nullptr;
}

int map_dimension(LWID type, int index) {
  const UvMap* map = map_at(type, index);
  return map != nullptr ? map->dimension : 0;
}

LWID map_type(int index) { return map_at(texture_uv, index) != nullptr ? texture_uv : 0; }

LWObjectFuncs scene_object_table() {
  return {object_count,    object_file_name, layer_limit, layer_exists,  pivot_point,
          layer_mesh,      map_count,        map_name,    map_dimension, map_type,
          layer_name,      layer_visible,    object_name, object_name,   most_points_per_polygon,
          unsupported_slot};
}

std::shared_ptr<const ObjectFile> read_or_empty(const SceneObject& object) {
  std::string reason = "the file cannot be found";
  try {
    if (!object.file.empty()) return std::make_shared<const ObjectFile>(read_object_file(object.file));
  } catch (const std::exception& error) {
    reason = error.what();
  }
  if (Host* host = Host::current())
    host->record_message({"error", {"The object " + object.file_name + " cannot be read", reason}});
  return std::make_shared<const ObjectFile>();
}

}  // namespace

void SceneObjectService::add(const Scene& scene, const Item& item) {
  if (item.kind != ItemKind::object || item.object_file.empty() || !known_.insert(item.object_file).second) return;
  if (!search_) search_.emplace(scene);
  objects_.push_back({item.object_file, item.name, search_->find(item.object_file), nullptr});
}

void SceneObjectService::add(const std::string& name, ObjectFile object) {
  known_.insert(name);
  objects_.push_back({name, name, {}, std::make_shared<const ObjectFile>(std::move(object))});
}

void SceneObjectService::forget_old_meshes() {
  constexpr std::size_t most_kept = 256;
  if (meshes.size() < most_kept) return;
  std::erase_if(meshes, [](const std::unique_ptr<Mesh>& mesh) {
    if (mesh->destroyed && !mesh->record.intact()) violation("LWMeshInfo", "the module wrote past the record");
    return mesh->destroyed;
  });
}

const SceneObject* SceneObjectService::find(int object) {
  if (object < 0 || static_cast<std::size_t>(object) >= objects_.size()) return nullptr;
  SceneObject& found = objects_[static_cast<std::size_t>(object)];
  if (found.object == nullptr) found.object = read_or_empty(found);
  return &found;
}

const Layer* SceneObjectService::find_layer(int object, int layer) {
  const SceneObject* found = find(object);
  if (found != nullptr) {
    for (const Layer& candidate : found->object->layers)
      if (candidate.number == layer) return &candidate;
  }
  return nullptr;
}

std::vector<const UvMap*> SceneObjectService::uv_maps() {
  std::vector<const UvMap*> maps;
  std::set<std::string_view> names;
  for (std::size_t i = 0; i < objects_.size(); ++i) {
    for (const Layer& layer : find(static_cast<int>(i))->object->layers) {
      for (const UvMap& map : layer.uv_maps)
        if (names.insert(map.name).second) maps.push_back(&map);
    }
  }
  return maps;
}

Service scene_object_service() {
  static ServiceTable<LWObjectFuncs> handed(scene_object_table());
  return handed.service(LWOBJECTFUNCS_GLOBAL);
}

Service object_info_service() {
  // Modules ask for it but must not call it: every slot reports that.
  using Slots = std::array<LWUnusedSlot, 64>;
  static ServiceTable<Slots> handed([] {
    Slots slots{};
    slots.fill(unsupported_slot);
    return slots;
  }());
  return handed.service(LWOBJECTINFO_GLOBAL);
}

}  // namespace standin
