#include "cameras/surface_baking/surface_baking_cam.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "sdk/host.h"
#include "standin/scene/object_file.h"
#include "tests/support/paths.h"
#include "tests/support/service_override.h"
#include "tests/support/stage.h"

/// For the address sanitizer, where there is one: an allocation that is refused is part of what is tested here.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }  // NOLINT

namespace surface_baking_cam_test {

using standin::Layer;
using standin::ObjectFile;
using standin::Vec3;
using test_support::host_table;
using test_support::ServiceOverride;
using test_support::Stage;

constexpr const char* server = "QuorinBakingCam";
constexpr LWID texture_uv = lwid('T', 'X', 'U', 'V');
constexpr float not_a_number = std::numeric_limits<float>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

constexpr std::uint32_t mesh_id = 0x8006;
constexpr std::uint32_t uv_map_id = 0x8007;
constexpr std::uint32_t direction_id = 0x8008;
constexpr std::uint32_t fit_id = 0x8009;
constexpr std::uint32_t flip_id = 0x800a;
constexpr std::uint32_t surroundings_id = 0x800b;
constexpr std::uint32_t offset_id = 0x800d;
constexpr std::uint32_t border_id = 0x800e;

/// What the module prints meanwhile, on its own stream, which is this program's.
std::string printed(const std::function<void()>& action) {
  EXPECT_EQ(std::fflush(stdout), 0);
  testing::internal::CaptureStdout();
  action();
  EXPECT_EQ(std::fflush(stdout), 0);
  std::string text = testing::internal::GetCapturedStdout();
  std::erase(text, '\r');
  return text;
}

std::size_t count_of(const std::string& line, const std::string& text) {
  std::size_t count = 0;
  for (std::size_t at = text.find(line); at != std::string::npos; at = text.find(line, at + 1)) ++count;
  return count;
}

using Uv = std::array<float, 2>;

/// Each polygon with points of its own; a point is where the texture puts it, pulled apart by its number.
ObjectFile object_of(const std::vector<std::vector<Uv>>& polygons, const std::string& map_name = "UV") {
  ObjectFile object;
  object.surfaces.push_back({"Paint", {}, 1.0, 0.0});
  Layer& layer = object.layers.emplace_back();
  layer.name = "Base";
  layer.uv_maps.push_back({map_name, 2, {}, {}});
  for (const auto& polygon : polygons) {
    auto& corners = layer.polygons.emplace_back().points;
    for (const auto& [u, v] : polygon) {
      const auto point = static_cast<std::uint32_t>(layer.points.size());
      layer.points.push_back({static_cast<double>(point), 0.0, 0.0});
      layer.uv_maps[0].of_point[point] = {u, v};
      corners.push_back(point);
    }
  }
  return object;
}

/// Which cells of a frame a person would mark, by hand from the rules, as row times width plus column.
class Model {
 public:
  Model(int width, int height) : width_(width), height_(height) {}

  void add(const ObjectFile& object, const std::string& map_name, bool edges) {
    for (const Layer& layer : object.layers) {
      for (const standin::UvMap& map : layer.uv_maps)
        if (map.name == map_name && map.dimension >= 2) add(layer, map, edges);
    }
  }

  std::set<int> visible() const {
    std::set<int> cells;
    for (const long long cell : cells_)
      if (cell < static_cast<long long>(width_) * height_) cells.insert(static_cast<int>(cell));
    return cells;
  }

 private:
  void add(const Layer& layer, const standin::UvMap& map, bool edges) {
    for (std::uint32_t number = 0; number < layer.polygons.size(); ++number) {
      const auto& points = layer.polygons[number].points;
      if (points.size() < 3) continue;
      std::vector<Uv> corners;
      for (std::size_t i = 0; i < 3; ++i) {
        const auto own = map.of_point_in_polygon.find({points[i], number});
        const auto shared = map.of_point.find(points[i]);
        if (own != map.of_point_in_polygon.end())
          corners.push_back({own->second[0], own->second[1]});
        else if (shared != map.of_point.end())
          corners.push_back({shared->second[0], shared->second[1]});
      }
      if (corners.size() < 3) continue;
      for (const Uv& corner : corners) mark(corner, height_);
      if (edges) mark_edges(corners);
    }
  }

  void mark_edges(const std::vector<Uv>& p) {
    const std::array<std::array<std::size_t, 2>, 3> edges{{{0, 1}, {2, 1}, {0, 2}}};
    for (const auto& [a, b] : edges) {
      float t = 0.0F;
      for (int step = 0; step < 34; ++step) {
        Uv at{};
        for (std::size_t i = 0; i < 2; ++i) {
          const float first = t * p[a][i];
          const float second = (1.0F - t) * p[b][i];
          at[i] = first + second;
        }
        mark(at, width_);
        t += 0.030303030303030304F;
      }
    }
  }

  void mark(Uv at, int row_factor) {
    const float row = std::trunc(at[1] * static_cast<float>(row_factor));
    const float column = std::trunc(at[0] * static_cast<float>(width_));
    if (!(std::abs(row) < 2e9F && std::abs(column) < 2e9F)) return;
    const long long cell = static_cast<long long>(row) * width_ + static_cast<long long>(column);
    if (cell >= 0 && cell < (width_ + 2LL) * (height_ + 2LL)) cells_.insert(cell);
  }

  int width_;
  int height_;
  std::set<long long> cells_;
};

class BakingTest : public testing::Test {
 protected:
  BakingTest() : camera(stage.create(server)) { set_size(64, 64); }

  void set_size(int width, int height) {
    stage.host.camera("Camera").width_pixels = width;
    stage.host.camera("Camera").height_pixels = height;
  }
  void set(std::uint32_t id, int value) { camera->panel().set_integer(id, value); }
  /// The object joins the scene, and it and its first map are chosen.
  void choose(const ObjectFile& object) {
    stage.host.scene_objects.add("Object", object);
    set(mesh_id, static_cast<int>(stage.host.scene_objects.count()));
    set(uv_map_id, 1);
  }
  std::string frame(int number = 1) {
    return printed([&] { camera->begin_frame(number); });
  }
  double film_width() { return camera->access().filmSize[0]; }
  double film_height() { return camera->access().filmSize[1]; }
  standin::RayAnswer ray(double u, double v) {
    return camera->evaluate({.film_x = (u - 0.5) * film_width(), .film_y = (v - 0.5) * film_height()});
  }
  bool covered(double u, double v) { return ray(u, v).result == LWCAMEVAL_NONE; }
  /// Asked for in the middle of every pixel of the frame.
  std::set<int> covered_cells() {
    const auto& settings = stage.host.camera("Camera");
    std::set<int> cells;
    for (int row = 0; row < settings.height_pixels; ++row) {
      for (int column = 0; column < settings.width_pixels; ++column)
        if (covered((column + 0.5) / settings.width_pixels, (row + 0.5) / settings.height_pixels))
          cells.insert(row * settings.width_pixels + column);
    }
    return cells;
  }
  void expect_as_modelled(const ObjectFile& object, const std::string& map_name, bool edges) {
    const auto& settings = stage.host.camera("Camera");
    Model model(settings.width_pixels, settings.height_pixels);
    model.add(object, map_name, edges);
    EXPECT_EQ(covered_cells(), model.visible()) << settings.width_pixels << 'x' << settings.height_pixels << ' ' << edges;
  }
  static void expect_test_ray(const standin::RayAnswer& answer) {
    EXPECT_EQ(answer.result, LWCAMEVAL_RAY);
    EXPECT_EQ(answer.position, (Vec3{10.0, 0.0, -10.0}));
    EXPECT_EQ(answer.direction, (Vec3{0.0, 0.0, 1.0}));
    EXPECT_EQ(answer.film_normal, (Vec3{0.0, 0.0, 1.0}));
  }

  Stage stage;
  std::unique_ptr<standin::HostedCamera> camera;
};

std::vector<std::vector<Uv>> one_triangle() { return {{{0.125F, 0.25F}, {0.75F, 0.25F}, {0.5F, 0.875F}}}; }

// --- Activation.

TEST_F(BakingTest, NoServerOffersItAndThisHostActivatesItByName) {
  for (const standin::Server& row : stage.module.servers()) {
    EXPECT_NE(row.name, server);
    for (const standin::Server& hidden : stage.module.unregistered_servers()) EXPECT_NE(row.activate, hidden.activate);
  }
  EXPECT_EQ(stage.module.unregistered_servers().size(), 3U);
  for (const char* class_name : {LWCAMERA_HANDLER_CLASS, LWCAMERA_INTERFACE_CLASS, LWCAMERA_GIZMO_CLASS}) {
    const std::string name = class_name;
    const std::string symbol = "_ZN9BakingCam" + std::to_string(name.size()) + name + "EiPFPvPKciES0_S0_";
    const standin::Server& row = stage.module.server(class_name, server);
    EXPECT_NE(row.activate, nullptr);
    EXPECT_EQ(row.activate, stage.module.library().find_as<ActivateFunc>(symbol.c_str())) << symbol;
    EXPECT_EQ(row.user_name(), "Quorin Surface Baking Camera");
  }
}

TEST_F(BakingTest, HandlerRecordHasTheExportedCallbacks) {
  const LWCameraHandler& handler = camera->handler();
  const std::array<std::pair<void*, const char*>, 14> callbacks{{
      {reinterpret_cast<void*>(handler.inst->create), "_ZN9BakingCam8C_CreateEPvS0_PPKc"},
      {reinterpret_cast<void*>(handler.inst->destroy), "_ZN9BakingCam9C_DestroyEPv"},
      {reinterpret_cast<void*>(handler.inst->copy), "_ZN9BakingCam6C_CopyEPvS0_"},
      {reinterpret_cast<void*>(handler.inst->load), "_ZN9BakingCam6C_LoadEPvPK11LWLoadState"},
      {reinterpret_cast<void*>(handler.inst->save), "_ZN9BakingCam6C_SaveEPvPK11LWSaveState"},
      {reinterpret_cast<void*>(handler.inst->descln), "_ZN9BakingCam10C_DescribeEPv"},
      {reinterpret_cast<void*>(handler.rend->init), "_ZN9BakingCam12C_InitRenderEPvi"},
      {reinterpret_cast<void*>(handler.rend->cleanup), "_ZN9BakingCam9C_CleanUpEPv"},
      {reinterpret_cast<void*>(handler.rend->newTime), "_ZN9BakingCam9C_NewTimeEPvid"},
      {reinterpret_cast<void*>(handler.preview), "_ZN9BakingCam9C_PreviewEPvdd11LWCameraEyePA4_dPK14LWCameraAccess"},
      {reinterpret_cast<void*>(handler.newFrame), "_ZN9BakingCam10C_NewFrameEPvPK11LWFrameInfoPK14LWCameraAccess"},
      {reinterpret_cast<void*>(handler.evaluate),
       "_ZN9BakingCam10C_EvaluateEPvddddd11LWCameraEyeP11LWCameraRayPK14LWCameraAccess"},
      {reinterpret_cast<void*>(handler.flags), "_ZN9BakingCam7C_FlagsEPv"},
      {reinterpret_cast<void*>(handler.project), "_ZN9BakingCam9C_ProjectEPvddPKdd11LWCameraEyePdPK14LWCameraAccess"},
  }};
  for (const auto& [address, name] : callbacks) {
    EXPECT_NE(address, nullptr) << name;
    EXPECT_EQ(address, stage.module.library().find(name)) << name;
  }
}

TEST_F(BakingTest, AsksForBothObjectServices) {
  std::set<std::string> asked;
  for (const auto& [service, use] : stage.host.services_asked()) asked.insert(service);
  EXPECT_TRUE(asked.contains("LW Object Info 14"));
  EXPECT_TRUE(asked.contains("Scene Objects 9"));
}

TEST_F(BakingTest, ActivationIsRefusedLikeThatOfEveryCamera) {
  LWInstanceFuncs instance{};
  LWCameraHandler handler{};
  handler.inst = &instance;
  const standin::Server& row = stage.module.server(LWCAMERA_HANDLER_CLASS, server);
  for (const int version : {3, 5}) EXPECT_EQ(stage.module.activate(row, version, &handler), AFUNC_BADVERSION);
  for (const char* service : {"LW Item Info 9", "LW Camera Info 10", "LW Time Info", "LWXPanel 3", "Info Messages 4"}) {
    stage.host.withhold(service);
    EXPECT_EQ(stage.module.activate(row, 4, &handler), AFUNC_BADGLOBAL) << service;
    stage.host.offer(service);
  }
  EXPECT_EQ(instance.create, nullptr);
  for (const char* service : {"LW Object Info 14", "Scene Objects 9"}) {
    stage.host.withhold(service);
    EXPECT_EQ(stage.module.activate(row, 4, &handler), AFUNC_OK) << service;
    stage.host.offer(service);
  }
  EXPECT_NE(instance.create, nullptr);
}

TEST_F(BakingTest, IsDescribedAndDoesNeitherPreviewNorProjectNorDraw) {
  EXPECT_EQ(camera->describe(), "QuorinBakingCam Oct 28 2026 01:01:58");
  EXPECT_EQ(camera->flags(), 1U);
  frame();
  LWDMatrix4 matrix{};
  matrix[2][1] = 4.5;
  EXPECT_EQ(camera->preview(matrix), 0);
  EXPECT_EQ(matrix[2][1], 4.5);
  EXPECT_FALSE(camera->project({0.0, 0.0, 5.0}));
  standin::GizmoDrawing drawing;
  camera->draw_gizmo(drawing);
  EXPECT_TRUE(drawing.elements.empty());
  EXPECT_STREQ(camera->gizmo_functions().help(camera->raw(), nullptr), "");
}

// --- The panel.

TEST_F(BakingTest, PanelShowsItsRows) {
  struct Row {
    std::uint32_t id;
    const char* label;
    const char* control_class;
    const char* data_name;
    const char* type;
  };
  const std::array<Row, 10> rows{{{0x8000, "Logo", "dThumbnail", nullptr, nullptr},
                                  {0x8002, "Version", "sInfo", "Version", "string"},
                                  {0x8006, "Mesh", "iPopChoice", "Mesh", "integer"},
                                  {0x8007, "UV Map", "iPopChoice", "UV Map", "integer"},
                                  {0x800d, "Offset from surface", "distance", "Offset from surface", "float"},
                                  {0x8008, "Direction reference", "iPopChoice", "Direction reference", "integer"},
                                  {0x800e, "UV Border", "float", "UV Border", "float"},
                                  {0x8009, "Fit UV map to reference", "iPopChoice", "Fit UV map to reference", "integer"},
                                  {0x800a, "Flip UV Y", "iBoolean", "Flip UV Y", "integer"},
                                  {0x800b, "Bake surroundings", "iBoolean", "Bake Surroundings", "integer"}}};
  const standin::Panel& panel = camera->panel();
  ASSERT_EQ(panel.controls.size(), rows.size());
  EXPECT_EQ(panel.data.size(), rows.size() - 1);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(panel.controls[i].id, rows[i].id);
    EXPECT_EQ(panel.controls[i].label, rows[i].label);
    EXPECT_EQ(panel.controls[i].control_class, rows[i].control_class);
    const standin::PanelData* data = panel.data_of(rows[i].id);
    ASSERT_EQ(data != nullptr, rows[i].data_name != nullptr);
    if (data == nullptr) continue;
    EXPECT_EQ(data->name, rows[i].data_name);
    EXPECT_EQ(data->type, rows[i].type);
  }
}

TEST_F(BakingTest, PanelStartsWithTheDefaults) {
  const standin::Panel& panel = camera->panel();
  EXPECT_EQ(panel.get_text(0x8002), "v4.0.0.22 Oct 28 2026");
  EXPECT_EQ(panel.get_float(offset_id), 0.0001);
  EXPECT_EQ(panel.get_float(border_id), 0.0);
  const std::array<std::pair<std::uint32_t, int>, 6> words{
      {{mesh_id, 0}, {uv_map_id, 0}, {direction_id, 1}, {fit_id, 2}, {flip_id, 0}, {surroundings_id, 0}}};
  for (const auto& [id, value] : words) EXPECT_EQ(panel.get_integer(id), value) << id;
  for (const std::uint32_t id : {0x8000U, 0x8001U, 0x8003U, 0x800cU, 0x800fU, 0U}) EXPECT_EQ(panel.get(id), nullptr) << id;
}

TEST_F(BakingTest, PanelStoresWhatIsSetAsItIs) {
  const standin::Panel& panel = camera->panel();
  for (const std::uint32_t id : {mesh_id, uv_map_id, direction_id, fit_id, flip_id, surroundings_id}) {
    for (const int value : {7, -1, 0, 1}) {
      EXPECT_EQ(panel.set_integer(id, value), LWXPRC_DFLT);
      EXPECT_EQ(panel.get_integer(id), value) << id;
    }
  }
  for (const std::uint32_t id : {offset_id, border_id}) {
    for (const double value : {-3.5, 1e300, 0.0, 0.125}) {
      EXPECT_EQ(panel.set_float(id, value), LWXPRC_DFLT);
      EXPECT_EQ(panel.get_float(id), value) << id;
    }
  }
  double unknown = 3.0;
  for (const std::uint32_t id : {0x8000U, 0x8002U, 0x8003U, 0x800cU}) EXPECT_EQ(panel.set(id, &unknown), LWXPRC_DFLT);
  EXPECT_EQ(panel.get_float(offset_id), 0.125);
}

TEST_F(BakingTest, PopupsListObjectsTextureMapsAndChoices) {
  using Texts = std::vector<std::string>;
  const standin::Panel& panel = camera->panel();
  EXPECT_EQ(panel.choices(mesh_id), Texts{"(none)"});
  EXPECT_EQ(panel.choices(uv_map_id), Texts{"(none)"});
  stage.host.scene_objects.add("Hall", object_of(one_triangle(), "Front"));
  stage.host.scene_objects.add("Tram", object_of(one_triangle(), "Side"));
  EXPECT_EQ(panel.choices(mesh_id), (Texts{"(none)", "Hall", "Tram"}));
  EXPECT_EQ(panel.choices(uv_map_id), (Texts{"(none)", "Front", "Side"}));
  EXPECT_EQ(panel.choices(direction_id), (Texts{"Polygon normal", "Smoothed normal", "Mesh origin\t", "Camera position"}));
  EXPECT_EQ(panel.choices(fit_id), (Texts{"Width", "Height", "Width & Height"}));
}

TEST_F(BakingTest, PopupNamesBeyondTheListsAreNone) {
  stage.host.scene_objects.add("Hall", object_of(one_triangle(), "Front"));
  for (const std::uint32_t id : {mesh_id, uv_map_id}) {
    const auto hints = camera->panel().hints_of(LWXPTAG_POPFUNCS, id);
    ASSERT_EQ(hints.size(), 1U);
    const auto count = reinterpret_cast<LWXPanelPopCountFunc*>(hints[0]->arguments.at(1));
    const auto name = reinterpret_cast<LWXPanelPopNameFunc*>(hints[0]->arguments.at(2));
    for (void* user_data : {static_cast<void*>(camera->raw()), static_cast<void*>(nullptr)}) {
      EXPECT_EQ(count(user_data), 2);
      for (const int index : {std::numeric_limits<int>::min(), -1, 0, 2, 3, std::numeric_limits<int>::max()})
        EXPECT_STREQ(name(user_data, index), "(none)") << index;
      EXPECT_STREQ(name(user_data, 1), id == mesh_id ? "Hall" : "Front");
    }
  }
}

TEST_F(BakingTest, LogoIsDrawn) {
  const standin::Picture picture = camera->panel().draw(0x8000, 320, 64);
  bool bright = false;
  for (int row = 0; row < 64; ++row)
    for (int column = 0; column < 320; ++column) bright = bright || picture.at(column, row)[0] > 0;
  EXPECT_TRUE(bright);
}

// --- Scene data and copies.

using Lines = std::vector<std::string>;

TEST_F(BakingTest, SavesTwoNumbersAndSixWordsInOrder) {
  EXPECT_EQ(camera->save_text(), (Lines{"1e-04", "0", "0", "0", "1", "2", "0", "0"}));
  const Lines lines{"0.25", "-1.5", "a", "b", "3", "1", "1", "ffffffff"};
  camera->load_text(lines);
  EXPECT_EQ(camera->save_text(), lines);
  const standin::Panel& panel = camera->panel();
  EXPECT_EQ(panel.get_float(offset_id), 0.25);
  EXPECT_EQ(panel.get_float(border_id), -1.5);
  const std::array<std::pair<std::uint32_t, int>, 6> words{
      {{mesh_id, 10}, {uv_map_id, 11}, {direction_id, 3}, {fit_id, 1}, {flip_id, 1}, {surroundings_id, -1}}};
  for (const auto& [id, value] : words) EXPECT_EQ(panel.get_integer(id), value) << id;
  const auto bytes = camera->save_binary();
  EXPECT_EQ(bytes.size(), 32U);
  const auto other = stage.create(server, "Other 1");
  other->load_binary(bytes);
  EXPECT_EQ(other->save_text(), lines);
}

TEST_F(BakingTest, LoadedNumbersAreTakenInSinglePrecisionAndNotClamped) {
  camera->load_text({"0.1", "0"});
  EXPECT_EQ(camera->panel().get_float(offset_id), static_cast<double>(0.1F));
  camera->load_text({"0", "-7"});
  EXPECT_EQ(camera->panel().get_float(offset_id), 0.0);
  EXPECT_EQ(camera->panel().get_float(border_id), -7.0);
}

TEST_F(BakingTest, WhatIsMissingFromTheSceneDataKeepsItsValue) {
  camera->load_text({"0.5", "2", "4"});
  EXPECT_EQ(camera->save_text(), (Lines{"0.5", "2", "4", "0", "1", "2", "0", "0"}));
  camera->load_text({});
  EXPECT_EQ(camera->save_text(), (Lines{"0.5", "2", "4", "0", "1", "2", "0", "0"}));
}

TEST_F(BakingTest, CopyTakesParametersAndScansForItself) {
  const ObjectFile object = object_of(one_triangle());
  choose(object);
  set(flip_id, 1);
  camera->panel().set_float(offset_id, 0.123456789);
  frame();
  auto copy = stage.create(server, "Other 1");
  copy->copy_from(*camera);
  EXPECT_EQ(copy->panel().get_float(offset_id), 0.123456789);
  EXPECT_EQ(copy->save_text(), camera->save_text());
  // Nothing is covered before the copy's own frame: there is no grid, and the ray stays as it was.
  LWCameraRay record{};
  record.rayPos[1] = 77.0;
  const auto evaluate = [&](const standin::HostedCamera& of) {
    return camera->handler().evaluate(of.raw(), 0.0, 0.0, 0, 0, 0, LWCAMEYE_CENTER, &record, &camera->access());
  };
  EXPECT_EQ(evaluate(*copy), LWCAMEVAL_RAY);
  EXPECT_EQ(record.rayPos[1], 77.0);
  // The records that were copied do not count as scanned.
  const std::string scanned =
      printed([&] { camera->handler().newFrame(copy->raw(), &camera->frame_info(), &camera->access()); });
  EXPECT_EQ(count_of("polys = 00000001\n", scanned), 1U);
  // The copy's end leaves the original's grid alone.
  copy.reset();
  EXPECT_EQ(covered_cells().size(), 3U);
}

TEST_F(BakingTest, CopyingOntoAScannedCameraGivesItsGridBack) {
  choose(object_of(one_triangle()));
  frame();
  const auto other = stage.create(server, "Other 1");
  camera->copy_from(*other);
  EXPECT_EQ(camera->save_text(), other->save_text());
  LWCameraRay record{};
  EXPECT_EQ(camera->handler().evaluate(camera->raw(), 0, 0, 0, 0, 0, LWCAMEYE_CENTER, &record, &camera->access()), 1);
  EXPECT_EQ(record.rayPos[0], 0.0);
}

TEST_F(BakingTest, CopyNeedsBothSides) {
  const auto copy = camera->handler().inst->copy;
  set(mesh_id, 5);
  for (const auto& [to, from] : {std::pair{camera->raw(), LWInstance{}}, std::pair{LWInstance{}, camera->raw()},
                                 std::pair{LWInstance{}, LWInstance{}}}) {
    EXPECT_STREQ(copy(to, from), "Could not copy");
  }
  EXPECT_EQ(copy(camera->raw(), camera->raw()), nullptr);
  EXPECT_EQ(camera->panel().get_integer(mesh_id), 5);
}

// --- What is printed.

std::string handle_text(const void* handle) {
  return std::to_string(static_cast<std::int32_t>(static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(handle))));
}

TEST_F(BakingTest, RendersBeginAndEndWithALine) {
  EXPECT_EQ(printed([&] { camera->init_render(LWRM_RENDER); }), "C_InitRender 1\n");
  EXPECT_EQ(printed([&] { camera->clean_up(); }), "C_CleanUp 1\n");
  EXPECT_EQ(printed([&] { camera->init_render(LWRM_PREVIEW); }), "C_InitRender 0\n");
  EXPECT_EQ(printed([&] { camera->clean_up(); }), "C_CleanUp 0\n");
  EXPECT_EQ(printed([&] { camera->new_time(3, 0.5); }), "");
}

TEST_F(BakingTest, FrameWithoutChoicesPrintsItsLastLineOnly) {
  EXPECT_EQ(frame(), "0 0 0\n");
  stage.host.scene_objects.add("Object", object_of(one_triangle()));
  set(uv_map_id, 1);
  const std::string handle = handle_text(host_table<LWObjectFuncs>(LWOBJECTFUNCS_GLOBAL).vmapName(texture_uv, 0));
  EXPECT_EQ(frame(), handle + " 2 0\n");
}

TEST_F(BakingTest, ScanPrintsObjectLayersAndCounts) {
  ObjectFile object = object_of(one_triangle(), "Skin");
  object.layers[0].number = 1;
  object.layers[0].pivot = {0.5, -2.25, 1.0 / 3.0};
  object.layers[0].name = "Front 100%";
  Layer& second = object.layers.emplace_back();
  second.number = 3;
  second.hidden = true;
  second.points = {{0, 0, 0}, {1, 0, 0}};
  choose(object);
  const std::string handle = handle_text(host_table<LWObjectFuncs>(LWOBJECTFUNCS_GLOBAL).vmapName(texture_uv, 0));
  EXPECT_EQ(frame(), "Object\n  Object\n  Object\n" + handle + " 2 4\n" +
                         "0.500000 -2.250000 0.333333\nFront 100% 1 1\npoints = 00000003\npolys = 00000001\n" +
                         "0.000000 0.000000 0.000000\n 1 0\npoints = 00000002\npolys = 00000000\n" + handle + " 2 0\n");
}

TEST_F(BakingTest, ObjectWithoutAMapIsListedAndNotRasterised) {
  ObjectFile object = object_of(one_triangle());
  object.layers[0].points[1] = object.layers[0].points[0];
  choose(object);
  for (const int map : {0, 2, 77, -1}) {
    set(uv_map_id, map);
    EXPECT_EQ(frame(),
              "Object\n  Object\n  Object\n0 0 1\n0.000000 0.000000 0.000000\nBase 1 1\npoints = 00000003\n"
              "polys = 00000001\n0 0 0\n");
    EXPECT_TRUE(covered_cells().empty());
    expect_test_ray(ray(0.5, 0.5));
  }
}

TEST_F(BakingTest, MeshBeyondTheListIsNone) {
  choose(object_of(one_triangle()));
  const std::string handle = handle_text(host_table<LWObjectFuncs>(LWOBJECTFUNCS_GLOBAL).vmapName(texture_uv, 0));
  for (const int mesh : {0, 2, 1000, -1, std::numeric_limits<int>::min()}) {
    set(mesh_id, mesh);
    EXPECT_EQ(frame(), handle + " 2 0\n") << mesh;
    EXPECT_TRUE(covered_cells().empty());
  }
}

TEST_F(BakingTest, MatchingPointsArePrintedPairByPair) {
  const auto lines_of = [&](std::array<Vec3, 3> positions) {
    ObjectFile object = object_of(one_triangle());
    std::ranges::copy(positions, object.layers[0].points.begin());
    choose(object);
    const std::string text = frame();
    const std::string before = "polys = 00000001\n";
    const std::size_t begin = text.find(before) + before.size();
    EXPECT_EQ(covered_cells().size(), 3U) << "the polygon counts all the same";
    return text.substr(begin, text.rfind('\n', text.size() - 2) + 1 - begin);
  };
  const Vec3 a{1, 2, 3};
  const Vec3 b{1, 2, 4};
  const Vec3 c{1, -2, 3};
  EXPECT_EQ(lines_of({a, b, c}), "");
  EXPECT_EQ(lines_of({a, a, c}), "point 1 and 2 match!\n");
  EXPECT_EQ(lines_of({a, b, b}), "point 3 and 2 match!\n");
  EXPECT_EQ(lines_of({a, b, a}), "point 1 and 3 match!\n");
  EXPECT_EQ(lines_of({a, a, a}), "point 1 and 2 match!\npoint 3 and 2 match!\npoint 1 and 3 match!\n");
}

TEST_F(BakingTest, MatchingPointsArePrintedEvenWithoutTexture) {
  ObjectFile object = object_of(one_triangle());
  object.layers[0].points[1] = object.layers[0].points[0];
  object.layers[0].uv_maps[0].of_point.erase(2);
  choose(object);
  EXPECT_EQ(count_of("point 1 and 2 match!\n", frame()), 1U);
  EXPECT_TRUE(covered_cells().empty());
}

// --- When a frame is scanned again.

TEST_F(BakingTest, UnchangedFrameNeitherScansNorPrints) {
  choose(object_of(one_triangle()));
  EXPECT_NE(frame(), "");
  EXPECT_EQ(frame(), "");
  EXPECT_EQ(covered_cells().size(), 3U);
  // What the records do not tell does not count.
  set_size(64, 64);
  EXPECT_EQ(frame(), "");
}

TEST_F(BakingTest, EveryParameterAndRecordIsScannedForAgain) {
  choose(object_of(one_triangle()));
  frame();
  const auto expect_scanned = [&](const char* what) {
    EXPECT_NE(frame(), "") << what;
    EXPECT_EQ(frame(), "") << what;
  };
  for (const std::uint32_t id : {mesh_id, uv_map_id, direction_id, fit_id, flip_id, surroundings_id}) {
    set(id, camera->panel().get_integer(id) + 1);
    expect_scanned("word");
  }
  for (const std::uint32_t id : {offset_id, border_id}) {
    camera->panel().set_float(id, 0.75);
    expect_scanned("number");
  }
  stage.host.item("Camera").motion[1] = standin::Envelope::constant(3.0);
  expect_scanned("access record");
  EXPECT_NE(frame(2), "") << "frame record";
}

TEST_F(BakingTest, NewFrameForgetsWhatTheOldOneCovered) {
  choose(object_of(one_triangle()));
  frame();
  EXPECT_EQ(covered_cells().size(), 3U);
  set(mesh_id, 0);
  frame();
  EXPECT_TRUE(covered_cells().empty());
}

// --- The grid.

TEST_F(BakingTest, MarksTheCornersOnly) {
  choose(object_of(one_triangle()));
  frame();
  EXPECT_EQ(covered_cells(), (std::set<int>{16 * 64 + 8, 16 * 64 + 48, 56 * 64 + 32}));
}

TEST_F(BakingTest, CornersAreAsModelledOnEveryShapeOfFrame) {
  std::vector<std::vector<Uv>> polygons;
  for (int i = 0; i < 300; ++i) {
    auto& polygon = polygons.emplace_back();
    for (int corner = 0; corner < 3; ++corner) {
      const int number = 3 * i + corner;
      polygon.push_back({static_cast<float>(number * 37 % 1001) / 1000.0F, static_cast<float>(number * 101 % 997) / 996.0F});
    }
  }
  const ObjectFile object = object_of(polygons);
  choose(object);
  const std::array<std::array<int, 2>, 6> sizes{{{64, 64}, {128, 32}, {24, 96}, {1, 1}, {3, 200}, {333, 7}}};
  for (const auto& [width, height] : sizes) {
    set_size(width, height);
    for (const bool edges : {false, true}) {
      set(surroundings_id, edges ? 1 : 0);
      frame();
      expect_as_modelled(object, "UV", edges);
    }
  }
}

TEST_F(BakingTest, EdgesOfAWideFrameLieOnRowsOfItsWidth) {
  const ObjectFile object = object_of({{{0.1F, 0.1F}, {0.4F, 0.1F}, {0.4F, 0.3F}}});
  choose(object);
  set(surroundings_id, 1);
  set_size(128, 64);
  frame();
  expect_as_modelled(object, "UV", true);
  // The edge from the first corner to the second, which lie on row 6 themselves, lies on row 12.
  EXPECT_TRUE(covered(0.25, 12.5 / 64.0));
  EXPECT_FALSE(covered(0.25, 6.5 / 64.0));
  EXPECT_TRUE(covered(12.5 / 128.0, 6.5 / 64.0));
}

TEST_F(BakingTest, EdgePointsThatLeaveAWideFrameAreDropped) {
  const ObjectFile object = object_of({{{0.0F, 0.0F}, {1.0F, 1.0F}, {0.0F, 1.0F}}});
  choose(object);
  set(surroundings_id, 1);
  for (const int width : {65, 128, 640, 4096}) {
    set_size(width, 64);
    frame();
    expect_as_modelled(object, "UV", true);
  }
}

TEST_F(BakingTest, EdgePointsAreThirtyFourOfEachEdge) {
  // Far enough apart for each to have a cell of its own.
  const ObjectFile object = object_of({{{0.0F, 0.5F}, {1.0F, 0.5F}, {0.5F, 0.5F}}});
  choose(object);
  set(surroundings_id, 1);
  set_size(1000, 1000);
  frame();
  expect_as_modelled(object, "UV", true);
  int on_row = 0;
  for (int column = 0; column < 1000; ++column) on_row += covered((column + 0.5) / 1000.0, 0.5005) ? 1 : 0;
  EXPECT_GT(on_row, 60);
  EXPECT_LE(on_row, 3 * 34);
}

TEST_F(BakingTest, MapsEdgeMarksTheCellJustPastTheLastOne) {
  choose(object_of({{{1.0F, 0.25F}, {0.25F, 1.0F}, {1.0F, 1.0F}}}));
  frame();
  EXPECT_TRUE(covered(1.0, 0.25 + 0.5 / 64.0));
  EXPECT_TRUE(covered(0.25 + 0.5 / 64.0, 1.0));
  EXPECT_TRUE(covered(1.0, 1.0));
  EXPECT_FALSE(covered(63.5 / 64.0, 0.25 + 0.5 / 64.0));
  // It is also the next row's first one: rows follow one another without a gap.
  EXPECT_EQ(covered_cells(), (std::set<int>{17 * 64}));
}

TEST_F(BakingTest, CornersOffTheMapMarkTheCellThatTheirIndexNames) {
  // 64 cells a row: a column left of the map is the end of the row before, one right of it the start of the next row.
  choose(object_of({{{-0.5F, 0.5F}, {1.5F, 0.25F}, {0.5F, 1.0F}}}));
  frame();
  EXPECT_EQ(covered_cells(), (std::set<int>{31 * 64 + 32, 17 * 64 + 32}));
  // The last row but one of the two to spare begins behind the picture's last pixel.
  EXPECT_TRUE(covered(0.5, 1.0));
  EXPECT_TRUE(covered(-0.5, 0.5));
  EXPECT_TRUE(covered(1.5, 0.25));
  EXPECT_FALSE(covered(-0.5, 0.25));
}

TEST_F(BakingTest, CornersWhoseIndexLeavesTheGridAreDropped) {
  const float huge = std::numeric_limits<float>::max();
  const auto infinite = std::numeric_limits<float>::infinity();
  std::vector<std::vector<Uv>> polygons;
  for (const float odd : {-2.0F, 2.0F, 1e6F, 1e9F, -1e9F, 3.4e7F, -3.4e7F, huge, -huge, infinite, -infinite, not_a_number})
    polygons.push_back({{0.5F, odd}, {odd * 64.0F, 0.5F}, {odd, odd}});
  choose(object_of(polygons));
  const std::array<std::array<int, 2>, 4> sizes{{{64, 64}, {4, 4}, {300, 2}, {2, 300}}};
  for (const auto& [width, height] : sizes) {
    set_size(width, height);
    for (const int edges : {0, 1}) {
      set(surroundings_id, edges);
      frame();
      if (edges == 0 && width == 64) EXPECT_TRUE(covered_cells().empty());
      for (const double v : {-0.5, 0.0, 0.5, 1.0, 1.5, 1e300, -1e300, static_cast<double>(not_a_number)}) {
        EXPECT_GE(ray(1.5, v).result, 0);
        EXPECT_GE(ray(v, 1.5).result, 0);
      }
    }
  }
}

TEST_F(BakingTest, OtherCornersOfAPolygonThatLeavesTheGridStay) {
  choose(object_of({{{0.5F, 0.5F}, {1000.0F, 0.5F}, {not_a_number, 0.5F}}}));
  frame();
  EXPECT_EQ(covered_cells(), (std::set<int>{32 * 64 + 32}));
}

TEST_F(BakingTest, PolygonsTakeTheirFirstThreeVertices) {
  const Uv a{0.125F, 0.125F};
  const Uv b{0.25F, 0.125F};
  const Uv c{0.25F, 0.25F};
  const Uv d{0.125F, 0.5F};
  const Uv e{0.75F, 0.5F};
  const auto cells = [&](const std::vector<Uv>& polygon) {
    choose(object_of({polygon}));
    const std::string text = frame();
    EXPECT_EQ(count_of("match", text), 0U);
    return covered_cells();
  };
  const std::set<int> first_three{8 * 64 + 8, 8 * 64 + 16, 16 * 64 + 16};
  EXPECT_TRUE(cells({}).empty());
  EXPECT_TRUE(cells({a}).empty());
  EXPECT_TRUE(cells({a, b}).empty());
  EXPECT_EQ(cells({a, b, c}), first_three);
  EXPECT_EQ(cells({a, b, c, d}), first_three);
  EXPECT_EQ(cells({a, b, c, d, e}), first_three);
  EXPECT_EQ(cells({a, b, c, d, e, a, b, c, d, e}), first_three);
}

TEST_F(BakingTest, PolygonWithoutAllThreeTexturePositionsIsSkipped) {
  for (std::uint32_t missing = 0; missing < 3; ++missing) {
    ObjectFile object = object_of(one_triangle());
    object.layers[0].uv_maps[0].of_point.erase(missing);
    choose(object);
    frame();
    EXPECT_TRUE(covered_cells().empty()) << missing;
  }
  // A fourth one's is not needed.
  ObjectFile object = object_of({{{0.1F, 0.1F}, {0.5F, 0.1F}, {0.5F, 0.5F}, {0.1F, 0.5F}}});
  object.layers[0].uv_maps[0].of_point.erase(3);
  choose(object);
  frame();
  EXPECT_EQ(covered_cells().size(), 3U);
}

TEST_F(BakingTest, TexturePositionsOfThePolygonWin) {
  ObjectFile object = object_of({{{0.25F, 0.25F}, {0.5F, 0.25F}, {0.5F, 0.5F}}, {{0.9F, 0.9F}, {0.8F, 0.9F}, {0.8F, 0.8F}}});
  auto& map = object.layers[0].uv_maps[0];
  map.of_point_in_polygon[{1, 0}] = {0.0F, 0.75F};
  // That of another polygon is not this one's.
  map.of_point_in_polygon[{2, 1}] = {0.0F, 0.0F};
  // A polygon's own will do alone.
  map.of_point.erase(4);
  map.of_point_in_polygon[{4, 1}] = {0.125F, 0.875F};
  choose(object);
  frame();
  expect_as_modelled(object, "UV", false);
  EXPECT_TRUE(covered(0.0 + 0.5 / 64.0, 0.75 + 0.5 / 64.0));
  EXPECT_FALSE(covered(0.5 + 0.5 / 64.0, 0.25 + 0.5 / 64.0));
  EXPECT_TRUE(covered(0.125 + 0.5 / 64.0, 0.875 + 0.5 / 64.0));
}

TEST_F(BakingTest, MapsOfManyValuesAreReadByTheirFirstTwo) {
  for (const int dimension : {1, 2, 3, 4, 17, 1000}) {
    ObjectFile object = object_of(one_triangle());
    auto& map = object.layers[0].uv_maps[0];
    map.dimension = dimension;
    map.name = "UV" + std::to_string(dimension);
    for (auto& [point, values] : map.of_point) values.resize(static_cast<std::size_t>(dimension), 0.1F);
    choose(object);
    set(uv_map_id, static_cast<int>(stage.host.scene_objects.count()));
    const std::string text = frame();
    EXPECT_NE(text.find(" " + std::to_string(dimension) + " 1\n"), std::string::npos) << text;
    EXPECT_EQ(covered_cells().size(), dimension < 2 ? 0U : 3U) << dimension;
  }
}

TEST_F(BakingTest, EveryLayerWithTheMapIsScannedAndOthersAreNot) {
  ObjectFile object = object_of(one_triangle(), "Skin");
  ObjectFile other = object_of({{{0.9F, 0.9F}, {0.8F, 0.9F}, {0.8F, 0.8F}}}, "Skin");
  other.layers[0].number = 5;
  object.layers.push_back(other.layers[0]);
  ObjectFile bare = object_of({{{0.3F, 0.9F}, {0.2F, 0.9F}, {0.2F, 0.8F}}}, "Bones");
  bare.layers[0].number = 6;
  object.layers.push_back(bare.layers[0]);
  choose(object);
  EXPECT_EQ(count_of("polys = 00000001\n", frame()), 3U);
  expect_as_modelled(object, "Skin", false);
  EXPECT_EQ(covered_cells().size(), 6U);
  set(uv_map_id, 2);
  frame();
  expect_as_modelled(object, "Bones", false);
  EXPECT_EQ(covered_cells().size(), 3U);
}

// --- Film positions.

TEST_F(BakingTest, FilmCentreIsTheMapsMiddleInEveryFit) {
  choose(object_of({{{0.5F, 0.5F}, {0.5F, 0.5F}, {0.5F, 0.5F}}}));
  set_size(128, 64);
  for (const int flip : {0, 1}) {
    set(flip_id, flip);
    for (const int fit : {0, 1, 2, 3, -1}) {
      set(fit_id, fit);
      frame();
      EXPECT_EQ(camera->evaluate({}).result, LWCAMEVAL_NONE) << fit << ' ' << flip;
    }
  }
}

TEST_F(BakingTest, FitScalesTheMapByWidthByHeightOrByBoth) {
  set_size(128, 64);
  choose(object_of({{{0.75F, 0.375F}, {0.75F, 0.375F}, {0.75F, 0.375F}}}));
  for (const int fit : {0, 1, 2, 3}) {
    set(fit_id, fit);
    frame();
    const double across = fit == 1 ? film_height() : film_width();
    const double up = fit == 0 ? film_width() : film_height();
    // The middle of the cell.
    const double x = (0.25 + 0.5 / 128.0) * across;
    const double y = (-0.125 + 0.5 / 64.0) * up;
    EXPECT_EQ(camera->evaluate({.film_x = x, .film_y = y}).result, LWCAMEVAL_NONE) << fit;
    EXPECT_EQ(camera->evaluate({.film_x = x + across / 64.0, .film_y = y}).result, LWCAMEVAL_RAY) << fit;
    EXPECT_EQ(camera->evaluate({.film_x = x, .film_y = y - up / 32.0}).result, LWCAMEVAL_RAY) << fit;
  }
}

TEST_F(BakingTest, FlipTurnsTheMapUpsideDown) {
  const ObjectFile object = object_of({{{0.25F, 0.0F}, {0.25F, 0.0F}, {0.25F, 0.0F}}});
  choose(object);
  set(fit_id, 0);
  set(flip_id, 1);
  frame();
  // Half the film's width up is the map's foot.
  const double x = (-0.25 + 0.5 / 64.0) * film_width();
  EXPECT_EQ(camera->evaluate({.film_x = x, .film_y = 0.5 * film_width()}).result, LWCAMEVAL_NONE);
  EXPECT_EQ(camera->evaluate({.film_x = x, .film_y = -0.5 * film_width()}).result, LWCAMEVAL_RAY);
  set(flip_id, 0);
  frame();
  EXPECT_EQ(camera->evaluate({.film_x = x, .film_y = 0.5 * film_width()}).result, LWCAMEVAL_RAY);
  EXPECT_EQ(camera->evaluate({.film_x = x, .film_y = -0.5 * film_width()}).result, LWCAMEVAL_NONE);
}

TEST_F(BakingTest, FilmPositionsOffTheGridAreUncovered) {
  // A map that covers the frame's first and last cells.
  choose(object_of({{{0.0F, 0.0F}, {1.0F, 1.0F}, {0.0F, 1.0F}}, {{1.0F, 0.0F}, {0.99F, 0.99F}, {0.0F, 0.99F}}}));
  set_size(4, 4);
  frame();
  EXPECT_TRUE(covered(0.0, 0.0));
  EXPECT_TRUE(covered(1.0, 1.0));
  const double largest = std::numeric_limits<double>::max();
  for (const double off : {-10.0, 10.0, -100.0, 1e9, -1e9, 1e300, largest, -largest, infinity, -infinity, 0.0 * infinity}) {
    for (const double on : {0.0, 0.5, 1.0, off}) {
      expect_test_ray(ray(off, on));
      expect_test_ray(ray(on, off));
    }
  }
}

TEST_F(BakingTest, UncoveredPixelsGetTheTestRayAndNothingElseIsWritten) {
  choose(object_of(one_triangle()));
  frame();
  LWCameraRay record{};
  record.filter[1][1] = 5.5;
  record.convergenceDist = 6.5;
  record.rayPos[0] = 7.5;
  const auto evaluate = [&](double x, double y) {
    return camera->handler().evaluate(camera->raw(), x, y, 0.5, 0.5, 0.25, LWCAMEYE_LEFT, &record, nullptr);
  };
  const double in_cell = 0.5 / 64.0;
  EXPECT_EQ(evaluate((-0.375 + in_cell) * film_width(), (-0.25 + in_cell) * film_height()), 0);
  EXPECT_EQ(record.rayPos[0], 7.5);
  EXPECT_EQ(evaluate(0.0, 0.0), 1);
  EXPECT_EQ(record.rayPos[0], 10.0);
  EXPECT_EQ(record.rayPos[2], -10.0);
  EXPECT_EQ(record.rayDir[2], 1.0);
  EXPECT_EQ(record.filmNorm[2], 1.0);
  EXPECT_EQ(record.filter[1][1], 5.5);
  EXPECT_EQ(record.convergenceDist, 6.5);
  EXPECT_EQ(camera->handler().evaluate(camera->raw(), 0, 0, 0, 0, 0, LWCAMEYE_CENTER, nullptr, &camera->access()), 0);
  EXPECT_EQ(camera->handler().evaluate(nullptr, 0, 0, 0, 0, 0, LWCAMEYE_CENTER, &record, &camera->access()), 0);
}

TEST_F(BakingTest, BeforeTheFirstFrameTheRayIsLeftAlone) {
  LWCameraRay record{};
  record.rayPos[0] = 3.5;
  record.rayDir[1] = 4.5;
  record.filmNorm[2] = 5.5;
  const auto evaluate = camera->handler().evaluate;
  EXPECT_EQ(evaluate(camera->raw(), 0, 0, 0, 0, 0, LWCAMEYE_CENTER, &record, &camera->access()), 1);
  EXPECT_EQ(record.rayPos[0], 3.5);
  EXPECT_EQ(record.rayDir[1], 4.5);
  EXPECT_EQ(record.filmNorm[2], 5.5);
}

TEST_F(BakingTest, ThreadsAgree) {
  const ObjectFile object = object_of(one_triangle());
  choose(object);
  set(surroundings_id, 1);
  frame();
  const std::set<int> expected = covered_cells();
  std::array<std::set<int>, 4> found;
  std::vector<std::thread> threads;
  threads.reserve(found.size());
  for (auto& cells : found) threads.emplace_back([&] { cells = covered_cells(); });
  for (auto& thread : threads) thread.join();
  for (const auto& cells : found) EXPECT_EQ(cells, expected);
}

TEST_F(BakingTest, InstancesKeepTheirGridsApart) {
  choose(object_of(one_triangle()));
  const auto other = stage.create(server, "Other 1");
  frame();
  printed([&] { other->begin_frame(1); });
  EXPECT_EQ(covered_cells().size(), 3U);
  EXPECT_EQ(
      other->evaluate({.film_x = (-0.375 + 0.5 / 64) * film_width(), .film_y = (-0.25 + 0.5 / 64) * film_height()}).result,
      LWCAMEVAL_RAY);
}

// --- Odd hosts.

int told_width = 0;
int told_height = 0;

TEST_F(BakingTest, FrameThatNoMemoryHoldsIsRefusedWithASentence) {
  choose(object_of(one_triangle()));
  frame();
  auto table = host_table<LWCameraInfo>(LWCAMERAINFO_GLOBAL);
  table.resolution = [](LWItemID, int* width, int* height) {
    *width = told_width;
    *height = told_height;
  };
  {
    const ServiceOverride odd(stage.module, server, LWCAMERAINFO_GLOBAL, &table);
    const auto begin = [&] {
      LWError error = nullptr;
      printed([&] { error = camera->handler().newFrame(camera->raw(), &camera->frame_info(), &camera->access()); });
      return std::string(error != nullptr ? error : "");
    };
    constexpr int most = std::numeric_limits<int>::max();
    // The first count would be 1, and the fourth 0, in 32 bits or with a sign; the last ones are of no frame.
    const std::array<std::array<int, 2>, 6> sizes{
        {{most, most}, {most, most - 1}, {-5, 10}, {-3, -3}, {10, -1}, {-most - 1, 1}}};
    for (const auto& [width, height] : sizes) {
      told_width = width;
      told_height = height;
      camera->frame_info().frame += 1;
      EXPECT_NE(begin().find("lower resolution"), std::string::npos) << width << 'x' << height;
      // The same frame again is not taken for done.
      EXPECT_NE(begin().find("lower resolution"), std::string::npos) << width << 'x' << height;
      LWCameraRay record{};
      record.rayPos[0] = 3.5;
      EXPECT_EQ(camera->handler().evaluate(camera->raw(), 0, 0, 0, 0, 0, LWCAMEYE_CENTER, &record, &camera->access()), 1);
      EXPECT_EQ(record.rayPos[0], 3.5);
    }
    camera->frame_info().frame += 1;
    told_width = 64;
    told_height = 64;
    EXPECT_EQ(begin(), "");
    EXPECT_EQ(covered_cells().size(), 3U);
  }
}

TEST_F(BakingTest, FrameWithoutPixelsIsSurvived) {
  choose(object_of(one_triangle()));
  set(surroundings_id, 1);
  auto table = host_table<LWCameraInfo>(LWCAMERAINFO_GLOBAL);
  table.resolution = [](LWItemID, int* width, int* height) {
    *width = told_width;
    *height = told_height;
  };
  const ServiceOverride odd(stage.module, server, LWCAMERAINFO_GLOBAL, &table);
  const std::array<std::array<int, 2>, 5> sizes{{{0, 0}, {0, 64}, {64, 0}, {1, 0}, {0, 1}}};
  for (const auto& [width, height] : sizes) {
    told_width = width;
    told_height = height;
    set(direction_id, camera->panel().get_integer(direction_id) + 1);
    EXPECT_NE(frame(), "");
    for (const double u : {-1.0, 0.0, 0.3, 0.99, 1.0, 5.0})
      for (const double v : {-1.0, 0.0, 0.3, 0.99, 1.0, 5.0}) EXPECT_GE(ray(u, v).result, 0);
  }
}

TEST_F(BakingTest, FilmWithoutASizeIsUncovered) {
  choose(object_of(one_triangle()));
  auto table = host_table<LWCameraInfo>(LWCAMERAINFO_GLOBAL);
  table.filmSize = [](LWItemID, double* width, double* height) { *width = *height = 0.0; };
  const ServiceOverride odd(stage.module, server, LWCAMERAINFO_GLOBAL, &table);
  frame();
  expect_test_ray(camera->evaluate({}));
  expect_test_ray(camera->evaluate({.film_x = 0.001, .film_y = -0.001}));
}

TEST_F(BakingTest, HostWithoutObjectsIsSurvived) {
  choose(object_of(one_triangle()));
  {
    const ServiceOverride odd(stage.module, server, LWOBJECTFUNCS_GLOBAL, nullptr);
    EXPECT_EQ(frame(), "0 0 0\n");
    expect_test_ray(ray(0.5, 0.5));
    EXPECT_EQ(camera->panel().choices(mesh_id), std::vector<std::string>{"(none)"});
    EXPECT_EQ(camera->panel().choices(uv_map_id), std::vector<std::string>{"(none)"});
  }
  EXPECT_NE(frame(2), "0 0 0\n");
}

TEST_F(BakingTest, HostWithoutCamerasIsSurvived) {
  choose(object_of(one_triangle()));
  frame();
  stage.host.withhold(LWCAMERAINFO_GLOBAL);
  LWCameraHandler handler{};
  const standin::Server& row = stage.module.server(LWCAMERA_HANDLER_CLASS, server);
  EXPECT_EQ(stage.module.activate(row, 4, &handler), AFUNC_BADGLOBAL);
  EXPECT_NE(frame(2), "");
  expect_test_ray(ray(0.5, 0.5));
  stage.host.offer(LWCAMERAINFO_GLOBAL);
}

TEST_F(BakingTest, LayersWithoutAMeshAndNamesAreSurvived) {
  choose(object_of(one_triangle()));
  auto table = host_table<LWObjectFuncs>(LWOBJECTFUNCS_GLOBAL);
  table.layerMesh = [](int, int) -> LWMeshInfo* { return nullptr; };
  table.layerName = [](int, int) -> const char* { return nullptr; };
  table.userName = table.refName = [](int) -> const char* { return nullptr; };
  const ServiceOverride odd(stage.module, server, LWOBJECTFUNCS_GLOBAL, &table);
  const std::string text = frame();
  EXPECT_EQ(text.find("Object\n  \n  \n"), 0U) << text;
  EXPECT_EQ(text.find("points"), std::string::npos) << text;
  EXPECT_NE(text.find("\n 1 1\n"), std::string::npos) << text;
  EXPECT_TRUE(covered_cells().empty());
  // An object that is not called anything goes by its file.
  EXPECT_EQ(camera->panel().choices(mesh_id).at(1), "Object");
}

TEST_F(BakingTest, HostThatCountsBelowZeroIsSurvived) {
  choose(object_of(one_triangle()));
  auto table = host_table<LWObjectFuncs>(LWOBJECTFUNCS_GLOBAL);
  table.numObjects = [] { return -3; };
  table.numVMaps = [](LWID) { return -3; };
  const ServiceOverride odd(stage.module, server, LWOBJECTFUNCS_GLOBAL, &table);
  EXPECT_EQ(frame(), "0 0 0\n");
  EXPECT_EQ(camera->panel().choices(mesh_id), std::vector<std::string>{"(none)"});
  EXPECT_EQ(camera->panel().choices(uv_map_id), std::vector<std::string>{"(none)"});
}

TEST_F(BakingTest, TextureMapWithoutANameIsNotChosen) {
  choose(object_of(one_triangle()));
  auto table = host_table<LWObjectFuncs>(LWOBJECTFUNCS_GLOBAL);
  table.vmapName = [](LWID, int) -> const char* { return nullptr; };
  const ServiceOverride odd(stage.module, server, LWOBJECTFUNCS_GLOBAL, &table);
  frame();
  EXPECT_TRUE(covered_cells().empty());
  EXPECT_EQ(camera->panel().choices(uv_map_id).at(1), "(none)");
}

TEST_F(BakingTest, EveryMeshIsClosedAfterItsScan) {
  ObjectFile object = object_of(one_triangle());
  for (int number = 1; number < 5; ++number) object.layers.emplace_back().number = number;
  choose(object);
  frame();
  ASSERT_EQ(stage.host.scene_objects.meshes.size(), 5U);
  for (const auto& mesh : stage.host.scene_objects.meshes) EXPECT_TRUE(mesh->destroyed);
}

// --- Objects that the host saved.

class HostObjects : public BakingTest, public testing::WithParamInterface<const char*> {};

TEST_P(HostObjects, AreScannedAsModelled) {
  const auto folder = test_support::host_scene_folder();
  if (folder.empty()) GTEST_SKIP() << "the files saved by the host are not beside this clone";
  const ObjectFile object = standin::read_object_file(folder / GetParam());
  std::size_t points = 0;
  std::set<std::string> maps;
  for (const Layer& layer : object.layers) {
    points += layer.points.size();
    for (const auto& map : layer.uv_maps) maps.insert(map.name);
  }
  EXPECT_GT(points, 0U);
  choose(object);
  const auto choices = camera->panel().choices(uv_map_id);
  EXPECT_EQ(choices.size(), maps.size() + 1);
  for (std::size_t map = 0; map < choices.size(); ++map) {
    set(uv_map_id, static_cast<int>(map));
    for (const int edges : {0, 1}) {
      set(surroundings_id, edges);
      EXPECT_EQ(count_of("polys = ", frame()), object.layers.size());
      expect_as_modelled(object, choices[map], edges == 1);
      if (map > 0) EXPECT_FALSE(covered_cells().empty()) << choices[map];
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Files, HostObjects,
                         testing::Values("uvtest.lwo", "boxuv.lwo", "box_2uv_1unused.lwo", "hierarchy.lwo",
                                         "nonplanar_polygon.lwo", "simple_cube.lwo"),
                         [](const auto& info) {
                           const std::string name = info.param;
                           return name.substr(0, name.find('.'));
                         });

// --- The mathematics, without a host.

TEST(BakingMathematics, CellsAreCountedByTheFramesWidth) {
  using BakingCam::cell_of;
  constexpr BakingCam::Raster raster{100, 50};
  EXPECT_EQ(cell_of<float>(raster, 50, {0.0F, 0.0F}), 0U);
  EXPECT_EQ(cell_of<float>(raster, 50, {0.5F, 0.5F}), 25U * 100 + 50);
  EXPECT_EQ(cell_of<float>(raster, 50, {1.0F, 1.0F}), 50U * 100 + 100);
  EXPECT_EQ(cell_of<float>(raster, 100, {0.25F, 0.25F}), 25U * 100 + 25);
  // The grid has 102 x 52 cells, and rows follow one another after 100 of them.
  EXPECT_EQ(cell_of<float>(raster, 100, {0.0F, 0.535F}), 53U * 100);
  EXPECT_EQ(cell_of<float>(raster, 100, {0.035F, 0.535F}), 53U * 100 + 3);
  EXPECT_EQ(cell_of<float>(raster, 100, {0.045F, 0.535F}), std::nullopt);
  EXPECT_EQ(cell_of<float>(raster, 100, {-0.015F, 0.015F}), 99U);
  EXPECT_EQ(cell_of<float>(raster, 100, {-0.015F, 0.0F}), std::nullopt);
  EXPECT_EQ(cell_of<float>(raster, 50, {not_a_number, 0.5F}), std::nullopt);
  EXPECT_EQ(cell_of<double>(raster, 50, {0.5, 1.01}), 50U * 100 + 50);
  EXPECT_EQ(cell_of<double>(raster, 50, {0.5, -1e300}), std::nullopt);
  // Row and column at the ends of an int's range, whose cell lies far outside, and one beyond it.
  EXPECT_EQ(cell_of<double>(raster, 50, {2147483647.0 / 100.0, 0.0}), std::nullopt);
  EXPECT_EQ(BakingCam::whole_part(2147483647.9), 2147483647);
  EXPECT_EQ(BakingCam::whole_part(2147483648.0), std::nullopt);
  EXPECT_EQ(BakingCam::whole_part(-2147483648.9), -2147483648LL);
  EXPECT_EQ(BakingCam::whole_part(-2147483649.0), std::nullopt);
}

TEST(BakingMathematics, CellsLieInTheGridOfEverySize) {
  const float almost = 1.0F + 9e-7F;
  for (const int width : {0, 1, 2, 7, 1000, 1'000'003, std::numeric_limits<int>::max()}) {
    for (const int height : {0, 1, 2, 7, 1000, 1'000'003, std::numeric_limits<int>::max()}) {
      const std::uint64_t count =
          (std::uint64_t{2} + static_cast<unsigned>(width)) * (2U + std::uint64_t{static_cast<unsigned>(height)});
      for (const float u : {-9e-7F, 0.0F, 0.5F, 1.0F, almost}) {
        for (const float v : {-9e-7F, 0.0F, 0.5F, 1.0F, almost}) {
          for (const int rows : {width, height})
            if (const auto cell = BakingCam::cell_of<float>({width, height}, rows, {u, v}))
              EXPECT_LT(*cell, count) << width << 'x' << height << ' ' << u << ' ' << v;
        }
      }
    }
  }
}

TEST(BakingMathematics, FilmPositionsFollowTheFit) {
  BakingCam::Settings settings;
  constexpr framework::Film film{0.04, 0.02};
  const auto expect_uv = [&](std::uint32_t fit, double u, double v) {
    settings.fit_mode = fit;
    const auto uv = BakingCam::uv_of_film(settings, film, {0.01, 0.005});
    EXPECT_DOUBLE_EQ(uv.u, u) << fit;
    EXPECT_DOUBLE_EQ(uv.v, v) << fit;
  };
  expect_uv(0, 0.75, 0.625);
  expect_uv(1, 1.0, 0.75);
  expect_uv(2, 0.75, 0.75);
  settings.flip_uv_y = 1;
  expect_uv(0, 0.75, 0.375);
}

}  // namespace surface_baking_cam_test
