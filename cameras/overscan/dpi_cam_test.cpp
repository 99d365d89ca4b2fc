#include <climits>
#include <cmath>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "cameras/overscan/selected_camera_suite.h"

namespace test_support::dpi_cam_test {

INSTANTIATE_TEST_SUITE_P(Dpi, SelectedCameraTest, testing::Values("QuorinDpiCam"));

class DpiCamera : public SelectedCameraStage {
 protected:
  static constexpr std::uint32_t dots_id = 0x800e;
  static constexpr std::uint32_t size_id = 0x800d;

  DpiCamera() : SelectedCameraStage("QuorinDpiCam") {}

  void print(int dots_per_inch, bool size_is_height, double size_metres, double bleed_metres) {
    camera->panel().set_integer(dots_id, dots_per_inch);
    camera->panel().set_integer(size_id, size_is_height ? 1 : 0);
    set("SizeAxis", size_metres);
    set("Overscan", bleed_metres);
    camera->new_time(1, 0.0);
  }
  /// What the selected camera is asked for, in terms of the film position and lens sample that this one is.
  std::pair<double, double> scales() {
    const standin::RayQuery query = asked({0.004, -0.002, 0.5, 0.25});
    EXPECT_DOUBLE_EQ(query.lens_x / 0.5, query.film_x / 0.004);
    EXPECT_DOUBLE_EQ(query.lens_y / 0.25, query.film_y / -0.002);
    return {query.film_x / 0.004, query.film_y / -0.002};
  }
  void expect_scales(double x, double y) {
    const auto [actual_x, actual_y] = scales();
    EXPECT_DOUBLE_EQ(actual_x, x);
    EXPECT_DOUBLE_EQ(actual_y, y);
  }
};

TEST_F(DpiCamera, PrintedWidthSetsTheResolution) {
  select(2);
  print(300, false, 0.2, 0.0);
  EXPECT_EQ(calculated_text(), " 2362 x 1771");
  expect_scales(1.0, 1.0);
}

TEST_F(DpiCamera, BleedEnlargesTheFilm) {
  select(2);
  print(300, false, 0.2, 0.003);
  // 70 pixels of bleed on 2362 by 1771.5.
  EXPECT_EQ(calculated_text(), " 2432 x 1841");
  expect_scales((70.0 + 2362.0) / 2362.0, (70.0 + 1771.5) / 1771.5);
  print(300, true, 0.2, 0.003);
  EXPECT_EQ(calculated_text(), " 3219 x 2432");
  expect_scales((70.0 + 2362.0 * 640.0 / 480.0) / (2362.0 * 640.0 / 480.0), (70.0 + 2362.0) / 2362.0);
}

TEST_F(DpiCamera, PixelAspectCountsForTheOtherSide) {
  stage.host.camera("Other 2").pixel_aspect = standin::Envelope::constant(2.0);
  select(2);
  print(100, false, 0.254, 0.0);
  EXPECT_EQ(calculated_text(), " 1000 x 375");
  print(100, true, 0.254, 0.0);
  EXPECT_EQ(calculated_text(), " 2666 x 1000");
}

/// A print has one size, whatever frame the host is at.
TEST_F(DpiCamera, PixelAspectIsThatAtTheScenesStart) {
  using standin::Span;
  stage.host.camera("Other 2").pixel_aspect = standin::Envelope{{{2.0, 0.0, Span::linear, {}}, {4.0, 1.0, Span::linear, {}}}};
  select(2);
  print(100, false, 0.254, 0.0);
  EXPECT_EQ(calculated_text(), " 1000 x 375");
  camera->new_time(31, 1.0);
  EXPECT_EQ(calculated_text(), " 1000 x 375");
}

TEST_F(DpiCamera, WholePixelsAreNotCutByRounding) {
  select(2);
  // An inch, ten inches, a centimetre and a half: 0.1 of a pixel keeps them.
  for (const auto& [metres, pixels] : {std::pair{0.0254, 72}, {0.254, 720}, {0.01, 28}, {0.015, 42}, {0.3048, 864}}) {
    print(72, false, metres, 0.0);
    EXPECT_EQ(calculated_text().substr(0, calculated_text().find(" x")), " " + std::to_string(pixels)) << metres;
  }
}

TEST_F(DpiCamera, FilmFollowsOnlyTheTextThatIsShown) {
  select(2);
  print(300, false, 0.2, 0.003);
  begin();
  expect_scales(1.0, 1.0);
  ASSERT_FALSE(calculated_text().empty());
  const double scale = (70.0 + 2362.0) / 2362.0;
  EXPECT_DOUBLE_EQ(scales().first, scale);
  print(300, false, 0.2, 0.03);
  EXPECT_DOUBLE_EQ(scales().first, scale);
  // Without a choice the text says nothing, and the film stays as it was.
  select(0);
  EXPECT_EQ(calculated_text(), "Width x Height");
  select(2);
  EXPECT_DOUBLE_EQ(scales().first, scale);
  load_choice(2);
  begin();
  expect_scales(1.0, 1.0);
}

TEST_F(DpiCamera, EnvelopesDoNotMoveItsRays) {
  load_choice(2);
  set("Overscan", 0.5);
  set("Vertical Jitter", 0.5);
  set("Horizontal Jitter", 0.5);
  begin();
  expect_scales(1.0, 1.0);
  // The projection takes the bleed for an overscan all the same.
  const standin::RayAnswer seen = ray(0.003, 0.0);
  const auto film = camera->project(seen.position + seen.direction * 2.0);
  ASSERT_TRUE(film);
  EXPECT_NEAR(film->first, 0.003 / 1.5 - 0.5 * 0.25 * camera->access().filmSize[0], 1e-12);
}

TEST_F(DpiCamera, SizesThatAllowNoPrintLeaveTheFilmAsItWas) {
  select(2);
  print(300, false, 0.2, 0.003);
  ASSERT_FALSE(calculated_text().empty());
  const auto before = scales();
  print(0, false, 0.2, 0.003);
  EXPECT_EQ(calculated_text(), " 0 x 0");
  print(300, true, 0.0, 0.0);
  EXPECT_EQ(calculated_text(), " 0 x 0");
  EXPECT_EQ(scales(), before);
  stage.host.camera("Other 2").height_pixels = 0;
  print(300, true, 0.2, 0.003);
  EXPECT_EQ(calculated_text(), " 2147483647 x 2432");
  EXPECT_EQ(scales(), before);
  stage.host.camera("Other 2").width_pixels = 0;
  print(300, false, 0.2, 0.003);
  EXPECT_EQ(calculated_text(), " 2432 x 70");
  EXPECT_EQ(scales(), before);
  for (const int dots : {INT_MAX, INT_MIN, -1}) {
    for (const double metres : {1e300, -1e300, std::nan(""), 1e9}) {
      for (const bool height : {false, true}) {
        print(dots, height, metres, metres);
        EXPECT_LT(calculated_text().size(), 30U);
        EXPECT_TRUE(std::isfinite(scales().first) && std::isfinite(scales().second));
      }
    }
  }
}

TEST_F(DpiCamera, SettingsOfItsOwnAreSavedBeforeTheEnvelopes) {
  select(7);
  print(150, true, 0.4, 0.01);
  const std::vector<std::string> lines = camera->save_text();
  ASSERT_GT(lines.size(), 3U);
  const auto other = stage.create(server_name, "Other 1");
  other->load_text(lines);
  EXPECT_EQ(other->panel().get_integer(choice_id), 7);
  EXPECT_EQ(other->panel().get_integer(dots_id), 150);
  EXPECT_EQ(other->panel().get_integer(size_id), 1);
  EXPECT_EQ(other->parameter("SizeAxis").at(0.0), 0.4);
  EXPECT_EQ(other->parameter("Overscan").at(0.0), 0.01);
}

TEST_F(DpiCamera, BothEvaluationsAreExported) {
  const auto& library = stage.module.library();
  EXPECT_EQ(library.find("_ZN11OverscanCam16C_Evaluate_DPI_CEPvddddd11LWCameraEyeP11LWCameraRayPK14LWCameraAccess"),
            reinterpret_cast<void*>(camera->handler().evaluate));
  const auto overscan = stage.create("QuorinOverscanCam");
  EXPECT_EQ(library.find("_ZN11OverscanCam12C_Evaluate_CEPvddddd11LWCameraEyeP11LWCameraRayPK14LWCameraAccess"),
            reinterpret_cast<void*>(overscan->handler().evaluate));
}

TEST_F(DpiCamera, ReadsTwoEnvelopesWithEveryRay) {
  static int reads = 0;
  auto table = host_table<LWVParmFuncs>(LWVPARMFUNCS_GLOBAL);
  table.getVal = [](LWVParmID id, LWTime time, void* data, double* result) {
    ++reads;
    return host_table<LWVParmFuncs>(LWVPARMFUNCS_GLOBAL).getVal(id, time, data, result);
  };
  load_choice(2);
  begin();
  const ServiceOverride counting(stage.module, server_name, LWVPARMFUNCS_GLOBAL, &table);
  reads = 0;
  ray();
  EXPECT_EQ(reads, 2);
}

}  // namespace test_support::dpi_cam_test
