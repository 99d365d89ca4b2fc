#include "cameras/surface_baking/surface_baking_cam.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <new>
#include <vector>

#include "framework/camera.h"

namespace BakingCam {

/// Acquired with the handler, and null where the host has none. Of the first, nothing is called.
const void* objinfo = nullptr;
const LWObjectFuncs* objects = nullptr;

struct Camera {
  using Lens = BakingCam::Lens;
  using PoseType = framework::Pose;

  static constexpr const char* server_name = "QuorinBakingCam";
  static constexpr const char* description = "QuorinBakingCam Oct 28 2026 01:01:58";
  static constexpr unsigned flags = LWCAMFLAG_DEPTH_OF_FIELD;

  static constexpr std::array<framework::Parameter<Lens>, 0> parameters{};

  static constexpr std::array saved{
      framework::saved_plain_number(&Lens::offset_from_surface),
      framework::saved_plain_number(&Lens::uv_border),
      framework::saved_word(&Lens::mesh_index),
      framework::saved_word(&Lens::uv_map_index),
      framework::saved_word(&Lens::direction_reference),
      framework::saved_word(&Lens::fit_mode),
      framework::saved_word(&Lens::flip_uv_y),
      framework::saved_word(&Lens::bake_surroundings),
  };

  struct State {
    /// As of the last frame; all zero before there was one, which no default is.
    Lens previous{0.0, 0.0, 0, 0, 0, 0, 0, 0};
    framework::Film film;
    CoverageGrid coverage;
    /// What a cell holds that no surface covers.
    LWPolID coverage_marker = nullptr;
    bool out_of_memory = false;
  };

  using Instance = framework::CameraInstance<Camera>;

  static void init_render(const Instance& camera) { std::printf("C_InitRender %i\n", camera.render_mode); }
  static void clean_up(const Instance& camera) { std::printf("C_CleanUp %i\n", camera.render_mode); }
  static void new_frame(Instance& camera, const LWFrameInfo& frame, const LWCameraAccess& record);
  static int evaluate(const Instance& camera, const framework::Sample& sample, LWCameraRay& ray, const LWCameraAccess* record);
  /// The coverage is not copied: the copy's next frame makes its own.
  static void copy(Instance& to, const Instance& from) { to.lens = from.lens; }
};

using CameraPlugin = framework::CameraInstance<Camera>;

constexpr LWID texture_uv = lwid('T', 'X', 'U', 'V');

/// Place in one of the host's lists of the entry that a popup chose; negative for none, and for one that is not there.
int chosen_entry(std::uint32_t choice, int count) {
  return count > 0 && choice <= static_cast<unsigned>(count) ? static_cast<int>(choice) - 1 : -1;
}

int object_count() { return objects != nullptr ? std::max(objects->numObjects(), 0) : 0; }
int uv_map_count() { return objects != nullptr ? std::max(objects->numVMaps(texture_uv), 0) : 0; }

/// As people know it; by its file where they have not called it anything.
const char* object_name(int object) {
  const char* name = objects->userName(object);
  return name != nullptr ? name : objects->filename(object);
}

const char* uv_map_name(int map) { return objects->vmapName(texture_uv, map); }

const char* entry_name(int index, int count, const char* (*name_of)(int place)) {
  const char* name = index >= 1 && index <= count ? name_of(index - 1) : nullptr;
  return name != nullptr ? name : "(none)";
}

int popup_count(const CameraPlugin* /*instance*/) { return 1 + object_count(); }
const char* popup_name(const CameraPlugin* /*instance*/, int index) { return entry_name(index, object_count(), object_name); }

constexpr const char* direction_references[] = {"Polygon normal", "Smoothed normal", "Mesh origin\t", "Camera position",
                                                nullptr};
constexpr const char* fit_modes[] = {"Width", "Height", "Width & Height", nullptr};

constexpr std::array panel_rows{
    framework::drawing_row<Lens>(0x8000),
    framework::version_row<Lens>(0x8002),
    framework::word_row(0x8006, "Mesh", "iPopChoice", &Lens::mesh_index),
    framework::word_row(0x8007, "UV Map", "iPopChoice", &Lens::uv_map_index),
    framework::plain_number_row(0x800d, "Offset from surface", "distance", &Lens::offset_from_surface),
    framework::word_row(0x8008, "Direction reference", "iPopChoice", &Lens::direction_reference),
    framework::plain_number_row(0x800e, "UV Border", "float", &Lens::uv_border),
    framework::word_row(0x8009, "Fit UV map to reference", "iPopChoice", &Lens::fit_mode),
    framework::word_row(0x800a, "Flip UV Y", "iBoolean", &Lens::flip_uv_y),
    framework::word_row(0x800b, "Bake surroundings", "iBoolean", &Lens::bake_surroundings, "Bake Surroundings"),
};

LWXPanelDrawFunc PanelControlDrawFunc;
LWXPanelPopCountFunc PanelPopCount, PanelPopCountUvMap;
LWXPanelPopNameFunc PanelPopName, PanelPopNameUvMap;

constexpr auto panel_hints =
    framework::hint_list(framework::no_focus(), framework::full_size(0x8000), framework::drawn_by(0x8000, PanelControlDrawFunc),
                         framework::divider_after(0x8002), framework::popup(0x8006, PanelPopCount, PanelPopName),
                         framework::popup(0x8007, PanelPopCountUvMap, PanelPopNameUvMap),
                         framework::choices(0x8008, direction_references), framework::choices(0x8009, fit_modes));

/// The frame without its grid is lost: the host is told, with a sentence for a person, and goes on without it. Neither an
/// exception, which must not leave the module, nor the end of the process would do: the host has a person's unsaved work.
LWError frame_failure(const CameraPlugin* camera) {
  return camera->state.out_of_memory
             ? "There is no memory for the coverage of so many pixels; give the camera a lower resolution"
             : nullptr;
}

#include "framework/evaluation.inc"

OVICAM_EXPORT int PanelPopCountUvMap(void* /*instance*/) { return 1 + uv_map_count(); }

OVICAM_EXPORT const char* PanelPopNameUvMap(void* /*instance*/, int index) {
  return entry_name(index, uv_map_count(), uv_map_name);
}

OVICAM_EXPORT int CameraHandler(int version, GlobalFunc* global, void* local, void* server_data) {
  const int result =
      framework::activate_handler(framework::services<Camera>, handler_callbacks, version, global, local, server_data);
  if (result == AFUNC_OK) {
    objinfo = global(LWOBJECTINFO_GLOBAL, GFUSE_TRANSIENT);
    objects = static_cast<const LWObjectFuncs*>(global(LWOBJECTFUNCS_GLOBAL, GFUSE_TRANSIENT));
  }
  return result;
}

struct ChosenUvMap {
  /// Null: none is chosen.
  const char* name = nullptr;
  int dimension = 0;
};

ChosenUvMap chosen_uv_map(std::uint32_t choice) {
  const int map = chosen_entry(choice, uv_map_count());
  if (map < 0) return {};
  return {uv_map_name(map), objects->vmapDim(texture_uv, map)};
}

/// A handle as printed: its low 32 bits.
int printed(const void* handle) { return static_cast<int>(reinterpret_cast<std::uintptr_t>(handle)); }

const char* printed(const char* text, const char* otherwise = "") { return text != nullptr ? text : otherwise; }

/// Rasterises the polygons of one layer's mesh, as the host hands them over one by one.
class PolygonScan {
 public:
  /// `map` may be missing from the mesh. Throws std::bad_alloc.
  PolygonScan(LWMeshInfo& mesh, const ChosenUvMap& map, CoverageGrid& coverage, bool bake_surroundings)
      : mesh_(&mesh), coverage_(&coverage), bake_surroundings_(bake_surroundings) {
    void* found = mesh.pntVLookup(&mesh, texture_uv, map.name);
    const int dimension = found != nullptr ? mesh.pntVSelect(&mesh, found) : 0;
    readable_ = dimension >= 2;
    // The host writes as many values as the map has, whatever is wanted of them.
    if (readable_) values_.resize(static_cast<std::size_t>(std::max(dimension, map.dimension)));
  }

  /// As the host calls it, for each polygon; 0 goes on.
  static std::size_t visit(void* scan, LWPolID polygon) {
    static_cast<PolygonScan*>(scan)->rasterise(polygon);
    return 0;
  }

 private:
  struct Position {
    LWFVector at{};
    friend bool operator==(const Position& a, const Position& b) { return std::equal(a.at, a.at + 3, b.at); }
  };

  void rasterise(LWPolID polygon) {
    if (mesh_->polSize(mesh_, polygon) < 3) return;
    UvTriangle triangle{};
    std::array<Position, 3> positions{};
    bool complete = true;
    for (int i = 0; i < 3; ++i) {
      const auto corner = static_cast<std::size_t>(i);
      const LWPntID point = mesh_->polVertex(mesh_, polygon, i);
      if (point == nullptr) return;
      complete = read_uv(point, polygon, triangle[corner]) && complete;
      mesh_->pntBasePos(mesh_, point, positions[corner].at);
    }
    if (positions[0] == positions[1]) std::printf("point 1 and 2 match!\n");
    if (positions[2] == positions[1]) std::printf("point 3 and 2 match!\n");
    if (positions[0] == positions[2]) std::printf("point 1 and 3 match!\n");
    if (!complete) return;
    mark_corners(*coverage_, triangle, polygon);
    if (bake_surroundings_) mark_edges(*coverage_, triangle, polygon);
  }

  /// A point's value in the polygon wins over its value everywhere: that is how a seam is made.
  bool read_uv(LWPntID point, LWPolID polygon, Uv<float>& uv) {
    if (!readable_) return false;
    float* values = values_.data();
    if (mesh_->pntVPGet(mesh_, point, polygon, values) == 0 && mesh_->pntVGet(mesh_, point, values) == 0) return false;
    uv = {values[0], values[1]};
    return true;
  }

  LWMeshInfo* mesh_;
  CoverageGrid* coverage_;
  bool bake_surroundings_;
  bool readable_ = false;
  std::vector<float> values_;
};

struct CloseMesh {
  void operator()(LWMeshInfo* mesh) const { mesh->destroy(mesh); }
};

void scan_layer(CameraPlugin& camera, const ChosenUvMap& map, int object, int layer) {
  LWFVector pivot{};
  objects->pivotPoint(object, layer, pivot);
  std::printf("%f %f %f\n", pivot[0], pivot[1], pivot[2]);
  std::printf("%s %i %i\n", printed(objects->layerName(object, layer)), objects->layerExists(object, layer),
              objects->layerVis(object, layer));
  const std::unique_ptr<LWMeshInfo, CloseMesh> mesh(objects->layerMesh(object, layer));
  if (!mesh) return;
  std::printf("points = %08i\n", mesh->numPoints(mesh.get()));
  std::printf("polys = %08i\n", mesh->numPolygons(mesh.get()));
  if (map.name == nullptr) return;
  PolygonScan scan(*mesh, map, camera.state.coverage, camera.lens.bake_surroundings != 0);
  mesh->scanPolys(mesh.get(), PolygonScan::visit, &scan);
}

void scan_object(CameraPlugin& camera, const ChosenUvMap& map, int object) {
  std::printf("%s\n  %s\n  %s\n", printed(objects->filename(object)), printed(objects->userName(object)),
              printed(objects->refName(object)));
  const int layer_count = objects->maxLayers(object);
  std::printf("%i %i %i\n", printed(static_cast<const void*>(map.name)), map.dimension, layer_count);
  for (int layer = 0; layer < layer_count; ++layer) {
    // Layers are numbered with gaps.
    if (objects->layerExists(object, layer) != 0) scan_layer(camera, map, object, layer);
  }
}

void Camera::new_frame(CameraPlugin& camera, const LWFrameInfo& frame, const LWCameraAccess& record) {
  State& state = camera.state;
  if (framework::same_frame(camera.frame_info, frame) && framework::same_access(camera.access, record) &&
      camera.lens == state.previous) {
    return;
  }
  camera.NewFrame(&frame, &record);
  const auto [width, height] = camera.readings().resolution();
  state.film = camera.readings().film_size();
  state.previous = camera.lens;
  try {
    state.coverage.make({width, height});
    const ChosenUvMap map = chosen_uv_map(camera.lens.uv_map_index);
    const int object = chosen_entry(camera.lens.mesh_index, object_count());
    if (object >= 0) scan_object(camera, map, object);
    std::printf("%i %i %i\n", printed(static_cast<const void*>(map.name)), map.dimension, 0);
    state.out_of_memory = false;
  } catch (const std::bad_alloc&) {
    state.coverage.release();
    state.out_of_memory = true;
    // Forgotten, so that the same frame is tried again and not taken for done.
    camera.access = framework::only_item(camera.own_item);
  }
}

int Camera::evaluate(const CameraPlugin& camera, const framework::Sample& sample, LWCameraRay& ray,
                     const LWCameraAccess* /*record*/) {
  const State& state = camera.state;
  if (!state.coverage.exists()) return LWCAMEVAL_RAY;
  const Uv<double> uv = uv_of_film(camera.lens, state.film, sample.film);
  if (state.coverage.polygon_at(uv) != state.coverage_marker) return LWCAMEVAL_NONE;
  // The same for every pixel, as long as nothing finds the surface's own ray.
  constexpr framework::Ray test_ray{{10.0, 0.0, -10.0}, {0.0, 0.0, 1.0}, {0.0, 0.0, 1.0}};
  framework::store(test_ray, ray);
  return LWCAMEVAL_RAY;
}

}  // namespace BakingCam
