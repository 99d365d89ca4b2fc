#include <cmath>
#include <gtest/gtest.h>

#include "cameras/overscan/selected_camera_suite.h"

namespace test_support::overscan_cam_test {

INSTANTIATE_TEST_SUITE_P(Overscan, SelectedCameraTest, testing::Values("QuorinOverscanCam"));

class OverscanCamera : public SelectedCameraStage {
 protected:
  OverscanCamera() : SelectedCameraStage("QuorinOverscanCam") {}
};

TEST_F(OverscanCamera, ScalesFilmAndLens) {
  load_choice(2);
  set("Overscan", 0.1);
  begin();
  const standin::RayQuery query = asked({0.004, -0.003, 0.5, -0.25, 0.75, standin::Eye::right});
  EXPECT_EQ(query.film_x, 0.004 * 1.1);
  EXPECT_EQ(query.film_y, -0.003 * 1.1);
  EXPECT_EQ(query.lens_x, 0.5 * 1.1);
  EXPECT_EQ(query.lens_y, -0.25 * 1.1);
  EXPECT_EQ(query.fractional_time, 0.75);
  EXPECT_EQ(query.eye, standin::Eye::right);
}

TEST_F(OverscanCamera, JittersBothWaysByTheFilmsWidth) {
  load_choice(2);
  set("Overscan", 0.25);
  set("Vertical Jitter", 0.5);
  set("Horizontal Jitter", -0.125);
  begin();
  const double width = camera->access().filmSize[0];
  const standin::RayQuery query = asked({0.004, -0.003, 0.0, 0.0});
  EXPECT_DOUBLE_EQ(query.film_x, (0.004 - 0.125 * 0.25 * width) * 1.25);
  EXPECT_DOUBLE_EQ(query.film_y, (-0.003 + 0.5 * 0.25 * width) * 1.25);
}

TEST_F(OverscanCamera, ReadsItsEnvelopesAtTheTimeOfTheRay) {
  load_choice(2);
  camera->parameter("Overscan").set_keys({{0.0, 0.0}, {1.0, 1.0}});
  camera->parameter("Horizontal Jitter").set_keys({{0.0, 0.0}, {1.0, 2.0}});
  camera->init_render();
  camera->new_time(3, 0.1);
  camera->new_frame(3, 0.1, 0.2);
  const double width = camera->access().filmSize[0];
  for (const double fraction : {0.0, 0.25, 1.0}) {
    const double time = 0.1 + fraction * 0.2;
    const standin::RayQuery query = asked({.film_x = 0.004, .fractional_time = fraction});
    EXPECT_NEAR(query.film_x, (0.004 + 2.0 * time * 0.25 * width) * (1.0 + time), 1e-15);
    const standin::RayAnswer seen = camera->evaluate({.film_x = 0.004, .film_y = 0.002, .fractional_time = fraction});
    const auto back = camera->project(seen.position + seen.direction * 3.0, fraction);
    ASSERT_TRUE(back);
    EXPECT_NEAR(back->first, 0.004, 1e-14);
    EXPECT_NEAR(back->second, 0.002, 1e-14);
  }
}

TEST_F(OverscanCamera, CalculatedResolutionCutsSinglePrecisionProducts) {
  EXPECT_EQ(calculated_text(), "Width x Height");
  standin::CameraSettings& other = stage.host.camera("Other 2");
  other.width_pixels = 1920;
  other.height_pixels = 1080;
  select(2);
  const auto show = [&](double overscan) {
    set("Overscan", overscan);
    camera->new_time(1, 0.0);
    return calculated_text();
  };
  EXPECT_EQ(show(0.1), " 2112 x 1188");
  EXPECT_EQ(show(0.0), " 1920 x 1080");
  EXPECT_EQ(show(-0.5), " 960 x 540");
  EXPECT_EQ(show(-2.0), " -1920 x -1080");
  // In double precision both would be cut to one pixel less: 100 x 1.15 and 40 x 1.15 fall just short.
  other.width_pixels = 100;
  other.height_pixels = 40;
  EXPECT_EQ(show(0.15), " 115 x 46");
  EXPECT_EQ(show(1e300), " 2147483647 x 2147483647");
  EXPECT_EQ(show(-1e300), " -2147483648 x -2147483648");
  other.width_pixels = 0;
  EXPECT_EQ(show(1e300).substr(0, 4), " 0 x");
}

TEST_F(OverscanCamera, ValuesThatAreNoNumbersShowAsZero) {
  auto table = host_table<LWVParmFuncs>(LWVPARMFUNCS_GLOBAL);
  table.getVal = [](LWVParmID, LWTime, void*, double* result) { return result[0] = std::nan(""); };
  load_choice(2);
  begin();
  {
    const ServiceOverride broken(stage.module, server_name, LWVPARMFUNCS_GLOBAL, &table);
    camera->new_time(1, 0.0);
    EXPECT_EQ(calculated_text(), " 0 x 0");
    EXPECT_TRUE(std::isnan(asked({.film_x = 0.004}).film_x));
  }
}

TEST_F(OverscanCamera, CalculatedResolutionIsOfTheLastTimeTold) {
  select(2);
  set("Overscan", 0.5);
  EXPECT_EQ(calculated_text(), " 640 x 480");
  camera->new_time(1, 0.0);
  EXPECT_EQ(calculated_text(), " 960 x 720");
}

}  // namespace test_support::overscan_cam_test
