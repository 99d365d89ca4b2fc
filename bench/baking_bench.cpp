// What the surface baking camera takes to scan meshes of several sizes, and for a ray, as one JSON object from the name of a
// measurement to nanoseconds. bench/run_bench.py runs it. The module prints what it scans on standard output, so the object
// goes into a file.
//   baking_bench MODULE FILE

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "sdk/host.h"
#include "standin/host/host.h"
#include "standin/host/hosted_camera.h"
#include "standin/host/module.h"
#include "standin/scene/object_file.h"

namespace {

constexpr const char* server = "QuorinBakingCam";
constexpr std::uint32_t mesh_id = 0x8006;
constexpr std::uint32_t uv_map_id = 0x8007;
constexpr std::uint32_t surroundings_id = 0x800b;

/// The mesh: a square of so many cells each way, with two triangles per cell.
std::uint64_t cells = 0;
std::uint64_t points_a_side = 0;
std::uint64_t triangle_count = 0;

void set_mesh(std::uint64_t cells_a_side) {
  cells = cells_a_side;
  points_a_side = cells + 1;
  triangle_count = 2 * cells * cells;
}

std::uint64_t corner_of(std::uint64_t triangle, std::uint64_t corner) {
  const std::uint64_t cell = triangle / 2;
  const std::uint64_t first = cell / cells * points_a_side + cell % cells;
  const std::uint64_t second = triangle % 2 == 0 ? first + points_a_side : first + points_a_side + 1;
  return corner == 0 ? first : corner == 1 ? second : triangle % 2 == 0 ? first + points_a_side + 1 : first + 1;
}

float u_of(std::uint64_t point) { return static_cast<float>(point % points_a_side) / static_cast<float>(cells); }
float v_of(std::uint64_t point) {
  const std::uint64_t row = point / points_a_side;
  return static_cast<float>(row) / static_cast<float>(cells);
}

// --- A host whose meshes cost next to nothing, so that the module's own time is measured. Handles are numbers from 1.

template <class Handle>
Handle handle_of(std::uint64_t number) {
  return reinterpret_cast<Handle>(number + 1);
}
template <class Handle>
std::uint64_t number_of(Handle handle) {
  return reinterpret_cast<std::uint64_t>(handle) - 1;
}

LWMeshInfo quick_mesh() {
  LWMeshInfo mesh{};
  mesh.destroy = [](LWMeshInfo*) {};
  mesh.numPoints = [](LWMeshInfo*) { return static_cast<int>(points_a_side * points_a_side); };
  mesh.numPolygons = [](LWMeshInfo*) { return static_cast<int>(triangle_count); };
  mesh.scanPolys = [](LWMeshInfo*, std::size_t (*scan)(void*, LWPolID), void* data) {
    std::size_t stop = 0;
    for (std::uint64_t i = 0; i < triangle_count && stop == 0; ++i) stop = scan(data, handle_of<LWPolID>(i));
    return stop;
  };
  mesh.pntBasePos = [](LWMeshInfo*, LWPntID point, LWFVector position) {
    position[0] = u_of(number_of(point));
    position[1] = v_of(number_of(point));
    position[2] = 0.0F;
  };
  mesh.pntVLookup = [](LWMeshInfo*, LWID, const char*) -> void* { return handle_of<void*>(0); };
  mesh.pntVSelect = [](LWMeshInfo*, void*) { return 2; };
  mesh.pntVGet = [](LWMeshInfo*, LWPntID point, float* values) {
    values[0] = u_of(number_of(point));
    values[1] = v_of(number_of(point));
    return 1;
  };
  mesh.pntVPGet = [](LWMeshInfo*, LWPntID, LWPolID, float*) { return 0; };
  mesh.polSize = [](LWMeshInfo*, LWPolID) { return 3; };
  mesh.polVertex = [](LWMeshInfo*, LWPolID polygon, int corner) {
    return handle_of<LWPntID>(corner_of(number_of(polygon), static_cast<std::uint64_t>(corner)));
  };
  return mesh;
}

LWObjectFuncs quick_objects() {
  LWObjectFuncs objects{};
  objects.numObjects = [] { return 1; };
  objects.filename = objects.userName = objects.refName = [](int) { return "Quick"; };
  objects.maxLayers = [](int) { return 1; };
  objects.layerExists = objects.layerVis = [](int, int) { return 1; };
  objects.pivotPoint = [](int, int, LWFVector pivot) { std::fill_n(pivot, 3, 0.0F); };
  objects.layerMesh = [](int, int) {
    static LWMeshInfo mesh = quick_mesh();
    return &mesh;
  };
  objects.numVMaps = [](LWID) { return 1; };
  objects.vmapName = [](LWID, int) { return "UV"; };
  objects.vmapDim = [](LWID, int) { return 2; };
  objects.layerName = [](int, int) { return "Layer"; };
  return objects;
}

void* quick_global(const char* service, int use) {
  static LWObjectFuncs objects = quick_objects();
  return std::string_view(service) == LWOBJECTFUNCS_GLOBAL ? &objects : standin::Host::global()(service, use);
}

/// The same mesh for the stand-in host.
standin::ObjectFile object_file() {
  standin::ObjectFile object;
  object.surfaces.push_back({"Paint", {}, 1.0, 0.0});
  standin::Layer& layer = object.layers.emplace_back();
  standin::UvMap& map = layer.uv_maps.emplace_back();
  map.name = "UV";
  for (std::uint64_t i = 0; i < points_a_side * points_a_side; ++i) {
    layer.points.push_back({u_of(i), v_of(i), 0.0});
    map.of_point.emplace_hint(map.of_point.end(), static_cast<std::uint32_t>(i), std::vector{u_of(i), v_of(i)});
  }
  for (std::uint64_t i = 0; i < triangle_count; ++i) {
    auto& points = layer.polygons.emplace_back().points;
    for (const std::uint64_t corner : {0U, 1U, 2U}) points.push_back(static_cast<std::uint32_t>(corner_of(i, corner)));
  }
  return object;
}

double seconds(const std::function<void()>& action) {
  const auto start = std::chrono::steady_clock::now();
  action();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// The fastest of three frames.
double scan_seconds(standin::HostedCamera& camera, bool surroundings) {
  camera.panel().set_integer(mesh_id, 1);
  camera.panel().set_integer(uv_map_id, 1);
  camera.panel().set_integer(surroundings_id, surroundings ? 1 : 0);
  double fastest = 1e9;
  static int frame = 0;
  for (int turn = 0; turn < 3; ++turn) fastest = std::min(fastest, seconds([&] { camera.begin_frame(++frame); }));
  return fastest;
}

/// For positions spread over a film of `share` times the size.
double nanoseconds_per_ray(standin::HostedCamera& camera, double share) {
  const LWCameraAccess& access = camera.access();
  const auto evaluate = camera.handler().evaluate;
  LWCameraRay ray{};
  constexpr int side = 100;
  double fastest = 1e9;
  for (int turn = 0; turn < 60; ++turn) {
    fastest = std::min(fastest, seconds([&] {
                         for (int i = 0; i < side * side; ++i) {
                           const int row = i / side;
                           const double x = ((i % side) / double{side} - 0.5) * share * access.filmSize[0];
                           const double y = (row / double{side} - 0.5) * share * access.filmSize[1];
                           evaluate(camera.raw(), x, y, 0.0, 0.0, 0.0, LWCAMEYE_CENTER, &ray, &access);
                           asm volatile("" : : "r"(&ray) : "memory");
                         }
                       }));
  }
  return fastest * 1e9 / (side * side);
}

std::string object;

void report(const std::string& name, double nanoseconds) {
  object += (object.empty() ? "{\"" : ",\n\"") + name + "\": " + std::to_string(nanoseconds);
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 3) {
    static_cast<void>(std::fprintf(stderr, "Usage: baking_bench MODULE FILE\n"));
    return 2;
  }
  standin::Host host{standin::Scene{}};
  host.add_camera("Camera");
  host.camera("Camera").width_pixels = 1920;
  host.camera("Camera").height_pixels = 1080;
  const standin::Module module(argv[1]);
  standin::HostedCamera camera(host, module, server, "Camera");

  // The services of the last activation are the ones that are used.
  LWInstanceFuncs instance{};
  LWCameraHandler handler{};
  handler.inst = &instance;
  const standin::Server& row = module.server(LWCAMERA_HANDLER_CLASS, server);
  standin::require_activated(row.activate(LWCAMERA_HANDLER_VERSION, &quick_global, &handler, module.server_data()), row);
  for (const std::uint64_t cells_a_side : {70U, 223U, 708U}) {
    set_mesh(cells_a_side);
    const std::string triangles = "/" + std::to_string(triangle_count);
    report("baking/a scan, corners marked" + triangles, scan_seconds(camera, false) * 1e9);
    report("baking/a ray, corners marked" + triangles, nanoseconds_per_ray(camera, 1.0));
    report("baking/a scan, edges marked" + triangles, scan_seconds(camera, true) * 1e9);
    report("baking/a ray, edges marked" + triangles, nanoseconds_per_ray(camera, 1.0));
  }
  camera.panel().set_integer(mesh_id, 0);
  camera.begin_frame(1000);
  report("baking/a ray, nothing marked", nanoseconds_per_ray(camera, 1.0));
  report("baking/a ray, most of them off the grid", nanoseconds_per_ray(camera, 4.0));

  host.scene_objects.add("Square", object_file());
  standin::require_activated(module.activate(row, LWCAMERA_HANDLER_VERSION, &handler), row);
  report("baking/a scan through the stand-in host/" + std::to_string(triangle_count), scan_seconds(camera, false) * 1e9);
  std::ofstream file(argv[2]);
  file << object << "}\n";
  file.close();
  if (!file) throw std::runtime_error(std::string(argv[2]) + " cannot be written; name a file in a folder that can");
  return 0;
} catch (const std::exception& error) {
  static_cast<void>(std::fprintf(stderr, "%s\n", error.what()));
  return 1;
}
