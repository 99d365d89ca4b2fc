#pragma once

/// Tests shared by the overscan and the DPI camera, which both look through one selected camera. A test program that includes
/// this instantiates the suite with its own server.

#include <array>
#include <climits>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/camera_facts.h"
#include "tests/support/fake_evaluation.h"
#include "tests/support/saved_settings.h"
#include "tests/support/stage.h"

namespace test_support {

/// A camera that looks through one of the twelve others in the scene.
class SelectedCameraStage : public testing::Test {
 protected:
  using Calls = std::vector<std::string>;
  static constexpr std::uint32_t choice_id = 0x8007;
  static constexpr std::uint32_t selected_text_id = 0x800a;
  static constexpr std::uint32_t calculated_text_id = 0x800b;

  explicit SelectedCameraStage(const std::string& server) : server_name(server), camera(stage.create(server)) {}

  int select(int index) { return camera->panel().set_integer(choice_id, index); }
  int selected() { return camera->panel().get_integer(choice_id); }
  void set(const std::string& channel, double value) { camera->parameter(channel).set_constant(value); }
  std::string selected_text() { return camera->panel().get_text(selected_text_id); }
  std::string calculated_text() { return camera->panel().get_text(calculated_text_id); }

  /// The saved settings of a new instance, but with this choice.
  std::vector<std::string> with_choice(std::uint32_t index) const {
    std::vector<SavedValue> settings = default_settings(camera_facts(server_name));
    settings.front().word = index;
    return as_text(settings);
  }
  void load_choice(std::uint32_t index) { camera->load_text(with_choice(index)); }
  void begin(int frame = 3) {
    camera->init_render();
    camera->begin_frame(frame);
  }
  standin::RayAnswer ray(double x = 0.001, double y = -0.002) { return camera->evaluate({.film_x = x, .film_y = y}); }
  standin::RayQuery asked(const standin::RayQuery& query) {
    stage.host.evaluators.record_requests(true);
    camera->evaluate(query);
    return stage.host.evaluators.requests().back().query;
  }
  /// Neither rays nor projections nor a preview.
  void expect_no_view() {
    EXPECT_EQ(ray().result, LWCAMEVAL_NONE);
    EXPECT_FALSE(camera->project({0.0, 0.0, 5.0}));
    LWDMatrix4 matrix{};
    EXPECT_EQ(camera->preview(matrix), 0);
  }
  Calls calls_since(std::size_t count) const {
    const Calls calls = stage.host.evaluators.calls();
    return {calls.begin() + static_cast<std::ptrdiff_t>(count), calls.end()};
  }
  std::size_t call_count() const { return stage.host.evaluators.calls().size(); }
  std::size_t living_evaluators() const { return stage.host.evaluators.table.alive(); }

  std::string server_name;
  Stage stage;
  std::unique_ptr<standin::HostedCamera> camera;
};

class SelectedCameraTest : public SelectedCameraStage, public testing::WithParamInterface<const char*> {
 protected:
  SelectedCameraTest() : SelectedCameraStage(GetParam()) {}
};

}  // namespace test_support
