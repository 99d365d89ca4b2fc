#include "cameras/surface_baking/surface_baking_cam.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <memory>
#include <new>
#include <vector>

#include "framework/camera_source.h"

constexpr framework::TagTable tagInfo21 = framework::tag_table("Quorin Surface Baking Camera");

namespace BakingCam {

constexpr std::array saved{
    framework::saved_plain_number(&Settings::offset_from_surface),
    framework::saved_plain_number(&Settings::uv_border),
    framework::saved_word(&Settings::mesh_index),
    framework::saved_word(&Settings::uv_map_index),
    framework::saved_word(&Settings::direction_reference),
    framework::saved_word(&Settings::fit_mode),
    framework::saved_word(&Settings::flip_uv_y),
    framework::saved_word(&Settings::bake_surroundings),
};

constexpr const char* direction_references[] = {"Polygon normal", "Smoothed normal", "Mesh origin\t", "Camera position",
                                                nullptr};
constexpr const char* fit_modes[] = {"Width", "Height", "Width & Height", nullptr};

LWXPanelPopCountFunc PanelPopCountUvMap;
LWXPanelPopNameFunc PanelPopNameUvMap;

using Row = framework::PanelRow<Settings>;
constexpr std::array panel{
    Row::logo(0x8000),
    Row::version(0x8002),
    Row::popup(0x8006, "Mesh", &Settings::mesh_index),
    Row::popup(0x8007, "UV Map", &Settings::uv_map_index, PanelPopCountUvMap, PanelPopNameUvMap),
    Row::number(0x800d, "Offset from surface", "distance", &Settings::offset_from_surface),
    Row::choice(0x8008, "Direction reference", &Settings::direction_reference, direction_references),
    Row::number(0x800e, "UV Border", "float", &Settings::uv_border),
    Row::choice(0x8009, "Fit UV map to reference", &Settings::fit_mode, fit_modes),
    Row::check_box(0x800a, "Flip UV Y", &Settings::flip_uv_y),
    Row::check_box(0x800b, "Bake surroundings", &Settings::bake_surroundings).data("Bake Surroundings"),
};

/// Acquired with the handler, and null where the host has none. Of the first, nothing is called.
const void* objinfo = nullptr;
const LWObjectFuncs* objects = nullptr;

constexpr LWID texture_uv = lwid('T', 'X', 'U', 'V');

/// Place in one of the host's lists of the entry that a popup chose; negative for none, and for one that is not there.
int chosen_entry(std::uint32_t choice, int count) {
  return count > 0 && choice <= static_cast<unsigned>(count) ? static_cast<int>(choice) - 1 : -1;
}

/// One less than there are numbers: a popup has an entry more.
constexpr int most_entries = std::numeric_limits<int>::max() - 1;

int object_count() { return objects != nullptr ? std::clamp(objects->numObjects(), 0, most_entries) : 0; }
int uv_map_count() { return objects != nullptr ? std::clamp(objects->numVMaps(texture_uv), 0, most_entries) : 0; }

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

constexpr framework::PopupList meshes_popup{
    [](const framework::HostServices& /*host*/, const framework::Camera* /*camera*/) { return 1 + object_count(); },
    [](const framework::HostServices& /*host*/, const framework::Camera* /*camera*/, int index) {
      return entry_name(index, object_count(), object_name);
    }};

constexpr framework::CameraTables<Settings> tables{.server_name = "QuorinBakingCam",
                                                   .description = "QuorinBakingCam Oct 28 2026 01:01:58",
                                                   .flags = LWCAMFLAG_DEPTH_OF_FIELD,
                                                   .parameters = {},
                                                   .saved = saved,
                                                   .panel = panel,
                                                   .popup = meshes_popup};

constinit framework::HostServices services;

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

void scan_layer(const Settings& settings, CoverageGrid& coverage, const ChosenUvMap& map, int object, int layer) {
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
  PolygonScan scan(*mesh, map, coverage, settings.bake_surroundings != 0);
  mesh->scanPolys(mesh.get(), PolygonScan::visit, &scan);
}

void scan_object(const Settings& settings, CoverageGrid& coverage, const ChosenUvMap& map, int object) {
  std::printf("%s\n  %s\n  %s\n", printed(objects->filename(object)), printed(objects->userName(object)),
              printed(objects->refName(object)));
  const int layer_count = objects->maxLayers(object);
  std::printf("%i %i %i\n", printed(static_cast<const void*>(map.name)), map.dimension, layer_count);
  for (int layer = 0; layer < layer_count; ++layer) {
    // Layers are numbered with gaps.
    if (objects->layerExists(object, layer) != 0) scan_layer(settings, coverage, map, object, layer);
  }
}

class CameraPlugin final : public framework::SettingsCamera<Settings> {
 public:
  explicit CameraPlugin(LWItemID item) : SettingsCamera(tables, services, item) {}

  int evaluate(const framework::Sample& sample, LWCameraRay& ray, const LWCameraAccess* /*record*/) const {
    if (!bake_.coverage.exists()) return LWCAMEVAL_RAY;
    const Uv<double> uv = uv_of_film(values, bake_.film, sample.film);
    if (bake_.coverage.polygon_at(uv) != bake_.coverage_marker) return LWCAMEVAL_NONE;
    // The same for every pixel, as long as nothing finds the surface's own ray.
    constexpr framework::Ray test_ray{{10.0, 0.0, -10.0}, {0.0, 0.0, 1.0}, {0.0, 0.0, 1.0}};
    return framework::store(test_ray, ray);
  }

  // As those of every camera. NOLINTNEXTLINE(readability-convert-member-functions-to-static)
  int project(const framework::WorldSample& /*sample*/, double* /*film*/, const LWCameraAccess& /*record*/) const { return 0; }

 private:
  /// The coverage of the last frame.
  struct Bake {
    /// All zero before there was a frame, which no default is.
    Settings settings{0.0, 0.0, 0, 0, 0, 0, 0, 0};
    framework::Film film;
    CoverageGrid coverage;
    /// What a cell holds that no surface covers.
    LWPolID coverage_marker = nullptr;
    bool out_of_memory = false;
  };

  void before_render() override { std::printf("C_InitRender %i\n", render_mode); }
  void after_render() override { std::printf("C_CleanUp %i\n", render_mode); }

  /// The coverage is not copied: the copy's next frame makes its own.
  void forget() override { bake_ = {}; }

  void begin_frame(const LWFrameInfo& frame, const LWCameraAccess& record) override {
    if (framework::same_frame(frame_info, frame) && framework::same_access(access, record) && values == bake_.settings) return;
    NewFrame(&frame, &record);
    const auto [width, height] = readings().resolution();
    bake_.film = readings().film_size();
    bake_.settings = values;
    try {
      bake_.coverage.make({width, height});
      const ChosenUvMap map = chosen_uv_map(values.uv_map_index);
      const int object = chosen_entry(values.mesh_index, object_count());
      if (object >= 0) scan_object(values, bake_.coverage, map, object);
      std::printf("%i %i %i\n", printed(static_cast<const void*>(map.name)), map.dimension, 0);
      bake_.out_of_memory = false;
    } catch (const std::bad_alloc&) {
      bake_.coverage.release();
      bake_.out_of_memory = true;
      // Forgotten, so that the same frame is tried again and not taken for done.
      access = framework::only_item(own_item);
    }
  }

  /// The frame without its grid is lost: the host is told, with a sentence for a person, and goes on without it. Neither an
  /// exception, which must not leave the module, nor the end of the process would do: the host has a person's unsaved work.
  LWError frame_failure() const override {
    return bake_.out_of_memory ? "There is no memory for the coverage of so many pixels; give the camera a lower resolution"
                               : nullptr;
  }

  Bake bake_;
};

#include "framework/camera_thunks.inc"

/// The ray of a film position: evaluation bits, or 0 for none, and then the ray is untouched. Threads: any.
[[gnu::flatten]] OVICAM_EXPORT int C_Evaluate(LWInstance instance, double film_x, double film_y, double lens_x, double lens_y,
                                              double fractional_time, LWCameraEye eye, LWCameraRay* ray,
                                              const LWCameraAccess* access) {
  return Callbacks::evaluate(instance, {{film_x, film_y}, {lens_x, lens_y}, fractional_time, eye}, ray, access);
}

OVICAM_EXPORT int CameraHandler(int version, GlobalFunc* global, void* local, void* server_data) {
  const int result = Callbacks::activate(handler_with(C_Evaluate), {version, global, local, server_data});
  if (result == AFUNC_OK) {
    objinfo = global(LWOBJECTINFO_GLOBAL, GFUSE_TRANSIENT);
    objects = static_cast<const LWObjectFuncs*>(global(LWOBJECTFUNCS_GLOBAL, GFUSE_TRANSIENT));
  }
  return result;
}

/// As PanelPopCount, of the texture maps.
OVICAM_EXPORT int PanelPopCountUvMap(void* /*instance*/) { return 1 + uv_map_count(); }

/// As PanelPopName, of the texture maps.
OVICAM_EXPORT const char* PanelPopNameUvMap(void* /*instance*/, int index) {
  return entry_name(index, uv_map_count(), uv_map_name);
}

}  // namespace BakingCam
