#include <cmath>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "cameras/multiview/tile_camera_suite.h"

namespace test_support::four_up_cam_test {

INSTANTIATE_TEST_SUITE_P(FourUp, TileCameraTest,
                         testing::Values(TileCamera{
                             "Quorin4UpCam", 4,
                             [](const DividedFilm& film, double x, double y) -> std::size_t {
                               if (y < film.split_y) return x < film.split_x ? 0 : 1;
                               return x < film.split_x ? 2 : 3;
                             },
                             [](const DividedFilm& film, std::size_t tile) -> FilmOffset {
                               const double x = 0.25 * film.width;
                               const double y = 0.25 * film.height;
                               const FilmOffset shifts[] = {{x, y}, {-x, y}, {x, -y}, {-x, -y}};
                               return shifts[tile];
                             },
                             [](const DividedFilm& film) { return std::vector<double>{film.split_x}; },
                             [](const DividedFilm& film) { return std::vector<double>{film.split_y}; }}));

TEST(FourUpCamera, FilmPositionOnASplitBelongsToTheSecondTile) {
  Stage stage;
  const auto camera = stage.create("Quorin4UpCam");
  for (int tile = 0; tile < 4; ++tile) camera->panel().set_integer(0x8006 + static_cast<std::uint32_t>(tile), tile + 1);
  camera->init_render();
  camera->begin_frame(1);
  stage.host.evaluators.record_requests(true);
  const double x = 0.95 / 640 * camera->access().filmSize[0];
  const double y = 0.95 / 480 * camera->access().filmSize[1];
  camera->evaluate({.film_x = x, .film_y = 0.0});
  camera->evaluate({.film_x = 0.0, .film_y = y});
  camera->evaluate({.film_x = x, .film_y = y});
  camera->evaluate({.film_x = std::nextafter(x, 0.0), .film_y = std::nextafter(y, 0.0)});
  std::vector<std::string> names;
  for (const auto& request : stage.host.evaluators.requests()) names.push_back(request.camera_name);
  EXPECT_EQ(names, (std::vector<std::string>{"Other 2", "Other 3", "Other 4", "Other 1"}));
}

TEST(FourUpCamera, FilmPositionThatIsNotANumberFindsNoTile) {
  Stage stage;
  const auto camera = stage.create("Quorin4UpCam");
  for (int tile = 0; tile < 4; ++tile) camera->panel().set_integer(0x8006 + static_cast<std::uint32_t>(tile), tile + 1);
  camera->init_render();
  camera->begin_frame(1);
  stage.host.evaluators.record_requests(true);
  const double not_a_number = std::nan("");
  EXPECT_EQ(camera->evaluate({.film_x = not_a_number}).result, LWCAMEVAL_NONE);
  EXPECT_EQ(camera->evaluate({.film_y = not_a_number}).result, LWCAMEVAL_NONE);
  EXPECT_TRUE(stage.host.evaluators.requests().empty());
  EXPECT_EQ(camera->evaluate({}).result, LWCAMEVAL_RAY);
}

}  // namespace test_support::four_up_cam_test
