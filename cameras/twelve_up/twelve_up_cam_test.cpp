#include <cmath>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "cameras/multiview/tile_camera_suite.h"

namespace test_support::twelve_up_cam_test {

INSTANTIATE_TEST_SUITE_P(
    TwelveUp, TileCameraTest,
    testing::Values(TileCamera{
        "Quorin12UpCam", 12,
        [](const DividedFilm& film, double x, double y) -> std::size_t {
          std::size_t column = 3;
          if (x <= film.split_x - 0.25 * film.width)
            column = 0;
          else if (x <= film.split_x)
            column = 1;
          else if (x <= film.split_x + 0.25 * film.width)
            column = 2;
          if (y <= film.split_y - film.height / 6.0) return column;
          return (y <= film.split_y + film.height / 6.0 ? 4 : 8) + column;
        },
        [](const DividedFilm& film, std::size_t tile) -> FilmOffset {
          const double columns[] = {0.375 * film.width, 0.125 * film.width, -0.125 * film.width, -0.375 * film.width};
          const double rows[] = {film.height / 3.0, 0.0, -(film.height / 3.0)};
          return {columns[tile % 4], rows[tile / 4]};
        },
        [](const DividedFilm& film) {
          return std::vector<double>{film.split_x - 0.25 * film.width, film.split_x, film.split_x + 0.25 * film.width};
        },
        [](const DividedFilm& film) {
          return std::vector<double>{film.split_y - film.height / 6.0, film.split_y + film.height / 6.0};
        }}));

TEST(TwelveUpCamera, FilmPositionOnABoundaryBelongsToTheTileBeforeIt) {
  Stage stage;
  const auto camera = stage.create("Quorin12UpCam");
  for (int tile = 0; tile < 12; ++tile) camera->panel().set_integer(0x8006 + static_cast<std::uint32_t>(tile), tile + 1);
  camera->init_render();
  camera->begin_frame(1);
  stage.host.evaluators.record_requests(true);
  const double width = camera->access().filmSize[0];
  const double height = camera->access().filmSize[1];
  const double x = 0.95 / 640 * width;
  const double y = 0.95 / 480 * height;
  camera->evaluate({.film_x = x - 0.25 * width});
  camera->evaluate({.film_x = x});
  camera->evaluate({.film_x = std::nextafter(x, 1.0)});
  camera->evaluate({.film_x = -width, .film_y = y + height / 6.0});
  camera->evaluate({.film_x = -width, .film_y = std::nextafter(y + height / 6.0, 1.0)});
  std::vector<std::string> names;
  for (const auto& request : stage.host.evaluators.requests()) names.push_back(request.camera_name);
  EXPECT_EQ(names, (std::vector<std::string>{"Other 5", "Other 6", "Other 7", "Other 5", "Other 9"}));
}

}  // namespace test_support::twelve_up_cam_test
