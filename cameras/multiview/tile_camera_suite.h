#pragma once

/// Tests shared by the dual, four-up and twelve-up cameras. A test program that includes this instantiates the suite with a
/// description of its own camera.

#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/camera_facts.h"
#include "tests/support/fake_evaluation.h"
#include "tests/support/saved_settings.h"
#include "tests/support/stage.h"

namespace test_support {

struct FilmOffset {
  double x = 0.0;
  double y = 0.0;
};

/// A frame that is divided: film size and split lines, in metres.
struct DividedFilm {
  double width = 0.0;
  double height = 0.0;
  double split_x = 0.0;
  double split_y = 0.0;
};

/// How a tile camera divides its frame, worked out independently of the module.
struct TileCamera {
  std::string server_name;
  std::size_t tile_count = 0;
  std::size_t (*tile_of)(const DividedFilm& film, double x, double y) = nullptr;
  /// By how much a film position in the tile is moved.
  FilmOffset (*shift)(const DividedFilm& film, std::size_t tile) = nullptr;
  std::vector<double> (*column_boundaries)(const DividedFilm& film) = nullptr;
  std::vector<double> (*row_boundaries)(const DividedFilm& film) = nullptr;
};

inline void PrintTo(const TileCamera& camera, std::ostream* stream) { *stream << camera.server_name; }

class TileCameraTest : public testing::TestWithParam<TileCamera> {
 protected:
  using Calls = std::vector<std::string>;

  TileCameraTest() : camera(stage.create(facts.server_name)) {}

  static std::string source(std::size_t tile) { return "Other " + std::to_string(tile + 1); }
  static std::vector<SavedValue> words(const std::vector<std::uint32_t>& values) {
    std::vector<SavedValue> saved;
    for (const std::uint32_t value : values) {
      saved.emplace_back();
      saved.back().kind = SavedFacts::Kind::word;
      saved.back().word = value;
    }
    return saved;
  }
  std::vector<std::uint32_t> one_each() const {
    std::vector<std::uint32_t> indexes;
    for (std::uint32_t tile = 0; tile < facts.tile_count; ++tile) indexes.push_back(tile + 1);
    return indexes;
  }
  std::vector<std::uint32_t> all_the_same(std::uint32_t index) const {
    std::vector<std::uint32_t> indexes(facts.tile_count, index);
    return indexes;
  }
  void load(const std::vector<std::uint32_t>& indexes) { camera->load_text(as_text(words(indexes))); }
  /// Begins a frame in which every tile shows a camera of its own.
  void render(int frame = 3) {
    load(one_each());
    begin(frame);
  }
  void begin(int frame = 3) {
    camera->init_render();
    camera->begin_frame(frame);
  }
  LWXPanelRefresh choose(std::size_t tile, int index) { return camera->panel().set_integer(control(tile), index); }
  static std::uint32_t control(std::size_t tile) { return 0x8006 + static_cast<std::uint32_t>(tile); }
  int choice(std::size_t tile) { return camera->panel().get_integer(control(tile)); }

  DividedFilm film(const standin::HostedCamera& of) const {
    const standin::CameraSettings& settings = *stage.host.scene().find_camera("Camera")->camera;
    const auto [width, height] = standin::film_size(settings);
    EXPECT_EQ(of.item_id(), stage.host.id_of("Camera"));
    return {width, height, 0.95 / settings.width_pixels * width, 0.95 / settings.height_pixels * height};
  }
  DividedFilm film() const { return film(*camera); }

  /// Film positions all over the film and beyond, and on and beside every boundary.
  std::vector<FilmOffset> film_positions() const {
    const auto along = [](double size, const std::vector<double>& boundaries) {
      std::vector<double> values;
      for (int i = -12; i <= 12; ++i) values.push_back(i / 20.0 * size);
      for (const double line : boundaries)
        for (const double value : {std::nextafter(line, -1.0), line, std::nextafter(line, 1.0)}) values.push_back(value);
      return values;
    };
    std::vector<FilmOffset> positions;
    for (const double y : along(film().height, facts.row_boundaries(film())))
      for (const double x : along(film().width, facts.column_boundaries(film()))) positions.push_back({x, y});
    return positions;
  }
  /// The middle of a tile's part of the frame, which is moved to the centre of the source's film.
  FilmOffset middle_of(std::size_t tile) const {
    const FilmOffset shift = facts.shift(film(), tile);
    return {-shift.x, -shift.y};
  }
  standin::RayAnswer ray_in(std::size_t tile) { return ray_in(*camera, tile); }
  standin::RayAnswer ray_in(standin::HostedCamera& of, std::size_t tile) {
    return of.evaluate({.film_x = middle_of(tile).x, .film_y = middle_of(tile).y});
  }
  void expect_no_rays(standin::HostedCamera& of) {
    for (std::size_t tile = 0; tile < facts.tile_count; ++tile) EXPECT_EQ(ray_in(of, tile).result, 0) << tile;
    EXPECT_FALSE(of.project({0.0, 0.0, 5.0}));
  }
  void expect_no_rays() { expect_no_rays(*camera); }

  Calls calls_since(std::size_t count) const {
    const Calls calls = stage.host.evaluators.calls();
    return {calls.begin() + static_cast<std::ptrdiff_t>(count), calls.end()};
  }
  std::size_t call_count() const { return stage.host.evaluators.calls().size(); }
  std::size_t living_evaluators() const { return stage.host.evaluators.table.alive(); }
  /// The same call to the evaluator of every tile.
  Calls of_every_tile(const std::string& before, const std::string& after = "") const {
    Calls calls;
    for (std::size_t tile = 0; tile < facts.tile_count; ++tile) calls.push_back(before + ' ' + source(tile) + after);
    return calls;
  }
  void give_handler(const std::string& camera_name, const std::string& server_name, const std::vector<SavedValue>& saved = {}) {
    stage.host.camera(camera_name).handler = standin::PluginBlock{LWCAMERA_HANDLER_CLASS, 1, server_name, as_text(saved)};
  }

  const TileCamera& facts = GetParam();
  Stage stage;
  std::unique_ptr<standin::HostedCamera> camera;
};

}  // namespace test_support
