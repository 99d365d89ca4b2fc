#include "cameras/skybox/skybox_cam.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/service_override.h"
#include "tests/support/stage.h"

namespace skybox_cam_test {

using standin::Vec3;
using test_support::Stage;

constexpr std::uint32_t type_id = 0x8006;

/// Rows of the camera's matrix, which the record holds behind the camera's position.
using Rows = std::array<Vec3, 3>;

/// One face as a person would list it: where it is, and which rows its world direction is made of (1 to 3, negative for a
/// row that is turned round).
struct ListedFace {
  int band;
  int column;
  /// -1: in any layout.
  int type;
  std::array<int, 3> rows;
};

constexpr std::array listed_faces{
    ListedFace{1, 0, -1, {-3, 2, 1}},  ListedFace{1, 1, -1, {1, 2, 3}}, ListedFace{1, 2, -1, {3, 2, -1}},
    ListedFace{1, 3, -1, {-1, 2, -3}}, ListedFace{2, 1, 0, {1, 3, -2}}, ListedFace{2, 3, 1, {-1, 3, 2}},
    ListedFace{0, 1, -1, {1, -3, 2}},
};

struct Film {
  double width;
  double height;
  double split_x;
  double split_y;
};

std::optional<Vec3> expected_direction(const Film& film, const Rows& rows, unsigned type, double x, double y) {
  const double width = std::floor(film.width * 10000.0) / 10000.0;
  const double height = std::floor(film.height * 10000.0) / 10000.0;
  int column = 3;
  if (x <= film.split_x + 0.25 * width) column = 2;
  if (x <= film.split_x) column = 1;
  if (x <= film.split_x - 0.25 * width) column = 0;
  int band = 2;
  if (y <= film.split_y + height / 6.0) band = 1;
  if (y <= film.split_y - height / 6.0) band = 0;
  for (const ListedFace& face : listed_faces) {
    if (face.band != band || face.column != column) continue;
    if (face.type >= 0 && static_cast<unsigned>(face.type) != type) continue;
    const double shifts[] = {0.375, 0.125, -0.125, -0.375};
    const Vec3 local = standin::normalized({x + shifts[column] * width, y + (1 - band) * (height / 3.0), 0.1685 * film.height});
    const auto component = [&](int row) {
      return (row < 0 ? -1.0 : 1.0) * standin::dot(rows[static_cast<std::size_t>(std::abs(row) - 1)], local);
    };
    return Vec3{component(face.rows[0]), component(face.rows[1]), component(face.rows[2])};
  }
  return {};
}

class SkyboxTest : public testing::Test {
 protected:
  SkyboxTest() : camera(stage.create("QuorinSkyboxCam")) {}

  void set_type(unsigned type) { camera->panel().set_integer(type_id, static_cast<int>(type)); }
  Film film() {
    const standin::CameraSettings& settings = stage.host.camera("Camera");
    const double* size = camera->access().filmSize;
    return {size[0], size[1], -0.95 / settings.width_pixels * size[0], -0.95 / settings.height_pixels * size[1]};
  }
  Rows rows() {
    const auto row = [&](int i) {
      const double* words = camera->access().toWorld[i];
      return Vec3{words[0], words[1], words[2]};
    };
    return {row(0), row(1), row(2)};
  }
  standin::RayAnswer ray(double x, double y) { return camera->evaluate({.film_x = x, .film_y = y}); }

  void expect_as_listed(double x, double y, unsigned type) {
    const standin::RayAnswer answer = ray(x, y);
    const auto expected = expected_direction(film(), rows(), type, x, y);
    ASSERT_EQ(answer.result, expected ? LWCAMEVAL_RAY : LWCAMEVAL_NONE) << x << ' ' << y << " type " << type;
    if (!expected) return;
    EXPECT_LT(standin::length(answer.direction - *expected), 1e-14) << x << ' ' << y << " type " << type;
    EXPECT_NEAR(standin::length(answer.direction), 1.0, 1e-14);
    EXPECT_EQ(answer.film_normal, answer.direction);
    const double* position = camera->access().worldPos;
    EXPECT_EQ(answer.position, (Vec3{position[0], position[1], position[2]}));
  }

  Stage stage;
  std::unique_ptr<standin::HostedCamera> camera;
};

TEST_F(SkyboxTest, EveryCellOfEveryLayoutIsAsListed) {
  standin::Motion& motion = stage.host.item("Camera").motion;
  const double pose[] = {1.5, -2.25, 3.125, 0.7, -0.4, 0.3};
  std::transform(std::begin(pose), std::end(pose), motion.begin(), standin::Envelope::constant);
  camera->begin_frame(1);
  for (const unsigned type : {0U, 1U, 2U, 7U, 0xFFFFFFFFU}) {
    set_type(type);
    for (int i = -26; i <= 26; ++i)
      for (int j = -26; j <= 26; ++j) expect_as_listed(i / 48.0 * film().width, j / 48.0 * film().height, type);
  }
}

TEST_F(SkyboxTest, BoundariesBelongToTheLowerCell) {
  camera->begin_frame(1);
  const Film size = film();
  const double width = std::floor(size.width * 10000.0) / 10000.0;
  const double height = std::floor(size.height * 10000.0) / 10000.0;
  const auto around = [](double line) { return std::array{std::nextafter(line, -1.0), line, std::nextafter(line, 1.0)}; };
  for (const unsigned type : {0U, 1U}) {
    set_type(type);
    for (const double column : {size.split_x - 0.25 * width, size.split_x, size.split_x + 0.25 * width}) {
      for (const double row : {size.split_y - height / 6.0, size.split_y + height / 6.0}) {
        for (const double x : around(column))
          for (const double y : around(row)) expect_as_listed(x, y, type);
      }
    }
  }
  set_type(0);
  // On the split line the front face, beside it the right one.
  EXPECT_GT(ray(size.split_x, 0.0).direction.z, 0.7);
  EXPECT_LT(std::abs(ray(std::nextafter(size.split_x, 1.0), 0.0).direction.z), 0.71);
  EXPECT_GT(ray(std::nextafter(size.split_x, 1.0), 0.0).direction.x, 0.7);
  // On the upper boundary of the middle band, still the middle band; beyond it, the upper face.
  const double middle = -0.125 * width;
  const double upper = size.split_y + height / 6.0;
  EXPECT_GT(ray(middle, upper).direction.z, 0.7);
  EXPECT_GT(ray(middle, std::nextafter(upper, 1.0)).direction.y, 0.7);
}

TEST_F(SkyboxTest, WhereBoundariesCrossTheFirstOfThemCounts) {
  camera->begin_frame(1);
  // The boundaries of a film of negative size come in the opposite order along the film.
  Film mirrored = film();
  mirrored.width = camera->access().filmSize[0] = -mirrored.width;
  mirrored.height = camera->access().filmSize[1] = -mirrored.height;
  int rays = 0;
  int gaps = 0;
  for (const unsigned type : {0U, 1U}) {
    set_type(type);
    for (int i = -26; i <= 26; ++i) {
      for (int j = -26; j <= 26; ++j) {
        const double x = i / 48.0 * mirrored.width;
        const double y = j / 48.0 * mirrored.height;
        const standin::RayAnswer answer = ray(x, y);
        const auto expected = expected_direction(mirrored, rows(), type, x, y);
        ASSERT_EQ(answer.result, expected ? LWCAMEVAL_RAY : LWCAMEVAL_NONE) << x << ' ' << y << " type " << type;
        if (expected) ASSERT_LT(standin::length(answer.direction - *expected), 1e-14) << x << ' ' << y << " type " << type;
        ++(expected ? rays : gaps);
      }
    }
  }
  EXPECT_GT(rays, 0);
  EXPECT_GT(gaps, 0);
}

TEST_F(SkyboxTest, UnturnedCameraLooksAlongTheAxes) {
  // A film whose size is whole in tenths of a millimetre: nothing is cut.
  standin::CameraSettings& settings = stage.host.camera("Camera");
  settings.width_pixels = 1024;
  settings.height_pixels = 512;
  settings.aperture_height = 0.016;
  camera->begin_frame(1);
  const auto [width, height, split_x, split_y] = film();
  const auto centre = [&, w = width, h = height](int column, int band) {
    return ray((column - 1.5) * 0.25 * w, (band - 1) * h / 3.0);
  };
  const auto looks = [](const standin::RayAnswer& answer, Vec3 expected) {
    return answer.result == LWCAMEVAL_RAY && standin::length(answer.direction - expected) < 1e-12;
  };
  for (const unsigned type : {0U, 1U}) {
    set_type(type);
    EXPECT_TRUE(looks(centre(0, 1), {-1.0, 0.0, 0.0}));
    EXPECT_TRUE(looks(centre(1, 1), {0.0, 0.0, 1.0}));
    EXPECT_TRUE(looks(centre(2, 1), {1.0, 0.0, 0.0}));
    EXPECT_TRUE(looks(centre(3, 1), {0.0, 0.0, -1.0}));
    EXPECT_TRUE(looks(centre(1, 0), {0.0, -1.0, 0.0}));
    EXPECT_TRUE(looks(centre(type == 0 ? 1 : 3, 2), {0.0, 1.0, 0.0}));
    EXPECT_EQ(centre(type == 0 ? 3 : 1, 2).result, LWCAMEVAL_NONE);
    for (const int column : {0, 2, 3}) EXPECT_EQ(centre(column, 0).result, LWCAMEVAL_NONE) << column;
    for (const int column : {0, 2}) EXPECT_EQ(centre(column, 2).result, LWCAMEVAL_NONE) << column;
  }
}

TEST_F(SkyboxTest, NeighbouringFacesMeet) {
  camera->begin_frame(1);
  const auto [width, height, split_x, split_y] = film();
  // Across a cell's edge the direction goes on, but for the touch that each face is narrower, and the grid's offset.
  const auto distance = [&](double x, double y, double dx, double dy) {
    return standin::length(ray(x - dx, y - dy).direction - ray(x + dx, y + dy).direction);
  };
  constexpr double nearly = 0.03;
  const double step = height / 480.0;
  for (const double column : {-0.25, 0.0, 0.25}) EXPECT_LT(distance(column * width, 0.0, step, 0.0), nearly) << column;
  set_type(0);
  EXPECT_LT(distance(-0.125 * width, height / 6.0, 0.0, step), nearly);
  EXPECT_LT(distance(-0.125 * width, -height / 6.0, 0.0, step), nearly);
  set_type(1);
  EXPECT_LT(distance(0.375 * width, height / 6.0, 0.0, step), nearly);
  // In from the sides as well: the upper face is not turned against the back face.
  for (const double aside : {-0.1, 0.1}) EXPECT_LT(distance((0.375 + aside) * width, height / 6.0, 0.0, step), nearly) << aside;
}

TEST_F(SkyboxTest, NothingIsWrittenWhereThereIsNoFace) {
  camera->begin_frame(1);
  LWCameraRay record{};
  record.rayPos[0] = 3.5;
  record.rayDir[1] = 4.5;
  record.filmNorm[2] = 5.5;
  const auto [width, height, split_x, split_y] = film();
  const auto answer = camera->handler().evaluate(camera->raw(), 0.375 * width, -height / 3.0, 0, 0, 0, LWCAMEYE_CENTER, &record,
                                                 &camera->access());
  EXPECT_EQ(answer, 0);
  EXPECT_EQ(record.rayPos[0], 3.5);
  EXPECT_EQ(record.rayDir[1], 4.5);
  EXPECT_EQ(record.filmNorm[2], 5.5);
}

TEST_F(SkyboxTest, LayoutTakesTheFilmSizeCutToFourDecimals) {
  camera->begin_frame(1);
  camera->access().filmSize[0] = 0.0359999;
  camera->access().filmSize[1] = 0.0239999;
  camera->handler().newFrame(camera->raw(), &camera->frame_info(), &camera->access());
  const Film size = film();
  for (int i = -20; i <= 20; ++i)
    for (int j = -20; j <= 20; ++j) expect_as_listed(i / 40.0 * 0.036, j / 40.0 * 0.024, 0);
  // Between the boundary of the uncut film and that of the cut one still lies the first column.
  const double cut = size.split_x - 0.25 * 0.0359;
  const double uncut = size.split_x - 0.25 * 0.0359999;
  EXPECT_LT(ray((cut + uncut) / 2.0, 0.0).direction.x, -0.6);
  EXPECT_LT(ray(cut, 0.0).direction.x, -0.6);
  EXPECT_GT(ray(std::nextafter(cut, 0.0), 0.0).direction.z, 0.6);
  // The film distance takes the uncut height.
  const Vec3 front = ray(-0.125 * 0.0359 + 0.001, 0.0).direction;
  EXPECT_NEAR(front.x / front.z, 0.001 / (0.1685 * 0.0239999), 1e-12);
}

TEST_F(SkyboxTest, RayTakesPositionAndFilmFromTheRecordOfItsCall) {
  camera->begin_frame(1);
  camera->access().worldPos[1] = 42.0;
  EXPECT_EQ(ray(-0.002, 0.0).position.y, 42.0);
  // The grid's offset stays that of the frame.
  const Film whole = film();
  Film changed = whole;
  for (const auto& [wider, higher] : {std::pair{1.3, 1.1}, {0.7, 1.1}, {1.0, 1.2}, {1.4, 1.0}}) {
    changed.width = camera->access().filmSize[0] = whole.width * wider;
    changed.height = camera->access().filmSize[1] = whole.height * higher;
    for (int i = -20; i <= 20; ++i) {
      const double x = i / 40.0 * changed.width;
      const double y = i % 7 / 14.0 * changed.height;
      const auto expected = expected_direction(changed, rows(), 0, x, y);
      const standin::RayAnswer answer = ray(x, y);
      ASSERT_EQ(answer.result != LWCAMEVAL_NONE, expected.has_value());
      if (expected) EXPECT_LT(standin::length(answer.direction - *expected), 1e-14);
    }
  }
}

TEST_F(SkyboxTest, RaysDoNotDependOnTheirTime) {
  stage.host.item("Camera").motion[0].keys = {{0.0, 0.0, standin::Span::linear, {}}, {5.0, 1.0, standin::Span::linear, {}}};
  camera->begin_frame(1, {.motion_blur = true, .motion_steps = 4});
  const standin::RayAnswer first = ray(-0.002, 0.001);
  for (const double time : {0.5, 1.0}) {
    const standin::RayAnswer later = camera->evaluate({.film_x = -0.002, .film_y = 0.001, .fractional_time = time});
    EXPECT_EQ(later.direction, first.direction);
    EXPECT_EQ(later.position, first.position);
  }
}

TEST_F(SkyboxTest, OddFilmSizesAndPositionsAreSurvived) {
  camera->begin_frame(1);
  const double infinity = std::numeric_limits<double>::infinity();
  const double numbers[] = {0.0,  -0.0,    -1.0,     5e-324,   1e-9,      1e12,
                            1e16, 1.7e308, -1.7e308, infinity, -infinity, std::numeric_limits<double>::quiet_NaN()};
  for (const double size : numbers) {
    camera->access().filmSize[0] = size;
    camera->access().filmSize[1] = -size;
    camera->handler().newFrame(camera->raw(), &camera->frame_info(), &camera->access());
    for (const double at : numbers) {
      const int result = ray(at, -at).result;
      EXPECT_TRUE(result == LWCAMEVAL_NONE || result == LWCAMEVAL_RAY);
    }
  }
  stage.host.camera("Camera").width_pixels = 0;
  stage.host.camera("Camera").height_pixels = 0;
  camera->begin_frame(2);
  EXPECT_GE(ray(0.0, 0.0).result, 0);
}

TEST_F(SkyboxTest, LoadedTypeSelectsTheLayout) {
  for (const unsigned type : {0U, 1U, 0U}) {
    camera->load_text({std::to_string(type)});
    EXPECT_EQ(camera->panel().get_integer(type_id), static_cast<int>(type));
    camera->begin_frame(1);
    expect_as_listed(-0.002, 0.005, type);
    expect_as_listed(0.0075, 0.005, type);
  }
}

TEST_F(SkyboxTest, InstancesKeepTheirTypesApart) {
  const auto second = stage.create("QuorinSkyboxCam", "Other 1");
  set_type(1);
  camera->begin_frame(1);
  second->begin_frame(1);
  const auto [width, height, split_x, split_y] = film();
  EXPECT_EQ(ray(0.375 * width, height / 3.0).result, LWCAMEVAL_RAY);
  EXPECT_EQ(second->evaluate({.film_x = 0.375 * width, .film_y = height / 3.0}).result, LWCAMEVAL_NONE);
}

// --- The camera values that are read and kept.

int camera_questions = 0;

TEST_F(SkyboxTest, ReadsItsTwoCameraValuesWithEveryFrame) {
  auto table = test_support::host_table<LWCameraInfo>(LWCAMERAINFO_GLOBAL);
  table.zoomFactor = [](LWItemID, LWTime) { return static_cast<double>(++camera_questions); };
  table.fStop = table.zoomFactor;
  const test_support::ServiceOverride watching(stage.module, "QuorinSkyboxCam", LWCAMERAINFO_GLOBAL, &table);
  camera_questions = 0;
  const LWCameraHandler& handler = camera->handler();
  const LWInstance instance = handler.inst->create(nullptr, stage.host.id_of("Camera"), nullptr);
  EXPECT_EQ(camera_questions, 2);
  camera->begin_frame(1);
  EXPECT_EQ(camera_questions, 4);
  camera->init_render();
  camera->new_time(2, 0.5);
  ray(0.0, 0.0);
  EXPECT_EQ(camera_questions, 4);
  handler.inst->destroy(instance);
}

using EvaluatePerspective = int(LWInstance instance, double x, double y, const LWDVector a, const LWDVector b,
                                const LWDVector c, LWCameraRay* ray, const LWCameraAccess* access);
constexpr const char* evaluate_perspective_name =
    "_ZN9SkyboxCam22C_Evaluate_PerspectiveEPvddPKdS2_S2_P11LWCameraRayPK14LWCameraAccess";

TEST_F(SkyboxTest, PerspectiveOfAFaceIsAFunctionOfItsOwn) {
  auto* evaluate_perspective = stage.module.library().find_as<EvaluatePerspective>(evaluate_perspective_name);
  ASSERT_NE(evaluate_perspective, nullptr);
  stage.host.item("Camera").motion[3] = standin::Envelope::constant(0.7);
  stage.host.item("Camera").motion[4] = standin::Envelope::constant(-0.3);
  camera->begin_frame(1);
  const LWCameraAccess& access = camera->access();
  const Film size = film();
  const double width = std::floor(size.width * 10000.0) / 10000.0;
  const double height = std::floor(size.height * 10000.0) / 10000.0;
  for (const ListedFace& face : listed_faces) {
    set_type(face.type == 1 ? 1 : 0);
    LWDVector signed_rows[3];
    for (int i = 0; i < 3; ++i) {
      const int row = face.rows[static_cast<std::size_t>(i)];
      for (int axis = 0; axis < 3; ++axis)
        signed_rows[i][axis] = (row < 0 ? -1.0 : 1.0) * access.toWorld[std::abs(row) - 1][axis];
    }
    const double shift_x = std::array{0.375, 0.125, -0.125, -0.375}[static_cast<std::size_t>(face.column)] * width;
    const double shift_y = (1 - face.band) * (height / 3.0);
    const double x = 0.001 - shift_x;
    const double y = -0.0005 - shift_y;
    LWCameraRay record{};
    ASSERT_EQ(evaluate_perspective(camera->raw(), x + shift_x, y + shift_y, signed_rows[0], signed_rows[1], signed_rows[2],
                                   &record, &access),
              LWCAMEVAL_RAY);
    const standin::RayAnswer whole = ray(x, y);
    EXPECT_EQ(whole.direction, (Vec3{record.rayDir[0], record.rayDir[1], record.rayDir[2]}));
    EXPECT_EQ(whole.film_normal, (Vec3{record.filmNorm[0], record.filmNorm[1], record.filmNorm[2]}));
    EXPECT_EQ(whole.position, (Vec3{record.rayPos[0], record.rayPos[1], record.rayPos[2]}));
  }
}

TEST_F(SkyboxTest, PerspectiveOfAFaceNeedsEveryArgument) {
  auto* evaluate_perspective = stage.module.library().find_as<EvaluatePerspective>(evaluate_perspective_name);
  ASSERT_NE(evaluate_perspective, nullptr);
  camera->begin_frame(1);
  const LWDVector row{1.0, 0.0, 0.0};
  LWCameraRay record{};
  record.rayDir[0] = 42.0;
  const LWCameraAccess* access = &camera->access();
  EXPECT_EQ(evaluate_perspective(nullptr, 0.0, 0.0, row, row, row, &record, access), LWCAMEVAL_NONE);
  EXPECT_EQ(evaluate_perspective(camera->raw(), 0.0, 0.0, nullptr, row, row, &record, access), LWCAMEVAL_NONE);
  EXPECT_EQ(evaluate_perspective(camera->raw(), 0.0, 0.0, row, nullptr, row, &record, access), LWCAMEVAL_NONE);
  EXPECT_EQ(evaluate_perspective(camera->raw(), 0.0, 0.0, row, row, nullptr, &record, access), LWCAMEVAL_NONE);
  EXPECT_EQ(evaluate_perspective(camera->raw(), 0.0, 0.0, row, row, row, nullptr, access), LWCAMEVAL_NONE);
  EXPECT_EQ(evaluate_perspective(camera->raw(), 0.0, 0.0, row, row, row, &record, nullptr), LWCAMEVAL_NONE);
  EXPECT_EQ(record.rayDir[0], 42.0);
}

// --- The panel that follows what is loaded.

std::vector<LWXPanelID> refreshed;

class SkyboxRefresh : public SkyboxTest {
 protected:
  /// After everything that activates the namespace.
  void watch(void (*refresh)(LWXPanelID) = [](LWXPanelID panel) { refreshed.push_back(panel); }) {
    table_ = test_support::host_table<LWXPanelFuncs>(LWXPANELFUNCS_GLOBAL);
    table_.viewRefresh = refresh;
    watching_.emplace(stage.module, "QuorinSkyboxCam", LWXPANELFUNCS_GLOBAL, &table_);
    refreshed.clear();
  }
  void stop_watching() { watching_.reset(); }

 private:
  LWXPanelFuncs table_{};
  std::optional<test_support::ServiceOverride> watching_;
};

using Panels = std::vector<LWXPanelID>;

TEST_F(SkyboxRefresh, PanelsAreRefreshedEachByItsOwnInstance) {
  const auto second = stage.create("QuorinSkyboxCam", "Other 1");
  const auto without = stage.create("QuorinSkyboxCam", "Other 2");
  const LWXPanelID first_panel = camera->panel().id;
  const LWXPanelID second_panel = second->panel().id;
  watch();
  camera->load_text({"1"});
  EXPECT_EQ(refreshed, Panels{first_panel});
  without->load_text({"1"});
  second->load_text({"1"});
  EXPECT_EQ(refreshed, (Panels{first_panel, second_panel}));
}

TEST_F(SkyboxRefresh, ClosedPanelIsForgotten) {
  const auto second = stage.create("QuorinSkyboxCam", "Other 1");
  const LWXPanelID first_panel = camera->panel().id;
  const LWXPanelID second_panel = second->panel().id;
  ASSERT_EQ(camera->panel().hints_of(LWXPTAG_DESTROYNOTIFY).size(), 1U);
  // The new panel is created before the old one is destroyed, as by a host that changes from one to the other.
  ASSERT_TRUE(stage.host.panels.destroy(first_panel));
  watch();
  camera->load_text({"1"});
  EXPECT_EQ(refreshed, Panels{});
  second->load_text({"1"});
  EXPECT_EQ(refreshed, Panels{second_panel});
}

TEST_F(SkyboxRefresh, PanelOfADestroyedInstanceIsForgotten) {
  const LWCameraHandler& handler = camera->handler();
  const LWInstance instance = handler.inst->create(nullptr, stage.host.id_of("Camera"), nullptr);
  LWInterface local{};
  local.inst = instance;
  const standin::Server& server = stage.module.server(LWCAMERA_INTERFACE_CLASS, "QuorinSkyboxCam");
  ASSERT_EQ(stage.module.activate(server, LWCAMERA_INTERFACE_VERSION, &local), AFUNC_OK);
  handler.inst->destroy(instance);
  watch();
  camera->load_text({"1"});
  EXPECT_EQ(refreshed, Panels{});
  EXPECT_TRUE(stage.host.panels.destroy(local.panel));
}

/// Panels over instances that the host creates one by one, with a host that watches what is refreshed.
class SkyboxPanels : public SkyboxRefresh {
 public:
  LWInstance make_instance() {
    const LWInstance instance = camera->handler().inst->create(nullptr, stage.host.id_of("Camera"), nullptr);
    return instance;
  }
  void destroy(LWInstance instance) { camera->handler().inst->destroy(instance); }
  LWXPanelID open(LWInstance instance) {
    LWInterface local{};
    local.inst = instance;
    const standin::Server& server = stage.module.server(LWCAMERA_INTERFACE_CLASS, "QuorinSkyboxCam");
    EXPECT_EQ(stage.module.activate(server, LWCAMERA_INTERFACE_VERSION, &local), AFUNC_OK);
    return local.panel;
  }
  void close(LWXPanelID panel) { EXPECT_TRUE(stage.host.panels.destroy(panel)); }
  Panels refreshed_by_loading(LWInstance instance) {
    refreshed.clear();
    const standin::LoadState state(std::vector<std::string>{"1"});
    EXPECT_EQ(camera->handler().inst->load(instance, state.record()), nullptr);
    return refreshed;
  }
};

TEST_F(SkyboxPanels, EitherOfTwoPanelsOfAnInstanceMayBeClosedFirst) {
  const LWInstance instance = make_instance();
  for (const bool first_closes_first : {true, false}) {
    const LWXPanelID first = open(instance);
    const LWXPanelID second = open(instance);
    watch();
    EXPECT_EQ(refreshed_by_loading(instance), (Panels{first, second}));
    close(first_closes_first ? first : second);
    EXPECT_EQ(refreshed_by_loading(instance), (Panels{first_closes_first ? second : first}));
    close(first_closes_first ? second : first);
    EXPECT_EQ(refreshed_by_loading(instance), Panels{});
    stop_watching();
  }
  destroy(instance);
}

TEST_F(SkyboxPanels, EachOfManyIsClosedAndRefreshedForItself) {
  const LWInstance instance = make_instance();
  Panels opened;
  for (int i = 0; i < 100; ++i) opened.push_back(open(instance));
  watch();
  Panels told = refreshed_by_loading(instance);
  std::ranges::sort(told);
  Panels expected = opened;
  std::ranges::sort(expected);
  EXPECT_EQ(told, expected);
  Panels left;
  for (std::size_t i = 0; i < opened.size(); ++i)
    if (i % 3 == 0)
      left.push_back(opened[i]);
    else
      close(opened[i]);
  EXPECT_EQ(refreshed_by_loading(instance), left);
  stop_watching();
  for (const LWXPanelID panel : left) close(panel);
  destroy(instance);
}

TEST_F(SkyboxPanels, AnOldPanelIsNotRefreshedByANewInstanceAtItsAddress) {
  // The allocator gives the same address soon, though not necessarily at once.
  LWXPanelID old_panel = nullptr;
  LWInstance reused = nullptr;
  for (int attempt = 0; attempt < 1000 && reused == nullptr; ++attempt) {
    const LWInstance instance = make_instance();
    const LWXPanelID panel = open(instance);
    destroy(instance);
    const LWInstance next = make_instance();
    if (next == instance) {
      old_panel = panel;
      reused = next;
    } else {
      destroy(next);
      close(panel);
    }
  }
  if (reused == nullptr) GTEST_SKIP() << "the allocator never gave an address twice";
  watch();
  EXPECT_EQ(refreshed_by_loading(reused), Panels{});
  const LWXPanelID new_panel = open(reused);
  EXPECT_EQ(refreshed_by_loading(reused), Panels{new_panel});
  close(old_panel);
  EXPECT_EQ(refreshed_by_loading(reused), Panels{new_panel});
  close(new_panel);
  destroy(reused);
}

TEST_F(SkyboxPanels, HintWordsStayAfterThePanelIsClosed) {
  const LWInstance instance = make_instance();
  const LWXPanelID panel = open(instance);
  const standin::Panel* shown = stage.host.panels.table.find(panel);
  ASSERT_NE(shown, nullptr);
  ASSERT_EQ(shown->hint_words.size(), 2U);
  void* const* words = shown->hint_words.back().address;
  const std::vector<void*> before(words, words + 4);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(before.front()), std::uintptr_t{LWXPTAG_DESTROYNOTIFY});
  close(panel);
  destroy(instance);
  EXPECT_EQ(std::vector<void*>(words, words + 4), before);
}

TEST_F(SkyboxPanels, AHostMayCloseAndReopenPanelsWhileTheyAreRefreshed) {
  static SkyboxPanels* test = nullptr;
  static LWInstance instance = nullptr;
  static std::vector<LWXPanelID> open_panels;
  test = this;
  instance = make_instance();
  open_panels = {open(instance), open(instance), open(instance)};
  const Panels first_three(open_panels.begin(), open_panels.end());
  watch([](LWXPanelID panel) {
    refreshed.push_back(panel);
    // The panel that is refreshed is closed, and so is the one after it; another one is opened.
    for (int i = 0; i < 2 && !open_panels.empty(); ++i) {
      test->close(open_panels.front());
      open_panels.erase(open_panels.begin());
    }
    if (refreshed.size() < 100) open_panels.push_back(test->open(instance));
  });
  EXPECT_EQ(refreshed_by_loading(instance), (Panels{first_three[0], first_three[2]}));
  stop_watching();
  for (const LWXPanelID panel : open_panels) close(panel);
  destroy(instance);
}

// --- The mapping by itself.

TEST(SkyboxMapping, CutIsTheFloor) {
  for (const double metres : {0.036, 0.0359999, 0.024, 0.02, 0.015, 1.0, 123.45678, -0.0359999, -1.0, 0.0, 4.5e11, 4.6e11,
                              -4.5e11, 4.503599627370496e11, 1e300, -1e300, 5e-324}) {
    EXPECT_EQ(SkyboxCam::cut_to_tenth_of_millimetre(metres), std::floor(metres * 10000.0) / 10000.0) << metres;
  }
  EXPECT_TRUE(std::isnan(SkyboxCam::cut_to_tenth_of_millimetre(std::nan(""))));
  EXPECT_EQ(SkyboxCam::cut_to_tenth_of_millimetre(INFINITY), INFINITY);
}

TEST(SkyboxMapping, AgreesWithTheTableWithoutAHost) {
  const Film film{0.036, 0.024, -0.0001, -0.0002};
  const Rows rows{Vec3{0.8, 0.0, -0.6}, Vec3{0.0, 1.0, 0.0}, Vec3{0.6, 0.0, 0.8}};
  for (const unsigned type : {0U, 1U, 2U}) {
    const SkyboxCam::Box box{
        {film.split_x, film.split_y, SkyboxCam::Layout{type}}, {7.0, 8.0, 9.0}, {{{0.8, 0, -0.6}, {0, 1, 0}, {0.6, 0, 0.8}}}};
    for (int i = -30; i <= 30; ++i) {
      for (int j = -30; j <= 30; ++j) {
        const double x = i / 55.0 * film.width;
        const double y = j / 55.0 * film.height;
        const auto ray = map(box, {film.width, film.height}, {x, y});
        const auto expected = expected_direction(film, rows, type, x, y);
        ASSERT_EQ(ray.has_value(), expected.has_value());
        if (!ray) continue;
        EXPECT_LT(std::hypot(ray->direction.x - expected->x, ray->direction.y - expected->y, ray->direction.z - expected->z),
                  1e-14);
        EXPECT_EQ(ray->position, box.position);
      }
    }
  }
}

}  // namespace skybox_cam_test
